#!/usr/bin/python3
"""One full listing of sessions over the wire, beside pactl's listing of the same streams.

    scripts/private-server.sh benchmarks/session_listing.py BUILD_FOLDER [STREAMS] [ROUNDS]

Prints the median of both, taken in turns.
"""
import os
import pathlib
import statistics
import subprocess
import sys
import tempfile
import time

os.environ["QUORVANE_BUILD"] = str(pathlib.Path(sys.argv[1]).resolve())
SYSTEM_TESTS = pathlib.Path(__file__).resolve().parents[1] / "tests" / "system"
sys.path.insert(0, str(SYSTEM_TESTS))

import audio  # noqa: E402  (the path stands above)
from program import Client, Program, eventually  # noqa: E402


def timed(action):
    started = time.perf_counter()
    action()
    return time.perf_counter() - started


def main():
    streams = int(sys.argv[2]) if len(sys.argv) > 2 else 50
    rounds = int(sys.argv[3]) if len(sys.argv) > 3 else 20
    players = [subprocess.Popen([sys.executable, SYSTEM_TESTS / "scriptplayer.py", sink,
                                 str(streams // 2)], stdout=subprocess.PIPE)
               for sink in ("speakers", "headset")]
    for player in players:
        player.stdout.readline()
    program = Program(tempfile.mkdtemp())
    with Client() as client:
        def listing():
            client.send("getAudioSessionInfos")
            infos = client.wait_for("didReceiveAudioSessionInfos")["audioSessionInfos"]
            return sum(len(each) for each in infos.values())

        eventually(lambda: listing() >= streams // 2 * 2, 60, "all sessions")
        ours, theirs = [], []
        for _ in range(rounds):
            ours.append(timed(listing))
            theirs.append(timed(lambda: audio.pactl_list("sink-inputs")))
        print(f"{listing()} sessions over the wire: {statistics.median(ours) * 1000:.1f} ms")
        print(f"pactl -f json list sink-inputs: {statistics.median(theirs) * 1000:.1f} ms")
    program.quit()
    for player in players:
        player.kill()
        player.wait(10)


main()
