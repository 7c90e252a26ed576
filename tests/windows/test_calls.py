"""What Wine answers to the system's calls: each that does not succeed stands in docs/windows.md with
its code, and each that succeeds and does nothing; no other does. Every function that the libraries call
is asked.

usage: test_calls.py NM LIBRARY... -- PROGRAM...    (what runs systemcalls.exe)
"""
import pathlib
import re
import subprocess
import sys

PAGE = pathlib.Path(__file__).resolve().parents[2] / "docs" / "windows.md"
# They have no answer, or none but that memory is short.
SILENT = {"CoTaskMemAlloc", "CoTaskMemFree", "CoUninitialize", "GetLastError", "PropVariantClear",
          "SysAllocString", "SysFreeString", "VariantInit"}
end = sys.argv.index("--")
(NM, *LIBRARIES), PROGRAM = sys.argv[1:end], sys.argv[end + 1:]


def output_of(command):
    return subprocess.run(command, check=True, capture_output=True, text=True, timeout=120).stdout


def called():
    """Those of HID, with an underscore in their names, want a device and are left out; those of the
    crash handler's are called by crashes, in a test of their own."""
    symbols = output_of([NM, "-A", "-u", *LIBRARIES])
    line = r":(?!crash|runtimefaults)[^:]*:\s+U (?:__imp_)?([A-Z][A-Za-z0-9]*)$"
    return set(re.findall(line, symbols, re.MULTILINE))


def is_failure(code):
    return int(code, 16) >= 0x80000000


def answers():
    """Calls to their codes, of several the worst, and calls to their effects."""
    codes, effects = {}, {}
    for line in output_of(PROGRAM).splitlines():
        call, answer = line.split("\t")
        if not answer.startswith("0x"):
            effects[call] = answer
        elif not is_failure(codes.get(call, "0x0")):
            codes[call] = answer
    return codes, effects


def table(answer):
    """The rows of the page whose second column matches."""
    return dict(re.findall(rf"^\| `([^`]+)` \| ({answer}) \|", PAGE.read_text(), re.MULTILINE))


def differences(found, told):
    for call in sorted(found.keys() | told.keys()):
        if found.get(call) != told.get(call):
            yield f"{call}: Wine {found.get(call, '-')}, the page {told.get(call, '-')}"


# A level that is not the one which every endpoint has at first.
subprocess.run(["pactl", "set-sink-volume", "@DEFAULT_SINK@", "50%"], check=True, timeout=60)
codes, effects = answers()
failures = {call: code for call, code in codes.items() if is_failure(code)}
idle = {call: effect for call, effect in effects.items() if effect != "works"}
wrong = [*differences(failures, table("0x[0-9a-f]{8}")), *differences(idle, table("does nothing"))]
unasked = called() - SILENT - {call.split()[0] for call in codes}
print(*wrong, f"never asked: {sorted(unasked)}", sep="\n")
assert len(codes) > len(failures) > 0, codes
assert len(effects) >= len(idle) > 0, effects
assert len(called()) > len(SILENT), called()
sys.exit(bool(wrong or unasked))
