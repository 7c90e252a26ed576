"""Crashes of the running program: each leaves a dump that tells where it happened."""
import contextlib
import pathlib
import re
import shutil
import signal
import subprocess
import tempfile
import unittest

import websockets

from crashes import (CRASHES, FAULTS, HEAP_CRASH, SIGNALS, SPEAKER_THREAD, CrashingProgram, Dump,
                     Symbols, blocked_signals, thread_named, threads)
from program import BUILD, Client, Program, eventually

END_SECONDS = 30
LONGEST_WRITING = 20
QUESTION = "report the signal stack"
LEAST_STACK = 16384  # bytes
ENDS = {"crash_by_null_write": signal.SIGSEGV, "crash_by_abort": signal.SIGABRT,
        "crash_by_stack_overflow": signal.SIGSEGV, "crash_holding_the_log": signal.SIGSEGV,
        "crash_holding_the_heap": signal.SIGSEGV}


def library(name):
    """The file that the program has loaded under this name."""
    found = subprocess.run(["ldd", BUILD / "Quorvane"], capture_output=True, text=True, check=True)
    return re.search(rf"{re.escape(name)} => (\S+)", found.stdout).group(1)


class RunningThreads:
    """What the threads of the program, but for some libraries', have for a crash."""

    def __init__(self, program, report):
        self.program = program
        self.report = report
        self.count = 0  # of those that answer
        self.silent = set()  # names of those that no question reaches
        self.lacking = set()  # names of those that could not leave a dump

    def can_crash(self):
        """Looks at all of them anew."""
        pid = self.program.process.pid
        self.report.unlink(missing_ok=True)
        self.lacking = set()
        self.silent = set()
        asked = {}
        for thread, name in threads(pid).items():
            if self.is_of_a_library(name):
                continue
            with contextlib.suppress(FileNotFoundError, ProcessLookupError):  # ended meanwhile
                blocked = blocked_signals(pid, thread)
                if blocked & set(FAULTS):
                    self.lacking.add(name)
                elif SIGNALS[QUESTION] in blocked:
                    self.silent.add(name)
                else:
                    self.program.crash(thread, QUESTION)
                    asked[thread] = name
        self.count = len(asked)
        sizes = eventually(lambda: self.answers(asked), what="the threads' answers")
        self.lacking |= {asked[thread] for thread in sizes if sizes[thread] < LEAST_STACK}
        return not self.lacking

    def answers(self, asked):
        """The sizes of the signal stacks of those that still run; None while some are missing."""
        lines = self.report.read_text() if self.report.exists() else ""
        sizes = {int(thread): int(size) for thread, size in re.findall(r"(\d+) (\d+)\n", lines)}
        running = set(asked) & set(threads(self.program.process.pid))
        if not running <= set(sizes):
            return None
        return {thread: sizes[thread] for thread in running}

    def __str__(self):
        return f"what a crash needs in the threads {sorted(self.lacking)}"

    @staticmethod
    def is_of_a_library(name):
        return name in ("QDBusConnection",)


class CrashTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.symbols = Symbols(CRASHES, HEAP_CRASH, library("libc.so.6"))

    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="quorvane-")

    def start(self, folder, **options):
        """The program, which does not outlive the test."""
        program = CrashingProgram(folder, **options)
        self.addCleanup(lambda: program.process.poll() is None and program.kill())
        return program

    def add_program_symbols(self):
        if BUILD / "Quorvane" not in self.symbols:
            self.symbols.add(BUILD / "Quorvane")
            self.symbols.add(library("libQt6Core.so.6"))

    def data(self, program):
        return program.data / "tavori/Quorvane"

    def main_thread(self, program):
        return program.process.pid

    def speaker_thread(self, program):
        return thread_named(program.process.pid, SPEAKER_THREAD)

    def assert_leaves_dump(self, program, function, thread=None, ends_with=signal.SIGSEGV):
        """The process ends by the signal and leaves one dump, which names function and thread."""
        try:
            code = program.process.wait(END_SECONDS)
        except subprocess.TimeoutExpired:
            self.fail(f"the program hangs after {function}")
        self.assertEqual(code, -ends_with)
        self.assertEqual(len(program.dumps()), 1)
        dump = Dump(program.dumps()[0], self.symbols)
        self.assertRegex(dump.path.name, r"^\w{8}-\w{4}-\w{4}-\w{8}-\w{8}\.dmp$")
        self.assertIn(function, dump.crashed_stack())
        if thread:
            self.assertEqual(dump.crashed_thread(), thread)
        self.assert_lines_are_as_promised(program, dump.path)
        return dump

    def assert_lines_are_as_promised(self, program, path):
        """What reached the log of a process that was ending, which need not be anything."""
        log = program.log()
        stamp = r"\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\]"
        if "Software dump callback" in log:
            self.assertRegex(log, stamp + re.escape(
                f' Critical: Software dump callback!!! "{path.parent}//{path.name}"') + "\r\n")
        if "Freeing" in log:
            self.assertRegex(log, rf"{stamp} Info: Freeing application resources\.\.\.\r\n")

    def check_crash(self, action, choose_thread):
        program = self.start(self.folder)
        thread = program.crash_one(choose_thread, action)
        self.assert_leaves_dump(program, action, thread, ENDS[action])

    def test_null_write_in_main_thread(self):
        self.check_crash("crash_by_null_write", self.main_thread)

    def test_null_write_in_speaker_thread(self):
        self.check_crash("crash_by_null_write", self.speaker_thread)

    def test_abort_in_main_thread(self):
        self.check_crash("crash_by_abort", self.main_thread)

    def test_abort_in_speaker_thread(self):
        self.check_crash("crash_by_abort", self.speaker_thread)

    def test_stack_overflow_in_main_thread(self):
        self.check_crash("crash_by_stack_overflow", self.main_thread)

    def test_stack_overflow_in_speaker_thread(self):
        self.check_crash("crash_by_stack_overflow", self.speaker_thread)

    def test_stack_overflow_in_a_thread_of_the_sound_library(self):
        self.check_crash("crash_by_stack_overflow",
                         lambda program: thread_named(program.process.pid, "pw-connection"))

    def test_crash_that_holds_the_log(self):
        self.add_program_symbols()
        program = self.start(self.folder)
        with Client() as client:
            client.barrier()
            program.crash(self.main_thread(program), "crash_holding_the_log")

            # Logged by this thread; the first line of a second asks for local time.
            def asks_in_vain():
                with contextlib.suppress(websockets.ConnectionClosed):
                    client.send("getDeviceMute")
                return program.process.poll() is not None

            eventually(asks_in_vain, what="the crash in the log")
            dump = self.assert_leaves_dump(program, "crash_holding_the_log",
                                           self.main_thread(program))
        # The lock is the handler's, and what would announce the dump waits for it.
        stack = "\n".join(dump.crashed_stack())
        self.assertRegex(stack, r"(?m)^messageHandler\(")
        self.assertRegex(stack, r"(?m)^main")
        self.assertNotIn("Software dump callback", program.log())

    def check_heap_crash(self, choose_thread):
        program = self.start(self.folder, library=HEAP_CRASH)
        with Client() as client:
            client.barrier()
            thread = program.crash_one(choose_thread, "crash_holding_the_heap")
            client.send("quitApp")  # every thread logs its end, and allocates for it
            self.assert_leaves_dump(program, "crash_holding_the_heap", thread)
        self.assertNotIn("Software dump callback", program.log())

    def test_crash_that_holds_the_heap_in_main_thread(self):
        self.check_heap_crash(self.main_thread)

    def test_crash_that_holds_the_heap_in_speaker_thread(self):
        self.check_heap_crash(self.speaker_thread)

    def test_crash_while_the_application_object_is_made(self):
        program = self.start(self.folder, wait=False,
                                  environment={"CRASHES_MOMENT": "early start"})
        self.assert_leaves_dump(program, "crash_in_early_start")
        self.assertEqual(program.log_files(), [])

    def test_crash_of_a_second_instance(self):
        with Program(pathlib.Path(self.folder) / "first"):
            second = self.start(self.folder, wait=False,
                                     environment={"CRASHES_MOMENT": "second instance"})
            self.assert_leaves_dump(second, "crash_in_second_instance")
            self.assertEqual(second.log_files(), [])

    def test_crash_after_the_last_static_object(self):
        program = self.start(self.folder, environment={"CRASHES_MOMENT": "exit"})
        with Client() as client:
            client.barrier()
            client.send("quitApp")
        self.assert_leaves_dump(program, "crash_at_exit", program.process.pid)
        self.assertNotIn("Software dump callback", program.log())

    def test_dump_that_cannot_be_written(self):
        program = self.start(self.folder)
        shutil.rmtree(self.data(program) / "dumps")
        program.crash(self.main_thread(program), "crash_by_null_write")
        self.assertEqual(program.process.wait(END_SECONDS), -signal.SIGSEGV)
        self.assertEqual(program.dumps(), [])

    def test_dump_whose_writing_hangs(self):
        program = self.start(self.folder, environment={"CRASHES_MOMENT": "unstoppable thread"})
        program.crash(self.main_thread(program), "crash_by_null_write")
        code = program.process.wait(LONGEST_WRITING + END_SECONDS)
        self.assertEqual(code, -signal.SIGKILL)
        # Nothing of it is in the way of the next one.
        with Program(self.folder) as after, Client() as client:
            client.await_endpoints()
            after.await_log("End of init!!!")

    def test_dumps_accumulate(self):
        for count in (1, 2):
            program = self.start(self.folder)
            program.crash(self.main_thread(program), "crash_by_null_write")
            self.assertEqual(program.process.wait(END_SECONDS), -signal.SIGSEGV)
            self.assertEqual(len(program.dumps()), count)
        with Program(self.folder), Client() as client:
            client.await_endpoints()
        self.assertEqual(len(program.dumps()), 2)

    def test_every_thread_of_ours_can_crash(self):
        self.check_every_thread({})

    def test_every_thread_that_begins_late_can_crash(self):
        self.check_every_thread({"CRASHES_MOMENT": "late threads"})

    def check_every_thread(self, environment):
        report = pathlib.Path(self.folder) / "stacks"
        program = self.start(self.folder,
                             environment={"CRASHES_REPORT": str(report), **environment})
        with program, Client() as client:
            client.await_endpoints()
            client.send("openHidDevice", VID=1, PID=1)  # wakes a thread of the pool
            client.route("Gaming", "Headset")
            client.send("switchMicrophoneInputDevice",
                        deviceID=client.inputs()["Real microphone"]["deviceID"],
                        deviceName="Real microphone")
            client.barrier()
            # A thread that has not begun yet has not got what it needs either.
            threads_of_ours = RunningThreads(program, report)
            eventually(threads_of_ours.can_crash, what=threads_of_ours)
            self.assertEqual(threads_of_ours.silent, {"endpoints"})
            self.assertGreater(threads_of_ours.count, 15)


if __name__ == "__main__":
    unittest.main(verbosity=2)
