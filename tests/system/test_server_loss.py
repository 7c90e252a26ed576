"""No sound server at start, and a server that is killed and comes back."""
import os
import pathlib
import tempfile
import unittest

import audio
import server
from program import PATIENCE, Client, Program, eventually, full_name

AMPLITUDE = 0.25


def cpu_seconds(pid):
    """User and system time that a process has used so far."""
    fields = pathlib.Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


class ServerLossTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="quorvane-")

    def assert_route_sounds(self, client):
        with audio.Tone(self.folder, audio.sink_named(full_name("Gaming")), 440):
            client.route("Gaming", "Headset")
            eventually(lambda: any(abs(piece[440] - AMPLITUDE) < 0.02
                                   for piece in audio.pieces("headset.monitor", [440])), PATIENCE,
                       "the tone at Headset")

    def test_no_server_at_start(self):
        server.stop()
        try:
            with Program(self.folder), Client() as client:
                self.assertEqual(client.outputs(), {})
                self.assertEqual(client.inputs(), {})
                server.start()
                client.wait_for("deviceAdded", 30, deviceName="Headset")
                client.wait_for("deviceActive", 30, deviceName=full_name("Gaming"))
                client.await_endpoints()
                self.assert_route_sounds(client)
        finally:
            if not server.is_running():
                server.start()

    def test_server_killed_and_restarted_while_sound_runs(self):
        with Program(self.folder) as program, Client() as client:
            client.await_endpoints()
            for _ in range(3):
                self.assert_route_sounds(client)
                server.stop()
                client.wait_for("deviceNotPresent", 30)
                eventually(lambda: client.outputs() == {}, 30, "empty lists")
                before = cpu_seconds(program.process.pid)
                client.barrier()
                self.assertIsNone(program.process.poll())
                self.assertLess(cpu_seconds(program.process.pid) - before, 1)
                server.start()
                client.await_endpoints()
                self.assert_route_sounds(client)


if __name__ == "__main__":
    unittest.main(verbosity=2)
