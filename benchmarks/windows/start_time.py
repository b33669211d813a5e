#!/usr/bin/env python3
"""Start-to-exit time of "kvdel01.exe can-remove-now" under Wine, beside an empty program of the same kind and one that
only loads the same libraries.

usage: start_time.py KVDEL01_EXE FOLDER [ROUNDS]

The programs take turns, and each round begins with another. Prints the medians and the ratios to the empty program.
FOLDER gets the two other programs and a new Wine prefix, which stays up, so that no start of Wine itself is measured.
"""
import os
import pathlib
import shutil
import statistics
import subprocess
import sys
import time

COMPILE = ("x86_64-w64-mingw32-g++-win32", "-std=c++20", "-Os", "-s", "-static", "-mwindows", "-Wl,--gc-sections",
           "-Wl,--dynamicbase", "-Wl,--nxcompat", "-Wl,--high-entropy-va", pathlib.Path(__file__).with_name("libraries.cpp"))
RECORD = r"HKLM\System\CurrentControlSet\Services\kvaux02\LifeTime"


class Prefix:
    def __init__(self, folder):
        self.environment = {**os.environ, "WINEPREFIX": str(folder.resolve()), "WINEDEBUG": "-all",
                            "PATH": os.environ["PATH"] + ":/usr/lib/wine"}
        self.environment.pop("DISPLAY", None)

    def __enter__(self):
        self.run("wineserver", "-p")
        self.run("wineboot", "--init")
        return self

    def __exit__(self, *_):
        self.run("wineserver", "-k")

    def run(self, *command):
        return subprocess.run(command, env=self.environment, timeout=120, stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL).returncode

    def demand(self, expected, *command):
        if (code := self.run("wine", *command)) != expected:
            sys.exit(f"{' '.join(map(str, command))}: exit code {code} instead of {expected}")

    def milliseconds(self, command):
        start = time.perf_counter()
        self.demand(0, *command)
        return (time.perf_counter() - start) * 1000


def demand_evidence(prefix, program):
    """That the program runs and looks: a claim changes its answer."""
    prefix.demand(0, "reg", "add", RECORD, "/v", "Auto", "/t", "REG_DWORD", "/d", "1")
    prefix.demand(0, "reg", "add", RECORD + r"\client", "/v", "File", "/d", r"C:\windows\win.ini")
    prefix.demand(1, *program)
    prefix.demand(0, "reg", "delete", RECORD + r"\client", "/f")


def main(program, folder, rounds="100"):
    folder = pathlib.Path(folder)
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    subprocess.run([*COMPILE, "-o", folder / "empty.exe"], check=True)
    subprocess.run([*COMPILE, "-DLIBRARIES", "-o", folder / "libraries.exe"], check=True)
    programs = {"empty program": (folder / "empty.exe",), "the same libraries": (folder / "libraries.exe",),
                "can-remove-now": (program, "can-remove-now")}
    times = {name: [] for name in programs}
    with Prefix(folder / "prefix") as prefix:
        demand_evidence(prefix, programs["can-remove-now"])
        for number in range(int(rounds)):
            for name in [*programs][number % 3:] + [*programs][:number % 3]:
                times[name].append(prefix.milliseconds(programs[name]))
    empty = statistics.median(times["empty program"])
    for name, values in times.items():
        low, median, high = statistics.quantiles(values, n=4)
        print(f"{name:18} {len(values)} rounds, median {median:6.1f} ms, middle half {low:6.1f} to {high:6.1f} ms, "
              f"mean {statistics.mean(values):6.1f} ms, ratio of the medians {median / empty:.2f}")


if __name__ == "__main__":
    if not 3 <= len(sys.argv) <= 4:
        sys.exit(__doc__)
    main(*sys.argv[1:])
