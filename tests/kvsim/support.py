"""Runs kvsim and makes machine folders for its tests.

KVSIM names the program, KVSIM_SAMPLE the sample machine; CTest sets both.
"""

import fcntl
import hashlib
import json
import os
import pathlib
import pty
import shutil
import struct
import subprocess
import tempfile
import termios
import unittest

KVSIM = os.environ["KVSIM"]
SAMPLE = pathlib.Path(os.environ["KVSIM_SAMPLE"])
DRIVERS = ["kvlnk03", "kvlnk04", "kvvol02", "kvaux02", "kvenv01", "kvenv01a"]
COMPONENTS = DRIVERS + ["kvdel01"]
SYSTEM = "System\\CurrentControlSet\\"
SERVICES = SYSTEM + "Services\\"
START = "2026-03-01T08:00:00Z"


def time_bytes(days, ticks=0):
    """The registry's form of START plus so many days and 100-nanosecond ticks."""
    return (134168256000000000 + days * 864000000000 + ticks).to_bytes(8, "little")


def multi_string(*texts):
    return ("hex(7):", "".join(text + "\0" for text in texts).encode("utf-16le") + b"\0\0")


def reg_value(value):
    if isinstance(value, int):
        return f"dword:{value:08x}"
    if isinstance(value, str):
        return '"' + value.replace("\\", "\\\\").replace('"', '\\"') + '"'
    kind, data = value if isinstance(value, tuple) else ("hex:", value)
    return kind + ",".join(f"{byte:02x}" for byte in data)


def reg_text(keys):
    lines = ["Windows Registry Editor Version 5.00", ""]
    for path, values in keys.items():
        lines.append(f"[HKEY_LOCAL_MACHINE\\{path}]")
        lines += [f'"{name}"={reg_value(value)}' for name, value in values.items()]
        lines.append("")
    return "\n".join(lines)


def driver_keys(name, claims=(), **record):
    """Registry keys of an installed driver; `record` replaces the values of its lifetime record."""
    keys = {
        SERVICES + name: {"Type": 1, "Start": 0, "ErrorControl": 1, "ImagePath": f"system32\\drivers\\{name}.sys"},
        SERVICES + name + "\\LifeTime": record or {"Auto": 1},
        SERVICES + f"Eventlog\\System\\{name}": {"TypesSupported": 7},
    }
    for client, values in dict(claims).items():
        keys[SERVICES + name + "\\LifeTime\\" + client] = values
    return keys


def service_keys(**values):
    entry = {"Type": 16, "Start": 2, "ErrorControl": 1, "ImagePath": "%SystemRoot%\\system32\\kvdel01.exe svc"}
    return {
        SERVICES + "kvdel01": entry | values,
        SERVICES + "Eventlog\\Application\\kvdel01": {"TypesSupported": 7},
    }


def tree(folder):
    """Everything in a folder: names with hashes of contents."""
    return {
        str(path.relative_to(folder)): hashlib.sha256(path.read_bytes()).hexdigest() if path.is_file() else ""
        for path in sorted(pathlib.Path(folder).rglob("*"))
    }


class KvsimTest(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="kvsim-test-"))
        self.addCleanup(shutil.rmtree, self.folder)

    def machine(self, keys, files=(), description=None, name="machine"):
        """Makes a machine folder; `files` are paths in it, drivers' images and the program come by themselves."""
        folder = self.folder / name
        (folder / "C/Windows/system32/drivers").mkdir(parents=True)
        # The line that a whole export has for the services, whatever their number.
        (folder / "registry.reg").write_text(reg_text({SYSTEM + "Services": {}} | keys), encoding="utf-8")
        (folder / "C/Windows/system32/kvdel01.exe").write_text("program")
        images = [f"C/Windows/system32/drivers/{driver}.sys" for driver in DRIVERS if SERVICES + driver in keys]
        for file in images + list(files):
            (folder / file).parent.mkdir(parents=True, exist_ok=True)
            (folder / file).write_text("contents")
        if description is not None:
            text = description if isinstance(description, str) else json.dumps(description)
            (folder / "machine.json").write_text(text)
        return folder

    def kvsim(self, *arguments, program=KVSIM, **options):
        words = [program] + [str(argument) for argument in arguments]
        return subprocess.run(words, capture_output=True, text=True, errors="replace", timeout=600, **options)

    def json(self, *arguments):
        """What kvsim says with --json, from a run that ends well."""
        run = self.kvsim(*arguments)
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        return json.loads(run.stdout)

    def boot(self, machine, *arguments):
        return self.json("boot", machine, "--json", *(arguments or ("--at", START)))["starts"]

    def terminal(self, columns, *arguments, **environment):
        """Exit code and output of kvsim on a terminal of that width."""
        process, terminal = pty.fork()
        if process == 0:
            fcntl.ioctl(1, termios.TIOCSWINSZ, struct.pack("HHHH", 50, columns, 0, 0))
            os.environ.pop("NO_COLOR", None)
            os.environ.update({"TERM": "xterm"} | environment)
            os.execv(KVSIM, [KVSIM] + [str(argument) for argument in arguments])
        output = b""
        while True:
            try:
                output += os.read(terminal, 65536)
            except OSError:
                break
        os.close(terminal)
        code = os.waitstatus_to_exitcode(os.waitpid(process, 0)[1])
        return code, output.decode().replace("\r\n", "\n")

    def assert_fails(self, run, code, pattern):
        """kvsim itself failed: one line on standard error, nothing else."""
        self.assertRegex(run.stderr, f"\\Akvsim: [^\n]*{pattern}[^\n]*\n\\Z")
        self.assertEqual((run.returncode, run.stdout), (code, ""))
