#!/usr/bin/env python3
"""Writes a sine tone as a WAV file: make-tone.py HERTZ SECONDS FILE [AMPLITUDE]

48000 Hz, 2 channels, 16 bits; the amplitude is 0.0 to 1.0, 0.25 by default.
"""
import array
import math
import sys
import wave

RATE = 48000


def main():
    hertz, seconds = float(sys.argv[1]), float(sys.argv[2])
    amplitude = float(sys.argv[4]) if len(sys.argv) > 4 else 0.25
    block = array.array("h")
    # One second is a whole number of periods for whole frequencies, so it can be repeated.
    for frame in range(RATE):
        sample = round(32767 * amplitude * math.sin(2 * math.pi * hertz * frame / RATE))
        block.extend((sample, sample))
    with wave.open(sys.argv[3], "wb") as output:
        output.setnchannels(2)
        output.setsampwidth(2)
        output.setframerate(RATE)
        left = int(seconds * RATE)
        while left > 0:
            frames = min(left, RATE)
            output.writeframesraw(block[: 2 * frames].tobytes())
            left -= frames


main()
