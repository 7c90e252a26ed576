"""What run.sh shows a newcomer, with and without a sound server, and that it leaves nothing."""
import contextlib
import os
import pathlib
import re
import shutil
import signal
import subprocess
import tempfile
import unittest

import audio
from program import PATIENCE, eventually, full_name

RUN = pathlib.Path(__file__).resolve().parents[2] / "run.sh"
LAST_STEP = "Ctrl-C ends it."
LOUD, SILENT = r"-\d+\.\d dBFS, about \d+ Hz", "silence"
LEVEL = re.compile(r"^(Headset|Speakers) +(.*)$", re.MULTILINE)


class RunTest(unittest.TestCase):
    def setUp(self):
        # Sockets within have room for a hundred letters.
        self.folder = tempfile.mkdtemp(prefix="run-", dir="/tmp")
        self.addCleanup(shutil.rmtree, self.folder)

    def start(self, *arguments, **environment):
        """run.sh as from a terminal, with a process group and folders of its own."""
        own = {name: self.own_folder(name) for name in ("TMPDIR", "XDG_DATA_HOME")}
        process = subprocess.Popen(
            [RUN, *arguments], stdout=subprocess.PIPE, text=True, start_new_session=True,
            env={**os.environ, **own, **environment},
            preexec_fn=lambda: signal.signal(signal.SIGINT, signal.SIG_DFL))
        self.addCleanup(process.stdout.close)
        self.addCleanup(self.kill_leftovers)
        return process

    def own_folder(self, name):
        path = pathlib.Path(self.folder) / name
        path.mkdir(mode=0o700, exist_ok=True)
        return str(path)

    def leftovers(self):
        """The processes that were started with folders of this test."""
        found = []
        for process in pathlib.Path("/proc").glob("[0-9]*"):
            with contextlib.suppress(OSError):
                if self.folder.encode() in (process / "environ").read_bytes():
                    found.append((int(process.name), (process / "comm").read_text().strip()))
        return found

    def kill_leftovers(self):
        for identifier, _ in self.leftovers():
            with contextlib.suppress(ProcessLookupError):
                os.kill(identifier, signal.SIGKILL)

    def read_to_the_end_of_the_show(self, process):
        lines = []
        for line in process.stdout:
            lines.append(line)
            if LAST_STEP in line:
                return "".join(lines)
        self.fail(f"run.sh ended with {process.wait(PATIENCE)}: {lines}")

    def assert_stays_until_interrupted(self, process):
        self.assertIn("Quorvane", [name for _, name in self.leftovers()])
        self.assertIsNone(process.poll())
        os.killpg(process.pid, signal.SIGINT)
        process.wait(PATIENCE)
        # Whoever starts the message bus does not wait for its end.
        self.assertLessEqual({name for _, name in self.leftovers()}, {"dbus-daemon"})
        eventually(lambda: not self.leftovers(), what=f"the end of {self.leftovers()}")
        self.assertEqual(os.listdir(pathlib.Path(self.folder) / "TMPDIR"), [])

    def assert_shows_endpoints(self, output):
        listing = output.split("==> quorvanectl outputs")[1].split("==>")[0]
        for name in ("Headset", "Speakers", full_name("Gaming")):
            self.assertIn(name, listing)

    def assert_shows_levels(self, output):
        """The tone is where it is routed to: first at Headset, then at Speakers."""
        shown = LEVEL.findall(output.split("==> Playing")[1])
        self.assertEqual([output for output, _ in shown], ["Headset", "Speakers"] * 2)
        for (_, level), expected in zip(shown, (LOUD, SILENT, SILENT, LOUD)):
            self.assertRegex(level, f"^{expected}$")

    def test_without_a_server(self):
        nowhere = self.own_folder("nowhere")
        process = self.start(XDG_RUNTIME_DIR=nowhere, XDG_CONFIG_HOME=nowhere)
        output = self.read_to_the_end_of_the_show(process)
        self.assertIn("starting a private one", output)
        self.assert_shows_endpoints(output)
        self.assert_shows_levels(output)
        self.assertIn("pipewire", [name for _, name in self.leftovers()])
        self.assert_stays_until_interrupted(process)

    def test_interrupted_on_the_way(self):
        nowhere = self.own_folder("nowhere")
        process = self.start(XDG_RUNTIME_DIR=nowhere, XDG_CONFIG_HOME=nowhere)
        for line in process.stdout:
            if "==> Playing" in line:
                break
        self.assert_stays_until_interrupted(process)

    def test_on_a_server_that_runs(self):
        process = self.start()
        output = self.read_to_the_end_of_the_show(process)
        self.assertIn("Using the PipeWire server", output)
        self.assert_shows_endpoints(output)
        self.assertNotIn("Playing", output)
        self.assertLessEqual({stream["properties"]["application.name"]
                              for stream in audio.pactl_list("sink-inputs")}, {"Quorvane"})
        self.assert_stays_until_interrupted(process)
        self.assertIsNone(audio.sink_named(full_name("Gaming")))

    def test_the_demo_on_a_server_that_runs(self):
        process = self.start("--demo")
        output = self.read_to_the_end_of_the_show(process)
        self.assert_shows_endpoints(output)
        self.assert_shows_levels(output)
        self.assert_stays_until_interrupted(process)

    def test_a_server_that_is_not_pipewire(self):
        """It answers, but cannot carry the virtual speakers."""
        bin_folder = self.own_folder("bin")
        pactl = pathlib.Path(bin_folder) / "pactl"
        pactl.write_text('#!/bin/sh\nif [ "$*" = info ] && [ "$XDG_RUNTIME_DIR" = /other ]; then\n'
                         '    echo "Server Name: pulseaudio"\nelse\n'
                         '    exec /usr/bin/pactl "$@"\nfi\n')
        pactl.chmod(0o755)
        process = self.start(PATH=f"{bin_folder}:{os.environ['PATH']}", XDG_RUNTIME_DIR="/other")
        self.assertIn("starting a private one", self.read_to_the_end_of_the_show(process))
        self.assert_stays_until_interrupted(process)


if __name__ == "__main__":
    unittest.main(verbosity=2)
