"""Registries as dictionaries: key path to value name to value as it stands in the file, all names in lower case."""
import pathlib
import re

Registry = dict[str, dict[str, str]]

VALUE = re.compile(r'(@|"(?:[^"\\]|\\.)*")=(.*)', re.DOTALL)


def read(path: pathlib.Path) -> Registry:
    """Reads what `reg export` and the simulated machine write, and the files that Wine keeps its registry in."""
    data = path.read_bytes()
    text = data.decode("utf-16" if data[:2] == b"\xff\xfe" else "utf-8")
    keys: Registry = {}
    values: dict[str, str] = {}
    for line in re.sub(r",\\\r?\n\s*", ",", text).splitlines():
        if line.startswith("["):
            name = line[1:line.rindex("]")].replace("\\\\", "\\").lower()
            values = keys.setdefault(name.removeprefix("hkey_local_machine\\"), {})
        elif match := VALUE.match(line):
            values[match[1].strip('"').lower()] = match[2].strip()
    return keys
