"""Moving one application to another endpoint, by measured sound."""
import pathlib
import shutil
import unittest

import audio
from program import eventually
from sessioncase import SessionCase

AUDIBLE = 0.1
SILENCE = 1e-3


class AppRoutingTest(SessionCase):
    def move(self, process, name, target, source="", **more):
        self.client.send("setAppDefaultAudioEndpoint", appProcessID=process.pid if process else 0,
                         appName=name, audioEndpointID=target, fromAudioEndpointID=source, **more)
        return self.client.wait_for("finishSetAppDefaultAudioEndpoint", appName=name,
                                    audioEndpointID=target)["success"]

    def assert_heard_only_at(self, sink, other, hertz):
        eventually(lambda: audio.heard(sink, hertz) > AUDIBLE, 30, f"{hertz} Hz at {sink}")
        eventually(lambda: audio.heard(other, hertz) < SILENCE, 30, f"its end at {other}")

    def assert_moves(self, player, name):
        process = self.play("speakers", 440, player)
        self.await_session(process, self.speakers)
        self.assert_heard_only_at("speakers", "headset", 440)
        self.client.events.clear()

        self.assertTrue(self.move(process, name, self.headset, self.speakers))
        self.assert_heard_only_at("headset", "speakers", 440)
        for endpoint in (self.speakers, self.headset):
            self.client.wait_for("didReceiveDeviceAudioSessionInfos", 30, deviceID=endpoint)
        info = self.await_session(process, self.headset)
        self.assertEqual(info["audioEndpointID"], self.headset)
        self.assertFalse(info["inDefaultEndpoint"])
        self.await_no_session(process, self.speakers)

        # Its next stream follows, wherever it asks to play; the default stays where it was.
        second = self.play("speakers", 660, player)
        self.await_session(second, self.headset)
        self.assert_heard_only_at("headset", "speakers", 660)
        self.assertEqual(audio.pactl("get-default-sink").strip(), "speakers")

        # Where it is already, and back again.
        self.assertTrue(self.move(process, name, self.headset))
        self.assertTrue(self.move(process, name, self.speakers))
        self.assert_heard_only_at("speakers", "headset", 440)

    def test_an_application_of_the_older_protocol(self):
        self.assert_moves("paplay", "pacat")

    def test_an_application_of_the_newer_protocol(self):
        self.assert_moves("pw-play", "pw-cat")

    def test_an_application_that_chose_its_output_moves_to_the_default(self):
        # An executable of its own, which was never moved before.
        player = shutil.copy(shutil.which("pacat"), pathlib.Path(self.folder) / "paplay")
        process = self.run_player(player, "--device=headset",
                                  audio.tone_file(self.folder, 440, 0.25))
        self.await_session(process, self.headset)
        self.assert_heard_only_at("headset", "speakers", 440)
        self.assertEqual(audio.pactl("get-default-sink").strip(), "speakers")
        self.assertTrue(self.move(process, "paplay", self.speakers, self.headset))
        self.assert_heard_only_at("speakers", "headset", 440)
        self.await_no_session(process, self.headset)

    def test_all_streams_of_a_process_move(self):
        process = self.play_script("speakers", 3)
        eventually(lambda: len(self.sessions_of(process, self.speakers)) == 3, 30, "three")
        name = self.sessions_of(process, self.speakers)[0]["sessionProcessName"]
        self.assertTrue(self.move(process, name, self.headset))
        eventually(lambda: len(self.sessions_of(process, self.headset)) == 3, 30, "the move")
        self.await_no_session(process, self.speakers)
        self.assertTrue(self.move(process, name, self.speakers))

    def test_what_cannot_be(self):
        process = self.play("speakers")
        self.await_session(process, self.speakers)
        nowhere = "{0.0.0.00000000}.{00000000-0000-0000-0000-000000000000}"
        microphone = self.client.inputs()["Real microphone"]["deviceID"]
        self.assertFalse(self.move(None, "pacat", self.headset))
        self.assertFalse(self.move(process, "", self.headset))
        self.assertFalse(self.move(process, "pacat", ""))
        self.assertFalse(self.move(process, "pacat", nowhere))
        self.assertFalse(self.move(process, "pacat", microphone))
        self.assert_heard_only_at("speakers", "headset", 440)

    def test_a_move_that_the_server_refuses(self):
        process = self.run_player("pacat", "--playback", "--raw", "--device=speakers",
                                  "--property=node.dont-reconnect=true", "/dev/zero")
        self.await_session(process, self.speakers)
        self.assertFalse(self.move(process, "pacat", self.headset))
        # Nor is it remembered: the next stream begins where it asks to.
        other = self.play("speakers")
        self.await_session(other, self.speakers)
        self.await_session(process, self.speakers)

    def test_an_input_moves_and_counts_as_refused(self):
        module = audio.pactl("load-module", "module-null-sink", "sink_name=second_microphone",
                             "media.class=Audio/Source/Virtual",
                             "sink_properties='device.description=\"Second microphone\"'").strip()
        try:
            eventually(lambda: "Second microphone" in self.client.inputs(), 30, "the input")
            inputs = self.client.inputs()
            first = inputs["Real microphone"]["deviceID"]
            second = inputs["Second microphone"]["deviceID"]
            process = self.run_player("parecord", "--device=real_microphone", "--raw")
            self.await_session(process, first)
            self.assertFalse(self.move(process, "pacat", second, first, deviceType="inputDevice"))
            self.await_session(process, second)
            self.await_no_session(process, first)
        finally:
            audio.unload(module)


if __name__ == "__main__":
    unittest.main(verbosity=2)
