"""Crashes of the running program: each leaves a dump that tells where it happened."""
import pathlib
import re
import shutil
import signal
import subprocess
import tempfile
import unittest

import audio
from crashes import (CRASHES, FAULTS, HEAP_CRASH, SPEAKER_THREAD, CrashingProgram, Dump, Symbols,
                     blocked_signals, thread_named, threads)
from program import BUILD, Client, Program, eventually, full_name

END_SECONDS = 30
ENDS = {"crash_by_null_write": signal.SIGSEGV, "crash_by_abort": signal.SIGABRT,
        "crash_by_stack_overflow": signal.SIGSEGV, "crash_holding_the_log": signal.SIGSEGV,
        "crash_holding_the_heap": signal.SIGSEGV}


def library(name):
    """The file that the program has loaded under this name."""
    found = subprocess.run(["ldd", BUILD / "Quorvane"], capture_output=True, text=True, check=True)
    return re.search(rf"{re.escape(name)} => (\S+)", found.stdout).group(1)


class CrashTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.symbols = Symbols(CRASHES, HEAP_CRASH, library("libc.so.6"))

    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="quorvane-")

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
        self.assertRegex(dump.path.name, r"^[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}\.dmp$"
                                         r"|^[0-9a-f-]{36}\.dmp$")
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
        program = CrashingProgram(self.folder)
        thread = choose_thread(program)
        program.crash(thread, action)
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


if __name__ == "__main__":
    unittest.main(verbosity=2)
