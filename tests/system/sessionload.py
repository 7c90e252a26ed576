#!/usr/bin/env python3
"""Sessions that come and go by the hundred on many endpoints, while clients look at them: the lists
are right at the end, and what they cost comes back. Tells what a full listing takes beside pactl's.

    scripts/private-server.sh --own-network tests/system/sessionload.py [STREAMS] [SINKS] [RATE]
        [SECONDS]

The desktop links the streams, and with hundreds of them it is slower than any rate one could ask for.
QUORVANE_BUILD names the build folder. The exit code is 0 when all is well; what it used and how long
the listings took is printed.
"""
import collections
import os
import statistics
import subprocess
import sys
import time
import unittest

import audio
from program import eventually, eventually_no_more_files, open_files, resident_kib
from sessioncase import HERE, SessionCase

MEMORY_LIMIT = 24 * 1024  # KiB; what one session leaves behind would be far more
LISTINGS = 21


def threads(pid):
    return len(os.listdir(f"/proc/{pid}/task"))


def timed(action):
    begin = time.perf_counter()
    action()
    return time.perf_counter() - begin


class SessionLoadTest(SessionCase):
    streams, sinks, rate, seconds = 60, 10, 50.0, 3.0

    def setUp(self):
        super().setUp()
        names = [f"stress{number}" for number in range(self.sinks)]
        for name in names:
            self.addCleanup(audio.unload_if_there, audio.load_sink(name, name.capitalize()))
        eventually(lambda: set(self.endpoints()) >= set(map(str.capitalize, names)), 60,
                   "the endpoints")
        self.application = subprocess.Popen(
            [sys.executable, HERE / "manystreams.py", str(self.streams), str(self.rate), *names],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        self.processes.append(self.application)

    def tearDown(self):
        self.application.stdin.close()
        super().tearDown()

    def order(self, order):
        self.application.stdin.write(order + "\n")
        self.application.stdin.flush()

    def await_done(self):
        self.assertEqual(self.application.stdout.readline(), "done\n")

    def endpoints(self):
        return {name: info["deviceID"] for name, info in self.client.outputs().items()}

    def listed(self):
        """The number of the application's sessions on each endpoint, by its ID."""
        counts = {endpoint: sum(info["sessionProcessId"] == self.application.pid for info in infos)
                  for endpoint, infos in self.sessions().items()}
        return {endpoint: count for endpoint, count in counts.items() if count}

    def existing(self):
        """The same, as the server has it."""
        descriptions = {sink["index"]: sink["description"] for sink in audio.pactl_list("sinks")}
        endpoints = self.endpoints()
        return dict(collections.Counter(
            endpoints.get(descriptions.get(each["sink"])) for each in
            audio.pactl_list("sink-inputs")
            if each["properties"].get("application.process.id") == str(self.application.pid)))

    def await_right_lists(self):
        def is_right():
            self.wanted, self.found = self.existing(), self.listed()
            return self.wanted == self.found
        try:
            eventually(is_right, 60)
        except AssertionError:
            self.fail(f"{self.found}, not {self.wanted}")
        return sum(self.found.values())

    def usage(self):
        pid = self.program.process.pid
        return open_files(pid), threads(pid), resident_kib(pid)

    def look_around(self, seconds):
        """What clients do meanwhile: they list everything and single endpoints."""
        deadline = time.monotonic() + seconds
        while time.monotonic() < deadline:
            self.sessions()
            for endpoint in list(self.endpoints().values())[:3]:
                self.client.send("getDeviceAudioSessionInfos", deviceID=endpoint)
            self.client.barrier(60)
            self.client.drop_events()
            time.sleep(0.1)

    def test_lists_are_right_after_a_storm(self):
        # Once for what is made only once.
        self.order("churn 0")
        self.await_done()
        self.grow_and_shrink()
        before = self.usage()
        self.order("grow")
        begin = time.monotonic()
        self.look_around(self.streams / self.rate)
        self.await_done()
        reached = self.streams / (time.monotonic() - begin)
        self.assertEqual(self.await_right_lists(), self.streams)
        full = self.usage()
        self.order(f"churn {self.seconds}")
        self.look_around(self.seconds)
        self.await_done()
        self.assertEqual(self.await_right_lists(), self.streams)
        self.compare_listings()
        self.order("shrink")
        self.await_done()
        self.assertEqual(self.await_right_lists(), 0)

        pid = self.program.process.pid
        eventually_no_more_files(pid, before[0])
        eventually(lambda: threads(pid) <= before[1], what=f"the return to {before[1]} threads")
        after = self.usage()
        print(f"\nsessionload: {self.streams} sessions on {self.sinks} endpoints, the server took "
              f"up {reached:.0f} a second; descriptors, threads and KiB before {before}, "
              f"full {full}, after {after}")
        self.assertLess(after[2] - before[2], MEMORY_LIMIT)

    def grow_and_shrink(self):
        for order in ("grow", "shrink"):
            self.order(order)
            self.await_done()
            self.await_right_lists()

    def compare_listings(self):
        self.client.settle()
        ours, theirs = [], []
        for _ in range(LISTINGS):
            ours.append(timed(self.sessions))
            theirs.append(timed(lambda: audio.pactl_list("sink-inputs")))
        ours, theirs = statistics.median(ours), statistics.median(theirs)
        print(f"\nsessionload: a listing over the wire takes {ours * 1000:.1f} ms, pactl -f json "
              f"list sink-inputs {theirs * 1000:.1f} ms")


if __name__ == "__main__":
    for attribute, text in zip(("streams", "sinks", "rate", "seconds"), sys.argv[1:]):
        setattr(SessionLoadTest, attribute, type(getattr(SessionLoadTest, attribute))(text))
    unittest.main(verbosity=2, argv=sys.argv[:1])
