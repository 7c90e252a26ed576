"""What Wine answers to the system's calls: each that does not succeed stands in docs/windows.md with
its code, and no other does. Every function that the libraries call is asked.

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


found = dict(line.split("\t") for line in output_of(PROGRAM).splitlines())
missing = {call: code for call, code in found.items() if is_failure(code)}
told = dict(re.findall(r"^\| `([^`]+)` \| (0x[0-9a-f]{8}) \|", PAGE.read_text(), re.MULTILINE))
for call in sorted(missing.keys() | told.keys()):
    if missing.get(call) != told.get(call):
        print(f"{call}: Wine {found.get(call, 'was not asked')}, the page {told.get(call, '-')}")
unasked = called() - SILENT - {call.split()[0] for call in found}
print("never asked:", sorted(unasked))
assert len(found) > len(told) > 0, found
assert len(called()) > len(SILENT), called()
sys.exit(missing != told or bool(unasked))
