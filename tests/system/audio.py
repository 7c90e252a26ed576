"""Playing tones into sinks and measuring what sounds at others, with the applications of the desktop."""
import array
import json
import math
import os
import pathlib
import subprocess
import tempfile
import time

from program import eventually

RATE = 48000
BUILD = pathlib.Path(os.environ["QUORVANE_BUILD"])
TOOLS = pathlib.Path(__file__).resolve().parents[2] / "scripts"


def pactl(*arguments):
    """Runs pactl and gives its output back."""
    return subprocess.run(["pactl", *arguments], check=True, capture_output=True, text=True,
                          timeout=60).stdout


def pactl_list(kind):
    """The server's objects of a kind, as dictionaries."""
    return json.loads(pactl("-f", "json", "list", kind) or "[]")


def sink_named(description):
    """The node name of the sink with this description; None if there is none."""
    return next((sink["name"] for sink in pactl_list("sinks")
                 if sink["description"] == description), None)


def source_named(description):
    """The same for sources."""
    return next((source["name"] for source in pactl_list("sources")
                 if source["description"] == description), None)


def load_sink(name, description, **properties):
    """Loads a null sink and gives its module number back."""
    return pactl("load-module", "module-null-sink", f"sink_name={name}",
                 f"sink_properties='device.description=\"{description}\"'",
                 *(f"{key}={value}" for key, value in properties.items())).strip()


def unload(module):
    pactl("unload-module", module)


def unload_if_there(module):
    subprocess.run(["pactl", "unload-module", module], capture_output=True, timeout=60)


def keep_defaults(test):
    """Puts the default sink and source back when the test is over."""
    for kind in ("sink", "source"):
        test.addCleanup(pactl, f"set-default-{kind}", pactl(f"get-default-{kind}").strip())


def tone_file(folder, hertz, amplitude):
    path = pathlib.Path(folder) / f"tone-{hertz}-{amplitude}.wav"
    if not path.exists():
        subprocess.run([TOOLS / "make-tone.py", str(hertz), "120", path, str(amplitude)],
                       check=True)
    return path


class Tone:
    """A sine tone that an application plays into a sink until it is ended."""

    def __init__(self, folder, sink, hertz, player="paplay", amplitude=0.25):
        path = tone_file(folder, hertz, amplitude)
        command = {"paplay": ["paplay", f"--device={sink}", path],
                   "pw-play": ["pw-play", f"--target={sink}", path]}[player]
        self.process = subprocess.Popen(command)

    def stop(self):
        self.process.terminate()
        self.process.wait(60)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stop()


class RenamedSink:
    """The sink "renamed" of another program, which can change its description while it lives."""

    def __init__(self, description):
        self.process = subprocess.Popen([BUILD / "renamedsink"], stdin=subprocess.PIPE, text=True)
        self.describe(description)

    def describe(self, description):
        print(description, file=self.process.stdin, flush=True)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.stdin.close()
        self.process.wait(60)


class Voice(Tone):
    """A sine tone in front of a microphone, a virtual source: it goes through a sink that is
    linked to it."""

    def __init__(self, folder, microphone, hertz, amplitude=0.25):
        mouth = f"mouth-{hertz}-{microphone}"
        self.module = load_sink(mouth, f"Mouth {hertz}")
        super().__init__(folder, mouth, hertz, amplitude=amplitude)
        for side in ("FL", "FR"):
            self._link(f"{mouth}:monitor_{side}", f"{microphone}:input_{side}")

    def stop(self):
        super().stop()
        unload_if_there(self.module)

    @staticmethod
    def _link(output, port):
        for _ in range(200):
            if subprocess.run(["pw-link", output, port], capture_output=True).returncode == 0:
                return
            time.sleep(0.05)
        raise AssertionError(f"no link from {output} to {port}")


def recorder(source, output):
    return subprocess.Popen(
        ["parecord", f"--device={source}", "--raw", "--format=s16le", f"--rate={RATE}",
         "--channels=2", "--latency-msec=20"], stdout=output)


def left_channel(data):
    """The samples, -1.0 to 1.0, of what a recorder wrote."""
    return [sample / 32768 for sample in array.array("h", data)[::2]]


def record(source, seconds):
    """Records the left channel, -1.0 to 1.0, of a source such as "speakers.monitor"."""
    process = recorder(source, subprocess.PIPE)
    try:
        process.stdout.read(int(RATE * 0.1) * 4)  # the stream's own start
        data = process.stdout.read(int(RATE * seconds) * 4)
    finally:
        process.terminate()
        process.wait(60)
        process.stdout.close()
    return left_channel(data)


class Recording:
    """Everything that sounds at a source while it stands; its `samples` are there afterwards."""

    def __init__(self, source):
        self.samples = []
        self.file = tempfile.TemporaryFile()
        self.process = recorder(source, self.file)
        self.await_seconds(0.1)

    def await_seconds(self, seconds):
        """Returns when so much is recorded."""
        eventually(lambda: os.fstat(self.file.fileno()).st_size > RATE * seconds * 4,
                   what=f"{seconds} seconds of a recording")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.terminate()
        self.process.wait(60)
        self.file.seek(0)
        data = self.file.read()
        self.file.close()
        self.samples = left_channel(data[:len(data) // 4 * 4])


def amplitude_of(samples, hertz):
    """The amplitude of one frequency, over the samples' whole periods of it."""
    count = int(int(len(samples) * hertz / RATE) * RATE / hertz)
    step = 2 * math.pi * hertz / RATE
    real = sum(samples[i] * math.cos(step * i) for i in range(count))
    imaginary = sum(samples[i] * math.sin(step * i) for i in range(count))
    return 2 * math.hypot(real, imaginary) / max(count, 1)


def pieces(source, frequencies, seconds=0.5, length=0.1):
    """The amplitude of each frequency at a source, for one piece of a recording after the other: a
    machine that stands still for a moment spoils one piece. Multiples of 10 Hz do not disturb each
    other."""
    samples, count = record(source, seconds), int(RATE * length)
    for begin in range(0, len(samples) - count + 1, count):
        piece = samples[begin:begin + count]
        yield {hertz: amplitude_of(piece, hertz) for hertz in frequencies}


def amplitudes(source, frequencies, seconds=0.5):
    """The same for the whole recording."""
    return next(pieces(source, frequencies, seconds, seconds))


def heard(sink, hertz, seconds=0.5):
    """The amplitude of a frequency at a sink's monitor."""
    return amplitudes(f"{sink}.monitor", [hertz], seconds)[hertz]
