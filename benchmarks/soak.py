#!/usr/bin/python3
"""Whether Quorvane can run for months: what it holds while everything around it comes and goes.

    scripts/private-server.sh --own-network benchmarks/soak.py BUILD_FOLDER [SECONDS]

Two channels play all the time. Each round a client comes and goes and gives commands of all kinds,
and an output, a channel, a mode, applications and devices come and go. After each round, with
everything as it was before, it looks at the resident memory, the descriptors, the threads and the
log. An hour (3600 seconds) by default.

The first third, at most five minutes, is for warming up. What is left is cut into three: the median
of the last part may exceed that of the first by no more than the allowance printed. Memory is
judged by what is the program's own (anonymous and swapped out) and as a whole. The exit code tells
whether all is flat.
"""
import dataclasses
import os
import pathlib
import statistics
import sys
import tempfile
import time

os.environ["QUORVANE_BUILD"] = str(pathlib.Path(sys.argv[1]).resolve())
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tests" / "system"))

import audio  # noqa: E402  (the path stands above)
from devices import DeviceBed  # noqa: E402
from program import Client, Program, eventually, full_name  # noqa: E402

LONGEST_WARM_UP = 300
LINES_SHOWN = 40
TONES = {"Gaming": ("headset", 700), "Chat": ("speakers", 1100)}
OUTPUTS = {"headset": "Headset", "speakers": "Speakers"}

USB = "/devices/pci0000:00/usb1/1-1"
HID = f"{USB}/1-1:1.0/0003:1234:5678.0001"
PORT = f"{USB}/1-1:1.1/ttyUSB0/tty/ttyUSB0"
DISK = f"{USB}/1-1:1.2/host6/target6:0:0/6:0:0:0/block/sdq"
DEVICES = {
    USB: {"SUBSYSTEM": "usb", "DEVTYPE": "usb_device", "PRODUCT": "1234/5678/100"},
    HID: {"SUBSYSTEM": "hid", "HID_ID": "0003:00001234:00005678"},
    PORT: {"SUBSYSTEM": "tty", "DEVNAME": "/dev/ttyUSB0"},
    DISK: {"SUBSYSTEM": "block", "DEVTYPE": "disk", "DEVNAME": "/dev/sdq", "ID_BUS": "usb",
           "ID_VENDOR": "Maker", "ID_MODEL": "Stick", "ID_REVISION": "1.27",
           "ID_FS_USAGE": "filesystem"},
}
NO_DEVICE = {"VID": 0x1234, "PID": 0x9999}


@dataclasses.dataclass
class Quantity:
    """Something that is to stay flat: its value in a sample, and by how much it may have grown."""
    name: str
    unit: str
    allowance: float


QUANTITIES = {
    "resident": Quantity("resident memory", "MiB", 3.0),
    "own": Quantity("own memory", "MiB", 2.0),
    "descriptors": Quantity("descriptors", "", 2),
    "threads": Quantity("threads", "", 2),
    "lines": Quantity("log lines a round", "", 50),
}


class Probe:
    """What the program holds."""

    def __init__(self, program):
        self.program = program
        self.folder = pathlib.Path(f"/proc/{program.process.pid}")
        self.log = program.log_files()[-1]
        self.lines = self._count_lines()

    def _count_lines(self):
        with self.log.open("rb") as file:
            return sum(1 for _ in file)

    def sample(self):
        status = (self.folder / "status").read_text()

        def mebibytes(key):
            return int(status.split(f"{key}:")[1].split()[0]) / 1024
        before, self.lines = self.lines, self._count_lines()
        return {
            "resident": mebibytes("VmRSS"),
            "own": mebibytes("RssAnon") + mebibytes("VmSwap"),
            "descriptors": len(os.listdir(self.folder / "fd")),
            "threads": len(os.listdir(self.folder / "task")),
            "lines": self.lines - before,
        }


class Surroundings:
    """The applications, endpoints and devices around the program."""

    def __init__(self, bed):
        self.bed = bed
        self.folder = tempfile.mkdtemp(prefix="quorvane-soak-")
        self.tones = {}
        for path, properties in DEVICES.items():
            bed.add(path, **properties)

    def play(self):
        """Starts the applications, anew if they play already."""
        self.stop()
        for channel, (_, hertz) in TONES.items():
            sink = audio.sink_named(full_name(channel))
            self.tones[channel] = audio.Tone(self.folder, sink, hertz)

    def stop(self):
        while self.tones:
            self.tones.popitem()[1].stop()

    def plug_and_pull(self):
        for action, paths in (("add", DEVICES), ("remove", reversed(DEVICES))):
            for path in paths:
                self.bed.tell(path, action)


def route_home(client):
    for channel, (sink, _) in TONES.items():
        client.route(channel, OUTPUTS[sink])


def set_mode(client, mode):
    client.send("setControlMode", mode=mode)
    client.send("finishSetControlMode", mode=mode)
    client.barrier()


def order_levels(client, volume, mute):
    for info in (*client.outputs().values(), *client.inputs().values()):
        place = {"deviceName": info["deviceName"], "deviceID": info["deviceID"]}
        client.send("setDeviceVolume", deviceVolume=volume, **place)
        client.send("setDeviceMute", deviceMute=mute, **place)
        client.send("getDeviceVolume", **place)
        client.send("getDeviceAudioSessionInfos", deviceID=info["deviceID"])
    # The channels hear of it later, and in streamer mode they would not.
    client.settle()


