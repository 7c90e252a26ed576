"""The commands that neither sound nor show, and that every command has its test here."""
import ast
import pathlib
import re
import unittest

from soundcase import SoundCase

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parents[1]
DOCUMENTATION = ROOT / "docs" / "commands.md"


def texts_in_tests(path):
    """The texts that the test methods and set-ups of a file hold, without comments and
    docstrings."""
    methods = (node for node in ast.walk(ast.parse(path.read_text()))
               if isinstance(node, ast.FunctionDef))
    return {node.value for method in methods for node in ast.walk(method)
            if isinstance(node, ast.Constant) and isinstance(node.value, str)}


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

    def test_every_command_is_documented_and_sent_by_some_test(self):
        documented = re.findall(r"^\| `(\w+)` \|", DOCUMENTATION.read_text(), re.MULTILINE)
        self.assertEqual(len(documented), 40)
        table = (ROOT / "link" / "commandtable.cpp").read_text()
        self.assertEqual(sorted(documented),
                         sorted(re.findall(r'^\s*\{"(\w+)", ', table, re.MULTILINE)))
        spoken = set().union(*(texts_in_tests(path) for path in HERE.glob("*.py")
                               if path.name != "load.py"))  # which picks at random
        self.assertEqual(set(documented) - spoken, set())


if __name__ == "__main__":
    unittest.main(verbosity=2)
