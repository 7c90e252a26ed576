#!/usr/bin/python3
"""What Quorvane costs while nothing sounds: start time, wake-ups, CPU time, memory.

    scripts/private-server.sh benchmarks/idle.py BUILD_FOLDER [SECONDS] [ROUTES]

Prints the time from start to listening, wake-ups a second by thread name (voluntary context
switches), CPU time, and the resident memory when idle and after that many routes.
"""
import collections
import os
import pathlib
import sys
import tempfile
import time

os.environ["QUORVANE_BUILD"] = str(pathlib.Path(sys.argv[1]).resolve())
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tests" / "system"))

from program import (Client, Program, is_listening,  # noqa: E402  (the path stands above)
                     resident_kib)


def wakeups(pid):
    """Voluntary context switches so far, by thread name."""
    counts = collections.Counter()
    for task in pathlib.Path(f"/proc/{pid}/task").iterdir():
        try:
            status = (task / "status").read_text()
        except OSError:
            continue
        name = status.split("Name:")[1].split("\n")[0].strip()
        counts[name] += int(status.split("voluntary_ctxt_switches:")[1].split()[0])
    return counts


def cpu_seconds(pid):
    fields = pathlib.Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def main():
    seconds = float(sys.argv[2]) if len(sys.argv) > 2 else 20
    routes = int(sys.argv[3]) if len(sys.argv) > 3 else 1000
    started = time.monotonic()
    program = Program(tempfile.mkdtemp(), wait=False)
    while not is_listening():
        if program.process.poll() is not None:
            sys.exit("Quorvane did not start")
        time.sleep(0.002)
    print(f"start to listening: {time.monotonic() - started:.3f} s")

    pid = program.process.pid
    time.sleep(5)
    before, cpu = wakeups(pid), cpu_seconds(pid)
    time.sleep(seconds)
    after = wakeups(pid)
    for name, count in (after - before).most_common():
        print(f"wake-ups: {count / seconds:8.1f} a second  {name}")
    print(f"CPU time while idle: {(cpu_seconds(pid) - cpu) / seconds * 100:.2f} %")
    idle = resident_kib(pid)
    print(f"resident memory idle: {idle / 1024:.1f} MiB")

    with Client() as client:
        for index in range(routes):
            client.route("Gaming", "Headset" if index % 2 else "Speakers")
        time.sleep(1)
        print(f"resident memory after {routes} routes: {resident_kib(pid) / 1024:.1f} MiB")
    program.quit()


main()
