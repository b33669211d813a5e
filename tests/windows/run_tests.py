#!/usr/bin/env python3
"""Runs test programs under Wine in a prefix of their own and prints what each of them ran; then starts the program that
lies in their folder beside planted libraries.

usage: run_tests.py LABEL PREFIX_FOLDER PROGRAM... [-- WINE_LAUNCHER]

WINE_LAUNCHER is a program that is given Wine's commands (wine, wineboot, wineserver) and runs them; without it they
are called directly. Exits with 1 when a program fails or gives no evidence that it ran: a Wine that cannot run a
program at all may end with 0.
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys

from planted import check_planted

SUMMARY = re.compile(r"test cases: *(\d+) \| *(\d+) passed \| 0 failed \| 0 skipped\s.*assertions: *(\d+) \| *(\d+) passed", re.S)
REMARK = re.compile(r"^\[(?!doctest)\w+\] .*", re.M)
TIME_LIMIT = 1800  # only to end a hang


class Wine:
    def __init__(self, prefix, launcher):
        self.prefix = prefix
        self.launcher = launcher
        self.environment = {**os.environ, "WINEPREFIX": str(prefix.resolve()), "WINEDEBUG": "-all",
                            "PATH": os.environ["PATH"] + ":/usr/lib/wine"}
        self.environment.pop("DISPLAY", None)

    def run(self, *command):
        return subprocess.run([*self.launcher, *command], env=self.environment, timeout=TIME_LIMIT, text=True,
                              encoding="utf-8", errors="replace", stdout=subprocess.PIPE, stderr=subprocess.STDOUT)

    def __enter__(self):
        shutil.rmtree(self.prefix, ignore_errors=True)
        self.prefix.parent.mkdir(parents=True, exist_ok=True)
        made = self.run("wineboot", "--init")
        if not (self.prefix / "system.reg").exists():
            sys.exit(f"{self.prefix}: Wine made no prefix\n{made.stdout}")
        return self

    def __exit__(self, *_):
        self.run("wineserver", "--kill")


def tell(wine, label, program):
    """Runs it, prints one line, and answers whether all is well."""
    name = pathlib.Path(program).stem
    try:
        run = wine.run("wine", program)
    except subprocess.TimeoutExpired:
        print(f"{label:12} {name:22} FAILED: not finished after {TIME_LIMIT} s", flush=True)
        return False
    found = SUMMARY.search(run.stdout)
    if run.returncode or not found or found[1] != found[2] or found[3] != found[4] or int(found[3]) == 0:
        print(run.stdout)
        print(f"{label:12} {name:22} FAILED: exit code {run.returncode}" + ("" if found else ", no summary"), flush=True)
        return False
    remarks = "".join("   " + remark for remark in REMARK.findall(run.stdout))
    print(f"{label:12} {name:22} {found[1]:>4} cases {found[3]:>7} assertions{remarks}", flush=True)
    return True


def main():
    arguments, launcher = sys.argv[1:], []
    if "--" in arguments:
        launcher = arguments[arguments.index("--") + 1:]
        arguments = arguments[:arguments.index("--")]
    label, prefix, *programs = arguments
    with Wine(pathlib.Path(prefix), launcher) as wine:
        results = [tell(wine, label, program) for program in programs]
        results.append(check_planted(wine, label, pathlib.Path(programs[0]).parent))
    return 0 if all(results) else 1


sys.exit(main())
