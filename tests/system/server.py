"""The private sound server that the tests run on, stopped or killed, and started again."""
import pathlib
import subprocess

SCRIPT = str(pathlib.Path(__file__).resolve().parents[2] / "scripts" / "private-server.sh")


def stop():
    subprocess.run([SCRIPT, "--stop"], check=True, timeout=90)


def kill(*daemons):
    """Kills these daemons, or all of them, at once and without a word. `stop` ends the others."""
    subprocess.run([SCRIPT, "--kill", *daemons], check=True, timeout=90)


def start():
    subprocess.run([SCRIPT, "--start"], check=True, timeout=60)


def is_running():
    return subprocess.run(["pactl", "info"], capture_output=True, timeout=60).returncode == 0
