"""The machine that a scenario is about: in Wine and, from the registry and the files exported there, simulated."""
import hashlib
import pathlib
import re
import shutil
import subprocess

from . import differences, registry
from .simulator import SimulatedMachine
from .wine import PATIENCE, LabError, WineMachine, await_that

# In the program's order, with the control codes by which they are asked for their state.
DRIVERS = {"kvlnk03": 0x92012400, "kvlnk04": 0x92012400, "kvvol02": 0x89082400, "kvaux02": 0x90012400,
           "kvenv01": 0x91012400, "kvenv01a": 0x91012400}
NAMES = (*DRIVERS, "kvdel01")
MANAGED = re.compile(r"system\\currentcontrolset\\(services\\(eventlog\\\w+\\)?|enum\\root\\legacy_)("
                     + "|".join(NAMES) + r")(\\|$)")
IMAGE = "C:\\lab\\driver.sys"
CLIENT_FILE = "C:\\client\\client.exe"
SECOND_FILE = "C:\\client\\second.exe"
CURRENT = "system\\currentcontrolset"
SERVICE = "C:\\windows\\system32\\kvdel01.exe"


FILES = (SERVICE, CLIENT_FILE, SECOND_FILE, *(f"C:\\windows\\system32\\drivers\\{driver}.sys" for driver in DRIVERS))


def demand(found, expected, what: str) -> None:
    if found != expected:
        raise LabError(f"{what}: {found!r} instead of {expected!r}")


class Template:
    """A machine that is off, with what the lab needs and before anything is installed. Its copies share the files that
    nothing writes; nothing_written finds out whether that is so."""

    def __init__(self, prefix: pathlib.Path) -> None:
        self.prefix = prefix
        self.wine = WineMachine(prefix)
        self.hashes: dict[int, str] = {}  # of the shared files, by inode
        self.snapshot: dict[str, str] = {}

    def make(self, windows_build: pathlib.Path, host_build: pathlib.Path, key: pathlib.Path) -> None:
        machine = self.wine
        machine.create()
        (machine.drive / "lab").mkdir()
        for name in ("kvlab.exe", "labhold.dll", "kvdel01.exe"):
            shutil.copyfile(windows_build / "bin" / name, machine.drive / "lab" / name)
        subprocess.run([str(host_build / "bin/kvsign"), "sign", "--key", str(key), str(windows_build / "bin/labdriver.sys"),
                        str(machine.host_path(IMAGE))], check=True, capture_output=True, timeout=PATIENCE)
        machine.turn_on()
        # Windows has this class; Wine does not.
        machine.set_value(CURRENT + "\\Control\\Class\\{8ECC055D-047F-11D1-A537-0000F8753ED1}", "Class", "SZ", "LegacyDriver")
        # Wine starts drivers and services in the order of their names; see Lab.install.
        machine.set_value(CURRENT + "\\Control", "AutoStartDelay", "DWORD", "100")
        # Wine gives up a service, or a driver, that does not answer within ten seconds.
        machine.set_value(CURRENT + "\\Control", "ServicesPipeTimeout", "DWORD", str(PATIENCE * 1000))
        # Wine's host of drivers crashes now and then when it starts with a driver that has a device node: an address that
        # one of its threads is still to set, and another reads. Nothing here needs the two that have one.
        machine.delete_key(CURRENT + "\\Enum\\ROOT")
        for driver, code in DRIVERS.items():
            machine.set_value("Software\\KvLab\\" + driver, "StateCode", "DWORD", str(code))
        machine.turn_off()
        for path in files(self.prefix):
            path.chmod(path.stat().st_mode & ~0o222)
            self.hashes[path.stat().st_ino] = hashlib.sha1(path.read_bytes()).hexdigest()
        self.snapshot = snapshot(self.prefix, self.hashes)

    def copy(self, prefix: pathlib.Path) -> None:
        """Only the registry and what Wine keeps beside it are files of their own."""
        subprocess.run(["cp", "-a", "--link", str(self.prefix), str(prefix)], check=True)
        for path in self.prefix.iterdir():
            if path.is_file():
                (prefix / path.name).unlink()
                shutil.copy2(path, prefix / path.name)

    def nothing_written(self) -> bool:
        return snapshot(self.prefix, {}) == self.snapshot