def ask_and_balance(client):
    client.send("getAudioSessionInfos")
    client.send("setGamingChatMixEnable", enable=True)
    client.send("setGamingChatMixProportion", gaming=50, chat=150)
    client.send("setGamingChatMixEnable", enable=False)
    client.send("getSystemUUID")
    for event in ("openHidDevice", "closeHidDevice"):
        client.send(event, device=NO_DEVICE)
    client.barrier()


def let_an_output_come_and_go(client):
    module = audio.load_sink("visitor", "Visitor")
    eventually(lambda: "Visitor" in client.outputs(), 30, "the output")
    client.route("Gaming", "Visitor")
    audio.unload(module)
    eventually(lambda: "Visitor" not in client.outputs(), 30, "the output's end")


def let_a_channel_come_and_go(client):
    for event, answer in (("addOutputDevice", "finishAddOutputDevice"),
                          ("removeOutputDevice", "finishRemoveOutputDevice")):
        client.send(event, outputDeviceName="Browser")
        client.wait_for(answer, 30)


def stream(client):
    """To streamer mode and back, with both mixes and the microphone."""
    set_mode(client, "StreamerMode")
    headset = client.outputs()["Headset"]
    voice = client.inputs()["Real microphone"]
    client.send("switchPersonalSynthesizerDevice", deviceName="Headset",
                deviceID=headset["deviceID"])
    client.send("switchMicrophoneInputDevice", deviceName="Real microphone",
                deviceID=voice["deviceID"])
    client.send("addToStreamingSynthesizer", deviceName=full_name("Gaming"), checked=True)
    client.barrier()
    set_mode(client, "NormalMode")


def run_round(number, surroundings, pid):
    if number % 8 == 0 or any(tone.process.poll() is not None
                              for tone in surroundings.tones.values()):
        surroundings.play()
    with Client() as client:
        # Now and then only: each order puts the next trim off.
        if number % 400 == 0:
            client.send("addMemoryCheck", pid=pid)
        order_levels(client, 40, True)
        order_levels(client, 100, False)
        ask_and_balance(client)
        let_an_output_come_and_go(client)
        let_a_channel_come_and_go(client)
        stream(client)
        surroundings.plug_and_pull()
        route_home(client)
        client.settle()


def show(seconds, number, sample):
    print(f"{seconds:7.0f} s  round {number:5}  resident {sample['resident']:6.1f} MiB"
          f"  own {sample['own']:6.1f} MiB  descriptors {sample['descriptors']:4}"
          f"  threads {sample['threads']:3}  log lines {sample['lines']:5}", flush=True)


def judge(samples):
    """Tells what has grown; True if nothing has grown by more than it may."""
    part = len(samples) // 3
    if part < 3:
        print("soak: too few rounds to tell anything")
        return False
    flat = True
    for key, quantity in QUANTITIES.items():
        first, last = (statistics.median(sample[key] for sample in some)
                       for some in (samples[:part], samples[-part:]))
        grown = last - first
        verdict = "flat" if grown <= quantity.allowance else "GROWS"
        flat = flat and verdict == "flat"
        print(f"{quantity.name:20} {first:8.1f} -> {last:8.1f} {quantity.unit:3}"
              f"  {grown:+6.1f} of {quantity.allowance:+.1f} allowed: {verdict}")
    return flat


def soak(program, surroundings, seconds):
    """The samples after the warm-up."""
    with Client() as client:
        client.await_endpoints()
    probe = Probe(program)
    warm_up = min(LONGEST_WARM_UP, seconds / 3)
    begin, number, samples, next_shown = time.monotonic(), 0, [], 0
    while (elapsed := time.monotonic() - begin) < seconds:
        run_round(number, surroundings, program.process.pid)
        number += 1
        sample = probe.sample()
        if elapsed >= next_shown:
            show(elapsed, number, sample)
            next_shown += seconds / LINES_SHOWN
        if elapsed >= warm_up:
            samples.append(sample)
    print(f"{number} rounds, the {len(samples)} after {warm_up:.0f} s of warming up are judged")
    return samples


def assert_sound_flows():
    for sink, hertz in TONES.values():
        eventually(lambda: audio.heard(sink, hertz) > 0.1, 30, f"{hertz} Hz at {sink}")


def assert_nothing_is_left():
    names = [sink["description"] for sink in audio.pactl_list("sinks")]
    left = [name for name in names if "tavori" in name]
    if left:
        raise AssertionError(f"the program has left {left}")


def main():
    seconds = float(sys.argv[2]) if len(sys.argv) > 2 else 3600
    print(f"load: {os.getloadavg()}")
    with DeviceBed() as bed:
        surroundings = Surroundings(bed)
        program = Program(tempfile.mkdtemp(prefix="quorvane-"), environment=bed.environment)
        try:
            samples = soak(program, surroundings, seconds)
            surroundings.play()
            assert_sound_flows()
        finally:
            surroundings.stop()
        code = program.quit()
        assert_nothing_is_left()
    print(f"load: {os.getloadavg()}; the program ended with {code}")
    sys.exit(0 if judge(samples) and code == 0 else 1)


main()
