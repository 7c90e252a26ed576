"""The commands that neither sound nor show, and that every command has its test here."""
import pathlib
import re
import unittest

from soundcase import SoundCase

HERE = pathlib.Path(__file__).resolve().parent
# Sessions, HID devices and supervision have tests of their own.
ELSEWHERE = {"getAudioSessionInfos", "getDeviceAudioSessionInfos", "setAppDefaultAudioEndpoint",
             "openHidDevice", "closeHidDevice", "writeDataToHidDevice",
             "getInputReportFromHidDevice", "addMemoryCheck"}


class CommandsTest(SoundCase):
    def test_settings_are_taken_and_dropped(self):
        before = (self.client.outputs(), self.client.inputs())
        for event in ("getSettings", "setSettings", "getGlobalSettings", "setGlobalSettings"):
            for payload in ({}, {"mode": "StreamerMode", "deviceVolume": 3}):
                self.client.send(event, **payload)
        self.assertEqual(self.client.settle(), [])
        self.assertEqual((self.client.outputs(), self.client.inputs()), before)

    def test_the_systems_identity(self):
        answers = []
        for _ in range(2):
            self.client.send("getSystemUUID")
            answers.append(self.client.wait_for("didReceiveSystemUUID"))
        self.assertEqual(set(answers[0]), {"systemUUID"})
        self.assertIsInstance(answers[0]["systemUUID"], str)
        self.assertEqual(answers[0], answers[1])

    def test_unknown_commands_do_nothing(self):
        for event in ("Heartbeat", "setcontrolmode", "nonsense", ""):
            self.client.send(event, mode="StreamerMode")
        self.assertEqual(self.client.settle(), [])

    def test_increase_and_decrease_end_at_the_limits(self):
        headset = self.output("Headset")
        for event, expected in (("increaseDeviceVolume", 100), ("decreaseDeviceVolume", 70),
                                ("increaseDeviceVolume", 100), ("decreaseDeviceVolume", 70),
                                ("decreaseDeviceVolume", 40), ("decreaseDeviceVolume", 10),
                                ("decreaseDeviceVolume", 0)):
            self.order(event, headset, singleStep=30)
            self.order("getDeviceVolume", headset)
            self.assertEqual(self.client.wait_for("didReceiveDeviceVolume")["deviceVolume"],
                             expected)

    def test_every_command_is_sent_by_some_test(self):
        table = (HERE.parents[1] / "link" / "commandtable.cpp").read_text()
        commands = set(re.findall(r'^\s*\{"(\w+)", ', table, re.MULTILINE))
        self.assertEqual(len(commands), 40)
        tests = "".join(path.read_text() for path in HERE.glob("*.py") if path.name != __file__)
        missing = {name for name in commands - ELSEWHERE if f'"{name}"' not in tests}
        self.assertEqual(missing, set())


if __name__ == "__main__":
    unittest.main(verbosity=2)
