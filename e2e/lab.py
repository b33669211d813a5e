#!/usr/bin/env python3
"""Puts the real program on machines of Wine with real kernel drivers, and on the simulated machine beside them.

usage: lab.py --windows-build DIR --host-build DIR [--scenario NAME]... [--keep DIR]

Prints one line for each scenario and a last one with counts; exits with 1 when any failed, with the reason and the end of
the machine's log on standard error. The whole log of a failed scenario is then in lab-logs in the Windows build.
"""
import argparse
import concurrent.futures
import pathlib
import shutil
import sys
import tempfile
import time
from collections.abc import Callable

sys.dont_write_bytecode = True  # nothing is left in the source folder
from lab.machine import Lab, Template, changes, snapshot
from lab.scenarios import SCENARIOS
from lab.wine import WineMachine
from lab import differences

SOURCE = pathlib.Path(__file__).resolve().parent.parent


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--windows-build", type=pathlib.Path, required=True)
    parser.add_argument("--host-build", type=pathlib.Path, required=True)
    parser.add_argument("--scenario", action="append", choices=sorted(SCENARIOS))
    parser.add_argument("--keep", type=pathlib.Path, help="keep the machines in this new folder")
    arguments = parser.parse_args()
    if arguments.keep and arguments.keep.exists():
        parser.error(f"{arguments.keep} is there already")
    with tempfile.TemporaryDirectory(prefix="kvlab") as temporary:
        folder = (arguments.keep or pathlib.Path(temporary)).resolve()
        folder.mkdir(exist_ok=True)
        return run(arguments, folder)


def run(arguments: argparse.Namespace, folder: pathlib.Path) -> int:
    key = SOURCE / "tests/keys/development.pem"
    logs = arguments.windows_build / "lab-logs"
    shutil.rmtree(logs, ignore_errors=True)

    def attempt(name: str, machine: WineMachine, work: Callable[[], None]) -> str:
        """Why it failed, with the end of the machine's log; empty when it did not."""
        failure = ""
        try:
            work()
        except Exception as error:  # whatever it is, the other scenarios go on
            failure = f"{type(error).__name__}: {error}"
        finally:
            machine.destroy()
        failure = "\n".join(filter(None, (failure, *machine.crashes())))
        if not failure:
            return ""
        logs.mkdir(exist_ok=True)
        shutil.copyfile(machine.log.name, logs / f"{name}.log")
        return f"{name}: {failure}\nThe end of its log, all of which is in {logs / name}.log:\n{machine.end_of_log()}"

    template = Template(folder / "template")
    kvsim = arguments.host_build.resolve() / "bin/kvsim"
    control: set[str] = set()
    failure = attempt("template", template.wine, lambda: template.make(arguments.windows_build, arguments.host_build, key))
    if not failure:
        lab = Lab(folder / "control", template, kvsim)
        failure = attempt("control", lab.wine, lambda: control.update(control_changes(lab)))
    if failure:
        print(failure, file=sys.stderr)
        return 1
    listed: set[str] = set()
    failures = 0

    def play(name: str) -> tuple[str, float, str]:
        begin = time.monotonic()
        lab = Lab(folder / name, template, kvsim, control)
        failure = attempt(name, lab.wine, lambda: SCENARIOS[name](lab))
        listed.update(lab.listed)
        return name, time.monotonic() - begin, failure

    names = arguments.scenario or list(SCENARIOS)
    with concurrent.futures.ThreadPoolExecutor(2) as pool:
        for name, seconds, failure in pool.map(play, names):
            if failure:
                failures += 1
                print(f"FAIL  {name}  after {seconds:.0f} s", flush=True)
                print(failure, file=sys.stderr, flush=True)
            else:
                print(f"ok  {name}  wine {seconds:.0f} s, simulator same machine", flush=True)
    if not template.nothing_written():
        failures += 1
        print("a machine wrote files that all of them share", file=sys.stderr)
    stale = {pattern for _, pattern, _ in differences.LINES} - listed if not arguments.scenario else set()
    for pattern in stale:
        print(f"listed as a difference, but does not occur: {pattern}", file=sys.stderr)
    print(f"{len(names)} scenarios, {failures} failures, {len(listed)} listed differences, {len(stale)} stale ones")
    return 1 if failures or stale else 0


def control_changes(lab: Lab) -> set[str]:
    """What changes on a machine by itself, over restarts without any installation."""
    found: set[str] = set()
    for _ in range(3):
        lab.wine.turn_on()
        lab.wine.turn_off()
        found |= changes(lab.template.snapshot, snapshot(lab.wine.prefix, lab.template.hashes)).keys()
    return found


if __name__ == "__main__":
    sys.exit(main())
