"""Endpoints that come, go and change, and the client's orders to them."""
import tempfile
import unittest

import audio
from program import Client, Program, eventually, full_name


class EndpointTest(unittest.TestCase):
    def setUp(self):
        audio.keep_defaults(self)
        self.program = Program(tempfile.mkdtemp(prefix="quorvane-"))
        self.client = Client()
        self.client.await_endpoints()

    def tearDown(self):
        self.client.close()
        self.program.__exit__(None)

    def test_lists_match_the_server(self):
        ours = {**self.client.outputs(), **self.client.inputs()}
        theirs = {sink["description"] for sink in audio.pactl_list("sinks")}
        theirs |= {source["description"] for source in audio.pactl_list("sources")
                   if not source["name"].endswith(".monitor")}
        self.assertEqual(set(ours), theirs)

    def test_default_changes(self):
        headset = self.client.outputs()["Headset"]["deviceID"]
        self.client.send("setCurrentDevice", deviceType="outputDevice", deviceName="Headset",
                         deviceID=headset)
        self.client.wait_for("defaultDeviceChanged", deviceType="outputDevice",
                             deviceName="Headset", deviceID=headset)
        self.assertEqual(audio.pactl("get-default-sink").strip(), "headset")
        # From outside.
        speakers = self.client.outputs()["Speakers"]["deviceID"]
        audio.pactl("set-default-sink", "speakers")
        self.client.wait_for("defaultDeviceChanged", deviceType="outputDevice", deviceID=speakers)
        # The input side, onto the virtual microphone.
        microphone = self.client.inputs()[full_name("Microphone")]["deviceID"]
        self.client.send("setCurrentDevice", deviceType="inputDevice",
                         deviceName=full_name("Microphone"), deviceID=microphone)
        self.client.wait_for("defaultDeviceChanged", deviceType="inputDevice", deviceID=microphone)

    def test_one_event_for_one_change_of_the_default(self):
        headset = self.client.outputs()["Headset"]["deviceID"]
        self.client.send("setCurrentDevice", deviceType="outputDevice", deviceName="Headset",
                         deviceID=headset)
        self.client.wait_for("defaultDeviceChanged", deviceID=headset)
        speakers = self.client.outputs()["Speakers"]["deviceID"]
        audio.pactl("set-default-sink", "speakers")
        self.client.wait_for("defaultDeviceChanged", deviceID=speakers)
        self.assertEqual([event for event in self.client.events
                          if event["event"] == "defaultDeviceChanged"], [])

    def test_added_renamed_and_removed(self):
        module = audio.load_sink("extra", "Extra")
        extra = self.client.wait_for("deviceAdded", deviceName="Extra")["deviceID"]
        self.assertEqual(self.client.outputs()["Extra"]["deviceID"], extra)
        self.assertEqual([event for event in self.client.events
                          if event["event"] == "deviceActive"
                          and event["payload"]["deviceID"] == extra], [])
        audio.unload(module)
        self.client.wait_for("deviceRemoved", deviceID=extra)
        self.assertNotIn("Extra", self.client.outputs())

    def test_levels(self):
        speakers = self.client.outputs()["Speakers"]["deviceID"]

        def level():
            self.client.send("getDeviceVolume", deviceType="outputDevice", deviceName="Speakers",
                             deviceID=speakers)
            self.client.send("getDeviceMute", deviceType="outputDevice", deviceName="Speakers",
                             deviceID=speakers)
            return (self.client.wait_for("didReceiveDeviceVolume")["deviceVolume"],
                    self.client.wait_for("didReceiveDeviceMute")["deviceMute"])

        def order(event, **values):
            self.client.send(event, deviceType="outputDevice", deviceName="Speakers",
                             deviceID=speakers, **values)

        for value, expected in ((30, 30), (0, 0), (150, 100), (-5, 0), (77, 77)):
            order("setDeviceVolume", deviceVolume=value)
            eventually(lambda wanted=expected: level()[0] == wanted, what=f"{expected} %")
        order("increaseDeviceVolume", singleStep=5)
        eventually(lambda: level()[0] == 82, what="82 %")
        order("decreaseDeviceVolume", singleStep=90)
        eventually(lambda: level()[0] == 0, what="0 %")
        for mute in (True, False):
            order("setDeviceMute", deviceMute=mute)
            eventually(lambda wanted=mute: level()[1] == wanted, what=f"mute {mute}")

    def test_orders_to_an_unknown_endpoint_fail(self):
        unknown = "{0.0.0.00000000}.{00000000-0000-0000-0000-000000000000}"
        for event, key, value in (("setDeviceVolume", "deviceVolume", 40),
                                  ("increaseDeviceVolume", "singleStep", 5),
                                  ("decreaseDeviceVolume", "singleStep", 5)):
            self.client.send(event, deviceName="Nobody", deviceID=unknown, **{key: value})
            failure = self.client.wait_for("failedToSetDeviceVolume")
            self.assertEqual(failure, {"deviceName": "Nobody", "deviceID": unknown,
                                       "deviceVolume": 0})
        self.client.send("setDeviceMute", deviceName="Nobody", deviceID=unknown, deviceMute=True)
        failure = self.client.wait_for("failedToSetDeviceMute")
        self.assertEqual(failure, {"deviceName": "Nobody", "deviceID": unknown,
                                   "deviceMute": False})

    def test_two_clients(self):
        def handled():
            return self.program.log().count("onGetDeviceVolume() : end")
        self.client.settle()
        with Client() as second:
            second.barrier()
            self.client.send("getDeviceVolume", deviceName="x", deviceID="y")
            second.wait_for("didReceiveDeviceVolume", deviceName="x")
            eventually(lambda: handled() == 1, what="the order's end")
        # The older client is obeyed when the newer one has left, but not answered.
        self.client.events.clear()
        self.client.send("getDeviceVolume", deviceName="x", deviceID="y")
        eventually(lambda: handled() == 2, what="the second order's end")
        with Client() as third:
            third.barrier()
            self.assertIsNone(self.client.receive(0.4))

    def test_endpoints_by_the_hundred(self):
        for round_ in range(10):
            modules = [audio.load_sink(f"many{index}", f"Many {index}") for index in range(10)]
            for index in range(10):
                self.client.wait_for("deviceAdded", deviceName=f"Many {index}")
            for module in modules:
                audio.unload(module)
            for _ in modules:
                self.client.wait_for("deviceRemoved")
        names = set(self.client.outputs())
        self.assertFalse([name for name in names if name.startswith("Many")])
        self.assertIn("Speakers", names)


if __name__ == "__main__":
    unittest.main(verbosity=2)
