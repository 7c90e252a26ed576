"""What the README tells a newcomer to do with quorvanectl, heard at the endpoints."""
import json
import subprocess
import unittest

import audio
from program import BUILD, eventually, full_name
from soundcase import AMPLITUDE, SoundCase, gain_of


def ctl(*words):
    return subprocess.run([BUILD / "quorvanectl", *words], check=True, capture_output=True,
                          text=True, timeout=60).stdout


class ClientTest(SoundCase):
    def test_normal_mode(self):
        ctl("add", "browser")
        self.play("Browser", 300)
        ctl("route", "Browser", "Headset")
        self.assert_heard("headset", 300)
        ctl("volume", "Browser", "50")
        self.assert_heard("headset", 300, AMPLITUDE * gain_of(50))
        self.assertIn("75%", ctl("louder", "Browser", "25"))
        self.assert_heard("headset", 300, AMPLITUDE * gain_of(75))
        self.assertIn("50%", ctl("softer", "Browser", "25"))
        ctl("mute", "Browser", "on")
        self.assert_silent("headset", 300)
        self.tones.pop().stop()
        ctl("remove", "Browser")
        self.assertNotIn(full_name("Browser"), ctl("outputs"))
        ctl("default", "Headset")
        self.assertEqual(audio.pactl("get-default-sink").strip(), "headset")

    def test_microphone(self):
        self.say(440)
        ctl("route", "Microphone", "Real microphone")
        self.assert_sound(audio.source_named(full_name("Microphone")), {440: AMPLITUDE})

    def test_balance(self):
        for name, hertz in (("Gaming", 700), ("Chat", 1100)):
            self.play(name, hertz)
            ctl("route", name, "Headset")
        ctl("balance", "50", "100")
        self.assert_sound("headset.monitor", {700: AMPLITUDE / 2, 1100: AMPLITUDE})
        ctl("balance", "off")
        self.assert_sound("headset.monitor", {700: AMPLITUDE, 1100: AMPLITUDE})

    def test_streamer_mode(self):
        self.play("Gaming", 700)
        self.play("Media", 1100)
        ctl("mode", "streamer")
        ctl("personal", "to", "Headset")
        ctl("streaming", "to", "Stream")
        ctl("streaming", "add", "Gaming")
        ctl("personal", "remove", "Media")
        stream = audio.source_named(full_name("Stream"))
        self.assert_sound("headset.monitor", {700: AMPLITUDE, 1100: 0})
        self.assert_sound(stream, {700: AMPLITUDE, 1100: 0})
        ctl("personal", "volume", "Gaming", "50")
        ctl("streaming", "mute", "Gaming", "on")
        self.assert_sound("headset.monitor", {700: AMPLITUDE * gain_of(50), 1100: 0})
        self.assert_sound(stream, {700: 0, 1100: 0})
        ctl("mode", "normal")
        self.assertNotIn(full_name("Stream"), ctl("outputs"))

    def test_watch_shows_events_as_they_come(self):
        watch = subprocess.Popen([BUILD / "quorvanectl", "--json", "watch", "--count", "3"],
                                 stdout=subprocess.PIPE, text=True)
        volume = 10

        def ends():
            """Events go to who connected last, which it does at some time."""
            nonlocal volume
            volume = volume % 90 + 1
            audio.pactl("set-sink-volume", "headset", f"{volume}%")
            return watch.poll() is not None
        eventually(ends, what="three events")
        with watch.stdout as lines:
            shown = [json.loads(line) for line in lines]
        self.assertEqual([event["event"] for event in shown], ["deviceControlChanged"] * 3)
        first = shown[0]["payload"]["deviceVolume"]
        self.assertEqual([event["payload"]["deviceVolume"] for event in shown],
                         [first, first + 1, first + 2])


if __name__ == "__main__":
    unittest.main(verbosity=2)
