"""No sound server at start, and a server that ends while sound runs and comes back."""
import tempfile
import unittest

import audio
import server
from program import Client, Program, eventually, full_name
from soundcase import AMPLITUDE, SILENCE, SoundCase
from threads import await_rest

REAL = ("Headset", "Real microphone", "Speakers")
VIRTUAL = tuple(map(full_name, ("Aux", "Chat", "Gaming", "Media", "Microphone")))
GAMING = full_name("Gaming")


def keep_running():
    if not server.is_running():
        server.stop()
        server.start()


class NoServerTest(unittest.TestCase):
    def test_no_server_at_start(self):
        self.addCleanup(keep_running)
        folder = tempfile.mkdtemp(prefix="quorvane-")
        server.stop()
        with Program(folder), Client() as client:
            self.assertEqual(client.outputs(), {})
            self.assertEqual(client.inputs(), {})
            server.start()
            client.wait_for("deviceAdded", deviceName="Headset")
            client.wait_for("deviceActive", deviceName=GAMING)
            client.await_endpoints()
            with audio.Tone(folder, audio.sink_named(GAMING), 440):
                client.route("Gaming", "Headset")
                eventually(lambda: abs(audio.heard("headset", 440) - AMPLITUDE) < 0.02,
                           what="the tone at Headset")


class ServerLossTest(SoundCase):
    def setUp(self):
        self.addCleanup(keep_running)
        super().setUp()

    def lose_and_regain(self, lose):
        """Twice: what a loss leaves behind must not spoil the next one."""
        for _ in range(2):
            self.play("Gaming", 440)
            self.client.route("Gaming", "Headset")
            self.assert_heard("headset", 440)
            endpoints = [*self.client.outputs().values(), *self.client.inputs().values()]
            self.client.drop_events()
            lose()
            for info in endpoints:
                self.client.wait_for("deviceNotPresent", deviceID=info["deviceID"])
            self.assertEqual((self.client.outputs(), self.client.inputs()), ({}, {}))
            await_rest(self.program.process.pid)
            self.tones.pop().stop()  # its application knows of no server but the one that ended
            server.stop()
            self.client.drop_events()
            server.start()
            self.assert_endpoints_return(endpoints)
            self.assert_silent_until_routed()

    def assert_endpoints_return(self, endpoints):
        for event, names in (("deviceAdded", REAL), ("deviceActive", VIRTUAL)):
            for name in names:
                told = self.client.wait_for(event, deviceName=name)
                self.assertIn(told["deviceID"], [info["deviceID"] for info in endpoints])
        self.client.await_endpoints()

    def assert_silent_until_routed(self):
        """What was routed before the loss is routed no more."""
        self.play("Gaming", 440)
        self.assert_heard(audio.sink_named(GAMING), 440)
        self.assertLess(audio.heard("headset", 440), SILENCE)
        self.client.route("Gaming", "Headset")
        self.assert_heard("headset", 440)
        self.tones.pop().stop()

    def test_stopped(self):
        self.lose_and_regain(server.stop)

    def test_killed_with_all_its_daemons(self):
        self.lose_and_regain(server.kill)

    def test_killed_alone(self):
        self.lose_and_regain(lambda: server.kill("pipewire"))


if __name__ == "__main__":
    unittest.main(verbosity=2)
