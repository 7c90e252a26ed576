#!/usr/bin/python3
"""All seven channels and the microphone in both mixes: CPU time, gaps and trims, beside the same
routing made of pw-loopback processes.

    scripts/private-server.sh --own-network benchmarks/all_channels.py BUILD_FOLDER [SECONDS [THEIRS]]

The personal mix is at Headset, the streaming one at Speakers, and the microphone sounds in both
and in the virtual microphone. Everything plays a constant, so that a mix is a constant too: where
it is not, a player had nothing to play in time. Tells the load of the machine and how often it
stood still for a while, since gaps on a busy one prove nothing.
"""
import array
import collections
import contextlib
import os
import pathlib
import subprocess
import sys
import tempfile
import threading
import time
import wave

os.environ["QUORVANE_BUILD"] = str(pathlib.Path(sys.argv[1]).resolve())
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tests" / "system"))

import audio  # noqa: E402  (the path stands above)
import stalls  # noqa: E402
import trims  # noqa: E402
from program import ON_DEMAND, Client, Program, eventually, full_name  # noqa: E402

CHANNELS = ("Aux", "Aux2", "Aux3", "Browser", "Chat", "Gaming", "Media")
MIXES = {"Personal": "headset", "Streaming": "speakers"}
HEIGHT = 2000  # of each of the eight sources; their sum fits 16 bits
RECORDED_HEIGHT = HEIGHT * 2 ** 0.5  # the recordings fold both channels into one
SETTLE_SECONDS = 3
APART_SAMPLES = audio.RATE // 4  # gaps that are closer have one cause
LONG_STALL = 4  # milliseconds: what eight sources leave of a period of 512 frames, about


def cpu_seconds(pid):
    """Time on a processor by thread name, as the scheduler counts it: ticks are too coarse."""
    times = collections.Counter()
    for task in pathlib.Path(f"/proc/{pid}/task").iterdir():
        with contextlib.suppress(OSError):
            name = (task / "comm").read_text().strip()
            times[name] += int((task / "schedstat").read_text().split()[0]) / 1e9
    return times


def constant_file(folder, seconds):
    path = folder / "constant.wav"
    with wave.open(str(path), "wb") as file:
        file.setnchannels(2)
        file.setsampwidth(2)
        file.setframerate(audio.RATE)
        second = array.array("h", [HEIGHT] * audio.RATE * 2).tobytes()
        for _ in range(seconds):
            file.writeframes(second)
    return path


class Processes(contextlib.ExitStack):
    """Children that end with the block."""

    def start(self, *command, **options):
        process = subprocess.Popen(command, **options)
        self.callback(process.wait, 10)
        self.callback(process.terminate)
        return process


