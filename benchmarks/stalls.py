#!/usr/bin/python3
"""How often the machine stood still: a thread that nothing may interrupt asks to be woken every two
milliseconds on each processor, and notes when that comes late. No sound survives what stops it.

    benchmarks/stalls.py [SECONDS]
"""
import bisect
import os
import signal
import subprocess
import sys
import time

INTERVAL = 0.002
BOUNDS = (3, 5, 10, 20)  # milliseconds
AROUND = 0.15  # seconds that a stall's effect may be away from it, as far as clocks can be compared


def watch(processor):
    """Prints when a wake-up came late, on the monotonic clock, and by how many milliseconds; once it
    is told to end."""
    os.sched_setaffinity(0, {processor})
    os.sched_setscheduler(0, os.SCHED_FIFO, os.sched_param(os.sched_get_priority_max(os.SCHED_FIFO)))
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(0))
    late = []
    try:
        while True:
            begin = time.monotonic()
            time.sleep(INTERVAL)
            end = time.monotonic()
            milliseconds = (end - begin - INTERVAL) * 1000
            if milliseconds > BOUNDS[0]:
                late.append(f"{end} {milliseconds}")
    finally:
        print(*late, sep="\n")


class Watch:
    """Watches all processors while the block runs."""

    def __enter__(self):
        self.begin = time.monotonic()
        self.processes = [subprocess.Popen(
            [sys.executable, __file__, f"--processor={number}"], stdout=subprocess.PIPE,
            stderr=subprocess.DEVNULL, text=True) for number in sorted(os.sched_getaffinity(0))]
        return self

    def __exit__(self, *_):
        for process in self.processes:
            process.terminate()
        outputs = [process.communicate()[0] for process in self.processes]
        self.end = time.monotonic()
        self.known = all(process.returncode == 0 for process in self.processes)
        lines = [line.split() for output in outputs for line in output.splitlines() if line]
        self.late = [(float(end), float(milliseconds)) for end, milliseconds in lines]

    def told(self):
        if not self.known:
            return "how often the machine stood still is not known: real-time scheduling is refused"
        lengths = [milliseconds for _, milliseconds in self.late]
        counts = ", ".join(f"{sum(length > bound for length in lengths)} above {bound} ms"
                           for bound in BOUNDS)
        return f"a processor stood still: {counts}, at longest {max(lengths, default=0):.1f} ms"

    def explained(self, moments, shortest):
        """How many of the moments lie where a stall of at least so many milliseconds had just been,
        and the share of all the time that lies there."""
        ends = [end for end, milliseconds in self.late if milliseconds >= shortest]

        def is_near(moment):
            return any(-AROUND <= moment - end <= AROUND for end in ends)
        samples = [self.begin + (self.end - self.begin) * i / 1000 for i in range(1000)]
        return sum(map(is_near, moments)), sum(map(is_near, samples)) / len(samples)


class Arrivals:
    """When the samples of a recording came: what the server lost before one is not in its count,
    so only those around it tell."""

    def __init__(self, rate):
        self.rate = rate
        self.begins = []  # how many samples so far, and when, less their length

    def note(self, samples):
        """So many have come by now."""
        self.begins.append((samples, time.monotonic() - samples / self.rate))

    def moment(self, position):
        """When that sample came, on the monotonic clock; the least delayed ones tell best."""
        first = bisect.bisect(self.begins, (position,))
        return position / self.rate + min(
            begin for _, begin in self.begins[max(0, first - 3):first + 20])


def main():
    with Watch() as watched:
        time.sleep(float(sys.argv[1]) if len(sys.argv) > 1 else 10)
    print(watched.told())


if __name__ == "__main__":
    if sys.argv[1:] and sys.argv[1].startswith("--processor="):
        watch(int(sys.argv[1].partition("=")[2]))
    main()
