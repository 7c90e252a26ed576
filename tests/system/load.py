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
import collections
import random
import sys
import time
import unittest

import audio
from program import (ON_DEMAND, Client, eventually, eventually_no_more_files, full_name,
                     open_files, resident_kib)
from soundcase import AMPLITUDE, SoundCase

TONES = {"Aux": 300, "Chat": 500, "Gaming": 700, "Media": 1100}
MODES = ("NormalMode", "StreamerMode")
CHANNELS = ("Aux", "Aux2", "Aux3", "Browser", "Chat", "Gaming", "Media", "Microphone", "Stream")


class Orders:
    """Random commands: all that are about sound, in every mode, with endpoints that are there,
    that are not, and that come and go."""

    def __init__(self, seed, endpoints, passing):
        self.random = random.Random(seed)
        self.endpoints = endpoints + [passing, ("Nobody", "{0.0.0.00000000}.{nobody}"), ("", "")]
        self.passing = passing
        self.mode = "NormalMode"
        self.due = {make: self.random.uniform(0, seconds) for make, seconds in SLOW.items()}

    def address(self):
        return as_address(self.random.choice(self.endpoints))

    def target(self):
        """Where streams are opened: often at the endpoint that comes and goes."""
        return self.random.choice((as_address(self.passing), self.address(), self.address()))

    def member(self):
        return {"deviceName": full_name(self.random.choice(CHANNELS)), "deviceID": ""}

    def kind(self):
        return {"deviceType": self.random.choice(("outputDevice", "inputDevice", ""))}

    def mix(self):
        return self.random.choice(("Personal", "Streaming"))

    def percent(self):
        return self.random.randint(0, 100)

    def yes_or_no(self):
        return self.random.choice((True, False))

    def on_demand(self):
        return {"outputDeviceName": self.random.choice(ON_DEMAND)}

    def any_mode(self):
        return {"mode": self.random.choice(MODES)}

    def other_mode(self):
        self.mode = MODES[1 - MODES.index(self.mode)]
        return {"mode": self.mode}

    def next(self, now):
        """One of the slow commands that is due at this second of the storm, or a quick one."""
        for make, seconds in SLOW.items():
            if self.due[make] <= now:
                self.due[make] = now + self.random.uniform(0.5, 1) * seconds
                return make(self)
        return self.random.choice(QUICK)(self)


QUICK = (
    lambda some: ("heartbeat", {}),
    lambda some: ("getDeviceVolume", {**some.kind(), **some.address()}),
    lambda some: ("getDeviceMute", {**some.kind(), **some.address()}),
    lambda some: ("setDeviceVolume", {**some.kind(), **some.address(),
                                      "deviceVolume": some.percent()}),
    lambda some: ("setDeviceMute", {**some.kind(), **some.address(),
                                    "deviceMute": some.yes_or_no()}),
    lambda some: ("increaseDeviceVolume", {**some.address(), "singleStep": some.percent()}),
    lambda some: ("decreaseDeviceVolume", {**some.address(), "singleStep": some.percent()}),
    lambda some: (f"addTo{some.mix()}Synthesizer", {**some.member(), "checked": some.yes_or_no()}),
    lambda some: (f"set{some.mix()}SynthesizerDeviceVolume", {**some.member(),
                                                              "deviceVolume": some.percent()}),
    lambda some: (f"set{some.mix()}SynthesizerDeviceMute", {**some.member(),
                                                            "mute": some.yes_or_no()}),
    lambda some: ("setGamingChatMixProportion", {"gaming": some.percent() * 2 - 100,
                                                 "chat": 100 - some.percent()}),
    lambda some: ("setGamingChatMixEnable", {"enable": some.yes_or_no()}),
)
# Those that list everything or open streams cost a thousand times more: one of each comes at least
# so often, in seconds, whatever the rate.
SLOW = {
    lambda some: ("getOutputDeviceInfos", {}): 0.5,
    lambda some: ("getInputDeviceInfos", {}): 0.5,
    lambda some: ("switchDevice", {**some.kind(), **some.target(),
                                   "routeDeviceName": some.member()["deviceName"]}): 1,
    lambda some: ("switchPersonalSynthesizerDevice", some.target()): 2,
    lambda some: ("switchStreamingSynthesizerDevice", some.target()): 2,
    lambda some: ("switchMicrophoneInputDevice", some.target()): 2,
    lambda some: ("setControlMode", some.other_mode()): 2,
    lambda some: ("finishSetControlMode", some.any_mode()): 2,
    lambda some: ("addOutputDevice", some.on_demand()): 2,
    lambda some: ("removeOutputDevice", some.on_demand()): 2,
    lambda some: ("setCurrentDevice", {**some.kind(), **some.address()}): 2,
}


def as_address(endpoint):
    return dict(zip(("deviceName", "deviceID"), endpoint))


