"""The client's HID devices: emulated ones, through the whole program."""
import itertools
import os
import subprocess
import threading
import unittest

from devices import MOUSE, NUMBERED, VENDOR_PAGE, DeviceBed
from program import BUILD, Client, Program, eventually
from soundcase import SoundCase

# More than the queue of a device that takes no writes holds.
TOO_MUCH = 100_000


def device(product, **more):
    return {"VID": 0xABCD, "PID": product, **more}


class HidTest(SoundCase):
    def start_program(self, folder):
        self.hid = self.enterContext(DeviceBed())
        return Program(folder, environment=self.hid.environment)

    def add(self, product, descriptor=VENDOR_PAGE, serial="S1", *kind):
        return self.hid.add_hid(0xABCD, product, serial, descriptor, *kind)

    def send_until(self, line, command, product, **more):
        """Sends a command that the client hears nothing of; returns when the log has this line
        once more."""
        before = self.program.log().count(line)
        self.client.send(command, device=device(product, **more))
        eventually(lambda: self.program.log().count(line) > before, 30, line)

    def open(self, product, **more):
        self.send_until("onOpenHidDevice() : end", "openHidDevice", product, **more)

    def open_in_vain(self, product, **more):
        self.send_until("onOpenHidDevice() : The device has been opened.", "openHidDevice",
                        product, **more)

    def send_data(self, product, data, client=None):
        (client or self.client).send("writeDataToHidDevice", device=device(product),
                                     data=list(data))

    def write(self, product, data):
        self.send_data(product, data)
        return self.client.wait_for("hidWriteResult", 30)

    def read(self, product):
        self.client.send("getInputReportFromHidDevice", device=device(product))
        return self.client.wait_for("receivedFromGetInputReport", 30)

    def close(self, product):
        self.client.send("closeHidDevice", device=device(product))
        return self.client.wait_for("deviceDidDisconnect", 30)["device"]

    def hid_events(self, quiet=0.4):
        """What has come that nobody waited for."""
        return [each for each in self.client.settle(quiet) if "device" in each.get("payload", {})]

    def open_terminals(self):
        """The devices that the program has open; each is a terminal to the emulation."""
        folder = f"/proc/{self.program.process.pid}/fd"
        links = []
        for name in os.listdir(folder):
            try:
                links.append(os.readlink(f"{folder}/{name}"))
            except FileNotFoundError:
                continue
        return sum(link.startswith("/dev/pts/") for link in links)

    def test_reports_go_both_ways(self):
        index = self.add(1, NUMBERED, "N1")
        self.open(1, reportID=1)
        self.assertEqual(self.hid_events(), [])
        identity = device(1, SerialNumber="N1", usagePage=-1, usage=-1, reportID=1)
        # Output reports of this device have four bytes.
        self.assertEqual(self.write(1, [1, 2, 3, 256 + 4, 5, -1]),
                         {"device": identity, "writeResult": 6, "errorString": "Success"})
        self.assertEqual(self.hid.writes(index), [b"\x01\x01\x02\x03\x04", b"\x01\x05\xff\0\0"])
        # Its longest input report has nine, and the report ID.
        self.hid.set_input_report(bytes([1, 10, 0, 255, *range(20)]))
        self.assertEqual(self.read(1), {"device": device(1), "result": 10,
                                        "data": ["a", "0", "ff", "0", "1", "2", "3", "4", "5"]})
        self.assertEqual(self.close(1), identity)
        self.assertEqual(self.hid_events(), [])

    def test_a_device_without_a_kind_of_report_uses_64_bytes(self):
        index = self.add(1, MOUSE)
        self.open(1)
        self.assertEqual(self.write(1, b"a" * 65)["writeResult"], 65)
        self.assertEqual(self.hid.writes(index), [b"\0" + b"a" * 64, b"\0a" + bytes(63)])
        self.hid.set_input_report(bytes(100))
        self.assertEqual(self.read(1)["result"], 1 + 4)

    def test_usage_chooses_among_interfaces(self):
        numbered, vendor = self.add(1, NUMBERED, "A"), self.add(1, VENDOR_PAGE, "B")
        for wanted, index, serial in (({"usagePage": 0xFF00}, numbered, "A"),
                                      ({"usagePage": 0xFF01}, vendor, "B"),
                                      ({"usage": 7}, vendor, "B"),
                                      ({"SerialNumber": "A"}, numbered, "A")):
            with self.subTest(wanted):
                written = len(self.hid.writes(index))
                self.open(1, **wanted)
                self.assertEqual(self.write(1, [1])["device"]["SerialNumber"], serial)
                self.assertEqual(len(self.hid.writes(index)), written + 1)
                # It is the one device of its IDs until it is closed.
                self.open_in_vain(1, usagePage=1)
                self.assertEqual(self.write(1, [1])["device"]["SerialNumber"], serial)
                self.close(1)

    def test_what_is_not_there(self):
        self.open(9)
        self.assertIn('Critical: "Unable to open device: device not found"', self.program.log())
        self.send_data(8, [1])
        self.client.send("getInputReportFromHidDevice", device=device(8))
        self.send_until("onCloseHidDevice() : end", "closeHidDevice", 8)
        # The open that failed keeps its place until the close.
        self.assertEqual(self.read(9)["result"], -1)
        self.add(9)
        self.open_in_vain(9)
        self.send_until("onCloseHidDevice() : end", "closeHidDevice", 9)
        self.open(9)
        self.assertEqual(self.write(9, [1])["writeResult"], 1)
        self.assertEqual(self.hid_events(), [])

    def test_what_comes_unasked_is_not_told(self):
        index = self.add(1)
        self.open(1)
        self.hid.send(index, b"\x01\x02")
        self.assertEqual(self.hid_events(), [])
        self.assertNotIn("Hid read error", self.program.log())

    def test_unplugged_while_reading(self):
        index = self.add(1)
        self.open(1)
        self.hid.unplug(index)
        self.program.await_log("Hid read error: ")
        self.assertEqual(self.hid_events(), [])
        result = self.write(1, [1])
        self.assertEqual(result["writeResult"], -1)
        self.assertTrue(result["errorString"].startswith("Hid write error: "), result)
        self.assertEqual(self.read(1)["result"], -1)
        self.assertEqual(self.close(1)["PID"], 1)
        self.open(1)
        self.program.await_log("Unable to open device: device not found")

    def test_unplugged_while_writing(self):
        index = self.add(1, VENDOR_PAGE, "S1", "deaf")
        self.open(1)
        self.send_data(1, bytes(TOO_MUCH))
        self.assertEqual(self.hid_events(2), [])
        self.hid.unplug(index)
        result = self.client.wait_for("hidWriteResult", 30)
        self.assertEqual(result["writeResult"], -1)
        self.assertTrue(result["errorString"].startswith("Hid write error: "), result)
        self.assertEqual(self.close(1)["PID"], 1)

    def test_a_silent_device_holds_up_hid_commands_only(self):
        self.play("Gaming", 700)
        self.client.route("Gaming", "Headset")
        deaf = self.add(1, VENDOR_PAGE, "S1", "deaf")
        other = self.add(2, VENDOR_PAGE, "S2")
        self.open(1)
        self.open(2)
        self.client.settle()
        self.send_data(1, bytes(TOO_MUCH))
        # Commands do not wait for each other before they have the devices.
        eventually(lambda: self.hid.is_written_to(deaf), 30, "the write")
        self.send_data(2, [1])

        # What plays goes on without a gap, and other commands are carried out.
        self.assert_heard("headset", 700)
        self.client.route("Gaming", "Speakers")
        self.assert_heard("speakers", 700)
        self.assertEqual(self.hid_events(), [])
        self.assertEqual(self.hid.writes(other), [])

        self.hid.drain(deaf)
        results = {self.client.wait_for("hidWriteResult", 30)["writeResult"] for _ in range(2)}
        self.assertEqual(results, {TOO_MUCH, 1})
        self.assertEqual(len(self.hid.writes(other)), 1)

    def test_two_clients_race(self):
        index = self.add(1)
        terminals = self.open_terminals()
        # Each close takes as long as a read, and until then the device has two files open, of which
        # the emulation bears fifty.
        rounds = 30

        def race(client, letter):
            for number in range(rounds):
                client.send("openHidDevice", device=device(1))
                self.send_data(1, letter * 24, client)
                client.send("getInputReportFromHidDevice", device=device(1))
                if number % 3 == 2:
                    client.send("closeHidDevice", device=device(1))

        clients = Client(), Client()
        racers = [threading.Thread(target=race, args=pair) for pair in zip(clients, (b"a", b"b"))]
        for racer in racers:
            racer.start()
        for racer in racers:
            racer.join()
        for client in clients:
            client.close()
        self.client.close()
        self.client = Client()
        self.client.barrier(60)
        # The last word is a close, and it is the only one that is told by now.
        self.open_until_it_answers()
        self.close(1)
        eventually(lambda: self.open_terminals() == terminals, 60, "the device's close")
        # Three reports a write: whatever the order, the bytes of one never mix with another's.
        reports = [report for report in self.hid.writes(index) if report[1:2] in b"ab"]
        self.assertEqual(len(reports) % 3, 0)
        self.assertGreater(len(reports), 0)
        for triple in zip(*[iter(reports)] * 3):
            self.assertEqual(len(set(triple)), 1, triple)

    def open_until_it_answers(self):
        """Commands of the pool keep no order: the race is over when one of ours is answered."""
        for _ in itertools.repeat(None, 20):
            self.client.send("openHidDevice", device=device(1))
            self.send_data(1, [99])
            try:
                self.client.wait_for("hidWriteResult", 3, writeResult=1)
                return
            except AssertionError:
                continue
        self.fail("no write was answered")

    def test_quit_with_devices_open(self):
        self.add(1)
        self.open(1)
        self.assertEqual(self.program.quit(), 0)
        self.assertIn("hid_exit(): result = 0", self.program.log())

    def test_quorvanectl(self):
        index = self.add(1, NUMBERED, "N1")

        def ctl(*words):
            return subprocess.run([BUILD / "quorvanectl", "hid", *words], capture_output=True,
                                  text=True, timeout=60)
        opened = ctl("open", "abcd:1")
        self.assertEqual((opened.returncode, opened.stdout), (0, "abcd:1: asked to open\n"))
        self.program.await_log("onOpenHidDevice() : end")
        written = ctl("write", "abcd:1", "01 02 03 04 05")
        self.assertEqual((written.returncode, written.stdout), (0, "abcd:1: 5 bytes written\n"))
        self.assertEqual(self.hid.writes(index), [b"\0\x01\x02\x03\x04", b"\0\x05\0\0\0"])
        self.hid.set_input_report(b"\x01\x0a\x00\xff")
        asked = ctl("read", "abcd:1")
        self.assertEqual((asked.returncode, asked.stdout), (0, "0a 00 ff\n"))
        closed = ctl("close", "abcd:1")
        self.assertEqual((closed.returncode, closed.stdout), (0, "abcd:1: closed\n"))
        # A device that is not open answers nobody.
        self.assertNotEqual(ctl("close", "abcd:1").returncode, 0)


if __name__ == "__main__":
    unittest.main(verbosity=2)
