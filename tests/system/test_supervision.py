"""Devices that come and go, told in the log; processes that are to be trimmed."""
import os
import pathlib
import subprocess
import tempfile
import unittest

from devices import DeviceBed
from program import BUILD, Client, Program, eventually

USB = "/devices/pci0000:00/usb1/1-1"
HID = f"{USB}/1-1:1.0/0003:1234:5678.0001"
OTHER_HID = "/devices/pci0000:00/usb1/1-2/1-2:1.0/0003:1234:9999.0002"
PORT = f"{USB}/1-1:1.1/ttyUSB0/tty/ttyUSB0"
DISK = f"{USB}/1-1:1.2/host6/target6:0:0/6:0:0:0/block/sdq"
PARTITION = f"{DISK}/sdq1"
DRIVE = "/devices/pci0000:00/ata2/host1/block/sr7"

USB_TEXT = "VID: 1234 PID: 5678 SerialNumber: SERIAL9 GUID: {a5dcbf10-6530-11d2-901f-00c04fb951ed}"
HID_TEXT = "VID: 1234 PID: 5678 SerialNumber: U1 GUID: {4d1e55b2-f16f-11cf-88cb-001111000030}"
DISK_TEXT = r"\r\nProduct: Maker\r\nVendorID: Stick\r\nProductVersion: 1.27"


class SupervisionCase(unittest.TestCase):
    def setUp(self):
        self.bed = self.enterContext(DeviceBed())
        self.bed.add(USB, SUBSYSTEM="usb", DEVTYPE="usb_device", PRODUCT="1234/5678/100",
                     ID_SERIAL_SHORT="SERIAL9")
        self.bed.add(HID, SUBSYSTEM="hid", HID_ID="0003:00001234:00005678", HID_UNIQ="U1")
        self.bed.add(OTHER_HID, SUBSYSTEM="hid", HID_ID="0003:00001234:00009999")
        self.bed.add(PORT, SUBSYSTEM="tty", DEVNAME="/dev/ttyUSB0")
        self.bed.add(DISK, SUBSYSTEM="block", DEVTYPE="disk", DEVNAME="/dev/sdq", ID_BUS="usb",
                     ID_VENDOR="Maker", ID_MODEL="Stick", ID_REVISION="1.27")
        self.bed.add(PARTITION, SUBSYSTEM="block", DEVTYPE="partition", DEVNAME="/dev/sdq1",
                     ID_FS_USAGE="filesystem")
        self.bed.add(DRIVE, SUBSYSTEM="block", DEVTYPE="disk", DEVNAME="/dev/sr7", ID_CDROM="1")
        # The stick is not there yet when the program starts.
        self.bed.set_property(PARTITION, "ID_FS_USAGE", "")
        self.program = self.enterContext(
            Program(tempfile.mkdtemp(prefix="quorvane-"), environment=self.bed.environment))

    def lines(self, begin):
        """What the log has said since, without times, of devices only."""
        texts = [line.split("] ", 1)[-1] for line in self.program.log()[begin:].splitlines()]
        return [text for text in texts
                if any(word in text for word in ("接入", "移除", "Access device", "Remove device"))]

    def assert_told(self, happen, expected):
        """A serial port that comes last shows that everything before it has been told."""
        begin = len(self.program.log())
        happen()
        self.bed.tell(PORT, "add")
        last = 'Info: 接入串行设备: "ttyUSB0"'
        eventually(lambda: last in self.program.log()[begin:], 30, "the last device")
        self.assertEqual(self.lines(begin), [*expected, last])


