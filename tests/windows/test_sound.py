"""The player, the capturer and the endpoint monitor as Windows programs on Wine's audio; what they
do is listened to from outside, at the sound server.

usage: test_sound.py WINE... PROGRAM --end    (the rest is for unittest)
"""
import json
import pathlib
import subprocess
import sys
import tempfile
import time
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "system"))
from audio import Voice, heard  # noqa: E402

AMPLITUDE = 0.5
PROGRAM = []


def listing():
    answer = subprocess.run([*PROGRAM, "list"], check=True, capture_output=True, timeout=120)
    return json.loads(answer.stdout.decode("utf-8").splitlines()[-1])


def names(infos):
    return [info["deviceName"] for info in infos]


def heard_at_last(sink, hertz, amplitude, seconds=60):
    """The amplitude, as soon as it is the expected one; the last one when the time is over. A short
    piece at a time: a gap, which a busy machine makes, spoils only one."""
    end = time.monotonic() + seconds
    while True:
        found = heard(sink, hertz, 0.25)
        if abs(found - amplitude) < 0.05 or time.monotonic() > end:
            return found


class Running:
    """The program with these arguments, until the end of the block."""

    def __init__(self, *arguments):
        self.process = subprocess.Popen([*PROGRAM, *arguments, "120"], stdin=subprocess.PIPE)

    def __enter__(self):
        return self

    def __exit__(self, kind, *_):
        self.process.stdin.close()
        code = self.process.wait(120)
        if code != 0 and kind is None:
            raise AssertionError(f"the program ended with {code}")


class SoundTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)

    def expect(self, sink, hertz, amplitude):
        self.assertAlmostEqual(heard_at_last(sink, hertz, amplitude), amplitude, delta=0.05)

    def test_lists_the_endpoints_of_the_server(self):
        found = listing()
        self.assertLessEqual({"Speakers", "Headset"}, set(names(found["outputs"])))
        self.assertIn("Real microphone", names(found["inputs"]))
        for info in found["outputs"] + found["inputs"]:
            self.assertTrue(info["deviceID"], info)

    def test_plays_a_tone_at_the_chosen_endpoint_only(self):
        with Running("play", "Headset", "440"):
            self.expect("headset", 440, AMPLITUDE)
            self.assertLess(heard("speakers", 440), 0.01)

    def test_plays_at_another_endpoint_and_no_other_tone(self):
        with Running("play", "Speakers", "1000"):
            self.expect("speakers", 1000, AMPLITUDE)
            self.assertLess(heard("headset", 1000), 0.01)

    def test_is_silent_after_its_end(self):
        with Running("play", "Headset", "600"):
            self.expect("headset", 600, AMPLITUDE)
        self.assertLess(heard("headset", 600), 0.01)

    def test_plays_when_other_players_have_ended(self):
        with Running("replay", "Headset", "700"):
            self.expect("headset", 700, AMPLITUDE)

    def test_passes_a_microphone_on(self):
        with Voice(self.folder.name, "real_microphone", 600):
            with Running("capture", "Real microphone", "Headset"):
                self.expect("headset", 600, 0.25)
                self.assertLess(heard("speakers", 600), 0.01)


if __name__ == "__main__":
    split = sys.argv.index("--end")
    PROGRAM = sys.argv[1:split]
    unittest.main(argv=[sys.argv[0], *sys.argv[split + 1:]])
