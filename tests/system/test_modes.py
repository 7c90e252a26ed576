"""Streamer mode: two mixes with their own members, volumes and mutes, and the switch between."""
import unittest

import audio
from program import eventually, full_name
from soundcase import AMPLITUDE, SoundCase, gain_of

STREAM = full_name("Stream")
GAMING, MEDIA = full_name("Gaming"), full_name("Media")
GAME_TONE, MEDIA_TONE = 700, 1100


class StreamerModeTest(SoundCase):
    """Gaming and Media play; the personal mix is at Headset, the streaming one at Speakers."""

    def setUp(self):
        super().setUp()
        self.play("Gaming", GAME_TONE)
        self.play("Media", MEDIA_TONE)
        self.set_mode("StreamerMode")
        self.order("switchPersonalSynthesizerDevice", self.output("Headset"))
        self.order("switchStreamingSynthesizerDevice", self.output("Speakers"))
        self.gaming, self.media = self.output(GAMING), self.output(MEDIA)

    def assert_mixes(self, personal, streaming, streaming_source="speakers.monitor"):
        """What each mix hears, as gains of Gaming and Media."""
        for source, (game, media) in (("headset.monitor", personal),
                                      (streaming_source, streaming)):
            self.assert_sound(source, {GAME_TONE: AMPLITUDE * game, MEDIA_TONE: AMPLITUDE * media})

    def test_members(self):
        self.assert_mixes((1, 1), (0, 0))  # in the personal mix until taken out
        self.order("addToStreamingSynthesizer", self.gaming, checked=True)
        self.assert_mixes((1, 1), (1, 0))
        self.order("addToPersonalSynthesizer", self.gaming, checked=False)
        self.assert_mixes((0, 1), (1, 0))
        self.order("addToStreamingSynthesizer", self.media, checked=True)
        self.order("addToPersonalSynthesizer", self.media, checked=False)
        self.assert_mixes((0, 0), (1, 1))
        # Stream itself is no member of any mix, and neither is a stranger.
        for name in (STREAM, "nobody", "Gaming"):
            self.order("addToPersonalSynthesizer", {"deviceName": name, "deviceID": ""},
                       checked=True)
        self.order("addToStreamingSynthesizer", self.gaming, checked=False)
        self.assert_mixes((0, 0), (0, 1))

    def test_volumes_and_mutes(self):
        for device in (self.gaming, self.media):
            self.order("addToStreamingSynthesizer", device, checked=True)
        self.order("setPersonalSynthesizerDeviceVolume", self.gaming, deviceVolume=50)
        self.order("setPersonalSynthesizerDeviceVolume", self.media, deviceVolume=75)
        self.order("setStreamingSynthesizerDeviceVolume", self.gaming, deviceVolume=90)
        self.order("setStreamingSynthesizerDeviceVolume", self.media, deviceVolume=25)
        self.assert_mixes((gain_of(50), gain_of(75)), (gain_of(90), gain_of(25)))
        self.order("setPersonalSynthesizerDeviceMute", self.gaming, mute=True)
        self.order("setStreamingSynthesizerDeviceMute", self.media, mute=True)
        self.assert_mixes((0, gain_of(75)), (gain_of(90), 0))
        # A volume changed during the mute sounds when the mute ends.
        self.order("setPersonalSynthesizerDeviceVolume", self.gaming, deviceVolume=60)
        self.assert_mixes((0, gain_of(75)), (gain_of(90), 0))
        self.order("setPersonalSynthesizerDeviceMute", self.gaming, mute=False)
        self.order("setStreamingSynthesizerDeviceMute", self.media, mute=False)
        self.assert_mixes((gain_of(60), gain_of(75)), (gain_of(90), gain_of(25)))

    def test_mixes_move(self):
        self.order("addToStreamingSynthesizer", self.media, checked=True)
        self.assert_mixes((1, 1), (0, 1))
        self.order("switchPersonalSynthesizerDevice", self.output("Speakers"))
        self.order("switchStreamingSynthesizerDevice", self.output("Headset"))
        self.assert_sound("headset.monitor", {GAME_TONE: 0, MEDIA_TONE: AMPLITUDE})
        self.assert_sound("speakers.monitor", {GAME_TONE: AMPLITUDE, MEDIA_TONE: AMPLITUDE})
        # Both on one endpoint: it adds them up.
        self.order("switchStreamingSynthesizerDevice", self.output("Speakers"))
        self.order("addToPersonalSynthesizer", self.media, checked=False)
        self.assert_sound("speakers.monitor", {GAME_TONE: AMPLITUDE, MEDIA_TONE: AMPLITUDE})
        self.assert_sound("headset.monitor", {GAME_TONE: 0, MEDIA_TONE: 0})
        # Without a name nothing moves.
        self.order("switchPersonalSynthesizerDevice",
                   {"deviceName": "", "deviceID": self.output("Headset")["deviceID"]})
        self.assert_sound("headset.monitor", {GAME_TONE: 0, MEDIA_TONE: 0})

    def test_a_mix_whose_endpoint_leaves(self):
        module = self.load_sink("extra", "Extra")
        self.client.wait_for("deviceAdded", deviceName="Extra")
        self.order("switchPersonalSynthesizerDevice", self.output("Extra"))
        self.assert_sound("extra.monitor", {GAME_TONE: AMPLITUDE, MEDIA_TONE: AMPLITUDE})
        audio.unload(module)
        self.client.wait_for("deviceRemoved")
        self.order("switchPersonalSynthesizerDevice", self.output("Headset"))
        self.assert_mixes((1, 1), (0, 0))

    def test_a_channel_added_late_joins_with_the_next_switch(self):
        self.client.send("addOutputDevice", outputDeviceName="Browser")
        self.client.wait_for("finishAddOutputDevice")
        self.play("Browser", 300)
        self.assert_mixes((1, 1), (0, 0))
        self.assert_silent("headset", 300)
        self.order("switchPersonalSynthesizerDevice", self.output("Headset"))
        self.assert_heard("headset", 300)
        self.assert_mixes((1, 1), (0, 0))

    def test_streams_own_level_counts_only_where_stream_is_the_target(self):
        for device in (self.gaming, self.media):
            self.order("addToStreamingSynthesizer", device, checked=True)
        stream = self.output(STREAM)
        self.give_full_level(STREAM, stream)
        virtual = audio.source_named(STREAM)
        self.order("setDeviceVolume", stream, deviceVolume=50)
        self.assert_mixes((1, 1), (1, 1))  # the target is Speakers
        # The level is taken up with the switch ...
        self.order("switchStreamingSynthesizerDevice", stream)
        self.assert_mixes((1, 1), (gain_of(50), gain_of(50)), virtual)
        # ... and times the member's own.
        self.order("setStreamingSynthesizerDeviceVolume", self.gaming, deviceVolume=75)
        self.order("setDeviceVolume", stream, deviceVolume=90)
        self.assert_mixes((1, 1), (gain_of(90) * gain_of(75), gain_of(90)), virtual)
        self.order("setDeviceMute", stream, deviceMute=True)
        self.assert_mixes((1, 1), (0, 0), virtual)
        self.order("switchStreamingSynthesizerDevice", self.output("Speakers"))
        self.assert_mixes((1, 1), (gain_of(75), 1))
        self.order("switchStreamingSynthesizerDevice", stream)
        self.assert_mixes((1, 1), (0, 0), virtual)
        self.order("setDeviceMute", stream, deviceMute=False)
        self.assert_mixes((1, 1), (gain_of(90) * gain_of(75), gain_of(90)), virtual)

    def test_virtual_endpoints_are_held_at_full_level(self):
        sink = audio.sink_named(GAMING)

        def is_full():
            state = next(info for info in audio.pactl_list("sinks") if info["name"] == sink)
            return not state["mute"] and all(channel["value_percent"] == "100%"
                                             for channel in state["volume"].values())
        for change in (("set-sink-volume", sink, "40%"), ("set-sink-mute", sink, "1")):
            told = self.program.log().count("onDeviceControlChanged() : end")
            audio.pactl(*change)
            eventually(lambda: self.program.log().count("onDeviceControlChanged() : end") > told,
                       what="the change of somebody else's")
            eventually(is_full, what="the full level")
        self.assertEqual(self.output(GAMING)["deviceVolume"], 100)
        self.assert_mixes((1, 1), (0, 0))
        self.assertEqual(self.events_about(GAMING), [])
        # A real endpoint's change is told, and Stream's too, and both keep it.
        audio.pactl("set-sink-volume", "headset", "60%")
        self.client.wait_for("deviceControlChanged", deviceName="Headset", deviceVolume=60)
        audio.pactl("set-sink-volume", audio.sink_named(STREAM), "70%")
        self.client.wait_for("deviceControlChanged", deviceName=STREAM, deviceVolume=70)
        self.assertEqual(self.output("Headset")["deviceVolume"], 60)
        self.assertEqual(self.output(STREAM)["deviceVolume"], 70)


