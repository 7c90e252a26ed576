"""Devices that no machine here has, emulated around a program of its own."""
import subprocess

from program import BUILD

MOUSE = ("05010902a1010901a1000509190129031500250195037501810295017505810305010930093109381581257f"
         "750895038106c0c0")
# Input reports 1 (5 bytes) and 2 (9 bytes), output report 1 (4 bytes), feature report 2 (2 bytes).
NUMBERED = "0600ff0901a1018501750895058102950491028502950981029502b102c0"
# One vendor page, usage 7, 8 bytes each way.
VENDOR_PAGE = "0601ff0907a10175089508810295089102c0"


class DeviceBed:
    """The devices' side. A program sees them if it is started in `environment`."""

    def __init__(self):
        self.process = subprocess.Popen([BUILD / "emulated_devices"], stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, text=True)
        self.environment = dict(line.rstrip("\n").split("=", 1)
                                for line in iter(self.process.stdout.readline, "\n"))
        self.hid_count = 0

    def add(self, path, **properties):
        """Puts a device there. Nothing is told yet."""
        lines = [f"P: {path}", *(f"E: {key}={value}" for key, value in properties.items())]
        self._order("device", ("\n".join(lines) + "\n\n").encode().hex())

    def set_property(self, path, name, value):
        self._order("property", path, name, value)

    def tell(self, path, action):
        """Lets udev tell "add", "change" or "remove"."""
        self._order("tell", path, action)

    def add_hid(self, vendor, product, serial, descriptor, *kind):
        """A HID device that can be opened; its index."""
        self._order("hid", f"{vendor:04x}", f"{product:04x}", serial, descriptor, *kind)
        self.hid_count += 1
        return self.hid_count - 1

    def send(self, index, report):
        self._order("send", index, report.hex())

    def set_input_report(self, report):
        self._order("input", report.hex())

    def writes(self, index):
        return [bytes.fromhex(report) for report in self._order("writes", index).split()]

    def is_written_to(self, index):
        """Whether a write to a deaf device has begun."""
        return self._order("begun", index) == "yes"

    def drain(self, index):
        self._order("drain", index)

    def unplug(self, index):
        self._order("unplug", index)

    def _order(self, *words):
        self.process.stdin.write(" ".join(map(str, words)) + "\n")
        self.process.stdin.flush()
        answer = self.process.stdout.readline()
        if not answer:
            raise AssertionError(f"the emulation ended at {words}")
        return answer.strip()

    def close(self):
        self.process.stdin.close()
        self.process.wait(60)
        self.process.stdout.close()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()
