"""Seven speakers with a tone each, on two endpoints: who is heard where, and how loud."""
import unittest

import audio
from program import ON_DEMAND, full_name
from soundcase import SoundCase, gain_of

TONES = {"Aux": 300, "Aux2": 500, "Aux3": 700, "Browser": 900, "Chat": 1100, "Gaming": 1300,
         "Media": 1700}
UNIT = 0.1  # seven of them stay below full scale
AT_HEADSET = ("Aux", "Aux3", "Chat", "Media")


class LevelsTest(SoundCase):
    def setUp(self):
        super().setUp()
        for word in ON_DEMAND:
            self.client.send("addOutputDevice", outputDeviceName=word)
            self.client.wait_for("finishAddOutputDevice", outputDeviceName=word)
        for name in ON_DEMAND:
            self.give_full_level(full_name(name), self.output(full_name(name)))
        for name, hertz in TONES.items():
            self.play(name, hertz, amplitude=UNIT)
            self.client.route(name, "Headset" if name in AT_HEADSET else "Speakers")

    def assert_levels(self, **gains):
        """Each endpoint hears just the tones routed to it, at these gains or else at 1."""
        for sink, hears in (("headset", True), ("speakers", False)):
            self.assert_sound(f"{sink}.monitor", {
                hertz: UNIT * gains.get(name, 1.0) if (name in AT_HEADSET) == hears else 0
                for name, hertz in TONES.items()}, UNIT)

    def test_each_tone_at_the_level_of_its_own_endpoint(self):
        self.assert_levels()
        levels = {"Aux": 90, "Aux2": 75, "Aux3": 50, "Browser": 25, "Chat": 60, "Gaming": 99,
                  "Media": 40}
        for name, percent in levels.items():
            self.order("setDeviceVolume", self.output(full_name(name)), deviceVolume=percent)
        self.assert_levels(**{name: gain_of(percent) for name, percent in levels.items()})

        chat = self.output(full_name("Chat"))
        self.order("setDeviceMute", chat, deviceMute=True)
        levels["Chat"] = 0
        gaming = self.output(full_name("Gaming"))
        self.order("decreaseDeviceVolume", gaming, singleStep=9)
        levels["Gaming"] = 90
        self.order("increaseDeviceVolume", self.output(full_name("Aux2")), singleStep=5)
        levels["Aux2"] = 80
        self.order("increaseDeviceVolume", self.output(full_name("Aux")), singleStep=50)
        levels["Aux"] = 100
        self.assert_levels(**{name: gain_of(percent) for name, percent in levels.items()})

        # From outside as well.
        audio.pactl("set-sink-volume", audio.sink_named(full_name("Media")), "70%")
        self.client.wait_for("deviceControlChanged", deviceName=full_name("Media"),
                             deviceVolume=70)
        audio.pactl("set-sink-mute", audio.sink_named(full_name("Chat")), "0")
        self.client.wait_for("deviceControlChanged", deviceName=full_name("Chat"),
                             deviceMute=False)
        levels.update(Media=70, Chat=60)
        self.assert_levels(**{name: gain_of(percent) for name, percent in levels.items()})

    def test_the_real_endpoints_level_is_the_servers_to_apply(self):
        self.assert_levels()
        self.order("setDeviceVolume", self.output("Headset"), deviceVolume=30)
        self.assertEqual(self.events_about("Headset"), [])
        server_gain = 0.3 ** 3  # the server's own curve
        self.assert_levels(**{name: server_gain for name in AT_HEADSET})
        self.order("setDeviceVolume", self.output("Headset"), deviceVolume=100)
        self.assert_levels()

    def test_a_removed_channel_falls_silent_and_sounds_again_when_added(self):
        self.assert_levels()
        self.client.send("removeOutputDevice", outputDeviceName="Aux3")
        self.client.wait_for("finishRemoveOutputDevice", outputDeviceName="Aux3")
        self.assertNotIn(full_name("Aux3"), self.client.outputs())
        self.tones.pop(list(TONES).index("Aux3")).stop()
        self.assert_levels(Aux3=0)
        self.client.send("addOutputDevice", outputDeviceName="Aux3")
        self.client.wait_for("finishAddOutputDevice", outputDeviceName="Aux3")
        self.play("Aux3", TONES["Aux3"], amplitude=UNIT)
        self.client.route("Aux3", "Headset")
        self.assert_levels()


if __name__ == "__main__":
    unittest.main(verbosity=2)
