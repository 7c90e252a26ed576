"""What the tests of applications share: a running program, players, and the lists of sessions."""
import pathlib
import subprocess
import sys
import tempfile
import unittest

import audio
from program import Client, Program, eventually

HERE = pathlib.Path(__file__).parent


class SessionCase(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="quorvane-")
        self.program = Program(self.folder)
        self.client = Client()
        self.client.await_endpoints()
        self.speakers = self.client.outputs()["Speakers"]["deviceID"]
        self.headset = self.client.outputs()["Headset"]["deviceID"]
        self.processes = []

    def tearDown(self):
        for process in self.processes:
            process.kill()
            process.wait(60)
            if process.stdout:
                process.stdout.close()
        self.client.close()
        self.program.__exit__(None)

    def play(self, sink, hertz=440, player="paplay"):
        """An application that plays a tone; its process."""
        process = audio.Tone(self.folder, sink, hertz, player).process
        self.processes.append(process)
        return process

    def play_script(self, sink, streams=1, script="scriptplayer.py"):
        process = subprocess.Popen([sys.executable, HERE / script, sink, str(streams)],
                                   stdout=subprocess.PIPE)
        self.processes.append(process)
        self.assertEqual(process.stdout.readline(), b"ready\n")
        return process

    def run_player(self, *command):
        process = subprocess.Popen(command, stdout=subprocess.DEVNULL)
        self.processes.append(process)
        return process

    def sessions(self):
        """Endpoint IDs to their lists of session infos."""
        self.client.send("getAudioSessionInfos")
        return self.client.wait_for("didReceiveAudioSessionInfos")["audioSessionInfos"]

    def sessions_of(self, process, endpoint):
        return [info for info in self.sessions().get(endpoint, [])
                if info["sessionProcessId"] == process.pid]

    def await_session(self, process, endpoint):
        """The first session of a process on an endpoint, once it is listed."""
        return eventually(lambda: self.sessions_of(process, endpoint), 30,
                          f"a session of {process.args[0]}")[0]

    def await_no_session(self, process, endpoint):
        eventually(lambda: not self.sessions_of(process, endpoint), 30, "the session's end")
