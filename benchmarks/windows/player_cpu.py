#!/usr/bin/env python3
"""What playing a tone costs under Wine: the player next to a plain WASAPI loop in C.

    scripts/private-server.sh benchmarks/windows/player_cpu.py build/windows-tests

Both play the same tone to the same endpoint, by turns, and it is listened to before and after each
count. Not counted: what a start costs, and the thread of the player's program that hands it the sound,
ten milliseconds at a time. Prints each turn and the ratio of the medians, and fails when that is above
the limit.
"""
import argparse
import json
import os
import pathlib
import statistics
import subprocess
import sys
import time

os.environ.setdefault("QUORVANE_BUILD", "build/windows-tests")  # what audio wants to know
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "tests" / "system"))
from audio import heard  # noqa: E402

ENDPOINT, SINK = "Headset", "headset"
HERTZ = "480"
AMPLITUDE = 0.5
LONGEST = "600"  # seconds; each is ended before


def cpu_seconds(pid, first_thread):
    """Time on a processor of all the threads, or all but the first, as the scheduler counts it: ticks
    are too coarse."""
    total = 0
    for thread in os.listdir(f"/proc/{pid}/task"):
        if int(thread) == pid and not first_thread:
            continue
        with open(f"/proc/{pid}/task/{thread}/schedstat") as times:
            total += int(times.read().split()[0])
    return total / 1e9


def wait_for_tone():
    for _ in range(60):
        found = heard(SINK, int(HERTZ), 0.25)
        if abs(found - AMPLITUDE) < 0.05:
            return
    sys.exit(f"player_cpu: the tone's amplitude is {found:.2f}")


def share(seconds, first_thread, *command):
    """Of one core, while it plays."""
    process = subprocess.Popen([*command, LONGEST], stdin=subprocess.PIPE,
                               stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        wait_for_tone()
        time.sleep(2)
        before, since = cpu_seconds(process.pid, first_thread), time.monotonic()
        time.sleep(seconds)
        counted = (cpu_seconds(process.pid, first_thread) - before) / (time.monotonic() - since)
        wait_for_tone()
        return counted
    finally:
        process.kill()
        process.wait()
        time.sleep(1)  # until the server has forgotten the stream


def identity(wine, program):
    """The endpoint's ID, as Wine gives it."""
    answer = subprocess.run([*wine, program, "list"], check=True, capture_output=True)
    outputs = json.loads(answer.stdout.splitlines()[-1])["outputs"]
    return next(info["deviceID"] for info in outputs if info["deviceName"] == ENDPOINT)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build", type=pathlib.Path, help="folder of the preset windows-tests")
    parser.add_argument("--seconds", type=int, default=15, help="length of a turn")
    parser.add_argument("--turns", type=int, default=5)
    parser.add_argument("--limit", type=float, default=1.3, help="the highest ratio that is well")
    arguments = parser.parse_args()
    wine = (arguments.build / "wine-command.txt").read_text().strip().split(";")
    program = arguments.build / "winesound.exe"
    identifier = identity(wine, program)
    subjects = {
        "plain loop": [True, *wine, arguments.build / "plainloop.exe", identifier, HERTZ],
        "player": [False, *wine, program, "play", ENDPOINT, HERTZ],
    }
    shares = {name: [] for name in subjects}
    for _ in range(arguments.turns):
        for name, command in subjects.items():
            shares[name].append(share(arguments.seconds, *command))
            print(f"{name:10} {100 * shares[name][-1]:6.2f} % of a core", flush=True)
    medians = {name: statistics.median(values) for name, values in shares.items()}
    for name, median in medians.items():
        print(f"{name:10} median {100 * median:.2f} %")
    ratio = medians["player"] / medians["plain loop"]
    print(f"player / plain loop: {ratio:.2f}, at most {arguments.limit:.2f}")
    sys.exit(ratio > arguments.limit)


if __name__ == "__main__":
    main()
