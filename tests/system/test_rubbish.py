"""Whatever comes over the wire, the current client goes on and nothing grows."""
import json
import random
import socket
import struct
import tempfile
import time
import unittest

from program import (PORT, Client, Program, eventually, eventually_no_more_files, open_files,
                     resident_kib)


def reset(stranger):
    stranger.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))


HANDSHAKE = (b"GET / HTTP/1.1\r\nHost: localhost\r\nUpgrade: websocket\r\n"
             b"Connection: Upgrade\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n"
             b"Sec-WebSocket-Version: 13\r\n\r\n")

# What each does before it hangs up; none becomes a client.
STRANGERS = [
    lambda stranger: None,
    reset,
    lambda stranger: stranger.sendall(b"\0\1\2\3" * 100),
    lambda stranger: stranger.sendall(HANDSHAKE[:60]),
    lambda stranger: (stranger.sendall(HANDSHAKE[:60]), reset(stranger)),
    lambda stranger: stranger.sendall(b"GET / HTTP/1.1\r\nHost: localhost\r\n\r\n"),
    lambda stranger: stranger.sendall(masked(0x1, b'{"event":"quitApp"}')),
]


def masked(opcode, payload):
    """One frame as a client sends it; a mask of zeros leaves the payload as it is."""
    return bytes([0x80 | opcode, 0x80 | len(payload)]) + bytes(4) + payload


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
        pid = self.program.process.pid
        huge = "x" * (16 << 20)
        messages = [huge, '{"event":"' + huge + '"}', huge.encode(),
                    json.dumps({"event": "getDeviceVolume", "payload": {"deviceID": [huge]}})]
        with Client() as client:
            def send_all():
                for message in messages:
                    client.send_text(message)
                    client.barrier()
            send_all()
            memory = resident_kib(pid)
            for _ in range(4):
                send_all()
            # One frame more or less may be in flight; sixteen of them must not be.
            self.assertLess(resident_kib(pid), memory + 3 * 16 * 1024)
            self.assertEqual({event["event"] for event in client.events},
                             {"didReceiveDeviceVolume"})

    def test_a_thousand_connects_a_second(self):
        """Strangers come and go by the thousand, in every bad manner; the client notices nothing."""
        pid = self.program.process.pid
        with Client() as client:
            def storm(count):
                for index in range(count):
                    with socket.create_connection(("127.0.0.1", PORT), 30) as stranger:
                        STRANGERS[index % len(STRANGERS)](stranger)
                    if index % 100 == 99:
                        client.barrier()

            files = open_files(pid)
            storm(200)
            eventually_no_more_files(pid, files)
            memory = resident_kib(pid)
            start = time.monotonic()
            storm(5000)
            elapsed = time.monotonic() - start
            print(f"\n5000 connects, {5000 / elapsed:.0f} a second")
            eventually_no_more_files(pid, files)
            self.assertLess(resident_kib(pid), memory + 4 * 1024)
            # It is still the one that events go to.
            self.assertIn("Speakers", client.outputs())
            self.assertEqual(client.events, [])
        self.assertNotIn("Critical:", self.program.log())

    def test_a_thousand_clients_a_second(self):
        """Each connection is the current client for a moment, and the last one stays it."""
        pid = self.program.process.pid

        def storm(count):
            for index in range(count):
                with socket.create_connection(("127.0.0.1", PORT), 30) as raw:
                    raw.sendall(HANDSHAKE)
                    # Every other one does not even wait for the answer.
                    if index % 2:
                        raw.recv(65536)
                    raw.sendall(masked(0x1, b'{"event":"heartbeat"}') +
                                masked(0x8, b"\x03\xe8"))
                    while raw.recv(65536):
                        pass

        files = open_files(pid)
        storm(100)
        eventually_no_more_files(pid, files)
        memory = resident_kib(pid)
        start = time.monotonic()
        storm(2000)
        elapsed = time.monotonic() - start
        print(f"\n2000 clients, {2000 / elapsed:.0f} a second")
        eventually_no_more_files(pid, files)
        self.assertLess(resident_kib(pid), memory + 4 * 1024)
        with Client() as client:
            self.assertIn("Speakers", client.outputs())
        # All of them took their leave properly.
        self.assertNotIn("Critical:", self.program.log())

    def test_clients_that_ask_and_vanish(self):
        """Answers for a client that reset its connection go nowhere and hurt nobody."""
        pid = self.program.process.pid
        questions = masked(0x1, b'{"event":"getOutputDeviceInfos"}') * 20

        def storm(count):
            for index in range(count):
                with socket.create_connection(("127.0.0.1", PORT), 30) as raw:
                    reset(raw)
                    raw.sendall(HANDSHAKE)
                    raw.recv(65536)
                    raw.sendall(questions)
                    # Every other one goes in the middle of an answer.
                    if index % 2:
                        raw.recv(1)

        files = open_files(pid)
        storm(100)
        eventually_no_more_files(pid, files)
        memory = resident_kib(pid)
        storm(1000)
        eventually_no_more_files(pid, files)
        self.assertLess(resident_kib(pid), memory + 4 * 1024)
        with Client() as client:
            self.assertIn("Speakers", client.outputs())


if __name__ == "__main__":
    unittest.main(verbosity=2)
