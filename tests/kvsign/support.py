"""Runs kvsign (KVSIGN names it) on the sample images of the project (in the folder KVSIGN_ROOT) and on edited ones."""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

import pefile

KVSIGN = os.environ["KVSIGN"]
ROOT = pathlib.Path(os.environ["KVSIGN_ROOT"])
IMAGES = {name: (ROOT / "tests/images" / name).read_bytes()
          for name in ("driver32.sys", "driver64.sys", "library32.dll", "library64.dll")}
KEY, PUBLIC = ROOT / "tests/keys/development.pem", ROOT / "tests/keys/development.pub.pem"
DISCARDABLE = 0x02000000


def edited(data, *changes):
    """A copy of an image with changed fields: each change is a function from its pefile.PE to a part, a field, a value."""
    image = pefile.PE(data=data, fast_load=True)
    for part, field, value in changes:
        setattr(part(image), field, value)
    return bytes(image.write())


def openssl(*arguments):
    return subprocess.run(["openssl", *map(str, arguments)], check=True, capture_output=True, text=True).stdout


class KvsignTest(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="kvsign-test-"))
        self.addCleanup(shutil.rmtree, self.folder)

    def file(self, name, data):
        path = self.folder / name
        path.write_bytes(data)
        return path

    def kvsign(self, *arguments, **options):
        return subprocess.run([KVSIGN, *map(str, arguments)], capture_output=True, text=True, timeout=600, **options)

    def signed(self, data, name="signed.sys"):
        path = self.file(name, data)
        run = self.kvsign("sign", "--key", KEY, path, path)
        self.assertEqual(run.returncode, 0, run.stderr)
        return path.read_bytes()

    def verdict(self, data, *options):
        """Exit code and standard output of verify without the file's name."""
        path = self.file("verified.sys", data)
        run = self.kvsign("verify", *options, path)
        return run.returncode, run.stdout.removeprefix(f"{path}: ")

    def assert_fails(self, run, code, pattern):
        """One line on standard error, nothing else."""
        self.assertRegex(run.stderr, f"\\Akvsign: [^\n]*{pattern}[^\n]*\n\\Z")
        self.assertEqual((run.returncode, run.stdout), (code, ""))