class HotplugTest(SupervisionCase):
    def test_usb_and_hid(self):
        def happen():
            self.bed.tell(HID, "add")  # not yet that of the last USB device
            self.bed.tell(USB, "add")
            self.bed.tell(HID, "add")
            self.bed.tell(OTHER_HID, "add")
            self.bed.tell(HID, "remove")
            self.bed.tell(USB, "remove")
        self.assert_told(happen, [f'Info: Access device: "{HID_TEXT}"',
                                  f'Info: Remove device: "{USB_TEXT}"'])

    def test_mass_storage(self):
        def happen():
            self.bed.tell(DISK, "add")
            self.bed.set_property(PARTITION, "ID_FS_USAGE", "filesystem")
            self.bed.tell(PARTITION, "add")
            self.bed.tell(PARTITION, "remove")
            self.bed.tell(DISK, "remove")
        self.assert_told(happen, [f'Info: "Access device: {DISK_TEXT}"',
                                  'Info: "接入存储设备---盘符: <D>"',
                                  'Info: "移除存储设备---盘符: <D>"',
                                  f'Info: "Remove device: {DISK_TEXT}"'])

    def test_discs(self):
        def happen():
            for present in ("1", "0"):
                self.bed.set_property(DRIVE, "ID_CDROM_MEDIA", present)
                self.bed.tell(DRIVE, "change")
        self.assert_told(happen, ["Info: 接入 CD 设备", "Info: 移除 CD 设备"])

    def test_serial_ports(self):
        self.assert_told(lambda: self.bed.tell(PORT, "remove"), ['Info: 移除串行设备: "ttyUSB0"'])

    def test_nothing_failed_at_the_start(self):
        self.assertNotIn("注册失败", self.program.log())


class TrimTest(SupervisionCase):
    FAILURE = "Warning: 获取进程句柄失败，错误码： "

    def watched(self):
        """The processes that the program holds a descriptor of."""
        found = []
        for entry in pathlib.Path(f"/proc/{self.program.process.pid}/fdinfo").iterdir():
            try:
                fields = dict(line.split(":", 1) for line in entry.read_text().splitlines())
            except (OSError, ValueError):
                continue
            if "NSpid" in fields:
                found.append(int(fields["Pid"]))
        return sorted(found)

    def await_failures(self, count):
        eventually(lambda: self.program.log().count(f"{self.FAILURE}87") == count,
                   what=f"{count} processes that are not there")

    def test_the_program_itself(self):
        eventually(lambda: self.watched() == [self.program.process.pid], what="its own process")
        self.assertNotIn(self.FAILURE, self.program.log())

    def test_other_processes(self):
        sleeper = subprocess.Popen(["sleep", "600"])
        self.addCleanup(sleeper.wait, 10)
        self.addCleanup(sleeper.kill)
        both = sorted([self.program.process.pid, sleeper.pid])
        with Client() as client:
            for _ in range(3):
                client.send("addMemoryCheck", pid=sleeper.pid)
            refusal = f"{self.FAILURE}5"
            eventually(lambda: self.watched() == both or refusal in self.program.log(),
                       what="the process on the list")
            if refusal in self.program.log():
                self.skipTest("the rights here do not allow to trim another process: error 5")
            self.assertNotIn(self.FAILURE, self.program.log())
            client.send("addMemoryCheck", pid=0)
            client.send("addMemoryCheck")
            self.await_failures(2)
            self.assertEqual(self.watched(), both)
            # An ended process is not noticed until it is named again.
            sleeper.kill()
            sleeper.wait(10)
            self.assertEqual(len(self.watched()), 2)
            client.send("addMemoryCheck", pid=sleeper.pid)
            self.await_failures(3)
            self.assertEqual(self.watched(), [self.program.process.pid])

    def test_the_clients_verb(self):
        done = subprocess.run([BUILD / "quorvanectl", "trim", str(os.getpid())], check=True,
                              capture_output=True, text=True, timeout=60)
        self.assertEqual(done.stdout, f"{os.getpid()}: asked to trim every ten minutes\n")
        eventually(lambda: os.getpid() in self.watched() or f"{self.FAILURE}5" in self.program.log(),
                   what="the order's effect")


if __name__ == "__main__":
    unittest.main(verbosity=2)
