"""Crashes of a Windows program: each leaves a dump, which is announced and tells where it happened,
and the process ends.

usage: test_crash.py NM TOOLS WINE... PROGRAM --end    (the rest is for unittest)
"""
import bisect
import concurrent.futures
import os
import pathlib
import re
import struct
import subprocess
import sys
import tempfile
import unittest

END_SECONDS = 120  # Wine looks through every library for its symbols first
HELD_HEAPS = 6
LEAST_ROOM = 32768  # what a thread's stack keeps for its own overflow
NO_FAULT_DIALOG = 2  # SEM_NOGPFAULTERRORBOX
TO_STDERR = 1  # _OUT_TO_STDERR
# Nor its debugger, which it starts where Windows would ask the user.
OVERRIDES = "winedbg.exe,winemenubuilder.exe,mscoree,mshtml="
NM, TOOLS, PROGRAM = "", pathlib.Path(), []

# How Windows names what happened, and the process's exit code, of which Wine passes on a byte.
REASONS = {
    "crash_by_null_write": ("EXCEPTION_ACCESS_VIOLATION_WRITE", 0xc0000005),
    "crash_by_pure_call": ("EXCEPTION_NONCONTINUABLE_EXCEPTION", 0xc0000025),
    "crash_by_uncaught_exception": ("EXCEPTION_NONCONTINUABLE_EXCEPTION", 0xc0000025),
    "crash_by_invalid_parameter": ("0xc0000417 / 0x00000001", 0xc0000417),
    "crash_by_stack_overflow": ("EXCEPTION_STACK_OVERFLOW", 0xc00000fd),
}
ABORTED = 3
FAIL_FAST = 0xc0000602  # STATUS_FAIL_FAST_EXCEPTION
TIMED_OUT = 1460  # ERROR_TIMEOUT


def windows_path(path):
    return "Z:" + str(path).replace("/", "\\")


class Symbols:
    """The program's functions by their places."""

    def __init__(self, program):
        listing = subprocess.run([NM, program], check=True, capture_output=True, text=True).stdout
        found = sorted((int(place, 16), name) for place, name
                       in re.findall(r"^([0-9a-f]+) [tT] (\S+)$", listing, re.MULTILINE))
        content = pathlib.Path(program).read_bytes()
        (header,) = struct.unpack_from("<I", content, 0x3c)
        (base,) = struct.unpack_from("<Q", content, header + 48)
        self.places = [place - base for place, _ in found]
        self.names = [name for _, name in found]

    def name(self, offset):
        return self.names[bisect.bisect_right(self.places, offset) - 1]


class Dump:
    """What a minidump tells."""

    def __init__(self, path):
        self.path = path
        self.report = subprocess.run([TOOLS / "minidump_stackwalk", path], capture_output=True,
                                     text=True, timeout=120, check=True).stdout

    def reason(self):
        return re.search(r"^Crash reason: +(.*)$", self.report, re.MULTILINE).group(1)

    def crashed(self):
        """The crashed thread's number, and the program's functions on its stack."""
        number, stack = re.search(r"^Thread (\d+) \(crashed\)\n(.*?)\n\n", self.report,
                                  re.MULTILINE | re.DOTALL).groups()
        program = pathlib.Path(PROGRAM[-1])
        offsets = re.findall(rf"^ ?\d+  {program.name} \+ 0x([0-9a-f]+)$", stack, re.MULTILINE)
        symbols = Symbols(program)
        return int(number), [symbols.name(int(offset, 16)) for offset in offsets]


class CrashTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.reports = pathlib.Path(folder.name)
        self.folder = self.reports / "dumps"
        self.folder.mkdir()

    def run_program(self, action, place):
        """Its exit code."""
        run = subprocess.run(
            [*PROGRAM, windows_path(self.folder), windows_path(self.reports), action, place],
            stdin=subprocess.DEVNULL, timeout=END_SECONDS,
            env={**os.environ, "WINEDLLOVERRIDES": OVERRIDES})
        return run.returncode

    def report(self, name):
        file = self.reports / f"{name}.txt"
        return file.read_text().splitlines() if file.exists() else []

    def crash(self, action, place):
        """The dump that the crash has left."""
        reason, code = REASONS[action]
        self.assertEqual(self.run_program(action, place), code & 0xff)
        (path,) = self.folder.iterdir()
        self.assertRegex(path.name, r"^\w{8}-\w{4}-\w{4}-\w{4}-\w{12}\.dmp$")
        self.assertEqual(path.read_bytes()[:4], b"MDMP")
        dump = Dump(path)
        self.assertEqual(dump.reason(), reason)
        return dump

    def check(self, action, place):
        dump = self.crash(action, place)
        self.assertEqual(self.report("announcement"),
                         [f"written {windows_path(self.folder)}/{dump.path.stem}"])
        number, functions = dump.crashed()
        self.assertIn(action, functions)
        self.assertEqual(number == 0, place == "main", number)

    def test_null_write_in_main_thread(self):
        self.check("crash_by_null_write", "main")

    def test_null_write_in_a_thread(self):
        self.check("crash_by_null_write", "thread")

    def test_pure_call(self):
        self.check("crash_by_pure_call", "main")

    def test_uncaught_exception(self):
        self.check("crash_by_uncaught_exception", "main")

    def test_invalid_parameter(self):
        self.check("crash_by_invalid_parameter", "main")

    def test_stack_overflow_in_main_thread(self):
        self.check("crash_by_stack_overflow", "main")

    def test_stack_overflow_in_a_thread(self):
        self.check("crash_by_stack_overflow", "thread")

    def test_announcement_that_waits_for_the_crashed_thread_is_left(self):
        self.crash("crash_by_null_write", "held")
        self.assertEqual(self.report("announcement"), [])

    def test_dump_that_waits_for_the_crashed_thread_is_given_up(self):
        # The programs crash as soon as they can, all at once and on one processor, so that their
        # other threads hardly come to run: these must stand ready all the same.
        processors = os.sched_getaffinity(0)
        self.addCleanup(os.sched_setaffinity, 0, processors)
        os.sched_setaffinity(0, {min(processors)})
        with concurrent.futures.ThreadPoolExecutor(HELD_HEAPS) as at_once:
            runs = [at_once.submit(self.run_program, "crash_holding_the_heap", "main")
                    for _ in range(HELD_HEAPS)]
        self.assertEqual([run.result() for run in runs], [TIMED_OUT & 0xff] * HELD_HEAPS)
        self.assertEqual(self.report("announcement"), [])

    def test_dump_that_cannot_be_written(self):
        self.folder.rmdir()
        code = REASONS["crash_by_null_write"][1]
        self.assertEqual(self.run_program("crash_by_null_write", "main"), code & 0xff)
        (line,) = self.report("announcement")
        self.assertTrue(line.startswith(f"failed {windows_path(self.folder)}/"), line)
        self.assertFalse(self.folder.exists())

    def test_settings_that_wine_does_not_heed(self):
        for place in ("main", "thread"):
            self.assertEqual(self.run_program("report_settings", place), 0)
        for line in self.report("settings"):
            room, system, runtime = map(int, line.split())
            self.assertGreaterEqual(room, LEAST_ROOM)
            self.assertTrue(system & NO_FAULT_DIALOG, system)
            self.assertEqual(runtime, TO_STDERR)
        self.assertEqual(len(self.report("settings")), 2)

    def check_without_dump(self, action, code):
        self.assertEqual(self.run_program(action, "main"), code & 0xff)
        self.assertEqual(list(self.folder.iterdir()), [])
        self.assertEqual(self.report("announcement"), [])

    def test_abort_leaves_no_dump(self):
        self.check_without_dump("abort", ABORTED)

    def test_fatal_message_leaves_no_dump(self):
        self.check_without_dump("fatal", FAIL_FAST)


if __name__ == "__main__":
    split = sys.argv.index("--end")
    NM, TOOLS, *PROGRAM = sys.argv[1:split]
    TOOLS = pathlib.Path(TOOLS)
    unittest.main(argv=[sys.argv[0], *sys.argv[split + 1:]], verbosity=2)
