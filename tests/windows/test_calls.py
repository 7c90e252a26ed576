"""What Wine answers to the system's calls: each that does not succeed stands in docs/windows.md with
its code, and no other does.

usage: test_calls.py PROGRAM...    (what runs systemcalls.exe)
"""
import pathlib
import re
import subprocess
import sys

PAGE = pathlib.Path(__file__).resolve().parents[2] / "docs" / "windows.md"


def answers():
    run = subprocess.run(sys.argv[1:], check=True, capture_output=True, text=True, timeout=120)
    return dict(line.split("\t") for line in run.stdout.splitlines())


def is_failure(code):
    return int(code, 16) >= 0x80000000


found = answers()
missing = {call: code for call, code in found.items() if is_failure(code)}
told = dict(re.findall(r"^\| `([^`]+)` \| (0x[0-9a-f]{8}) \|", PAGE.read_text(), re.MULTILINE))
for call in sorted(missing.keys() | told.keys()):
    if missing.get(call) != told.get(call):
        print(f"{call}: Wine {found.get(call, 'was not asked')}, the page {told.get(call, '-')}")
assert len(found) > len(told) > 0, found
sys.exit(missing != told)
