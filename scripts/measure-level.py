#!/usr/bin/env python3
"""Listens to an output for half a second and tells what sounds: measure-level.py SINK"""
import array
import math
import subprocess
import sys

RATE = 48000
SECONDS = 0.5


def record(sink):
    recorder = subprocess.Popen(
        ["parecord", f"--device={sink}.monitor", "--raw", "--format=s16le", f"--rate={RATE}",
         "--channels=2", "--latency-msec=20"],
        stdout=subprocess.PIPE)
    try:
        skipped = recorder.stdout.read(int(RATE * 0.2) * 4)
        data = recorder.stdout.read(int(RATE * SECONDS) * 4)
    finally:
        recorder.terminate()
        recorder.wait()
    return array.array("h", data if skipped else b"")[::2]  # the left channel


def main():
    samples = record(sys.argv[1])
    if not samples:
        sys.exit(f"nothing could be recorded from {sys.argv[1]}")
    rms = math.sqrt(sum(s * s for s in samples) / len(samples)) / 32768
    if rms < 1e-4:
        print("silence")
        return
    crossings = sum(1 for a, b in zip(samples, samples[1:]) if a < 0 <= b)
    print(f"{20 * math.log10(rms):6.1f} dBFS, about {crossings / SECONDS:.0f} Hz")


main()
