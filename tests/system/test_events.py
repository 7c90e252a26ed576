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
        audio.pactl("set-default-source", "real_microphone")
        self.client.wait_for("defaultDeviceChanged", deviceType="inputDevice",
                             deviceName="Real microphone")
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

    def show(self, word):
        """Adds an on-demand channel; its device info object. A busy server may follow late."""
        self.client.send("addOutputDevice", outputDeviceName=word)
        self.assertEqual(self.client.wait_for("finishAddOutputDevice"), {"outputDeviceName": word})
        return eventually(lambda: self.client.outputs().get(full_name(word)), what=word)

    def hide(self, word):
        self.client.send("removeOutputDevice", outputDeviceName=word)
        self.assertEqual(self.client.wait_for("finishRemoveOutputDevice"),
                         {"outputDeviceName": word})
        eventually(lambda: full_name(word) not in self.client.outputs(), what=f"{word}'s end")

    def leave_level(self, word, volume):
        """Lets the session manager remember a level of an on-demand channel."""
        info = self.show(word)
        self.give_full_level(full_name(word), info)
        self.order("setDeviceVolume", info, deviceVolume=volume)
        self.client.settle()
        self.hide(word)
        self.client.settle()

    def test_on_demand_channels(self):
        for word in ON_DEMAND:
            with self.subTest(word=word):
                self.leave_level(word, 100)
                before = default_sink()
                added = self.show(word)["deviceID"]
                self.assertEqual(default_sink(), before)
                self.assertEqual(self.show(word)["deviceID"], added)
                self.assertEqual(default_sink(), before)
                self.assertEqual(self.client.wait_for("deviceActive"),
                                 {"deviceName": full_name(word), "deviceID": added})
                self.assertEqual(self.events(), [])
                for _ in range(2):
                    self.hide(word)
                    self.assertEqual(default_sink(), before)
                self.assertEqual(self.client.wait_for("deviceDisabled"), {"deviceID": added})
                self.assertEqual(self.events(), [])

    def test_a_remembered_level_is_told_of_its_endpoint_alone(self):
        """A channel comes back at full level, and the session manager gives it the one it had."""
        self.leave_level("Browser", 35)
        added = self.show("Browser")["deviceID"]
        name = full_name("Browser")
        eventually(lambda: self.output(name)["deviceVolume"] == 35, what="the remembered level")
        self.client.wait_for("deviceActive", deviceName=name)
        told = {"deviceName": name, "deviceID": added, "deviceMute": False, "deviceVolume": 35}
        for event in self.events():
            self.assertEqual(event, {"event": "deviceControlChanged", "payload": told})

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
        name = full_name("Stream")

        def endpoints():
            return [lists[name] for lists in (self.client.outputs(), self.client.inputs())
                    if name in lists]
        self.set_mode("StreamerMode")
        stream = eventually(lambda: len(endpoints()) == 2 and endpoints(), what="Stream")
        for info in stream:
            self.give_full_level(name, info)
        self.client.settle()
        for mode, event in (("NormalMode", "deviceDisabled"), ("StreamerMode", "deviceActive")):
            with self.subTest(mode=mode):
                self.set_mode(mode)
                for info in stream:
                    self.client.wait_for(event, deviceID=info["deviceID"])
                self.assertEqual(self.events(), [])


if __name__ == "__main__":
    unittest.main(verbosity=2)
