"""HID devices that no machine here has, and a program that sees them."""
import os
import subprocess

from program import BUILD, Program

MOUSE = ("05010902a1010901a1000509190129031500250195037501810295017505810305010930093109381581257f"
         "750895038106c0c0")
# Input reports 1 (5 bytes) and 2 (9 bytes), output report 1 (4 bytes), feature report 2 (2 bytes).
NUMBERED = "0600ff0901a1018501750895058102950491028502950981029502b102c0"
# One vendor page, usage 7, 8 bytes each way.
VENDOR_PAGE = "0601ff0907a10175089508810295089102c0"


class EmulatedHid:
    """The devices' side: adds them, sends their reports, tells what was written to them."""

    def __init__(self):
        self.process = subprocess.Popen([BUILD / "emulated_hid"], stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, text=True)
        self.environment = dict(line.rstrip("\n").split("=", 1)
                                for line in iter(self.process.stdout.readline, "\n"))
        self.count = 0

    def order(self, *words):
        self.process.stdin.write(" ".join(map(str, words)) + "\n")
        self.process.stdin.flush()
        answer = self.process.stdout.readline()
        if not answer:
            raise AssertionError(f"the emulation ended at {words}")
        return answer.strip()

    def add(self, vendor, product, serial, descriptor, *kind):
        """The device's index."""
        self.order("add", f"{vendor:04x}", f"{product:04x}", serial, descriptor, *kind)
        self.count += 1
        return self.count - 1

    def send(self, index, report):
        self.order("send", index, report.hex())

    def set_input_report(self, report):
        self.order("input", report.hex())

    def writes(self, index):
        return [bytes.fromhex(report) for report in self.order("writes", index).split()]

    def drain(self, index):
        self.order("drain", index)

    def unplug(self, index):
        self.order("unplug", index)

    def start_program(self, folder):
        """A program that sees the devices. Nothing else that the test starts does."""
        kept = dict(os.environ)
        os.environ.update(self.environment)
        try:
            return Program(folder)
        finally:
            os.environ.clear()
            os.environ.update(kept)

    def close(self):
        self.process.stdin.close()
        self.process.wait(20)
        self.process.stdout.close()
