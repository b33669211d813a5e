#!/usr/bin/python3
"""What the programs that ship must be: small, stripped, hardened, loadable by an old Windows, free of this machine.

usage: check_program.py KVDEL01_EXE...

Each program has its symbols beside it, in KVDEL01_EXE.debug. Prints one line for each program or violation and exits
with 1 if there is any violation.
"""
import pathlib
import re
import sys
import xml.etree.ElementTree
import zlib

import pefile

ROOT = pathlib.Path(__file__).resolve().parents[3]
# For each processor: its name, the largest size in bytes, the newest Windows that may be asked for, and the rest of
# what the header must say (DllCharacteristics: addresses chosen at random, from 64 bits where there are, no-execute).
MACHINES = {
    0x8664: ("x64", 204_800, (5, 2), 0x0160),
    0x014C: ("x86", 262_144, (4, 0), 0x0140),
}
RELOCATIONS_STRIPPED, SYSTEM_GUI = 0x0001, 2
SUPPORTED_SYSTEMS = 5  # Vista, 7, 8, 8.1, 10 and later
# What streams, locales, formatted output and the demangler are called among the symbols.
BULK = re.compile(rb"_ZNSt6locale|_ZNSt8ios_base|basic_ostream|__mingw_w?pformat|__cxa_demangle|__gdtoa")


def allowed_imports(machine):
    """The functions of each library that a program for `machine` may import."""
    allowed = {}
    for line in (pathlib.Path(__file__).parent / "nt4_functions.txt").read_text(encoding="ascii").splitlines():
        if section := re.fullmatch(r"\[(\S+)(?: (\S+))?\]", line):
            library = section[1] if section[2] in (None, machine) else "other"
        elif not line.startswith("#"):
            allowed.setdefault(library, set()).update(line.split())
    return allowed


def check_header(image, versions, characteristics):
    optional = image.OPTIONAL_HEADER
    if optional.Subsystem != SYSTEM_GUI:
        yield f"subsystem {optional.Subsystem}"
    for kind in ("OperatingSystem", "Subsystem"):
        version = (getattr(optional, f"Major{kind}Version"), getattr(optional, f"Minor{kind}Version"))
        if version > versions:
            yield f"asks for {kind} version {version}"
    if optional.DllCharacteristics != characteristics:
        yield f"DllCharacteristics {optional.DllCharacteristics:#06x} instead of {characteristics:#06x}"
    relocations = sum(len(block.entries) for block in getattr(image, "DIRECTORY_ENTRY_BASERELOC", []))
    if image.FILE_HEADER.Characteristics & RELOCATIONS_STRIPPED or relocations < 100:
        yield f"cannot be moved: {relocations} relocations"
    if image.FILE_HEADER.TimeDateStamp != 0:
        yield "a time stamp"
    if optional.CheckSum != image.generate_checksum():
        yield "a wrong checksum"


def check_imports(image, machine):
    allowed = allowed_imports(machine)
    for library in image.DIRECTORY_ENTRY_IMPORT:
        name = library.dll.decode().lower()
        for function in sorted({(entry.name or b"?").decode() for entry in library.imports} - allowed.get(name, set())):
            yield f"imports {function} from {name}"


def check_resources(image):
    version = re.search(r"project\(\w+ VERSION ([\d.]+)", (ROOT / "CMakeLists.txt").read_text(encoding="utf-8"))[1]
    texts = {key.decode(): value.decode() for info in image.FileInfo[0] if hasattr(info, "StringTable")
             for table in info.StringTable for key, value in table.entries.items()}
    expected = {"FileVersion": version, "ProductVersion": version, "OriginalFilename": "kvdel01.exe"}
    if (found := {key: texts.get(key) for key in expected}) != expected:
        yield f"version resource {found}"
    fixed = image.VS_FIXEDFILEINFO[0]
    numbers = [fixed.FileVersionMS >> 16, fixed.FileVersionMS & 0xFFFF, fixed.FileVersionLS >> 16]
    if numbers != [int(part) for part in version.split(".")]:
        yield f"file version {numbers}"
    manifests = [entry.directory.entries[0].data.struct for kind in image.DIRECTORY_ENTRY_RESOURCE.entries
                 if kind.id == pefile.RESOURCE_TYPE["RT_MANIFEST"] for entry in kind.directory.entries]
    text = image.get_data(manifests[0].OffsetToData, manifests[0].Size) if len(manifests) == 1 else b"<none/>"
    elements = list(xml.etree.ElementTree.fromstring(text).iter())
    levels = [element.get("level") for element in elements if element.tag.endswith("}requestedExecutionLevel")]
    systems = {element.get("Id") for element in elements if element.tag.endswith("}supportedOS")}
    if levels != ["asInvoker"] or len(systems) != SUPPORTED_SYSTEMS:
        yield f"manifest: level {levels}, {len(systems)} supported systems"


def check_symbols(image, path):
    """The program carries none, but the file beside it does, and the program names that very file."""
    symbols = path.with_name(path.name + ".debug").read_bytes()
    link = (path.name + ".debug").encode().ljust(len(path.name) + 10 & ~3, b"\0") + zlib.crc32(symbols).to_bytes(4, "little")
    if not any(section.get_data().startswith(link) for section in image.sections):
        yield "does not name the symbols beside it"
    if image.FILE_HEADER.NumberOfSymbols != 0:
        yield "is not stripped"
    if b"WinMain" not in symbols:
        yield "its symbols are not there"
    for found in sorted(set(BULK.findall(symbols))):
        yield f"contains {found.decode()}"
    if str(ROOT).encode() in symbols + path.read_bytes():
        yield f"names the folder {ROOT}"


def main(paths):
    violations = 0
    for path in map(pathlib.Path, paths):
        image = pefile.PE(path)
        machine, limit, versions, characteristics = MACHINES[image.FILE_HEADER.Machine]
        size = path.stat().st_size
        found = [*check_header(image, versions, characteristics), *check_imports(image, machine),
                 *check_resources(image), *check_symbols(image, path)]
        found += [f"{size} bytes are more than {limit}"] if size > limit else []
        print(*[f"{path}: {violation}" for violation in found] or [f"{path}: {machine}, {size} bytes"], sep="\n")
        violations += len(found)
    return 1 if violations or not paths else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
