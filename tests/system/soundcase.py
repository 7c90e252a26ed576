"""A test case with a running program, a client, and tones that are measured at the endpoints."""
import contextlib
import tempfile
import unittest

import audio
from program import PATIENCE, Client, Program, eventually, full_name

AMPLITUDE = 0.25
SILENCE = 1e-4


def is_about_sessions(event):
    """Lists of audio sessions follow endpoints and applications, at a moment of their own."""
    return "AudioSession" in event["event"]


def gain_of(percent):
    """The gain curve: -60 dB to 0 dB with the exponent 0.25."""
    if percent <= 0:
        return 0.0
    return 10 ** (((min(percent, 100) / 100) ** 0.25 * 60 - 60) / 20)


class SoundCase(unittest.TestCase):
    """Every endpoint starts at full level. Endpoints go by their display names."""

    def setUp(self):
        audio.keep_defaults(self)
        self.folder = tempfile.mkdtemp(prefix="quorvane-")
        self.program = self.start_program(self.folder)
        self.client = Client()
        self.client.await_endpoints()
        self.tones = []
        # The desktop remembers levels from one run to the next.
        for name, info in (*self.client.outputs().items(), *self.client.inputs().items()):
            self.give_full_level(name, info)
        self.client.settle()

    def start_program(self, folder):
        return Program(folder)

    def give_full_level(self, name, info):
        endpoint = {"deviceName": name, "deviceID": info["deviceID"]}
        self.client.send("setDeviceVolume", deviceVolume=100, **endpoint)
        self.client.send("setDeviceMute", deviceMute=False, **endpoint)

    def tearDown(self):
        # First, lest the server moves their streams elsewhere when the speakers go.
        for tone in self.tones:
            tone.stop()
        self.client.close()
        self.program.__exit__(None)

    def play_into(self, sink, hertz, player="paplay", amplitude=AMPLITUDE):
        tone = audio.Tone(self.folder, sink, hertz, player, amplitude)
        self.tones.append(tone)
        return tone

    def play(self, short_name, hertz, player="paplay", amplitude=AMPLITUDE):
        """Plays a tone into a virtual speaker."""
        return self.play_into(audio.sink_named(full_name(short_name)), hertz, player, amplitude)

    def say(self, hertz, microphone="real_microphone", amplitude=AMPLITUDE):
        """Lets a tone sound in front of a real microphone."""
        voice = audio.Voice(self.folder, microphone, hertz, amplitude)
        self.tones.append(voice)
        return voice

    def load_sink(self, name, description, **properties):
        """A sink that goes with the test; the number of its module."""
        module = audio.load_sink(name, description, **properties)
        self.addCleanup(audio.unload_if_there, module)
        return module

    def load_microphone(self, name, description):
        return self.load_sink(name, description, **{"media.class": "Audio/Source/Virtual"})

    def assert_sound(self, source, expected, unit=AMPLITUDE, tolerance=0.02):
        """Waits with a bound until the source has these amplitudes by frequency, since a stream
        takes a moment to start; within a part of a unit, and 0 means silence. A short piece is
        enough for tones; mere silence is not to be a short gap."""
        measured = []
        length = 0.1 if any(expected.values()) else 0.5

        def is_right(piece):
            measured.append(piece)
            return all(abs(piece[hertz] - amplitude) <= (tolerance * unit if amplitude else SILENCE)
                       for hertz, amplitude in expected.items())
        try:
            eventually(lambda: any(map(is_right, audio.pieces(source, expected, 0.5, length))),
                       PATIENCE)
        except AssertionError:
            self.fail(f"{source}: {measured[-5:]}, not {expected}")

    def assert_heard(self, sink, hertz, amplitude=AMPLITUDE):
        self.assert_sound(f"{sink}.monitor", {hertz: amplitude})

    def assert_silent(self, sink, hertz):
        self.assert_sound(f"{sink}.monitor", {hertz: 0})

    def assert_stays_silent(self, *sources, seconds=3):
        """Not one sample sounds on the left of any of them for so long."""
        with contextlib.ExitStack() as stack:
            recordings = {source: stack.enter_context(audio.Recording(source))
                          for source in sources}
            for recording in recordings.values():
                recording.await_seconds(seconds)
        for source, recording in recordings.items():
            self.assertLessEqual(max(map(abs, recording.samples)), SILENCE, source)

    def order(self, event, info, **values):
        """Sends a command about an endpoint (its device info object); returns when it is
        handled."""
        self.client.send(event, deviceName=info["deviceName"], deviceID=info["deviceID"], **values)
        self.client.barrier()

    def output(self, name):
        return self.client.outputs()[name]

    def input(self, name):
        return self.client.inputs()[name]

    def set_mode(self, mode):
        """Switches to "NormalMode" or "StreamerMode", through to the end of the switch."""
        self.client.send("setControlMode", mode=mode)
        self.client.send("finishSetControlMode", mode=mode)
        self.client.barrier()

    def events_about(self, endpoint, *events):
        """The events about an endpoint (its display name) that came and that nobody waited for;
        all of them but those about sessions, or those of these names."""
        device_id = {**self.client.outputs(), **self.client.inputs()}[endpoint]["deviceID"]
        return [event for event in self.client.events
                if event.get("payload", {}).get("deviceID") == device_id
                and (event["event"] in events if events else not is_about_sessions(event))]
