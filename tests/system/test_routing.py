"""What an application plays into a virtual speaker is heard where the client routed it."""
import unittest

import audio
from program import full_name
from soundcase import AMPLITUDE, SILENCE, SoundCase, gain_of


class RoutingTest(SoundCase):
    def test_gaming_sounds_on_the_chosen_endpoint(self):
        for player in ("paplay", "pw-play"):
            with self.subTest(player=player):
                tone = self.play("Gaming", 440, player)
                self.client.route("Gaming", "Headset")
                self.assert_heard("headset", 440)
                self.assert_silent("speakers", 440)
                self.client.route("Gaming", "Speakers")
                self.assert_heard("speakers", 440)
                self.assert_silent("headset", 440)
                tone.stop()
                self.assert_silent("speakers", 440)

    def test_each_channel_goes_its_own_way(self):
        tones = {"Aux": 300, "Chat": 500, "Gaming": 700, "Media": 1100}
        for name, hertz in tones.items():
            self.play(name, hertz)
            self.client.route(name, "Headset" if name in ("Aux", "Gaming") else "Speakers")
        for name, hertz in tones.items():
            here, there = (("headset", "speakers") if name in ("Aux", "Gaming")
                           else ("speakers", "headset"))
            self.assert_heard(here, hertz)
            self.assert_silent(there, hertz)

    def test_level_of_the_virtual_endpoint_is_the_one_gain(self):
        self.play("Gaming", 440)
        self.client.route("Gaming", "Headset")
        gaming = self.client.outputs()[full_name("Gaming")]["deviceID"]

        def order(event, **values):
            self.client.send(event, deviceType="outputDevice", deviceName=full_name("Gaming"),
                             deviceID=gaming, **values)
            self.client.barrier()

        for percent in (50, 90, 10, 100):
            with self.subTest(percent=percent):
                order("setDeviceVolume", deviceVolume=percent)
                self.assert_heard("headset", 440, AMPLITUDE * gain_of(percent))
        order("setDeviceMute", deviceMute=True)
        self.assert_silent("headset", 440)
        order("setDeviceMute", deviceMute=False)
        self.assert_heard("headset", 440)
        # The same from outside.
        audio.pactl("set-sink-volume", audio.sink_named(full_name("Gaming")), "50%")
        self.client.wait_for("deviceControlChanged", deviceID=gaming, deviceVolume=50)
        self.assert_heard("headset", 440, AMPLITUDE * gain_of(50))
        audio.pactl("set-sink-mute", audio.sink_named(full_name("Gaming")), "1")
        self.client.wait_for("deviceControlChanged", deviceID=gaming, deviceMute=True)
        self.assert_silent("headset", 440)

    def test_an_order_raises_no_event(self):
        gaming = self.client.outputs()[full_name("Gaming")]["deviceID"]
        self.client.send("setDeviceVolume", deviceType="outputDevice",
                         deviceName=full_name("Gaming"), deviceID=gaming, deviceVolume=40)
        self.client.barrier()
        # A change from outside on another endpoint comes behind whatever the order raised.
        speakers = self.client.outputs()["Speakers"]["deviceID"]
        audio.pactl("set-sink-volume", "speakers", "70%")
        self.client.wait_for("deviceControlChanged", deviceID=speakers, deviceVolume=70)
        self.assertEqual([event for event in self.client.events
                          if event["event"] == "deviceControlChanged"
                          and event["payload"]["deviceID"] == gaming], [])

    def test_endpoint_that_disappears_while_it_plays(self):
        module = audio.load_sink("extra", "Extra")
        self.client.wait_for("deviceAdded", deviceName="Extra")
        self.play("Gaming", 440)
        self.client.route("Gaming", "Extra")
        self.assert_heard("extra", 440)
        extra = self.client.outputs()["Extra"]["deviceID"]
        audio.unload(module)
        self.client.wait_for("deviceRemoved", deviceID=extra)
        self.assertNotIn("Extra", self.client.outputs())
        # Nothing of it is heard elsewhere, and the channel goes on when it is routed anew.
        for sink in ("headset", "speakers"):
            self.assertLess(audio.heard(sink, 440), SILENCE)
        self.client.route("Gaming", "Headset")
        self.assert_heard("headset", 440)

    def test_unknown_routes_do_nothing(self):
        self.play("Gaming", 440)
        self.client.route("Gaming", "Headset")
        headset = self.client.outputs()["Headset"]["deviceID"]
        for name in (full_name("Microphone"), full_name("Stream"), "nobody"):
            self.client.send("switchDevice", deviceType="outputDevice", routeDeviceName=name,
                             deviceName="Headset", deviceID=headset)
        self.client.barrier()
        self.program.await_log("Critical: Unknown device!")
        self.assert_heard("headset", 440)
        self.assertEqual(self.program.log().count("Critical: Unknown device!"), 3)

    def test_route_to_an_unknown_endpoint_leaves_the_channel_silent(self):
        self.play("Gaming", 440)
        self.client.route("Gaming", "Headset")
        self.assert_heard("headset", 440)
        self.client.send("switchDevice", deviceType="outputDevice",
                         routeDeviceName=full_name("Gaming"), deviceName="nowhere",
                         deviceID="{0.0.0.00000000}.{00000000-0000-0000-0000-000000000000}")
        self.client.barrier()
        self.assert_silent("headset", 440)
        self.program.await_log("WASAPIAudioPlayer play audio - Can't find device:")
        self.client.route("Gaming", "Headset")
        self.assert_heard("headset", 440)

    def test_sound_before_the_route_is_not_kept(self):
        """The route comes late: the first that is heard is what is played after it."""
        self.play("Gaming", 440)
        self.assert_heard(audio.sink_named(full_name("Gaming")), 440)
        self.tones.pop().stop()
        with audio.Recording("headset.monitor") as recording:
            self.client.route("Gaming", "Headset")
            self.play("Gaming", 1100)
            self.assert_heard("headset", 1100)
        begin = next(at for at, sample in enumerate(recording.samples) if abs(sample) > SILENCE)
        first = recording.samples[begin:begin + audio.RATE // 10]
        self.assertLess(audio.amplitude_of(first, 440), 0.05 * AMPLITUDE)
        self.assertGreater(audio.amplitude_of(first, 1100), 0.5 * AMPLITUDE)


if __name__ == "__main__":
    unittest.main(verbosity=2)
