#!/usr/bin/env python3
"""Random commands from two clients at a rate, while four channels play, endpoints come and go and
the mode changes. The sound that should flow must still flow at the end.

    scripts/private-server.sh --own-network \\
        tests/system/load.py [SECONDS] [COMMANDS A SECOND] [SEED] [MIB] [TOLERANCE]

QUORVANE_BUILD names the build folder. The program may grow by so many MiB; the address sanitizer
keeps freed memory back and needs a thousand. The tones may be off by this part of their amplitude
at the end: with a sanitizer the program is too slow for whole ones on a busy machine. The exit code
is 0 when all is well; what it sent and what the program used is printed.
"""
import os
import pathlib
import random
import sys
import time
import unittest

import audio
from program import ON_DEMAND, Client, full_name
from soundcase import AMPLITUDE, SoundCase

TONES = {"Aux": 300, "Chat": 500, "Gaming": 700, "Media": 1100}
CHANNELS = ("Aux", "Aux2", "Aux3", "Browser", "Chat", "Gaming", "Media", "Microphone", "Stream")


def resident_kib(pid):
    status = pathlib.Path(f"/proc/{pid}/status").read_text()
    return int(status.split("VmRSS:")[1].split()[0])


def open_files(pid):
    return len(os.listdir(f"/proc/{pid}/fd"))


class Orders:
    """Random commands: all that are about sound, in every mode, with endpoints that are there,
    that are not, and that will be gone."""

    def __init__(self, seed, endpoints):
        self.random = random.Random(seed)
        self.endpoints = endpoints + [("Nobody", "{0.0.0.00000000}.{nobody}"), ("", "")]

    def address(self):
        name, identifier = self.random.choice(self.endpoints)
        return {"deviceName": name, "deviceID": identifier}

    def member(self):
        return {"deviceName": full_name(self.random.choice(CHANNELS)), "deviceID": ""}

    def next(self):
        pick, percent = self.random.choice, self.random.randint(0, 100)
        mix = pick(("Personal", "Streaming"))
        kind = pick(("outputDevice", "inputDevice", ""))
        return self.random.choices((
            ("getOutputDeviceInfos", {}),
            ("getInputDeviceInfos", {}),
            ("heartbeat", {}),
            ("getDeviceVolume", {"deviceType": kind, **self.address()}),
            ("getDeviceMute", {"deviceType": kind, **self.address()}),
            ("setDeviceVolume", {"deviceType": kind, **self.address(), "deviceVolume": percent}),
            ("setDeviceMute", {"deviceType": kind, **self.address(), "deviceMute": pick((True,
                                                                                      False))}),
            ("increaseDeviceVolume", {**self.address(), "singleStep": percent}),
            ("decreaseDeviceVolume", {**self.address(), "singleStep": percent}),
            (f"addTo{mix}Synthesizer", {**self.member(), "checked": pick((True, False))}),
            (f"set{mix}SynthesizerDeviceVolume", {**self.member(), "deviceVolume": percent}),
            (f"set{mix}SynthesizerDeviceMute", {**self.member(), "mute": pick((True, False))}),
            ("setGamingChatMixProportion", {"gaming": percent * 2 - 100, "chat": 100 - percent}),
            ("setGamingChatMixEnable", {"enable": pick((True, False))}),
            # Those that open streams cost a thousand times more, and are as rare.
            ("switchDevice", {"deviceType": kind, "routeDeviceName": full_name(pick(CHANNELS)),
                              **self.address()}),
            (f"switch{mix}SynthesizerDevice", self.address()),
            ("switchMicrophoneInputDevice", self.address()),
            ("setControlMode", {"mode": pick(("NormalMode", "StreamerMode"))}),
            ("finishSetControlMode", {"mode": pick(("NormalMode", "StreamerMode"))}),
            ("addOutputDevice", {"outputDeviceName": pick(ON_DEMAND)}),
            ("removeOutputDevice", {"outputDeviceName": pick(ON_DEMAND)}),
            ("setCurrentDevice", {"deviceType": kind, **self.address()}),
        ), weights=(1, 1, 20) + (50,) * 11 + (0.2, 0.05, 0.1, 0.05, 0.1, 0.05, 0.05, 0.1))[0]


class LoadTest(SoundCase):
    seconds, rate, seed = 10.0, 2000, 1
    growth = 64  # MiB; a leak at this rate would be far more
    tolerance = 0.02

    def test_sound_flows_after_a_storm(self):
        for name, hertz in TONES.items():
            self.play(name, hertz)
            self.client.route(name, "Headset")
        self.say(440)
        endpoints = [(info["deviceName"], info["deviceID"]) for info in
                     (*self.client.outputs().values(), *self.client.inputs().values())]
        pid = self.program.process.pid
        before = resident_kib(pid)
        sent = self.storm(Orders(self.seed, endpoints))
        self.assertIsNone(self.program.process.poll())
        self.restore()
        for hertz in TONES.values():
            self.assert_sound("headset.monitor", {hertz: AMPLITUDE}, tolerance=self.tolerance)
        self.assert_sound(audio.source_named(full_name("Microphone")), {440: AMPLITUDE},
                          tolerance=self.tolerance)
        after = resident_kib(pid)
        print(f"\nload: {sent} commands, seed {self.seed}; {before} KiB before, {after} KiB after,"
              f" {open_files(pid)} descriptors")
        self.assertLess(after - before, self.growth * 1024)

    def storm(self, orders):
        """Sends as told and lets an endpoint come and go every second; the count."""
        clients = [self.client, Client()]
        begin, sent, extra = time.monotonic(), 0, None
        while (elapsed := time.monotonic() - begin) < self.seconds:
            while sent < elapsed * self.rate:
                event, payload = orders.next()
                clients[sent % 2].send(event, **payload)
                sent += 1
            if int(elapsed) % 2 and not extra:
                extra = audio.load_sink("extra", "Extra")
            elif not int(elapsed) % 2 and extra:
                extra = audio.unload(extra)
            for client in clients:
                client.drop_events()
        if extra:
            audio.unload(extra)
        clients[1].close()
        return sent

    def restore(self):
        """Everything as it was, ordered by a client of its own: the newest gets the answers."""
        self.client.close()
        self.client = Client()
        self.client.barrier(120)
        self.client.settle()
        self.set_mode("NormalMode")
        self.client.send("setGamingChatMixEnable", enable=False)
        # A level that was ordered in streamer mode did not reach the channels, and what an endpoint
        # has already is no change: each one goes to another level first.
        for info in (*self.client.outputs().values(), *self.client.inputs().values()):
            self.order("setDeviceVolume", info, deviceVolume=50)
            self.order("setDeviceMute", info, deviceMute=True)
        self.client.settle()
        for name, info in (*self.client.outputs().items(), *self.client.inputs().items()):
            self.give_full_level(name, info)
        self.client.settle()
        # An application that plays into the endpoint that is just made the default follows the
        # default from then on: so the session manager, whatever endpoint the application asked for.
        # The tones, that of the microphone among them, are elsewhere after a few such orders.
        for tone in self.tones:
            tone.stop()
        self.tones.clear()
        for name, hertz in TONES.items():
            self.play(name, hertz)
            self.client.route(name, "Headset")
        self.say(440)
        self.order("switchMicrophoneInputDevice", self.input("Real microphone"))


if __name__ == "__main__":
    for attribute, text in zip(("seconds", "rate", "seed", "growth", "tolerance"), sys.argv[1:]):
        setattr(LoadTest, attribute, type(getattr(LoadTest, attribute))(text))
    unittest.main(verbosity=2, argv=sys.argv[:1])
