"""What the threads of a process do with their time."""
import contextlib
import pathlib
import time

from program import eventually

STRETCH = 2  # seconds
SWITCHES = 200  # in a stretch; a thread that polls every few milliseconds has more


def usage(pid):
    """Thread numbers to their names, their seconds on a processor or in the queue for one, and how
    often they went to sleep, from the start of each on."""
    threads = {}
    for task in pathlib.Path(f"/proc/{pid}/task").iterdir():
        with contextlib.suppress(FileNotFoundError, ProcessLookupError):  # it has ended
            running, waiting = map(int, (task / "schedstat").read_text().split()[:2])
            switches = (task / "status").read_text().split("\nvoluntary_ctxt_switches:")[1]
            threads[task.name] = ((task / "comm").read_text().strip(), (running + waiting) / 1e9,
                                  int(switches.split()[0]))
    return threads


def busy_ones(pid):
    """The threads that found no rest in a stretch of time: name, seconds and switches of each."""
    before, begin = usage(pid), time.monotonic()
    time.sleep(STRETCH)
    after, length = usage(pid), time.monotonic() - begin
    busy = []
    for thread, (name, seconds, switches) in after.items():
        _, seconds_before, switches_before = before.get(thread, ("", 0, 0))
        used = (name, seconds - seconds_before, switches - switches_before)
        if used[1] > length / 2 or used[2] > SWITCHES:
            busy.append(used)
    return busy


def await_rest(pid):
    """Waits with a bound for a stretch in which no thread is busy. One that spins is at any time
    on a processor or in the queue for one, however slow the machine is."""
    busy = []

    def is_at_rest():
        busy[:] = busy_ones(pid)
        return not busy
    try:
        eventually(is_at_rest, 30)
    except AssertionError as late:
        raise AssertionError(f"threads that find no rest: {busy}") from late
