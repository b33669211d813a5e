"""The same machine simulated: a machine folder that kvsim boots, each time into a new one."""
import datetime
import json
import pathlib
import subprocess

from .wine import PATIENCE


class SimulatedMachine:
    def __init__(self, folder: pathlib.Path, kvsim: pathlib.Path) -> None:
        self.folder = folder
        self.kvsim = kvsim
        self.number = 0
        self.description: dict = {}

    @property
    def current(self) -> pathlib.Path:
        return self.folder / str(self.number)

    def host_path(self, path: str) -> pathlib.Path:
        return self.current.joinpath("C", *path.lower().split("\\")[1:])

    def adopt(self, registry: pathlib.Path, files: dict[str, pathlib.Path]) -> None:
        """Becomes the machine with this exported registry and these files."""
        self.number += 1
        self.host_path("C:\\windows\\system32\\drivers").mkdir(parents=True)
        (self.current / "registry.reg").write_bytes(registry.read_bytes())
        for path, source in files.items():
            target = self.host_path(path)
            target.parent.mkdir(parents=True, exist_ok=True)
            target.write_bytes(source.read_bytes())

    def boot(self) -> dict:
        """Starts once; what kvsim says about the program."""
        result = self._kvsim("boot", "--save", str(self.folder / str(self.number + 1)))
        self.number += 1
        return result["starts"][0]["program"]

    def execute(self, command_line: str) -> dict:
        return self._kvsim("exec", "--", command_line)

    def _kvsim(self, verb: str, *arguments: str) -> dict:
        (self.current / "machine.json").write_text(json.dumps(self.description), encoding="utf-8")
        now = datetime.datetime.now(datetime.timezone.utc).strftime("%Y-%m-%dT%H:%M:%SZ")
        command = [self.kvsim, verb, self.current, "--at", now, "--json", *arguments]
        result = subprocess.run(command, capture_output=True, text=True, timeout=PATIENCE, check=False)
        document = json.loads(result.stdout)
        if "error" in document:
            raise RuntimeError(f"kvsim {verb}: {document['error']['message']}")
        return document