class LoadTest(SoundCase):
    seconds, rate, seed = 10.0, 2000, 1
    growth = 64  # MiB; a leak at this rate would be far more
    tolerance = 0.02

    def test_sound_flows_after_a_storm(self):
        self.arrange()
        self.assert_sound_flows()
        endpoints = [(info["deviceName"], info["deviceID"]) for info in
                     (*self.client.outputs().values(), *self.client.inputs().values())]
        passing = ("Extra", self.pass_by())
        pid = self.program.process.pid
        files, memory = open_files(pid), resident_kib(pid)
        sent = self.storm(Orders(self.seed, endpoints, passing))
        self.assertIsNone(self.program.process.poll())
        self.arrange()
        self.assert_sound_flows()
        print(f"load: {memory} KiB before, {resident_kib(pid)} KiB after; {files} descriptors "
              f"before, {open_files(pid)} after")
        self.assert_all_kinds(sent)
        eventually_no_more_files(pid, files)
        self.assertLess(resident_kib(pid) - memory, self.growth * 1024)

    def assert_sound_flows(self):
        for hertz in TONES.values():
            self.assert_sound("headset.monitor", {hertz: AMPLITUDE}, tolerance=self.tolerance)
        self.assert_sound(audio.source_named(full_name("Microphone")), {440: AMPLITUDE},
                          tolerance=self.tolerance)

    def pass_by(self):
        """Lets the endpoint come and go once, for its ID."""
        module = self.load_sink("extra", "Extra")
        identifier = self.client.wait_for("deviceAdded", deviceName="Extra")["deviceID"]
        audio.unload(module)
        self.client.wait_for("deviceRemoved", deviceID=identifier)
        return identifier

    def storm(self, orders):
        """Sends as many as told, in that time where the machine is fast enough, and lets an endpoint
        come and go every second; what was sent."""
        clients = [self.client, Client()]
        begin, sent, extra = time.monotonic(), [], None
        while len(sent) < self.seconds * self.rate:
            elapsed = time.monotonic() - begin
            while len(sent) < min(elapsed, self.seconds) * self.rate:
                event, payload = orders.next(elapsed)
                clients[len(sent) % 2].send(event, **payload)
                sent.append((event, payload))
            if int(elapsed) % 2 and not extra:
                extra = audio.load_sink("extra", "Extra")
            elif not int(elapsed) % 2 and extra:
                extra = audio.unload(extra)
            for client in clients:
                client.drop_events()
        print(f"\nload: {len(sent) / (time.monotonic() - begin):.0f} commands a second")
        if extra:
            audio.unload(extra)
        self.hand_over(clients[1])
        return sent

    def assert_all_kinds(self, sent):
        """Whatever the rate, nothing that is rare stayed out."""
        counts = collections.Counter(event for event, _ in sent)
        routes = sum(payload.get("deviceName") == "Extra" for event, payload in sent
                     if event.startswith("switch"))
        print(f"load: {len(sent)} commands, seed {self.seed}, {routes} routes to what comes and "
              f"goes: {dict(counts)}")
        some = Orders(self.seed, [], ("", ""))
        self.assertLessEqual({make(some)[0] for make in (*QUICK, *SLOW)}, set(counts))
        self.assertGreaterEqual(counts["setControlMode"], 2)  # each of them to the other mode
        self.assertGreater(routes, 0)

    def hand_over(self, newest):
        """Whatever the older client sent is handled once it is closed; the newest one gets the
        answers from then on."""
        begin = time.monotonic()
        self.client.close()
        self.client = newest
        self.client.barrier(2 * self.seconds + 120)
        print(f"load: {time.monotonic() - begin:.1f} s behind")
        self.client.settle()

    def arrange(self):
        """Everything as it is to be before the storm and after it."""
        for mode in reversed(MODES):
            self.set_mode(mode)
        self.client.send("setGamingChatMixEnable", enable=False)
        # A channel that is removed keeps the streams that it had.
        for word in ON_DEMAND:
            self.client.send("addOutputDevice", outputDeviceName=word)
            self.client.route(word, "Headset")
        self.order("switchPersonalSynthesizerDevice", self.output("Headset"))
        self.order("switchStreamingSynthesizerDevice", self.output("Speakers"))
        for word in ON_DEMAND:
            self.client.send("removeOutputDevice", outputDeviceName=word)
        # A level that was ordered in streamer mode did not reach the channels, and what an endpoint
        # has already is no change: each one goes to another level first.
        for info in (*self.client.outputs().values(), *self.client.inputs().values()):
            self.order("setDeviceVolume", info, deviceVolume=50)
            self.order("setDeviceMute", info, deviceMute=True)
        self.client.settle()
        for name, info in (*self.client.outputs().items(), *self.client.inputs().items()):
            self.give_full_level(name, info)
        self.client.settle()
        # An application that plays into the default endpoint follows the default from then on: so
        # the session manager, whatever endpoint the application asked for. The tones, that of the
        # microphone among them, are elsewhere after a few such orders. The new ones play into
        # endpoints that are not the default, nor become it again by coming back.
        for tone in self.tones:
            tone.stop()
        self.tones.clear()
        audio.pactl("set-default-sink", "speakers")
        eventually(lambda: audio.pactl("get-default-sink").strip() == "speakers")
        for name, hertz in TONES.items():
            self.play(name, hertz)
            self.client.route(name, "Headset")
        self.say(440)
        self.order("switchMicrophoneInputDevice", self.input("Real microphone"))


if __name__ == "__main__":
    for attribute, text in zip(("seconds", "rate", "seed", "growth", "tolerance"), sys.argv[1:]):
        setattr(LoadTest, attribute, type(getattr(LoadTest, attribute))(text))
    unittest.main(verbosity=2, argv=sys.argv[:1])
