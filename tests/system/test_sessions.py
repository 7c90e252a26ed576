"""Who plays where: the lists of sessions and their events, with real applications."""
import signal
import subprocess
import time
import unittest

import audio
from program import eventually, full_name
from sessioncase import SessionCase


class SessionTest(SessionCase):
    def test_three_applications_on_two_endpoints(self):
        players = [(self.play("speakers"), self.speakers, "pacat"),
                   (self.play("headset", player="pw-play"), self.headset, "pw-cat"),
                   (self.play_script("headset"), self.headset, "python")]
        for process, endpoint, name in players:
            info = self.await_session(process, endpoint)
            self.assertTrue(info["sessionProcessName"].lower().startswith(name), info)
            self.assertTrue(info["sessionProcessFileName"].startswith("/usr/bin/"), info)
            self.assertTrue(info["sessionIdentifier"].startswith(endpoint))
            self.assertTrue(info["sessionInstanceIdentifier"].startswith(endpoint))
            self.assertEqual(info["isSystemSoundsSession"], 1)
            self.assertEqual(info["sessionGroupingParam"], "0-0-0-00000000")
            self.assertEqual(info["sessionProcessFileIcon"], "data:image/png;base64,")
            eventually(lambda: self.sessions_of(process, endpoint)[0]["sessionState"]
                       == "AudioSessionStateActive", 30, "the sound")
        listed = self.sessions()
        self.assertEqual(len(listed[self.speakers]), 1)
        self.assertEqual(len(listed[self.headset]), 2)
        endpoints = {info["deviceID"] for info in
                     [*self.client.outputs().values(), *self.client.inputs().values()]}
        self.assertEqual(set(listed), endpoints)

    def test_the_programs_own_streams_are_not_shown(self):
        process = self.play(audio.sink_named(full_name("Gaming")))
        self.client.route("Gaming", "Speakers")
        gaming = self.client.outputs()[full_name("Gaming")]["deviceID"]
        self.await_session(process, gaming)
        eventually(lambda: any(
            each.get("properties", {}).get("application.process.id")
            == str(self.program.process.pid) or "Quorvane" in str(each.get("properties"))
            for each in audio.pactl_list("sink-inputs")), 30, "the program's own stream")
        self.assertEqual(self.sessions()[self.speakers], [])

    def test_a_recorder_is_a_session_of_the_input(self):
        microphone = self.client.inputs()["Real microphone"]["deviceID"]
        process = self.run_player("parecord", "--device=real_microphone", "--raw")
        self.assertEqual(self.await_session(process, microphone)["sessionProcessName"], "pacat")

    def test_a_new_session_is_announced(self):
        process = self.play("headset")
        infos = self.client.wait_for("didReceiveDeviceAudioSessionInfos", 30,
                                     deviceID=self.headset)["deviceAudioSessionInfos"]
        self.assertEqual([info["sessionProcessId"] for info in infos], [process.pid])

    def test_ten_at_once_are_one_refresh(self):
        started = time.monotonic()
        process = self.play_script("headset", 10)
        eventually(lambda: len(self.sessions_of(process, self.headset)) == 10, 30, "ten sessions")
        took = time.monotonic() - started
        self.client.barrier()
        updates = [event["payload"]["deviceAudioSessionInfos"] for event in self.client.events
                   if event["event"] == "didReceiveDeviceAudioSessionInfos"
                   and event["payload"]["deviceID"] == self.headset]
        self.assertEqual(len(updates[-1]), 10)
        # A refresh waits 500 ms for more to come.
        self.assertLessEqual(len(updates), 1 + took / 0.5)
        self.assertLess(len(updates), 10)

    def test_states(self):
        process = self.play_script("headset", script="corkplayer.py")
        name = self.await_session(process, self.headset)["sessionProcessName"]
        process.send_signal(signal.SIGUSR1)
        self.client.wait_for("audioSessionStateInactive", 30, sessionProcessId=process.pid)
        self.assertEqual(self.sessions_of(process, self.headset)[0]["sessionState"],
                         "AudioSessionStateInactive")
        process.send_signal(signal.SIGUSR2)
        active = self.client.wait_for("audioSessionStateActive", 30, sessionProcessId=process.pid)
        self.assertEqual(active["deviceID"], self.headset)
        self.assertEqual(active["sessionProcessName"], name)

    def test_expiry_and_a_killed_process(self):
        for end in (signal.SIGTERM, signal.SIGKILL):
            with self.subTest(end=end):
                process = self.play("speakers")
                self.await_session(process, self.speakers)
                process.send_signal(end)
                expired = self.client.wait_for("audioSessionStateExpired", 30,
                                               sessionProcessId=process.pid)
                self.assertEqual(expired["deviceID"], self.speakers)
                self.assertEqual(expired["sessionProcessName"], "pacat")
                self.await_no_session(process, self.speakers)

    def test_an_endpoint_that_goes_with_its_sessions(self):
        module = audio.load_sink("extra", "Extra")
        extra = self.client.wait_for("deviceAdded", deviceName="Extra")["deviceID"]
        process = self.play("extra")
        self.await_session(process, extra)
        audio.unload(module)
        self.client.wait_for("deviceRemoved", deviceID=extra)
        eventually(lambda: extra not in self.sessions(), 30, "the list to go")
        self.client.send("getDeviceAudioSessionInfos", deviceID=extra)
        gone = self.client.wait_for("didReceiveDeviceAudioSessionInfos", deviceID=extra,
                                    deviceAudioSessionInfos=[])
        self.assertEqual(gone["deviceAudioSessionInfos"], [])
        # The desktop plays it elsewhere.
        eventually(lambda: self.sessions_of(process, self.speakers)
                   or self.sessions_of(process, self.headset), 30, "its new place")

    def test_a_stream_moved_from_outside(self):
        process = self.play("speakers")
        self.await_session(process, self.speakers)
        headset = next(each["index"] for each in audio.pactl_list("sinks")
                       if each["name"] == "headset")

        def is_moved():
            stream = next((each for each in audio.pactl_list("sink-inputs")
                           if each["properties"].get("application.process.id")
                           == str(process.pid)), None)
            if stream is None:
                return False
            if stream["sink"] != headset:
                subprocess.run(["pactl", "move-sink-input", str(stream["index"]), "headset"],
                               capture_output=True, timeout=60)
            return stream["sink"] == headset
        # The desktop refuses or forgets an order that comes while it is still linking the stream.
        eventually(is_moved, 30, "the desktop to move it")
        self.await_session(process, self.headset)
        self.await_no_session(process, self.speakers)


if __name__ == "__main__":
    unittest.main(verbosity=2)
