"""What a Windows program exports that is linked as Quorvane is: the HID layer's functions and the one
for icons, and nothing else.

usage: test_exporttable.py OBJDUMP PROGRAM
"""
import pathlib
import re
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "system"))
from test_exports import HIDAPI, QUERIES  # noqa: E402

PROMISED = {*HIDAPI, *QUERIES, "getWinApplicationIcon"}

tables = subprocess.run([sys.argv[1], "-p", sys.argv[2]], check=True, capture_output=True, text=True,
                        timeout=120).stdout
names = tables.partition("[Ordinal/Name Pointer] Table\n")[2].partition("\n\n")[0]
found = set(re.findall(r"^\s*\[ *\d+\] (\S+)$", names, re.MULTILINE))
missing = PROMISED - found
# hidapi itself exports more than is promised.
surplus = {name for name in found - PROMISED if not name.startswith("hid_")}
print("missing:", sorted(missing), "too many:", sorted(surplus))
sys.exit(bool(missing or surplus))
