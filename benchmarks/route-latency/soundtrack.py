"""A track in which every moment can be told from every other, and what a recording says about it."""

import array
import random
import struct
import wave

RATE = 48000
WINDOW = 48  # frames that are searched for; 1 ms of noise occurs nowhere else
BLOCK = 480  # frames that are compared at once


def write_track(path, seconds):
    """Writes stereo 16-bit noise, quiet enough that no mixer clips it, the same on both sides."""
    noise = random.Random(1)
    with wave.open(path, "wb") as track:
        track.setparams((2, 2, RATE, 0, "NONE", ""))
        for _ in range(seconds):
            track.writeframes(b"".join(
                struct.pack("<hh", sample, sample)
                for sample in (noise.randrange(-8000, 8000) for _ in range(RATE))))


def read_sides(path):
    """The first and the third channel of a four-channel recording, as bytes of 16-bit samples."""
    with open(path, "rb") as recording:
        samples = array.array("h", recording.read())
    return samples[0::4].tobytes(), samples[2::4].tobytes()


class Course:
    """How a delay went over a recording."""

    def __init__(self):
        self.delays = []  # frames, one for each compared block
        self.slips = []  # (second, delay before, delay after)
        self.lost = []  # seconds, one for each block that the far end never played whole

    def add(self, second, delay):
        if self.delays and self.delays[-1] != delay:
            self.slips.append((second, self.delays[-1], delay))
        self.delays.append(delay)


def follow(near, far, longest):
    """Compares block for block what went in at the near end with what came out at the far end, at
    most `longest` frames later."""
    course = Course()
    delay = None
    position = 0
    end = len(near) // 2 - BLOCK - longest
    while position < end:
        block = near[2 * position:2 * (position + BLOCK)]
        if block.count(0) > BLOCK:  # before the track or behind it
            position += BLOCK
            delay = None
            continue
        if delay is not None and far[2 * (position + delay):2 * (position + delay + BLOCK)] == block:
            course.add(position / RATE, delay)
        else:
            found = search(near, far, position, longest)
            if found is None:
                course.lost.append(position / RATE)
            elif delay is None or found != delay:
                delay = found
                if far[2 * (position + delay):2 * (position + delay + BLOCK)] == block:
                    course.add(position / RATE, delay)
                else:
                    course.lost.append(position / RATE)
            else:
                course.lost.append(position / RATE)
        position += BLOCK
    return course


def search(near, far, position, longest):
    """The delay at which the window at `position` comes out, in frames; None if it does not."""
    window = near[2 * position:2 * (position + WINDOW)]
    start = 2 * position
    found = far.find(window, start, start + 2 * (longest + WINDOW))
    while found >= 0 and found % 2:
        found = far.find(window, found + 1, start + 2 * (longest + WINDOW))
    return None if found < 0 else (found - start) // 2