def files(prefix: pathlib.Path) -> list[pathlib.Path]:
    return [path for path in (prefix / "drive_c").rglob("*") if path.is_file() and not path.is_symlink()]


def snapshot(prefix: pathlib.Path, known: dict[int, str]) -> dict[str, str]:
    """All of a machine that is off: both hives line by line, and every file by its hash, which is known of some inodes."""
    lines: dict[str, str] = {}
    for hive in ("system.reg", "user.reg"):
        for key, values in registry.read(prefix / hive).items():
            lines |= {f"{hive} {key}": ""} | {f"{hive} {key} {name}": value for name, value in values.items()}
    lines |= {f"file {path.relative_to(prefix)}": "" for path in (prefix / "drive_c").rglob("*")}
    for path in files(prefix):
        digest = known.get(path.stat().st_ino) or hashlib.sha1(path.read_bytes()).hexdigest()
        lines[f"file {path.relative_to(prefix)}"] = digest
    return lines


def changes(before: dict[str, str], after: dict[str, str]) -> dict[str, str]:
    return {line: f"{before.get(line)} -> {after.get(line)}" for line in before | after
            if before.get(line) != after.get(line)}


class Lab:
    """What a scenario does; every step that starts the service is done on both machines, and they are compared."""

    def __init__(self, folder: pathlib.Path, template: Template, kvsim: pathlib.Path,
                 control: set[str] = frozenset()) -> None:
        folder.mkdir()
        self.folder = folder
        self.template = template
        template.copy(folder / "prefix")
        self.wine = WineMachine(folder / "prefix")
        self.simulator = SimulatedMachine(folder / "simulated", kvsim)
        self.control = control
        self.listed: set[str] = set()

    # Set-up

    def install(self, files: tuple[str, ...] = (CLIENT_FILE,), keeps_loaded: bool = False) -> None:
        """Client applications install all drivers, each claimed for CLIENT_FILE; the machine is restarted, so that all of
        them are loaded; then the removal service is installed."""
        for path in files:
            self.wine.host_path(path).parent.mkdir(exist_ok=True)
            self.wine.host_path(path).write_bytes(b"client")
        self.wine.turn_on()
        for driver in DRIVERS:
            if keeps_loaded:
                self.wine.set_value("Software\\KvLab\\" + driver, "KeepsLoaded", "DWORD", "1")
            at_once = driver not in ("kvlnk03", "kvlnk04")  # those two load only with the machine
            demand(self.wine.lab("install", driver, IMAGE, "client", CLIENT_FILE),
                   f"installed 0, then {2 if at_once else 3}, up to date {int(at_once)}", driver)
        self.wine.turn_off()
        self.wine.turn_on()
        self.expect_loaded(*DRIVERS)
        demand(self.wine.lab("install-service", "C:\\lab\\kvdel01.exe"), "installed 0", "kvdel01")
        # Windows loads boot drivers before it starts services. In Wine only this puts the service behind them.
        self.wine.set_value(CURRENT + "\\Services\\kvdel01", "DelayedAutoStart", "DWORD", "1")
        self.adopt()

    def adopt(self) -> None:
        """From now on the simulated machine is what the Wine machine is."""
        exported = self._export()
        differences.write_marks(exported, self.wine.marked())
        self.simulator.adopt(exported, {path: self.wine.host_path(path) for path in FILES
                                              if self.wine.host_path(path).exists()})

    def delete_file(self, path: str) -> None:
        self.wine.host_path(path).unlink()
        self.simulator.host_path(path).unlink()

    # Starts

    def restart(self) -> None:
        """Restarts both machines, lets the service do its work and compares them."""
        self.wine.turn_off()
        self.wine.turn_on()
        self.await_service()
        self.simulate()
        self.compare()

    def run_service(self, stop: str = "stops") -> None:
        """Has the service manager start the service on the Wine machine as it is, where the simulated one restarts; the
        drivers that can be stopped answer with `stop`."""
        demand(self.wine.lab("start-service"), "started", "start-service")
        self.await_service()
        self.simulate(stop)
        self.compare()

    def await_service(self) -> None:
        demand(self.wine.lab("await-service") in ("gone", "state 1 exit code 0"), True, "a good end of the service")

    def simulate(self, stop: str = "stops") -> dict:
        installed = registry.read(self.simulator.current / "registry.reg")
        self.simulator.description["drivers"] = {driver: {"stop": stop} for driver in ("kvenv01", "kvenv01a")
                                                 if f"{CURRENT}\\services\\{driver}" in installed}
        program = self.simulator.boot()
        del self.simulator.description["drivers"]
        return program

    # Looks

    def expect_loaded(self, *drivers: str) -> None:
        """Soon: a start may still be loading them."""
        expected = "\n".join(f"{driver} up-to-date" for driver in drivers)
        await_that(lambda: self.wine.lab("loaded") == expected, f"{', '.join(drivers)} loaded and no others")

    def expect_installed(self, *names: str) -> None:
        """Exactly these have service entries that are not marked for deletion."""
        lines = self.wine_view()
        found = [name for name in NAMES if f"{CURRENT}\\services\\{name}" in lines and f"marked {name}" not in lines]
        demand(found, list(names), "installed")

    def expect_device_nodes(self, *drivers: str) -> None:
        lines = self.wine_view()
        node = CURRENT + "\\enum\\root\\legacy_{}\\0000"
        demand([driver for driver in DRIVERS if node.format(driver) in lines], list(drivers), "device nodes")

    def requests_received(self, driver: str) -> list[bytes]:
        """What a driver was sent, control code first."""
        exported = self.folder / "lab.reg"
        self.wine.export("Software\\KvLab\\" + driver, exported)
        values = registry.read(exported)["software\\kvlab\\" + driver]
        return [bytes.fromhex(values[name].removeprefix("hex:").replace(",", " "))
                for name in sorted(values) if name.startswith("request")]

    def expect_clean_after_restart(self) -> None:
        """With one more start nothing is left of what was installed, and nothing else has changed but what a machine
        changes by itself."""
        self.restart()
        self.wine.turn_off()
        shutil.rmtree(self.wine.drive / "client")
        left = [f"  {line}: {change}" for line, change in changes(self.template.snapshot, snapshot(self.wine.prefix, self.template.hashes)).items()
                if line not in self.control and not line.startswith("system.reg software\\kvlab")]
        if left:
            raise LabError("not as before the installation:\n" + "\n".join(left))

    def compare(self) -> None:
        """The managed things of both machines are the same, but for the listed differences."""
        wine, simulated = self.wine_view(), self.simulated_view()
        only = [("wine", line, wine) for line in wine - simulated] + [("simulator", line, simulated) for line in simulated - wine]
        entries = {(machine, line): differences.find(machine, line, lines) for machine, line, lines in only}
        self.listed |= {entry for entry in entries.values() if entry}
        if unexplained := sorted(f"  only {machine}: {line}" for (machine, line), entry in entries.items() if not entry):
            raise LabError("Wine and the simulated machine differ:\n" + "\n".join(unexplained))

    def wine_view(self) -> set[str]:
        return view(self._export(), self.wine.host_path) | {f"marked {name}" for name in self.wine.marked()}

    def simulated_view(self) -> set[str]:
        return differences.with_marks(view(self.simulator.current / "registry.reg", self.simulator.host_path))

    def _export(self) -> pathlib.Path:
        target = self.folder / "export.reg"
        self.wine.export("System\\CurrentControlSet", target)
        return target


def view(exported: pathlib.Path, host_path) -> set[str]:
    """What there is of the managed components: services with their records, event-log sources, device nodes, pending
    operations, files."""
    keys = registry.read(exported)
    lines: set[str] = set()
    for key, values in keys.items():
        if MANAGED.match(key):
            lines |= {key} | {f"{key} {name}={value}" for name, value in values.items()}
    session = keys.get(f"{CURRENT}\\control\\session manager", {})
    pending = session.get("pendingfilerenameoperations", "hex(7):").removeprefix("hex(7):").replace(",", " ")
    lines |= {"pending " + entry for entry in bytes.fromhex(pending).decode("utf-16-le").split("\0") if entry}
    for path in FILES:
        if host_path(path).exists():
            lines.add(f"file {path} {hashlib.sha1(host_path(path).read_bytes()).hexdigest()}")
    return lines
