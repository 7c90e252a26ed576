#!/usr/bin/env python3
"""What a route adds between an application and an endpoint, next to pw-loopback.

Run it inside a server of its own (the server's quantum is forced):

    scripts/private-server.sh benchmarks/route-latency/route_latency.py --route build/release/minimalroute
    scripts/private-server.sh benchmarks/route-latency/route_latency.py \\
        --program build/release/Quorvane --client build/release/quorvanectl \\
        --threads build/release/barethreads

An application plays noise into the Gaming speaker, and one recording of four channels hears both
what it plays and the monitor of the endpoint: the delay between the two is exact to the frame, and
every frame that was lost or came late is seen. Prints one line for each subject and quantum, and
where the machine had stood still; pw-loopback stands there twice, as it comes and with real-time
priority, as Quorvane has. With --threads it also tells what four threads like Quorvane's take that
only wake each other.
"""

import argparse
import contextlib
import os
import pathlib
import signal
import statistics
import subprocess
import sys
import tempfile
import threading
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))

import soundtrack  # noqa: E402  (the path stands above)
import stalls  # noqa: E402
import trims  # noqa: E402

TARGET = "speakers"
SPEAKER = "tavori.Game.WaveSpeaker"
LONGEST = soundtrack.RATE // 2  # frames; no route is expected to be slower
SKIPPED_SECONDS = 2  # what these do is the start of the streams, not the route
ENDS = 4  # channels: both sides of both ends
RECORDED_FRAME = 2 * ENDS  # bytes
CUT_SECONDS = 0.05  # what a cut takes out lies so close to it


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def wait_for(what, condition, seconds=15):
    end = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > end:
            sys.exit(f"route_latency: gave up waiting for {what}")
        time.sleep(0.05)


def has_port(name):
    return name in run("pw-link", "-io").splitlines()


def start(*command, **options):
    return subprocess.Popen(command, stdout=subprocess.DEVNULL, **options)


def stop(process):
    process.send_signal(signal.SIGTERM)
    try:
        process.wait(10)
    except subprocess.TimeoutExpired:
        process.kill()
        process.wait()


class Subject:
    """Something that makes the route while the block runs."""

    def trims(self):
        """How often it has cut a queue; None where nobody tells."""
        return None


class Loopback(Subject):
    """What a user would pick instead."""

    name = "pw-loopback"
    entry = "loop_entry"
    environment = {}

    def __enter__(self):
        self.process = start("pw-loopback", "--capture-props",
                             f"media.class=Audio/Sink node.name={self.entry}", "--playback-props",
                             f"node.name=loop_exit target.object={TARGET}",
                             env=os.environ | self.environment)
        wait_for("pw-loopback", lambda: has_port("loop_exit:output_FL"))
        return self

    def __exit__(self, *_):
        stop(self.process)


class RealtimeLoopback(Loopback):
    """The same, with the configuration that gives a program's data thread real-time priority, as
    Quorvane's has."""

    name = "pw-loopback rt"
    environment = {"PIPEWIRE_CONFIG_NAME": "client-rt.conf"}


class Command(Subject):
    """A program that makes the route by itself."""

    entry = SPEAKER

    def __init__(self, command):
        self.name = os.path.basename(command)
        self.command = command

    def __enter__(self):
        self.process = subprocess.Popen([self.command, TARGET], stdout=subprocess.PIPE, text=True)
        if self.process.stdout.readline().strip() != "ready":
            sys.exit(f"route_latency: {self.name} did not start")
        return self

    def __exit__(self, *_):
        stop(self.process)
        for line in self.process.stdout:
            print(f"    {self.name} says: {line.strip()}")


class Program(Subject):
    """The real one, told by its client."""

    name = "Quorvane"
    entry = SPEAKER

    def __init__(self, program, client):
        self.program = program
        self.client = client

    def answers(self):
        return subprocess.run([self.client, "outputs"], capture_output=True).returncode == 0

    def trims(self):
        return trims.counted(self.data.name)

    def __enter__(self):
        self.data = tempfile.TemporaryDirectory()
        self.process = start(self.program, stderr=subprocess.DEVNULL,
                             env=os.environ | {"XDG_DATA_HOME": self.data.name})
        wait_for("the program", self.answers)
        run(self.client, "route", "Gaming", "Speakers")
        return self

    def __exit__(self, *_):
        subprocess.run([self.client, "quit"], capture_output=True)
        stop(self.process)
        self.data.cleanup()


def cpu_seconds(pid):
    """Time on a processor of all the threads, as the scheduler counts it: ticks are too coarse."""
    total = 0
    for thread in os.listdir(f"/proc/{pid}/task"):
        with open(f"/proc/{pid}/task/{thread}/schedstat") as times:
            total += int(times.read().split()[0])
    return total / 1e9


def link(output, port):
    run("pw-link", output, port)