class Recording:
    """What sounds at a source; its gaps are runs of samples that are not what sounded in
    its first second; whether that was so many sources is told too."""

    def __init__(self, processes, source, summands, folder):
        self.path = folder / f"{source}.raw"
        self.summands = summands
        self.process = processes.start(
            "parecord", f"--device={source}", "--raw", "--format=s16le", "--channels=1",
            f"--rate={audio.RATE}", "--latency-msec=40", stdout=subprocess.PIPE)
        self.arrivals = stalls.Arrivals(audio.RATE)
        self.thread = threading.Thread(target=self.read)
        self.thread.start()

    def read(self):
        samples = 0
        with open(self.path, "wb") as file:
            while data := self.process.stdout.read1(65536):
                file.write(data)
                samples += len(data) // 2
                self.arrivals.note(samples)

    def gaps(self, skipped_seconds):
        """The height of the sum, whether it is that of all summands, the moments at which gaps
        began, and the time lost in them."""
        self.process.terminate()
        self.thread.join(10)
        data = self.path.read_bytes()[audio.RATE * 2 * skipped_seconds:]
        common = collections.Counter(array.array("h", data[:audio.RATE * 2])).most_common(1)[0][0]
        whole = array.array("h", [common] * audio.RATE).tobytes()
        moments = []
        lost = 0
        last = -APART_SAMPLES
        for begin in range(0, len(data) - len(whole) + 1, len(whole)):
            chunk = data[begin:begin + len(whole)]
            if chunk == whole:
                continue
            for position, sample in enumerate(array.array("h", chunk), begin // 2):
                if abs(sample - common) > RECORDED_HEIGHT / 4:
                    if position - last >= APART_SAMPLES:
                        moments.append(self.arrivals.moment(skipped_seconds * audio.RATE + position))
                    lost += 1
                    last = position
        height = common / RECORDED_HEIGHT
        return height, abs(height - self.summands) < 0.05, moments, lost / audio.RATE * 1000


class Quorvane:
    name = "Quorvane"

    def __init__(self, processes, _folder):
        self.program = Program(tempfile.mkdtemp())
        processes.callback(self.program.quit)
        client = processes.enter_context(Client())
        client.await_endpoints()
        for word in ON_DEMAND:
            client.send("addOutputDevice", outputDeviceName=word)
            client.wait_for("finishAddOutputDevice")
        eventually(lambda: all(map(self.entry, CHANNELS)), what="the channels")
        client.send("setControlMode", mode="StreamerMode")
        outputs = client.outputs()
        for mix, sink in MIXES.items():
            device = outputs[sink.capitalize()]
            client.send(f"switch{mix}SynthesizerDevice", deviceName=device["deviceName"],
                        deviceID=device["deviceID"])
            for channel in (*CHANNELS, "Microphone"):
                client.send(f"addTo{mix}Synthesizer", deviceName=full_name(channel), deviceID="",
                            checked=True)
        microphone = client.inputs()["Real microphone"]
        client.send("switchMicrophoneInputDevice", deviceName=microphone["deviceName"],
                    deviceID=microphone["deviceID"])
        client.send("finishSetControlMode", mode="StreamerMode")
        client.settle()
        self.pids = [self.program.process.pid]

    @staticmethod
    def entry(channel):
        return audio.sink_named(full_name(channel))

    @staticmethod
    def microphone():
        return audio.source_named(full_name("Microphone"))

    def trims(self):
        return trims.counted(self.program.data)


class Loopbacks:
    """What a user would build instead: a sink for each channel, and a process for each way."""

    name = "pw-loopback"
    properties = ""

    def __init__(self, processes, _folder):
        for channel in CHANNELS:
            module = audio.load_sink(self.entry(channel), channel)
            processes.callback(audio.unload_if_there, module)
        module = audio.load_sink("virtual_microphone", "Virtual")
        processes.callback(audio.unload_if_there, module)
        ways = [(f"target.object={self.entry(channel)} stream.capture.sink=true", sink)
                for channel in CHANNELS for sink in MIXES.values()]
        ways += [("target.object=real_microphone", sink)
                 for sink in (*MIXES.values(), "virtual_microphone")]
        self.pids = [processes.start(
            "pw-loopback", "--capture-props", source + self.properties, "--playback-props",
            f"target.object={sink}{self.properties}").pid for source, sink in ways]

    @staticmethod
    def entry(channel):
        return f"entry_{channel.lower()}"

    @staticmethod
    def microphone():
        return "virtual_microphone.monitor"

    @staticmethod
    def trims():
        return "no such count"


class PromptLoopbacks(Loopbacks):
    """The same, asking for the period that Quorvane asks for."""

    name = "pw-loopback at 512 frames"
    properties = " node.latency=512/48000"


def measure(subject_type, constant, folder, seconds):
    with Processes() as processes:
        subject = subject_type(processes, folder)
        # The microphone is an input of the real one, and its sound a sink that is linked to it.
        module = audio.load_sink("mouth", "Mouth")
        processes.callback(audio.unload_if_there, module)
        for side in ("FL", "FR"):
            eventually(lambda side=side: subprocess.run(
                ["pw-link", f"mouth:monitor_{side}", f"real_microphone:input_{side}"],
                capture_output=True).returncode == 0, what="the microphone's link")
        for entry in (*map(subject.entry, CHANNELS), "mouth"):
            processes.start("paplay", f"--device={entry}", constant)
        time.sleep(SETTLE_SECONDS)
        recordings = {sink: Recording(processes, f"{sink}.monitor", len(CHANNELS) + 1, folder)
                      for sink in MIXES.values()}
        recordings["microphone"] = Recording(processes, subject.microphone(), 1, folder)
        time.sleep(SETTLE_SECONDS)
        server = int((pathlib.Path(os.environ["PRIVATE_SERVER_DIR"]) / "pipewire.pid").read_text())
        watched = {subject.name: subject.pids, "server": [server]}

        def times():
            return {name: sum((cpu_seconds(pid) for pid in pids), collections.Counter())
                    for name, pids in watched.items()}
        cuts = subject.trims()
        with stalls.Watch() as watch:
            before, since = times(), time.monotonic()
            time.sleep(seconds)
            after, passed = times(), time.monotonic() - since
        print(f"\n{subject.name}: {len(subject.pids)} process(es), {passed:.0f} s, load of the "
              f"machine {os.getloadavg()[0]:.1f}")
        shares = {}
        for name in watched:
            used = after[name] - before[name]
            shares[name] = sum(used.values()) / passed * 100
            print(f"  CPU time of {name}: {shares[name]:.2f} % of a core")
            for thread, spent in used.most_common(8):
                print(f"    {spent / passed * 100:6.2f} %  {thread}")
        print(f"  {watch.told()}")
        for sink, recording in recordings.items():
            height, is_whole, moments, lost = recording.gaps(SETTLE_SECONDS)
            print(f"  {sink}: {height:.2f} sources{'' if is_whole else ', NOT ALL'}, gaps at "
                  f"{len(moments)} time(s), {lost:.1f} ms lost")
            if watch.known:
                explained, by_chance = watch.explained(moments, LONG_STALL)
                print(f"    {explained} where the machine had stood still for {LONG_STALL} ms or "
                      f"longer ({by_chance:.0%} of the time lies so)")
        if subject_type is Quorvane:
            print(f"  queue trims: {subject.trims() - cuts}")
        return shares[subject.name]


def main():
    seconds = int(sys.argv[2]) if len(sys.argv) > 2 else 60
    their_seconds = int(sys.argv[3]) if len(sys.argv) > 3 else seconds
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        constant = constant_file(folder, max(seconds, their_seconds) + 60)
        ours = measure(Quorvane, constant, folder, seconds)
        for subject in (PromptLoopbacks, Loopbacks):
            theirs = measure(subject, constant, folder, their_seconds)
            print(f"  Quorvane takes {ours / theirs:.2f} times the CPU time of that")


main()
