"""Crashing threads of the program from outside, and reading what its dumps say."""
import contextlib
import ctypes
import os
import pathlib
import re
import signal
import struct
import subprocess
import tempfile

from program import BUILD, Program, eventually

TOOLS = pathlib.Path(os.environ["QUORVANE_BREAKPAD"])
CRASHES = BUILD / "libcrashes.so"
HEAP_CRASH = BUILD / "libheapcrash.so"

# The signals to which the preloaded libraries listen.
ACTIONS = ("crash_by_null_write", "crash_by_abort", "crash_by_stack_overflow",
           "crash_holding_the_log", "report the signal stack")
SIGNALS = {name: signal.SIGRTMIN + 10 + index for index, name in enumerate(ACTIONS)}
SIGNALS["crash_holding_the_heap"] = signal.SIGRTMIN + 20
# What a dump cannot be written without.
FAULTS = (signal.SIGSEGV, signal.SIGABRT, signal.SIGFPE, signal.SIGILL, signal.SIGBUS,
          signal.SIGTRAP)

SPEAKER_THREAD = "tavoriGetSpeake"  # as far as the kernel keeps the name

_EXCEPTION_STREAM = 6
_libc = ctypes.CDLL(None, use_errno=True)


def signal_thread(pid, thread, number):
    """Sends a signal to one thread of a process."""
    tgkill = 234  # on x86-64
    if _libc.syscall(tgkill, pid, thread, number) != 0:
        raise OSError(ctypes.get_errno(), "tgkill")


def threads(pid):
    """Thread IDs to names."""
    result = {}
    for task in pathlib.Path(f"/proc/{pid}/task").iterdir():
        try:
            result[int(task.name)] = (task / "comm").read_text().strip()
        except OSError:
            pass  # ended meanwhile
    return result


def thread_named(pid, name):
    """The first thread of that name, waited for."""
    return eventually(lambda: next((thread for thread, found in sorted(threads(pid).items())
                                    if found == name), None), what=f"the thread {name}")


def blocked_signals(pid, thread):
    status = pathlib.Path(f"/proc/{pid}/task/{thread}/status").read_text()
    mask = int(re.search(r"^SigBlk:\s*([0-9a-f]+)", status, re.MULTILINE).group(1), 16)
    return {number for number in range(1, 65) if mask >> (number - 1) & 1}


class CrashingProgram(Program):
    """The program with the crash library, or another, in it."""

    def __init__(self, folder, *arguments, library=CRASHES, **options):
        environment = {"LD_PRELOAD": str(library), **options.pop("environment", {})}
        super().__init__(folder, *arguments, environment=environment, **options)

    def crash(self, thread, action):
        signal_thread(self.process.pid, thread, SIGNALS[action])

    def crash_one(self, choose_thread, action):
        """Chooses a thread, again if it ends meanwhile, and crashes it; the thread."""
        while True:
            thread = choose_thread(self)
            with contextlib.suppress(ProcessLookupError):
                self.crash(thread, action)
                return thread

    def dumps(self):
        return sorted((self.data / "tavori/Quorvane/dumps").glob("*.dmp"))


class Symbols:
    """A folder of symbols for the walker, made by dump_syms. Ends with the process."""

    def __init__(self, *binaries):
        self._folder = tempfile.TemporaryDirectory(prefix="symbols-")
        self.path = pathlib.Path(self._folder.name)
        self._binaries = set()
        for binary in binaries:
            self.add(binary)

    def __contains__(self, binary):
        return binary in self._binaries

    def add(self, binary):
        self._binaries.add(binary)
        found = subprocess.run([TOOLS / "dump_syms", binary], capture_output=True, timeout=120,
                               check=True).stdout
        # MODULE Linux x86_64 <identifier> <name>
        identifier, name = found.split(b"\n", 1)[0].decode().split(" ", 4)[3:]
        folder = self.path / name / identifier
        folder.mkdir(parents=True)
        (folder / f"{name}.sym").write_bytes(found)


class Dump:
    """What a minidump tells."""

    def __init__(self, path, symbols):
        self.path = path
        self.report = subprocess.run([TOOLS / "minidump_stackwalk", path, symbols.path],
                                     capture_output=True, text=True, timeout=120,
                                     check=True).stdout

    def crashed_stack(self):
        """The functions of the crashed thread, innermost first, as far as they are known."""
        part = re.search(r"^Thread \d+ \(crashed\)\n(.*?)\n\n", self.report,
                         re.MULTILINE | re.DOTALL)
        if not part:
            raise AssertionError(f"no crashed thread in\n{self.report}")
        frames = re.findall(r"^ ?\d+  (.*)$", part.group(1), re.MULTILINE)
        # "library!function [file : line + offset]"
        return [re.sub(r"^[^!]*!|( \[.*| \+ 0x[0-9a-f]+)$", "", frame) for frame in frames]

    def crashed_thread(self):
        """The thread ID in the dump's record of the exception."""
        content = self.path.read_bytes()
        signature, _, streams, directory = struct.unpack_from("<4sIII", content)
        if signature != b"MDMP":
            raise AssertionError(f"{self.path} is no minidump")
        for index in range(streams):
            kind, _, place = struct.unpack_from("<III", content, directory + 12 * index)
            if kind == _EXCEPTION_STREAM:
                return struct.unpack_from("<I", content, place)[0]
        raise AssertionError("the dump has no record of the exception")
