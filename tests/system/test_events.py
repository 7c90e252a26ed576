"""What reaches the client when endpoints change, from outside and by its own orders."""
import unittest

import audio
from program import ON_DEMAND, eventually, full_name
from soundcase import SoundCase, is_about_sessions


def default_sink():
    return audio.pactl("get-default-sink").strip()


class EventsTest(SoundCase):
    def events(self):
        """All events about endpoints since the last look, once nothing more is on its way."""
        return [event for event in self.client.settle() if not is_about_sessions(event)]

    def test_a_sink_that_comes_and_goes(self):
        module = self.load_sink("extra", "Extra")
        extra = self.client.wait_for("deviceAdded", deviceName="Extra")
        self.assertEqual(set(extra), {"deviceName", "deviceID"})
        self.assertEqual(self.events(), [])
        audio.unload(module)
        self.assertEqual(self.client.wait_for("deviceRemoved"), {"deviceID": extra["deviceID"]})
        self.assertEqual(self.events(), [])

    def test_a_source_that_comes_and_goes(self):
        module = self.load_microphone("extra", "Extra microphone")
        extra = self.client.wait_for("deviceAdded", deviceName="Extra microphone")
        self.assertEqual(self.input("Extra microphone")["deviceID"], extra["deviceID"])
        self.assertEqual(self.events(), [])
        audio.unload(module)
        self.assertEqual(self.client.wait_for("deviceRemoved"), {"deviceID": extra["deviceID"]})
        self.assertEqual(self.events(), [])

    def test_a_renamed_sink_is_known_by_its_new_name(self):
        """The client is not told, but the name it is given from then on is the new one."""
        with audio.RenamedSink("First") as sink:
            eventually(lambda: "First" in self.client.outputs(), what="the sink")
            self.play("Gaming", 440)
            self.client.route("Gaming", "First")
            self.assert_heard("renamed", 440)
            self.events()
            sink.describe("Second")
            eventually(lambda: "Second" in self.client.outputs(), what="the new name")
            self.assertNotIn("First", self.client.outputs())
            self.program.await_log("onPropertyValueChanged() : handle end")
            # The output was opened anew under way.
            self.assert_heard("renamed", 440)
            self.assertEqual(self.events(), [])
            self.tones.pop().stop()
        self.client.wait_for("deviceRemoved")

    def test_the_default_changed_by_others_and_by_command(self):
        headset, speakers = self.output("Headset"), self.output("Speakers")
        audio.pactl("set-default-sink", "headset")
        expected = {"deviceType": "outputDevice", "deviceName": "Headset",
                    "deviceID": headset["deviceID"]}
        self.assertEqual(self.client.wait_for("defaultDeviceChanged"), expected)
        self.assertEqual(self.events(), [])
        self.order("setCurrentDevice", speakers, deviceType="outputDevice")
        self.client.wait_for("defaultDeviceChanged", deviceID=speakers["deviceID"])
        self.assertEqual(default_sink(), "speakers")
        self.assertEqual(self.events(), [])
        # What is the default already is not set again, and another word than the two does nothing.
        self.order("setCurrentDevice", speakers, deviceType="outputDevice")
        self.order("setCurrentDevice", headset, deviceType="loudDevice")
        self.assertEqual(self.events(), [])

        self.load_microphone("extra", "Extra microphone")
        self.client.wait_for("deviceAdded", deviceName="Extra microphone")
        self.order("setCurrentDevice", self.input("Extra microphone"), deviceType="inputDevice")
        self.client.wait_for("defaultDeviceChanged", deviceType="inputDevice",
                             deviceName="Extra microphone")
        self.assertEqual(audio.pactl("get-default-source").strip(), "extra")
        self.assertEqual(self.events(), [])

    def test_levels_changed_by_others_are_told(self):
        headset, microphone = self.output("Headset"), self.input("Real microphone")
        for command, info, node in (("sink", headset, "headset"),
                                    ("source", microphone, "real_microphone")):
            with self.subTest(node=node):
                endpoint = {"deviceName": info["deviceName"], "deviceID": info["deviceID"]}
                audio.pactl(f"set-{command}-volume", node, "35%")
                self.assertEqual(self.client.wait_for("deviceControlChanged"),
                                 {**endpoint, "deviceMute": False, "deviceVolume": 35})
                audio.pactl(f"set-{command}-mute", node, "1")
                self.assertEqual(self.client.wait_for("deviceControlChanged"),
                                 {**endpoint, "deviceMute": True, "deviceVolume": 35})
                self.assertEqual(self.events(), [])

    def test_levels_changed_by_order_are_not_told(self):
        for kind, info in (("outputDevice", self.output("Headset")),
                           ("inputDevice", self.input("Real microphone")),
                           ("", self.output(full_name("Gaming")))):
            with self.subTest(kind=kind):
                self.order("setDeviceVolume", info, deviceType=kind, deviceVolume=35)
                self.order("setDeviceMute", info, deviceType=kind, deviceMute=True)
                self.order("increaseDeviceVolume", info, singleStep=10)
                self.order("decreaseDeviceVolume", info, singleStep=5)
                self.order("getDeviceVolume", info, deviceType=kind)
                self.assertEqual(self.client.wait_for("didReceiveDeviceVolume"),
                                 {"deviceName": info["deviceName"], "deviceID": info["deviceID"],
                                  "deviceVolume": 40})
                self.order("getDeviceMute", info, deviceType=kind)
                self.assertTrue(self.client.wait_for("didReceiveDeviceMute")["deviceMute"])
                self.assertEqual(self.events(), [])

    def test_on_demand_channels(self):
        for word in ON_DEMAND:
            with self.subTest(word=word):
                before = default_sink()
                added = None
                for _ in range(2):
                    self.client.send("addOutputDevice", outputDeviceName=word)
                    self.assertEqual(self.client.wait_for("finishAddOutputDevice"),
                                     {"outputDeviceName": word})
                    self.assertEqual(default_sink(), before)
                    endpoint = self.output(full_name(word))
                    self.assertIn(added, (None, endpoint["deviceID"]))
                    added = endpoint["deviceID"]
                self.assertEqual(self.client.wait_for("deviceActive"),
                                 {"deviceName": full_name(word), "deviceID": added})
                for _ in range(2):
                    self.client.send("removeOutputDevice", outputDeviceName=word)
                    self.assertEqual(self.client.wait_for("finishRemoveOutputDevice"),
                                     {"outputDeviceName": word})
                    self.assertEqual(default_sink(), before)
                    self.assertNotIn(full_name(word), self.client.outputs())
                self.assertEqual(self.client.wait_for("deviceDisabled"), {"deviceID": added})
                self.assertEqual(self.names(self.events()), [])

    @staticmethod
    def names(events):
        """Without the levels that the session manager remembers of an endpoint shown again."""
        return [event["event"] for event in events if event["event"] != "deviceControlChanged"]

    def test_other_words_are_no_channels(self):
        for word in ("browser", "Aux", "Gaming", full_name("Browser"), ""):
            self.client.send("addOutputDevice", outputDeviceName=word)
            self.assertEqual(self.client.wait_for("cannotAddOutputDevice"),
                             {"outputDeviceName": word})
            self.client.send("removeOutputDevice", outputDeviceName=word)
            self.assertEqual(self.client.wait_for("cannotRemoveOutputDevice"),
                             {"outputDeviceName": word})
        self.assertEqual(self.events(), [])

    def test_the_default_that_is_removed_is_not_put_back(self):
        self.client.send("addOutputDevice", outputDeviceName="Aux2")
        self.client.wait_for("finishAddOutputDevice")
        self.order("setCurrentDevice", self.output(full_name("Aux2")), deviceType="outputDevice")
        self.client.wait_for("defaultDeviceChanged", deviceName=full_name("Aux2"))
        self.client.send("removeOutputDevice", outputDeviceName="Aux2")
        self.client.wait_for("finishRemoveOutputDevice")
        # The system picks another.
        changed = self.client.wait_for("defaultDeviceChanged", deviceType="outputDevice")
        self.assertIn(changed["deviceName"], self.client.outputs())

    def test_streams_endpoints_come_and_go_with_the_mode(self):
        self.set_mode("StreamerMode")
        stream = {self.output(full_name("Stream"))["deviceID"],
                  self.input(full_name("Stream"))["deviceID"]}
        events = self.events()
        self.assertEqual(self.names(events), ["deviceActive"] * 2)
        self.set_mode("NormalMode")
        events = self.events()
        self.assertEqual(self.names(events), ["deviceDisabled"] * 2)
        self.assertEqual({event["payload"]["deviceID"] for event in events}, stream)


if __name__ == "__main__":
    unittest.main(verbosity=2)
