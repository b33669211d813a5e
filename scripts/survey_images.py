#!/usr/bin/env python3
"""Signs every PE file below some folders with the development key, verifies the results, and counts what is refused.

usage: survey_images.py [--kvsign FILE] [--list] FOLDER_OR_FILE...

Each image is signed twice, into a temporary folder: as it is (kvsign sign --keep-discardable), and with the flag taken
from discardable sections. The second results are read by pefile and objdump, which must find what they find in the
original: sections, imports, relocations, a right checksum. Ends with 1 when a signed image does not verify or cannot be
read so, and when there was no image.
"""
import argparse
import collections
import concurrent.futures
import pathlib
import re
import subprocess
import sys
import tempfile

import pefile

ROOT = pathlib.Path(__file__).resolve().parent.parent
PARTS = ["IMAGE_DIRECTORY_ENTRY_IMPORT", "IMAGE_DIRECTORY_ENTRY_BASERELOC"]


def is_pe(path):
    """As a loader sees it: "MZ", and "PE" where the DOS header says."""
    with open(path, "rb") as file:
        head = file.read(64)
        if len(head) < 64 or head[:2] != b"MZ":
            return False
        file.seek(int.from_bytes(head[60:64], "little"))
        return file.read(4) == b"PE\0\0"


def sign(kvsign, path, target, *options):
    """Nothing when the image is signed and verifies, else why not."""
    key = ROOT / "tests/keys/development.pem"
    run = subprocess.run([kvsign, "sign", "--key", key, *options, path, target], capture_output=True, text=True)
    if run.returncode != 0:
        message = run.stderr.strip().removeprefix(f"kvsign: {path}: ")
        return re.sub(r", at \w+ offset 0x[0-9a-f]+$", "", message)
    run = subprocess.run([kvsign, "verify", target], capture_output=True, text=True)
    return None if run.returncode == 0 else "SIGNED, BUT " + (run.stdout + run.stderr).strip()


def contents(path):
    """What must be the same in both: the sections but for the discardable flag, imports, relocations."""
    image = pefile.PE(path, fast_load=True)
    image.parse_data_directories([pefile.DIRECTORY_ENTRY[name] for name in PARTS])
    sections = [(s.Name, s.VirtualAddress, s.Misc_VirtualSize, s.Characteristics & ~0x02000000, s.get_hash_md5())
                for s in image.sections if s.Name != b".kvsign1"]
    imports = [(entry.dll, [(i.name, i.ordinal) for i in entry.imports])
               for entry in getattr(image, "DIRECTORY_ENTRY_IMPORT", [])]
    relocations = [(block.struct.VirtualAddress, block.struct.SizeOfBlock)
                   for block in getattr(image, "DIRECTORY_ENTRY_BASERELOC", [])]
    return (sections, imports, relocations), image.verify_checksum()


def damage(original, signed):
    """What pefile and objdump dislike about a signed image."""
    found = []
    (after, checksum), (before, _) = contents(signed), contents(original)
    if after != before:
        found.append("pefile reads other contents")
    if not checksum:
        found.append("pefile computes another checksum")
    runs = [subprocess.run(["objdump", "-p", path], capture_output=True, text=True, errors="replace")
            for path in (original, signed)]
    messages = [run.stderr.replace(str(path), "") for run, path in zip(runs, (original, signed))]
    if runs[1].returncode != runs[0].returncode or messages[1] != messages[0]:
        found.append("objdump dislikes it")
    return found


def examine(kvsign, path):
    with tempfile.TemporaryDirectory(prefix="survey-") as folder:
        target = pathlib.Path(folder) / "signed"
        strict = sign(kvsign, path, target, "--keep-discardable")
        loose = sign(kvsign, path, target)
        return strict, loose, damage(path, target) if loose is None else []


def report(title, reasons):
    print(f"\n{title}: {reasons[None]} of {reasons.total()} signed and valid")
    for reason, count in reasons.most_common():
        if reason is not None:
            print(f"{count:6}  {reason}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--kvsign", default=str(ROOT / "build/host/bin/kvsign"), help="the program")
    parser.add_argument("--list", action="store_true", help="name the refused images")
    parser.add_argument("paths", nargs="+", type=pathlib.Path, metavar="FOLDER_OR_FILE")
    options = parser.parse_args()
    files = [file for path in options.paths for file in ([path] if path.is_file() else sorted(path.rglob("*")))
             if file.is_file()]
    images = [file for file in files if is_pe(file)]
    if not images:
        sys.exit("survey_images: there is no PE file")
    with concurrent.futures.ProcessPoolExecutor() as pool:
        results = list(pool.map(examine, [options.kvsign] * len(images), images))

    print(f"{len(files)} files, {len(images)} of them PE")
    report("As they are", collections.Counter(strict for strict, _, _ in results))
    report("With the discardable flag taken away", collections.Counter(loose for _, loose, _ in results))
    damaged = [(image, found) for image, (_, _, found) in zip(images, results) if found]
    signed = sum(loose is None for _, loose, _ in results)
    print(f"\npefile and objdump: {signed - len(damaged)} of {signed} signed images read as before")
    for image, found in damaged:
        print(f"  {image}: {', '.join(found)}")
    if options.list:
        print("\nRefused with the flag taken away:")
        print("\n".join(f"  {image}: {loose}" for image, (_, loose, _) in zip(images, results) if loose is not None))
    broken = any((loose or "").startswith("SIGNED") or (strict or "").startswith("SIGNED") for strict, loose, _ in results)
    sys.exit(1 if damaged or broken else 0)


if __name__ == "__main__":
    main()
