"""The balance of game against chat, in both modes."""
import unittest

import server
from program import full_name
from soundcase import AMPLITUDE, SoundCase, gain_of

GAMING, CHAT = full_name("Gaming"), full_name("Chat")
GAME_TONE, CHAT_TONE, MEDIA_TONE = 700, 1100, 1500
PROPORTIONS = (-100, -50, 0, 50, 100)


class MixTest(SoundCase):
    unit = AMPLITUDE / 2

    def setUp(self):
        super().setUp()
        for name, hertz in (("Gaming", GAME_TONE), ("Chat", CHAT_TONE), ("Media", MEDIA_TONE)):
            self.play(name, hertz, amplitude=self.unit)

    def assert_balance(self, source, game, chat, media=1.0):
        self.assert_sound(source, {GAME_TONE: self.unit * game, CHAT_TONE: self.unit * chat,
                                   MEDIA_TONE: self.unit * media}, self.unit)

    def balance(self, gaming, chat):
        self.client.send("setGamingChatMixProportion", gaming=gaming, chat=chat)
        self.client.barrier()

    def enable(self, enabled):
        self.client.send("setGamingChatMixEnable", enable=enabled)
        self.client.barrier()

    @staticmethod
    def gain(percent, proportion):
        """The player clamps what is above full scale."""
        return min(gain_of(percent) * (proportion + 100) / 100, 1.0)

    def test_normal_mode(self):
        for name in ("Gaming", "Chat", "Media"):
            self.client.route(name, "Headset")
        for name in (GAMING, CHAT, full_name("Media")):
            self.order("setDeviceVolume", self.output(name), deviceVolume=50)
        plain = gain_of(50)

        self.balance(-100, 100)  # not enabled yet: kept for later
        self.assert_balance("headset.monitor", plain, plain, plain)
        self.enable(True)
        self.assert_balance("headset.monitor", 0, self.gain(50, 100), plain)
        for proportion in PROPORTIONS:
            with self.subTest(proportion=proportion):
                self.balance(proportion, -proportion)
                self.assert_balance("headset.monitor", self.gain(50, proportion),
                                    self.gain(50, -proportion), plain)
        # A change of volume keeps the balance ...
        self.balance(-50, 50)
        self.order("setDeviceVolume", self.output(GAMING), deviceVolume=75)
        self.assert_balance("headset.monitor", self.gain(75, -50), self.gain(50, 50), plain)
        # ... and so does a disable the plain levels.
        self.enable(False)
        self.assert_balance("headset.monitor", gain_of(75), plain, plain)
        self.enable(True)
        self.assert_balance("headset.monitor", self.gain(75, -50), self.gain(50, 50), plain)

    def test_streamer_mode(self):
        self.set_mode("StreamerMode")
        self.order("switchPersonalSynthesizerDevice", self.output("Headset"))
        self.order("switchStreamingSynthesizerDevice", self.output("Speakers"))
        for name in (GAMING, CHAT, full_name("Media")):
            self.order("addToStreamingSynthesizer", self.output(name), checked=True)
            self.order("setPersonalSynthesizerDeviceVolume", self.output(name), deviceVolume=50)

        def assert_both(gaming, chat):
            plain = gain_of(50)
            self.assert_balance("headset.monitor", self.gain(50, gaming), self.gain(50, chat),
                                plain)
            self.assert_balance("speakers.monitor", self.gain(100, gaming), self.gain(100, chat))
        self.enable(True)
        for proportion in PROPORTIONS:
            with self.subTest(proportion=proportion):
                self.balance(proportion, -proportion)
                assert_both(proportion, -proportion)
        self.balance(-50, 0)
        self.order("setPersonalSynthesizerDeviceVolume", self.output(GAMING), deviceVolume=75)
        self.assert_balance("headset.monitor", self.gain(75, -50), gain_of(50), gain_of(50))
        self.enable(False)
        self.assert_balance("headset.monitor", gain_of(75), gain_of(50), gain_of(50))
        self.assert_balance("speakers.monitor", 1, 1)

    def test_a_reopened_channel_forgets_its_factor_until_the_next_command(self):
        for name in ("Gaming", "Chat", "Media"):
            self.client.route(name, "Headset")
        self.enable(True)
        self.balance(-50, -50)
        self.assert_balance("headset.monitor", 0.5, 0.5)
        # A mode switch opens nothing anew.
        self.set_mode("StreamerMode")
        self.set_mode("NormalMode")
        self.assert_balance("headset.monitor", 0.5, 0.5)
        # A server that comes back does.
        for tone in self.tones:
            tone.stop()
        self.tones.clear()
        server.stop()
        self.client.wait_for("deviceNotPresent", 30)
        server.start()
        self.client.await_endpoints()
        for name, hertz in (("Gaming", GAME_TONE), ("Chat", CHAT_TONE), ("Media", MEDIA_TONE)):
            self.client.route(name, "Headset")
            self.play(name, hertz, amplitude=self.unit)
        self.assert_balance("headset.monitor", 1, 1)
        self.balance(-50, -50)
        self.assert_balance("headset.monitor", 0.5, 0.5)


if __name__ == "__main__":
    unittest.main(verbosity=2)
