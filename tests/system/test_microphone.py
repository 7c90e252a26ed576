"""A real microphone is heard by whoever records the virtual one, and in both mixes."""
import unittest

import audio
from program import eventually, full_name
from soundcase import AMPLITUDE, SILENCE, SoundCase, gain_of

MICROPHONE = full_name("Microphone")


class MicrophoneTest(SoundCase):
    def setUp(self):
        super().setUp()
        self.virtual = audio.source_named(MICROPHONE)
        self.real = self.input("Real microphone")

    def use(self, info):
        self.order("switchMicrophoneInputDevice", info)

    def test_the_real_microphone_is_heard_in_the_virtual_one(self):
        self.say(440)
        self.assertLess(audio.amplitudes(self.virtual, [440])[440], SILENCE)
        self.use(self.real)
        self.assert_sound(self.virtual, {440: AMPLITUDE})
        # It is no output: nothing of it is heard there.
        for sink in ("speakers", "headset"):
            self.assertLess(audio.heard(sink, 440), SILENCE)

    def test_the_source_is_switched_by_either_command(self):
        self.load_microphone("second_microphone", "Second microphone")
        self.client.wait_for("deviceAdded", deviceName="Second microphone")
        self.say(440)
        self.say(700, "second_microphone")
        self.use(self.real)
        self.assert_sound(self.virtual, {440: AMPLITUDE, 700: 0})
        self.use(self.input("Second microphone"))
        self.assert_sound(self.virtual, {440: 0, 700: AMPLITUDE})
        self.order("switchDevice", self.real, deviceType="inputDevice", routeDeviceName=MICROPHONE)
        self.assert_sound(self.virtual, {440: AMPLITUDE, 700: 0})
        # Without a name nothing changes, nor with another channel as the route.
        self.order("switchMicrophoneInputDevice",
                   {"deviceName": "", "deviceID": self.input("Second microphone")["deviceID"]})
        self.order("switchDevice", self.input("Second microphone"), deviceType="inputDevice",
                   routeDeviceName=full_name("Gaming"))
        self.program.await_log("Critical: Unknown device!")
        self.assert_sound(self.virtual, {440: AMPLITUDE, 700: 0})

    def test_unplugging_ends_the_capture_and_a_restart_brings_it_back(self):
        def plug():
            module = self.load_microphone("second_microphone", "Second microphone")
            return module, self.client.wait_for("deviceAdded", deviceName="Second microphone")

        module, info = plug()
        self.say(700, "second_microphone")
        self.use(info)
        self.assert_sound(self.virtual, {700: AMPLITUDE})
        audio.unload(module)
        self.client.wait_for("deviceRemoved", deviceID=info["deviceID"])
        self.client.barrier()
        self.program.await_log("Info: Capture microphone - end")
        self.assertEqual(self.program.log().count("Capture microphone - begin"),
                         self.program.log().count("Capture microphone - end"))
        self.tones.pop().stop()
        self.assert_sound(self.virtual, {700: 0})

        module, again = plug()
        self.assertEqual(again["deviceID"], info["deviceID"])
        self.say(700, "second_microphone")
        self.use(again)
        self.assert_sound(self.virtual, {700: AMPLITUDE})

    def test_the_level_of_the_render_side_is_the_gain(self):
        self.say(440)
        self.use(self.real)
        self.assert_sound(self.virtual, {440: AMPLITUDE})
        render = self.output(MICROPHONE)
        self.order("setDeviceVolume", render, deviceVolume=50)
        self.assert_sound(self.virtual, {440: AMPLITUDE * gain_of(50)})
        self.order("setDeviceMute", render, deviceMute=True)
        self.assert_sound(self.virtual, {440: 0})
        # Volume and mute of an endpoint come together, so that one changed while muted stays mute.
        self.order("setDeviceVolume", render, deviceVolume=100)
        self.assert_sound(self.virtual, {440: 0})
        self.order("setDeviceMute", render, deviceMute=False)
        self.assert_sound(self.virtual, {440: AMPLITUDE})

    def test_the_capture_sides_own_level_is_the_servers(self):
        self.say(440)
        self.use(self.real)
        self.assert_sound(self.virtual, {440: AMPLITUDE})
        audio.pactl("set-source-mute", self.virtual, "1")
        self.client.wait_for("deviceControlChanged", deviceName=MICROPHONE, deviceMute=True)
        self.assert_sound(self.virtual, {440: 0})
        audio.pactl("set-source-mute", self.virtual, "0")
        self.assert_sound(self.virtual, {440: AMPLITUDE})

    def test_the_microphone_in_both_mixes(self):
        self.say(440)
        self.use(self.real)
        self.set_mode("StreamerMode")
        microphone = self.output(MICROPHONE)
        self.order("switchPersonalSynthesizerDevice", self.output("Headset"))
        self.order("switchStreamingSynthesizerDevice", self.output("Speakers"))
        self.assert_sound(self.virtual, {440: AMPLITUDE})
        for sink in ("headset", "speakers"):
            self.assert_silent(sink, 440)  # in no mix until it is added

        self.order("addToPersonalSynthesizer", microphone, checked=True)
        self.assert_heard("headset", 440)
        self.assert_silent("speakers", 440)
        self.order("addToStreamingSynthesizer", microphone, checked=True)
        self.assert_heard("speakers", 440)

        self.order("setPersonalSynthesizerDeviceVolume", microphone, deviceVolume=50)
        self.order("setStreamingSynthesizerDeviceVolume", microphone, deviceVolume=75)
        self.assert_heard("headset", 440, AMPLITUDE * gain_of(50))
        self.assert_heard("speakers", 440, AMPLITUDE * gain_of(75))
        self.order("setPersonalSynthesizerDeviceMute", microphone, mute=True)
        self.assert_silent("headset", 440)
        self.assert_heard("speakers", 440, AMPLITUDE * gain_of(75))
        self.order("setStreamingSynthesizerDeviceMute", microphone, mute=True)
        self.assert_silent("speakers", 440)
        self.order("setPersonalSynthesizerDeviceMute", microphone, mute=False)
        self.assert_heard("headset", 440, AMPLITUDE * gain_of(50))
        self.order("addToPersonalSynthesizer", microphone, checked=False)
        self.assert_silent("headset", 440)
        self.assert_sound(self.virtual, {440: AMPLITUDE})

    def test_nothing_is_heard_while_the_mode_changes(self):
        self.say(440)
        self.use(self.real)
        microphone = self.output(MICROPHONE)
        self.order("switchPersonalSynthesizerDevice", self.output("Headset"))
        self.order("switchStreamingSynthesizerDevice", self.output("Speakers"))
        self.order("addToPersonalSynthesizer", microphone, checked=True)
        self.order("addToStreamingSynthesizer", microphone, checked=True)
        self.assert_sound(self.virtual, {440: AMPLITUDE})
        mixes = ("headset.monitor", "speakers.monitor")
        for mode, in_the_mixes in (("StreamerMode", AMPLITUDE), ("NormalMode", 0),
                                   ("StreamerMode", AMPLITUDE)):
            with self.subTest(mode=mode):
                self.client.send("setControlMode", mode=mode)
                self.client.barrier()
                for source in (*mixes, self.virtual):
                    self.assert_sound(source, {440: 0})
                self.assert_stays_silent(*mixes, self.virtual)
                self.client.send("finishSetControlMode", mode=mode)
                self.assert_sound(self.virtual, {440: AMPLITUDE})
                for source in mixes:
                    self.assert_sound(source, {440: in_the_mixes})

    def test_an_unknown_microphone_is_silent_and_the_next_one_is_heard(self):
        self.say(440)
        self.use({"deviceName": "Nobody",
                  "deviceID": "{0.0.1.00000000}.{00000000-0000-0000-0000-000000000000}"})
        self.program.await_log("Critical: Capture microphone - Can't find device:")
        self.use(self.real)
        self.assert_sound(self.virtual, {440: AMPLITUDE})

    def test_switching_to_and_fro_leaves_one_capture(self):
        self.say(440)
        for _ in range(20):
            self.use(self.real)
        self.assert_sound(self.virtual, {440: AMPLITUDE})
        eventually(lambda: len([stream for stream in audio.pactl_list("source-outputs")
                                if stream["properties"].get("application.name") == "Quorvane"
                                and stream["properties"].get("target.object")
                                == "real_microphone"]) == 1,
                   what="one capture stream")


if __name__ == "__main__":
    unittest.main(verbosity=2)
