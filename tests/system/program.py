"""The program under test, and a client that speaks to it over the wire."""
import asyncio
import atexit
import contextlib
import json
import os
import pathlib
import signal
import socket
import subprocess
import time

import websockets

PORT = 24925
PATIENCE = 60  # seconds, of who waits for what is sure to come on a machine that others use too
BUILD = pathlib.Path(os.environ["QUORVANE_BUILD"])
ADAPTER = "tavori Virtual Audio Device"
ON_DEMAND = ("Browser", "Aux2", "Aux3")


def full_name(short_name):
    """The display name of a virtual endpoint: "Gaming" gives "tavori - Gaming (…)"."""
    return f"tavori - {short_name} ({ADAPTER})"


def eventually(condition, seconds=PATIENCE, what="the condition"):
    """Waits with a bound until the condition gives something true, and gives that back."""
    deadline = time.monotonic() + seconds
    while True:
        result = condition()
        if result:
            return result
        if time.monotonic() > deadline:
            raise AssertionError(f"gave up waiting for {what}")
        time.sleep(0.05)


def open_files(pid):
    return len(os.listdir(f"/proc/{pid}/fd"))


def resident_kib(pid):
    status = pathlib.Path(f"/proc/{pid}/status").read_text()
    return int(status.split("VmRSS:")[1].split()[0])


# Of a connection that knows the sound server's defaults; it may stay for as long as the lasting one
# does not know them.
PASSING_FILES = 2


def eventually_no_more_files(pid, files):
    """Waits until the process has no more files open than it had."""
    eventually(lambda: open_files(pid) <= files + PASSING_FILES,
               what=f"the return to {files} open files")


def is_listening(port=PORT):
    with contextlib.suppress(OSError), socket.create_connection(("127.0.0.1", port), 1):
        return True
    return False


class Client:
    """One WebSocket connection. Events that nobody waited for are kept in `events`."""

    def __init__(self, port=PORT):
        async def connect():
            return await websockets.connect(f"ws://127.0.0.1:{port}", max_size=None,
                                            ping_interval=None)
        self.loop = asyncio.new_event_loop()
        self.socket = self._run(connect())
        self.events = []

    def _run(self, awaitable, seconds=PATIENCE):
        async def bounded():
            return await asyncio.wait_for(awaitable, seconds)
        return self.loop.run_until_complete(bounded())

    def send(self, event, **payload):
        self.send_text(json.dumps({"event": event, "payload": payload}))

    def send_text(self, text):
        self._run(self.socket.send(text))

    def receive(self, seconds):
        """The next event; None if there is none for so long."""
        try:
            return json.loads(self._run(self.socket.recv(), seconds))
        except asyncio.TimeoutError:
            return None

    def wait_for(self, event, seconds=PATIENCE, **expected):
        """The payload of the next event of this name that has the expected values."""
        def matches(document):
            payload = document.get("payload", {})
            return document["event"] == event and all(
                payload.get(key) == value for key, value in expected.items())

        for index, document in enumerate(self.events):
            if matches(document):
                return self.events.pop(index).get("payload")
        deadline = time.monotonic() + seconds
        while (left := deadline - time.monotonic()) > 0:
            document = self.receive(left)
            if document is None:
                break
            if matches(document):
                return document.get("payload")
            self.events.append(document)
        raise AssertionError(f"no {event} with {expected} came; others: {self.events}")

    def settle(self, quiet=0.4):
        """Waits until nothing has come for a moment, and gives the events since the last look."""
        self.barrier()
        while (document := self.receive(quiet)) is not None:
            self.events.append(document)
        events, self.events = self.events, []
        return events

    def barrier(self, seconds=PATIENCE):
        """Returns when every command sent before has been handled."""
        self.send("heartbeat")
        self.wait_for("heartbeat", seconds)

    def drop_events(self):
        """Reads what has come so far, and forgets it."""
        while self.socket.messages:
            self.receive(1)
        self.loop.run_until_complete(asyncio.sleep(0))
        self.events.clear()

    def outputs(self):
        """Output names to their device info objects."""
        self.send("getOutputDeviceInfos")
        infos = self.wait_for("didReceiveOutputDeviceInfos")
        return {info["deviceName"]: info for info in infos["outputDevice"]}

    def await_endpoints(self):
        """Returns when the private server's outputs and the speakers of the start are listed."""
        wanted = {"Speakers", "Headset"} | {full_name(name) for name in
                                            ("Aux", "Chat", "Gaming", "Media", "Microphone")}
        eventually(lambda: wanted <= set(self.outputs()), 30, "the endpoints")
        self.events.clear()

    def inputs(self):
        self.send("getInputDeviceInfos")
        infos = self.wait_for("didReceiveInputDeviceInfos")
        return {info["deviceName"]: info for info in infos["inputDevice"]}

    def route(self, short_name, output):
        """Routes a channel to an output by name; returns when the route stands."""
        device = self.outputs()[output]
        self.send("switchDevice", deviceType="outputDevice", routeDeviceName=full_name(short_name),
                  deviceName=output, deviceID=device["deviceID"])
        self.barrier()

    def close(self):
        with contextlib.suppress(Exception):
            self._run(self.socket.close())
        self.loop.close()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()


class Program:
    """A running Quorvane with an application data folder of its own."""

    def __init__(self, folder, *arguments, wait=True, environment=None):
        self.data = pathlib.Path(folder)
        self.data.mkdir(parents=True, exist_ok=True)
        environment = dict(os.environ, XDG_DATA_HOME=str(self.data), **(environment or {}))
        self.process = subprocess.Popen([BUILD / "Quorvane", *arguments], env=environment,
                                        cwd=self.data)
        atexit.register(self._end_if_left)
        if wait:
            eventually(self._listens, what="the control port")

    def _end_if_left(self):
        """No failed test leaves a program behind."""
        if self.process.poll() is None:
            self.kill()

    def _listens(self):
        if self.process.poll() is not None:
            raise AssertionError(f"Quorvane ended with {self.process.returncode}")
        return is_listening()

    def log_files(self):
        return sorted((self.data / "tavori/Quorvane/logs").glob("log-*.txt"))

    def log(self):
        """The text of the newest log file."""
        files = self.log_files()
        return files[-1].read_bytes().decode() if files else ""

    def await_log(self, text, seconds=PATIENCE):
        eventually(lambda: text in self.log(), seconds, f"the log line {text!r}")

    def quit(self):
        """Ends it over the wire; the exit code."""
        with Client() as client:
            client.send("quitApp")
        try:
            return self.process.wait(PATIENCE)
        except subprocess.TimeoutExpired as late:
            raise AssertionError(f"Quorvane did not end; its log:\n{self.log()[-2000:]}") from late

    def kill(self):
        self.process.send_signal(signal.SIGKILL)
        self.process.wait(PATIENCE)

    def __enter__(self):
        return self

    def __exit__(self, failure, *_):
        """Whoever did not end the program wants it to end well."""
        if self.process.poll() is not None:
            return
        try:
            code = self.quit()
        except Exception:
            self.kill()
            if not failure:
                raise
            return
        if code != 0 and not failure:
            raise AssertionError(f"Quorvane ended with {code}")
