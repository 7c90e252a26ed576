"""The package that CPack makes: a program in it runs with nothing but what lies beside it.

usage: test_package.py CPACK BUILD_FOLDER PROGRAM WINE_COMMAND...
"""
import pathlib
import subprocess
import sys
import tempfile
import zipfile

CPACK, BUILD, PROGRAM, *WINE = sys.argv[1:]


def check(folder):
    subprocess.run([CPACK, "--config", f"{BUILD}/CPackConfig.cmake", "-B", folder / "packed"],
                   check=True, timeout=300)
    (package,) = (folder / "packed").glob("*.zip")
    with zipfile.ZipFile(package) as archive:
        archive.extractall(folder / "unpacked")
    (program,) = (folder / "unpacked").rglob(PROGRAM)
    beside = sorted(path.name for path in program.parent.iterdir())
    print(package.name, *beside)
    assert {"Qt6Core.dll", "Qt6Widgets.dll", "libstdc++-6.dll"} <= set(beside), beside
    assert (program.parent / "platforms" / "qwindows.dll").is_file()
    assert not [name for name in beside if name.lower() == "kernel32.dll"], beside
    # No other folder of DLLs is in reach. A program without a console has nowhere to write to but a
    # file.
    run = subprocess.run([*WINE, "--", program, "-o", "result.txt,txt"], cwd=program.parent,
                         timeout=120)
    print((program.parent / "result.txt").read_text(), flush=True)
    assert run.returncode == 0, run.returncode


with tempfile.TemporaryDirectory() as scratch:
    check(pathlib.Path(scratch))