@contextlib.contextmanager
def arrivals_of(recording):
    """Notes when the frames came that the growing file holds, while the block runs."""
    arrivals = stalls.Arrivals(soundtrack.RATE)
    ended = threading.Event()

    def look():
        while not ended.wait(0.05):
            with contextlib.suppress(FileNotFoundError):
                arrivals.note(os.path.getsize(recording) // RECORDED_FRAME)
    thread = threading.Thread(target=look)
    thread.start()
    try:
        yield arrivals
    finally:
        ended.set()
        thread.join()


def measure(subject, track, folder, seconds):
    """Plays the track through the subject; the course of the delay, the moments of losses and the
    share of one core."""
    recording = os.path.join(folder, "both-ends.raw")
    recorder = start("pw-record", "--channels", str(ENDS), "--channel-map", "FL,FR,RL,RR", "--rate",
                     str(soundtrack.RATE), "--format", "s16", "-P",
                     '{ node.name=both_ends node.autoconnect=false }', recording)
    wait_for("the recorder", lambda: has_port("both_ends:input_RR"))
    player = start("pw-play", "-P", "{ node.name=track }", "--target", subject.entry, track)
    wait_for("the player", lambda: has_port("track:output_FL"))
    for output, port in (("track:output_FL", "FL"), ("track:output_FR", "FR"),
                         (f"{TARGET}:monitor_FL", "RL"), (f"{TARGET}:monitor_FR", "RR")):
        link(output, f"both_ends:input_{port}")
    time.sleep(1)
    pid = subject.process.pid
    before, since = cpu_seconds(pid), time.monotonic()
    with arrivals_of(recording) as arrivals:
        time.sleep(seconds - 3)
        share = (cpu_seconds(pid) - before) / (time.monotonic() - since)
        player.wait(60)
        time.sleep(0.5)
    stop(recorder)
    near, far = soundtrack.read_sides(recording)
    os.remove(recording)
    skipped = SKIPPED_SECONDS * 2 * soundtrack.RATE
    course = soundtrack.follow(near[skipped:], far[skipped:], LONGEST)
    moments = [arrivals.moment(int((SKIPPED_SECONDS + second) * soundtrack.RATE))
               for second in course.lost]
    return course, moments, share


def report(subject, quantum, watch, course, moments, share):
    if not course.delays:
        print(f"{subject.name:14} quantum {quantum:5}: nothing came through", flush=True)
        return
    median = statistics.median(course.delays)
    milliseconds = 1000 * median / soundtrack.RATE
    print(f"{subject.name:14} quantum {quantum:5}: median {median:6.0f} frames = "
          f"{milliseconds:6.2f} ms = {median / quantum:4.2f} quanta, "
          f"from {min(course.delays)} to {max(course.delays)}, {len(course.slips)} slips, "
          f"{len(course.lost)} lost of {len(course.lost) + len(course.delays)} blocks, "
          f"CPU {100 * share:.2f} % of a core", flush=True)
    for second, old, new in course.slips[:5]:
        print(f"    at {second:.2f} s: {old} -> {new} frames")
    if subject.trims() is not None:
        print(f"    queues trimmed {subject.trims()} time(s) since its start")
    print(f"    {watch.told()}")
    if watch.known:
        cuts = [second for second, old, new in course.slips if new < old]
        late = [moment for moment, second in zip(moments, course.lost)
                if not any(abs(second - cut) < CUT_SECONDS for cut in cuts)]
        explained, by_chance = watch.explained(late, stalls.BOUNDS[0])
        print(f"    {explained} of {len(late)} blocks lost where it just had ({by_chance:.0%} of the "
              f"time lies so), {len(moments) - len(late)} in cuts of what late blocks had left")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--route", help="a program that makes the route and says \"ready\"")
    parser.add_argument("--program", help="the built program")
    parser.add_argument("--client", help="its command-line client")
    parser.add_argument("--threads", help="the built barethreads")
    parser.add_argument("--seconds", type=int, default=30, help="length of the track")
    parser.add_argument("--quanta", type=int, nargs="+", default=[256, 1024])
    parser.add_argument("--no-loopback", action="store_true", help="leave the comparison out")
    arguments = parser.parse_args()
    subjects = [] if arguments.no_loopback else [Loopback(), RealtimeLoopback()]
    if arguments.route:
        subjects.append(Command(arguments.route))
    if arguments.program:
        subjects.append(Program(arguments.program, arguments.client))
    with tempfile.TemporaryDirectory() as folder:
        track = os.path.join(folder, "track.wav")
        soundtrack.write_track(track, arguments.seconds)
        for quantum in arguments.quanta:
            run("pw-metadata", "-n", "settings", "0", "clock.force-quantum", str(quantum))
            if arguments.threads:
                subprocess.run([arguments.threads, str(quantum), str(arguments.seconds)], check=True)
            for subject in subjects:
                with subject:
                    with stalls.Watch() as watch:
                        result = measure(subject, track, folder, arguments.seconds)
                    report(subject, quantum, watch, *result)


if __name__ == "__main__":
    main()