class ModeSwitchTest(SoundCase):
    def assert_falls_silent(self):
        """What was on its way when the mode changed is over soon, and nothing follows."""
        sinks = ("speakers", "headset")
        for sink in sinks:
            self.assert_silent(sink, GAME_TONE)
        self.assert_stays_silent(*(f"{sink}.monitor" for sink in sinks))

    def test_nothing_sounds_between_the_two_commands(self):
        self.play("Gaming", GAME_TONE)
        self.client.route("Gaming", "Speakers")
        self.assert_heard("speakers", GAME_TONE)
        self.client.send("setControlMode", mode="StreamerMode")
        self.client.barrier()
        self.order("switchPersonalSynthesizerDevice", self.output("Headset"))
        self.assert_falls_silent()
        self.client.send("finishSetControlMode", mode="StreamerMode")
        self.assert_heard("headset", GAME_TONE)
        self.assert_silent("speakers", GAME_TONE)

        self.client.send("setControlMode", mode="NormalMode")
        self.client.barrier()
        self.assert_falls_silent()
        # A switch can be redone before its end; a mode that does not exist changes nothing.
        self.client.send("setControlMode", mode="StreamerMode")
        self.client.send("setControlMode", mode="NormalMode")
        self.client.send("setControlMode", mode="Loud")
        self.client.send("finishSetControlMode", mode="Loud")
        self.client.barrier()
        self.assert_silent("speakers", GAME_TONE)
        self.client.send("finishSetControlMode", mode="NormalMode")
        self.assert_heard("speakers", GAME_TONE)
        self.assert_silent("headset", GAME_TONE)

    def stream_lists(self):
        return [STREAM in self.client.outputs(), STREAM in self.client.inputs()]

    def test_stream_is_there_in_streamer_mode_only_and_the_defaults_stay(self):
        def defaults():
            return (audio.pactl("get-default-sink").strip(),
                    audio.pactl("get-default-source").strip())
        before = defaults()
        for _ in range(2):
            self.set_mode("StreamerMode")
            # A busy server may follow late.
            eventually(lambda: self.stream_lists() == [True, True], what="Stream")
            self.assertEqual(defaults(), before)
            self.set_mode("NormalMode")
            eventually(lambda: self.stream_lists() == [False, False], what="Stream's end")
            self.assertEqual(defaults(), before)


if __name__ == "__main__":
    unittest.main(verbosity=2)
