"""Start, log, second instance and end of the program, on a real server."""
import re
import subprocess
import tempfile
import unittest

import audio
from program import BUILD, PATIENCE, PORT, Client, Program, eventually, full_name, is_listening

LINE = re.compile(r"^\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\] (Info|Warning|Critical): ", re.MULTILINE)


class StartTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="quorvane-")

    def test_log_tells_the_start_in_order(self):
        with Program(self.folder) as program, Client() as client:
            client.barrier()
            program.await_log("End of init!!!")
            log = program.log()
        expected = [
            'Info: "6.8.3"\r\n',
            'Info: "1.0.2511.13096"\r\n',
            "Info: init AudioSessionManager : begin\r\n",
            "Info: init AudioSessionManager : end\r\n",
            "Info: init WebSocketServer : begin\r\n",
            "Info: init WebSocketServer : end\r\n",
            "Info: init SystemSoundMonitor : begin\r\n",
            "Info: init SystemSoundMonitor : end\r\n",
            "Info: try to enable virtual devices : begin\r\n",
            "Info: try to enable virtual devices : end\r\n",
            'Info: "QuorvaneWidget::printEndpointDeviceNames : begin"\r\n',
            'Info: "OutputDevice :"\r\n',
            'Info: "InputDevice :"\r\n',
            "Info: QuorvaneWidget::openDevices : begin\r\n",
            "Info: QuorvaneWidget::openDevices Find tavori driver index!\r\n",
            "Info: QuorvaneWidget::openDevices : end\r\n",
            "Info: try to start websocket server : begin\r\n",
            f"Info: WebSocket server listening with port {PORT}\r\n",
            "Info: try to start websocket server : end\r\n",
            "Info: End of init!!!\r\n",
        ]
        position = 0
        for text in expected:
            found = log.find(text, position)
            self.assertGreaterEqual(found, 0, f"{text!r} is not in its place in\n{log}")
            position = found + len(text)
        for line in log.split("\r\n")[:-1]:
            self.assertRegex(line, LINE)
        self.assertNotIn("Critical:", log)

    def test_closing_the_last_window_ends_nothing(self):
        probe = {"LD_PRELOAD": str(BUILD / "libwindowprobe.so")}
        with Program(self.folder, environment=probe) as program:
            program.await_log("window probe: shown true closed true")
            with Client() as client:
                client.barrier()
                client.await_endpoints()
            self.assertIsNone(program.process.poll())
            self.assertIn("window probe: desktop OpenGL true", program.log())

    def test_quit_ends_with_zero_and_hides_the_virtual_endpoints(self):
        program = Program(self.folder)
        self.assertIsNotNone(audio.sink_named(full_name("Gaming")))
        self.assertEqual(program.quit(), 0)
        self.assertIsNone(audio.sink_named(full_name("Gaming")))
        log = program.log()
        for text in ("onQuitApp() :", "onQuitApp() : end", "About to quit - begin",
                     "About to quit - 0", "About to quit - 1", "About to quit - 2",
                     "About to quit - end"):
            self.assertIn(f"Info: {text}\r\n", log)
        self.assertFalse(is_listening())

    def test_second_instance_hands_its_arguments_over(self):
        with Program(self.folder) as program:
            second = Program(self.folder, "first argument", "second", wait=False)
            self.assertEqual(second.process.wait(PATIENCE), 1)
            program.await_log(f'QuorvaneWidget::restoreWindow "{BUILD}/Quorvane;'
                              'first argument;second"')
            self.assertEqual(len(program.log_files()), 1)

    def test_start_after_a_crash(self):
        program = Program(self.folder)
        program.kill()
        eventually(lambda: audio.sink_named(full_name("Gaming")) is None,
                   what="the end of the crashed program's endpoints")
        with Program(self.folder) as again, Client() as client:
            client.await_endpoints()
            again.await_log("End of init!!!")

    def test_start_shows_five_channels_and_hides_four(self):
        with Program(self.folder), Client() as client:
            client.await_endpoints()
            outputs, inputs = client.outputs(), client.inputs()
        for name in ("Aux", "Chat", "Gaming", "Media", "Microphone"):
            self.assertIn(full_name(name), outputs)
        for name in ("Aux2", "Aux3", "Browser", "Stream"):
            self.assertNotIn(full_name(name), outputs)
        self.assertIn(full_name("Microphone"), inputs)
        self.assertNotIn(full_name("Stream"), inputs)
        self.assertIn("Speakers", outputs)
        self.assertIn("Headset", outputs)
        self.assertIn("Real microphone", inputs)

    def test_endpoint_ids_are_the_same_on_every_run(self):
        with Program(self.folder), Client() as client:
            client.await_endpoints()
            first = {name: info["deviceID"] for name, info in client.outputs().items()}
        with Program(self.folder), Client() as client:
            client.await_endpoints()
            second = {name: info["deviceID"] for name, info in client.outputs().items()}
        self.assertEqual(first, second)
        for name, endpoint in first.items():
            self.assertRegex(endpoint, r"^\{0\.0\.0\.00000000\}\.\{[0-9a-f]{8}(-[0-9a-f]{4}){3}"
                                       r"-[0-9a-f]{12}\}$", name)

    def test_port_taken(self):
        with subprocess.Popen(["/usr/bin/python3", "-c", f"""
import socket, sys
server = socket.create_server(("0.0.0.0", {PORT}))
print("ready", flush=True)
sys.stdin.read()"""], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True) as holder:
            self.assertEqual(holder.stdout.readline(), "ready\n")
            program = Program(self.folder, wait=False)
            try:
                program.await_log(f"Critical: Faild to listen plugin websocket server with port"
                                  f" {PORT} because of ")
                pattern = re.compile(r"WebSocket server listening with port (\d+)")
                eventually(lambda: pattern.search(program.log()), what="another port")
                port = int(pattern.search(program.log()).group(1))
                self.assertRegex(str(port), r"^[0-8]{4}$")
                self.assertGreaterEqual(port, 1024)
                with Client(port) as client:
                    client.barrier()
                    client.send("quitApp")
                self.assertEqual(program.process.wait(PATIENCE), 0)
            finally:
                holder.stdin.close()
                if program.process.poll() is None:
                    program.kill()


if __name__ == "__main__":
    unittest.main(verbosity=2)
