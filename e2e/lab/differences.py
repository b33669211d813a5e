"""Where a Wine machine and the simulated one cannot be the same. Every entry of LINES must occur in a whole run of the
lab, and nothing else may."""
import pathlib
import re

# On which machine only, which line of a view (machine.view), and why. A service named "marked" is marked for deletion.
LINES = [
    ("simulator", r"system\\currentcontrolset\\services\\(?P<marked>kv\w+) start=dword:00000004",
     "Windows disables a service that it marks for deletion"),
    ("wine", r"system\\currentcontrolset\\services\\(?P<marked>kv\w+) start=dword:0000000[02]", "Wine does not"),
]


def find(machine: str, line: str, view: set[str]) -> str | None:
    """The entry that covers a line of the view found on this machine only."""
    for where, pattern, _ in LINES:
        match = re.fullmatch(pattern, line) if where == machine else None
        if match and f"marked {match['marked']}" in view:
            return pattern
    return None


def with_marks(view: set[str]) -> set[str]:
    """Windows keeps it in the registry that a service is marked for deletion; Wine's service manager keeps it in its
    memory, and tells."""
    return {re.sub(r".*\\services\\(\w+) deleteflag=dword:00000001", r"marked \1", line) for line in view}


def write_marks(exported: pathlib.Path, marked: list[str]) -> None:
    """The registry as Windows would have it, which the simulated machine is to become."""
    with exported.open("ab") as file:
        for name in marked:
            file.write(f"\r\n[HKEY_LOCAL_MACHINE\\System\\CurrentControlSet\\Services\\{name}]\r\n"
                       "\"DeleteFlag\"=dword:00000001\r\n\"Start\"=dword:00000004\r\n".encode("utf-16-le"))


def finish_deletions(hive: pathlib.Path, marked: list[str]) -> None:
    """Windows deletes the marked services when it starts; in Wine the mark is gone with the machine. So the lab does it
    while the machine is off."""
    text = hive.read_text(encoding="utf-8")
    for name in marked:
        text, count = re.subn(rf"(?m)^\[System\\\\CurrentControlSet\\\\Services\\\\{name}(\\\\.*)?\] \d+\n(.+\n)*\n?", "", text)
        if count == 0:
            raise RuntimeError(f"{name} was marked for deletion and has no entry")
    hive.write_text(text, encoding="utf-8")
