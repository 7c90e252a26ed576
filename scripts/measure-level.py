#!/usr/bin/env python3
"""Listens to an output or an input for half a second and tells what sounds: measure-level.py NAME"""
import array
import math
import subprocess
import sys

RATE = 48000
SECONDS = 0.5


def source_of(name):
    """Where it is heard: at an output's monitor, at an input itself."""
    sources = subprocess.run(["pactl", "list", "short", "sources"], capture_output=True, text=True)
    names = [line.split("\t")[1] for line in sources.stdout.splitlines()]
    return f"{name}.monitor" if f"{name}.monitor" in names else name


def record(name):
    recorder = subprocess.Popen(
        ["parecord", f"--device={source_of(name)}", "--raw", "--format=s16le", f"--rate={RATE}",
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
