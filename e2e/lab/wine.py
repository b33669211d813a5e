"""A machine of Wine: one prefix with its own wineserver."""
import os
import pathlib
import re
import shutil
import subprocess
import threading
import time

from .differences import finish_deletions

PATIENCE = 600  # seconds for anything that Wine is asked to do; only to end a hang
# Seen once: a process of Wine that could not map its shared user data. A fixed layout of addresses is to prevent that.
# (Debian keeps Wine's own programs apart from the scripts that choose among them.)
DEBIAN = "/usr/lib/wine"
WINE = ("setarch", "--addr-no-randomize", shutil.which("wine64", path=DEBIAN) or "wine")
WINESERVER = shutil.which("wineserver") or DEBIAN + "/wineserver"


class LabError(Exception):
    """Something is not as the scenario says."""


class WineMachine:
    def __init__(self, prefix: pathlib.Path) -> None:
        self.prefix = prefix
        self.drive = prefix / "drive_c"
        self.environment = dict(os.environ, WINEPREFIX=str(prefix), WINEDEBUG="fixme-all,+process")
        self.log = open(prefix.with_suffix(".log"), "ab", buffering=0)  # every command, and what Wine says
        self.spawned: list[subprocess.Popen[str]] = []

    def host_path(self, path: str) -> pathlib.Path:
        """Where the host keeps the machine's file."""
        return self.drive.joinpath(*path.lower().split("\\")[1:])

    # Power

    def create(self) -> None:
        self.prefix.mkdir()
        self._start_with("wineboot", "-i")
        self.destroy()

    def turn_on(self) -> None:
        """The first program that runs starts the machine. (Wine's own wineboot would start it twice: the deletions left to
        the restart would come while the drivers are loaded again.)"""
        self._start_with("C:\\windows\\system32\\cmd.exe", "/c", "exit")

    def _start_with(self, *command: str) -> None:
        # What the machine starts inherits the program's files, and keeps them open as long as it is on.
        self._serve("-p")
        if self._popen(*command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL).wait(PATIENCE) != 0:
            raise LabError(f"the machine does not start: {command}")

    def turn_off(self) -> None:
        marked = self.marked()
        self.destroy()
        finish_deletions(self.prefix / "system.reg", marked)

    def destroy(self) -> None:
        self._serve("-k")
        self._serve("-w")
        for process in self.spawned:
            process.wait(PATIENCE)
        self.spawned = []

    def _serve(self, option: str) -> None:
        subprocess.run([WINESERVER, option], env=self.environment, check=option != "-k", timeout=PATIENCE,
                       stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=self.log)

    # Programs

    def _popen(self, *command: str, **options) -> subprocess.Popen:
        self.log.write(f"lab: {' '.join(command)}\n".encode())
        return subprocess.Popen([*WINE, *command], env=self.environment, stderr=self.log, **options)

    def run(self, *command: str) -> tuple[int, str]:
        """Runs a program to its end; its exit code and what it printed."""
        process = self._popen(*command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
        text = process.communicate(timeout=PATIENCE)[0].decode("utf-8", "replace").replace("\r", "").strip()
        return process.returncode, text

    def lab(self, *arguments: str) -> str:
        """Runs a verb of kvlab.exe, which must succeed and say something; what it said."""
        code, text = self.run("C:\\lab\\kvlab.exe", *arguments)
        if code != 0 or not text and arguments[0] not in ("loaded", "marked"):
            raise LabError(f"kvlab {' '.join(arguments)}: exit code {code}, {text!r}")
        return text

    def launch(self, *command: str) -> subprocess.Popen[str]:
        return self._popen(*command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)

    def spawn(self, *arguments: str, first_line: str) -> subprocess.Popen[str]:
        """Starts a verb that goes on until its standard input ends, and waits for its first line."""
        process = self.launch("C:\\lab\\kvlab.exe", *arguments)
        line = read_line(process)
        if line != first_line:
            raise LabError(f"kvlab {' '.join(arguments)}: {line!r} instead of {first_line!r}")
        self.spawned.append(process)
        return process

    def tell(self, process: subprocess.Popen[str], line: str) -> int:
        """Sends a spawned process its line and waits for its end."""
        process.stdin.write(line + "\n")
        process.stdin.close()
        self.spawned.remove(process)
        return process.wait(PATIENCE)

    def crashes(self) -> list[str]:
        """What Wine prints when a program crashes, and which program its debugger was started for."""
        found: list[str] = []
        names: dict[int, str] = {}
        for line in pathlib.Path(self.log.name).read_text(encoding="utf-8", errors="replace").splitlines():
            if started := re.search(r'NtCreateUserProcess L".*\\([^\\"]+)" pid (\w+)', line):
                names[int(started[2], 16)] = started[1]
            elif re.match(r"wine: (Unhandled|Unimplemented|Call from)", line):
                found.append(line)
            elif found and (debugged := re.search(r'InternalW .* L"winedbg --auto (\d+)', line)):
                found[-1] += f" [{names.get(int(debugged[1]), 'a program that the lab started')}]"
        return found

    def end_of_log(self) -> str:
        lines = pathlib.Path(self.log.name).read_text(encoding="utf-8", errors="replace").splitlines()
        return "\n".join("  " + line for line in [line for line in lines if ":trace:" not in line][-40:])

    def marked(self) -> list[str]:
        """The services of the lab that are marked for deletion."""
        return [line.split()[1] for line in self.lab("marked").split("\n") if line]

    def set_value(self, key: str, name: str, kind: str, value: str) -> None:
        self._registry_tool("add", key, "/v", name, "/t", "REG_" + kind, "/d", value, "/f")

    def delete_key(self, key: str) -> None:
        self._registry_tool("delete", key, "/f")

    def export(self, key: str, target: pathlib.Path) -> None:
        self._registry_tool("export", key, "Z:" + str(target).replace("/", "\\"), "/y")

    def _registry_tool(self, verb: str, key: str, *options: str) -> None:
        code, text = self.run("C:\\windows\\system32\\reg.exe", verb, "HKLM\\" + key, *options)
        if code != 0:
            raise LabError(f"reg {verb} {key}: {text}")


def read_line(process: subprocess.Popen[str]) -> str:
    limit = threading.Timer(PATIENCE, process.kill)
    limit.start()
    line = process.stdout.readline().strip()
    limit.cancel()
    return line


def await_that(condition, what: str) -> None:
    deadline = time.monotonic() + PATIENCE
    while not condition():
        if time.monotonic() > deadline:
            raise LabError("waited in vain: " + what)
        time.sleep(0.05)
