"""The program killed at any moment: nothing of it stays on the server, and a next start works."""
import os
import pathlib
import signal
import subprocess
import tempfile
import time
import unittest

import audio
from program import ADAPTER, BUILD, Client, Program, eventually, full_name

# What the log says on the way to a running program, in order.
START = ("init AudioSessionManager : begin", "init WebSocketServer : begin",
         "init SystemSoundMonitor : begin", "init SystemSoundMonitor : end",
         "try to enable virtual devices : begin", "try to enable virtual devices : end",
         "QuorvaneWidget::openDevices : begin", "QuorvaneWidget::openDevices : end",
         "try to start websocket server : begin", "End of init!!!")
QUIT = ("onQuitApp() :", "About to quit - begin", "About to quit - 0", "About to quit - 1",
        "About to quit - 2", "About to quit - end")
# Before anything is logged: moments of a process that has hardly begun.
EARLY_SECONDS = (0, 0.01, 0.03, 0.06, 0.1)


def virtual_endpoints():
    """The names of the program's nodes that the server has."""
    return [node["description"] for kind in ("sinks", "sources") for node in audio.pactl_list(kind)
            if ADAPTER in str(node["description"])]


class KillTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="quorvane-")

    def start(self, wait=True):
        """The program with a log of its own: two runs within a second would share a name."""
        for file in pathlib.Path(self.folder).glob("tavori/Quorvane/logs/*.txt"):
            file.unlink()
        program = Program(self.folder, wait=wait)
        self.addCleanup(lambda: program.process.poll() is None and program.kill())
        return program

    def kill_at(self, program, moment):
        """Kills it as soon as the log has the text; a program that is quicker has ended."""
        deadline = time.monotonic() + 30
        while program.process.poll() is None and f"{moment}\r\n" not in program.log():
            if time.monotonic() > deadline:
                self.fail(f"the log never says {moment!r}")
        if program.process.poll() is None:
            program.process.send_signal(signal.SIGKILL)
        program.process.wait(60)

    def assert_clean(self, moment):
        with self.subTest(moment=moment):
            eventually(lambda: not virtual_endpoints(), what=f"the end of {virtual_endpoints()}")

    def assert_starts_again(self, moment):
        with self.subTest(moment=moment):
            with self.start() as program, Client() as client:
                client.await_endpoints()
                client.route("Gaming", "Headset")
                program.await_log("End of init!!!")
            self.assertEqual(program.process.returncode, 0)
            self.assertEqual(virtual_endpoints(), [])

    def assert_files_are_known(self):
        """No leftovers: nothing but what every run makes."""
        root = pathlib.Path(self.folder)
        files = {str(path.relative_to(root).parent) for path in root.rglob("*") if path.is_file()}
        self.assertLessEqual(files, {"tavori/Quorvane/logs", "tavori/Quorvane/data"})
        data = root / "tavori/Quorvane/data"
        self.assertLessEqual({path.name for path in data.iterdir()}, {"cache.ini"})

    def test_killed_while_it_starts(self):
        for moment in START:
            self.kill_at(self.start(wait=False), moment)
            self.assert_clean(moment)
        self.assert_starts_again("every moment of the start")
        self.assert_files_are_known()

    def test_killed_before_it_logs(self):
        for seconds in EARLY_SECONDS:
            program = self.start(wait=False)
            time.sleep(seconds)
            program.kill()
            self.assert_clean(seconds)
            self.assert_starts_again(seconds)

    def test_killed_while_it_runs(self):
        busy = (
            lambda client: client.route("Gaming", "Headset"),
            lambda client: client.send("addOutputDevice", outputDeviceName="Browser"),
            lambda client: client.send("setControlMode", mode="StreamerMode"),
            lambda client: client.send("switchMicrophoneInputDevice", deviceName="Real microphone",
                                       deviceID=client.inputs()["Real microphone"]["deviceID"]),
        )
        for number, act in enumerate(busy):
            program = self.start()
            with Client() as client:
                client.await_endpoints()
                act(client)
                program.kill()
            self.assert_clean(number)
            self.assert_starts_again(number)

    def test_killed_in_the_middle_of_orders(self):
        for count in (1, 10, 100):
            program = self.start()
            with Client() as client:
                client.await_endpoints()
                outputs = client.outputs()
                for number in range(count):
                    name = ("Headset", "Speakers")[number % 2]
                    client.send("switchDevice", deviceType="outputDevice",
                                routeDeviceName=full_name("Gaming"), deviceName=name,
                                deviceID=outputs[name]["deviceID"])
                    client.send("setControlMode", mode=("StreamerMode", "NormalMode")[number % 2])
                    client.send("addOutputDevice", outputDeviceName="Browser")
                program.kill()
            self.assert_clean(count)
        self.assert_starts_again("the middle of orders")

    def test_killed_while_it_plays(self):
        program = self.start()
        with Client() as client:
            client.await_endpoints()
            client.route("Gaming", "Headset")
            with audio.Tone(self.folder, audio.sink_named(full_name("Gaming")), 440):
                eventually(lambda: audio.heard("headset", 440) > 0.1, 30, "the tone")
                program.kill()
                self.assert_clean("playing")
        self.assert_starts_again("playing")

    def test_killed_while_it_quits(self):
        for moment in QUIT:
            program = self.start()
            with Client() as client:
                client.barrier()
                client.send("quitApp")
            self.kill_at(program, moment)
            self.assert_clean(moment)
        self.assert_starts_again("every moment of the end")
        self.assert_files_are_known()

    def test_what_a_killed_program_may_leave(self):
        """Locks and the local server's socket, as they stand when it dies at the worst moment."""
        self.start().kill()
        self.assertTrue(list(pathlib.Path(tempfile.gettempdir()).glob("*LocalServer*")))
        dead = subprocess.Popen(["true"])
        dead.wait()
        data = pathlib.Path(self.folder) / "tavori/Quorvane/data"
        lock = data / "cache.ini.lock"
        lock.write_text(f"{dead.pid}\nQuorvane\n{os.uname().nodename}\n\n\n")
        (data / "cache.ini").write_bytes(b"[Logo]\nind")
        (BUILD / "TempIcons").mkdir(exist_ok=True)
        self.assert_starts_again("leftovers")
        self.assertFalse(lock.exists())
        self.assertIn(b"index=2", (data / "cache.ini").read_bytes())


if __name__ == "__main__":
    unittest.main(verbosity=2)
