"""Emulated devices that come and go, as udev tells of them to a program of its own."""
import glob
import json
import os
import subprocess
import sys

INTERPRETER = "/usr/bin/python3"  # the one that has the bindings


def preload_library():
    return glob.glob("/usr/lib/*/libumockdev-preload.so.0")[0]


class DeviceBed:
    """Devices by the words of umockdev-record: "P: path", "E: KEY=value". A program sees them if
    it is started in `environment`."""

    def __init__(self):
        self.process = subprocess.Popen(
            [INTERPRETER, __file__], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True,
            env=dict(os.environ, LD_PRELOAD=preload_library()))
        self.environment = {"LD_PRELOAD": preload_library(), "UMOCKDEV_DIR": self._answer()}

    def add(self, path, **properties):
        """Puts a device there. Nothing is told yet."""
        lines = [f"P: {path}", *(f"E: {key}={value}" for key, value in properties.items())]
        self._order("add_from_string", "\n".join(lines) + "\n\n")

    def set_property(self, path, name, value):
        self._order("set_property", f"/sys{path}", name, value)

    def tell(self, path, action):
        """Lets udev tell "add", "change" or "remove"."""
        self._order("uevent", f"/sys{path}", action)

    def _order(self, *words):
        print(json.dumps(words), file=self.process.stdin, flush=True)
        self._answer()

    def _answer(self):
        return json.loads(self.process.stdout.readline())

    def close(self):
        self.process.stdin.close()
        self.process.wait(10)
        self.process.stdout.close()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()


def serve():
    """Carries out orders from standard input, one a line; the folder of the devices first."""
    import gi
    gi.require_version("UMockdev", "1.0")
    from gi.repository import UMockdev

    bed = UMockdev.Testbed.new()
    print(json.dumps(bed.get_root_dir()), flush=True)
    for line in sys.stdin:
        name, *arguments = json.loads(line)
        getattr(bed, name)(*arguments)
        print("null", flush=True)


if __name__ == "__main__":
    serve()
