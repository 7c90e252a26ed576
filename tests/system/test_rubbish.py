"""Whatever comes over the wire, the current client goes on and nothing grows."""
import asyncio
import json
import pathlib
import random
import socket
import tempfile
import unittest

import websockets

from program import PORT, Client, Program


def resident_kib(pid):
    status = pathlib.Path(f"/proc/{pid}/status").read_text()
    return int(status.split("VmRSS:")[1].split()[0])


def open_files(pid):
    return len(list(pathlib.Path(f"/proc/{pid}/fd").iterdir()))


RUBBISH = [
    "", "{", "null", "[]", "42", '"text"', "\0", "{}", '{"event":42}', '{"event":null}',
    '{"event":"switchDevice"}', '{"event":"switchDevice","payload":[]}',
    '{"event":"Heartbeat"}', '{"payload":{}}', '{"event":"noSuchCommand","payload":{}}',
    "[" * 100000, '{"a":' * 50000, '{"event":' * 2000 + '"x"' + "}" * 2000,
    json.dumps({"event": "setDeviceVolume", "payload": {"deviceVolume": 1e308, "deviceID": {}}}),
    json.dumps({"event": "addMemoryCheck", "payload": {"pid": -1}}),
    json.dumps({"event": "switchDevice", "payload": {
        "deviceType": "outputDevice", "routeDeviceName": "x" * 100000, "deviceID": "\ud83d"}}),
]


class RubbishTest(unittest.TestCase):
    def setUp(self):
        self.program = Program(tempfile.mkdtemp(prefix="quorvane-"))

    def tearDown(self):
        self.program.__exit__(None)

    def test_text_and_binary_rubbish(self):
        with Client() as client:
            for text in RUBBISH:
                client.send_text(text)
                client.barrier()
            client._run(client.socket.send(b"\0\1\2" * 1000))
            client._run(client.socket.send(b'{"event":"quitApp"}'))
            client.barrier()
            # One of the texts is a command, if for no endpoint.
            self.assertEqual([event["event"] for event in client.events],
                             ["failedToSetDeviceVolume"])

    def test_sixteen_mebibytes(self):
        with Client() as client:
            client.send_text("x" * (16 << 20))
            client.send_text('{"event":"' + "y" * (16 << 20) + '"}')
            client.barrier()

    def test_not_even_a_websocket(self):
        with Client() as client:
            generator = random.Random(1)
            for _ in range(50):
                with socket.create_connection(("127.0.0.1", PORT), 5) as raw:
                    raw.sendall(generator.randbytes(2000))
            client.barrier()

    def test_a_thousand_connections(self):
        pid = self.program.process.pid

        async def storm(count):
            async def one():
                connection = await websockets.connect(f"ws://127.0.0.1:{PORT}")
                await connection.send('{"event":"getOutputDeviceInfos"}')
                await connection.close()
            for _ in range(count // 20):
                await asyncio.gather(*(one() for _ in range(20)))

        asyncio.run(storm(200))
        with Client() as client:
            client.barrier()
        files, memory = open_files(pid), resident_kib(pid)
        asyncio.run(storm(1000))
        with Client() as client:
            client.barrier()
            client.outputs()
        self.assertLessEqual(open_files(pid), files + 5)
        self.assertLess(resident_kib(pid), memory + 8 * 1024)


if __name__ == "__main__":
    unittest.main(verbosity=2)
