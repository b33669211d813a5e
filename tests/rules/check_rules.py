#!/usr/bin/env python3
"""Rules that no compiler checks: who may include whom, and what the product's sources and libraries must not use.

usage: check_rules.py SOURCE_ROOT [LIBRARY...]

Prints one line for each violation and exits with 1 if there is any.
"""
import pathlib
import re
import subprocess
import sys

# What each folder of src/ may include besides itself; "windows" is the one header with the Windows SDK behind it.
LAYERS = {
    "foundation": set(),
    "system": {"foundation"},
    "drivermanagement": {"foundation", "system"},
    "imagesigning": {"foundation", "system"},
    "components": {"foundation", "system", "drivermanagement", "imagesigning"},
    "app": {"foundation", "system", "drivermanagement", "components"},
}
SDK_HEADER = "system/WindowsApi.h"
TOOLCHAIN_HEADER = "foundation/Toolchain.h"
SIMULATOR_FOLDERS = {"machine", "api"}

STANDARD_HEADER = re.compile(r"[a-z0-9_]+")
INCLUDE = re.compile(r'\s*#\s*include\s*([<"])([^>"]+)[>"]')
FORBIDDEN_IN_PRODUCT = [
    (re.compile(r"#\s*(if|ifdef|ifndef|elif)\b"), "conditional compilation"),
    (re.compile(r"\bstd::(wstring|string|u16string|wcout|cout|cerr|locale)\b"), "standard text or streams"),
    (re.compile(r"#\s*include\s*<(iostream|sstream|fstream|string|locale|regex|filesystem)>"), "standard text or streams"),
    (re.compile(r"\b(wcs|wmem)[a-z]+\s*\("), "wide functions of the C library"),
    (re.compile(r"\blong\b(?! long)(?<!long long)"), "a 'long', whose size differs between platforms"),
    (re.compile(r"__attribute__|__builtin_"), "a construct of one compiler"),
]
# Everywhere but where the memory manager is, and the allocator that asks it.
MEMORY_SOURCES = {"src/system/MsMemoryManager.cpp", "src/foundation/Vector.h"}
FORBIDDEN_MEMORY = [
    (re.compile(r"\bstd::(malloc|calloc|realloc|vector|deque|list|map|set|function|any|make_unique|make_shared)\b|\bnew \w+\["),
     "memory past the memory manager"),
    (re.compile(r"\bthrow std::"), "an exception whose text depends on the compiler"),
]
FORBIDDEN_SYMBOLS = re.compile(r"\b(wcs\w+|wmem\w+|fgetw\w+|w?printf_w\w+)$|basic_string<wchar_t|char_traits<wchar_t")
COMMENT = re.compile(r'//.*|"(?:[^"\\]|\\.)*"')


def product_includes(path, folder, kind, header):
    """What is wrong with one include line of the product, or None."""
    if kind == "<":
        if STANDARD_HEADER.fullmatch(header):
            return None
        return None if str(path) == "src/" + SDK_HEADER else f"includes <{header}>; only {SDK_HEADER} may"
    target = header.split("/")[0]
    if target == folder or target in LAYERS[folder]:
        return None
    return f'a header of {folder} may not include "{header}"'


def check_product(root):
    for path in sorted((root / "src").rglob("*")):
        if path.suffix not in {".h", ".cpp"}:
            continue
        relative = path.relative_to(root)
        folder = relative.parts[1]
        forbidden = [] if str(relative) in {"src/" + SDK_HEADER, "src/" + TOOLCHAIN_HEADER} else FORBIDDEN_IN_PRODUCT
        forbidden = forbidden + ([] if str(relative) in MEMORY_SOURCES else FORBIDDEN_MEMORY)
        for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
            if match := INCLUDE.match(line):
                if problem := product_includes(relative, folder, *match.groups()):
                    yield f"{relative}:{number}: {problem}"
            code = line if match else COMMENT.sub("", line)
            for pattern, what in forbidden:
                if pattern.search(code):
                    yield f"{relative}:{number}: {what} has no place in the product"


def check_simulator(root):
    for path in sorted((root / "simulator").rglob("*")):
        if path.suffix not in {".h", ".cpp"}:
            continue
        for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
            match = INCLUDE.match(line)
            if match and match[1] == '"' and "/" in match[2] and match[2].split("/")[0] not in SIMULATOR_FOLDERS:
                yield f'{path.relative_to(root)}:{number}: the simulator may not include "{match[2]}"'


def check_portable_tests(root):
    """Tests of these layers run on Windows too, unless their name says that they need the simulated machine."""
    for folder in ("tests/foundation", "tests/system", "tests/drivermanagement", "tests/imagesigning"):
        portable = [path for path in sorted((root / folder).glob("*Test.cpp")) if "OnMachine" not in path.name]
        if not portable:
            yield f"{folder}: no portable test, so nothing was checked"
        for path in portable:
            for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
                if re.search(r"winsim|\bMachine\(\)|\.Trace\(|\"(machine|api)/", line):
                    yield f"{path.relative_to(root)}:{number}: only tests named ...OnMachineTest may know the simulated machine"


def check_symbols(libraries):
    """The host's wide functions read units of four bytes; with 16-bit wchar_t each use is a fault."""
    for library in libraries:
        output = subprocess.run(["nm", "-uC", library], check=True, capture_output=True, text=True).stdout
        symbols = [line.split()[-1] for line in output.splitlines() if line.strip().startswith("U ")]
        if not symbols:
            yield f"{library}: nm lists no undefined symbol, so nothing was checked"
        for symbol in symbols:
            if FORBIDDEN_SYMBOLS.search(symbol):
                yield f"{library}: uses {symbol}"


def main():
    root = pathlib.Path(sys.argv[1])
    problems = [*check_product(root), *check_simulator(root), *check_portable_tests(root), *check_symbols(sys.argv[2:])]
    print("\n".join(problems) or "no violation")
    return 1 if problems else 0


sys.exit(main())
