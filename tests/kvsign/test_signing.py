"""Signing, and what verify and other tools make of the results."""

import json
import struct
import subprocess
import unittest

import pefile

from support import DISCARDABLE, IMAGES, KEY, PUBLIC, KvsignTest, edited, openssl

DRIVER = IMAGES["driver64.sys"]
TABLE_END = pefile.PE(data=DRIVER).sections[-1].get_file_offset() + 40


def directories(path):
    """Imports, exports and relocations as objdump prints them."""
    run = subprocess.run(["objdump", "-p", path], capture_output=True, text=True, check=True)
    return run.stderr, run.stdout[run.stdout.index("The Data Directory"):]


def crowded(data, data_start):
    """A copy whose headers end at `data_start`, 32 bytes behind the section table; an entry takes 40."""
    image = pefile.PE(data=data, fast_load=True)
    begin, end = image.DOS_HEADER.e_lfanew, image.sections[-1].get_file_offset() + 40
    for section in image.sections:
        section.PointerToRawData += (data_start - 0x400) * bool(section.PointerToRawData)
    image.DOS_HEADER.e_lfanew = data_start - 32 - (end - begin)
    image.OPTIONAL_HEADER.SizeOfHeaders = data_start
    data = bytes(image.write())
    return data[:begin].ljust(image.DOS_HEADER.e_lfanew, b"\0") + data[begin:end] + bytes(32) + data[0x400:]


class Signing(KvsignTest):
    def test_adds_a_section_once_and_leaves_the_rest_to_all_tools_as_it_was(self):
        for name, data in IMAGES.items():
            source, target = self.file(name, data), self.folder / "signed"
            run = self.kvsign("sign", "--key", KEY, source, target)
            self.assertRegex(run.stderr, rf"\Akvsign: {target}: section \.reloc is no longer discardable: .*\n\Z")
            self.assertEqual((run.returncode, source.read_bytes()), (0, data))
            signed = target.read_bytes()
            self.assertEqual(self.verdict(signed), (0, "valid\n"), name)
            self.assertEqual(self.verdict(signed, "--key", PUBLIC), (0, "valid\n"))
            self.assertEqual(directories(target), directories(source))
            before, after = pefile.PE(data=data), pefile.PE(data=signed)
            self.assertTrue(after.verify_checksum())
            *kept, added = after.sections
            self.assertEqual(kept[-1].Characteristics & DISCARDABLE, 0)
            kept[-1].Characteristics |= DISCARDABLE
            self.assertEqual([(section.__pack__(), section.get_data()) for section in kept],
                             [(section.__pack__(), section.get_data()) for section in before.sections])
            self.assertEqual((added.Name, added.Misc_VirtualSize, added.SizeOfRawData, added.PointerToRawData,
                              added.Characteristics), (b".kvsign1", 128, 0x200, len(data), 0x40000040))
            self.assertEqual(after.OPTIONAL_HEADER.SizeOfImage, added.VirtualAddress + 0x1000)
            target.chmod(0o640)
            run = self.kvsign("sign", "--key", KEY, target, target)
            self.assertEqual((run.returncode, run.stderr, target.read_bytes()), (0, "", signed))
            self.assertEqual(target.stat().st_mode & 0o777, 0o640)

    def test_the_signed_block_is_the_digest_twice_and_a_zero(self):
        modulus = int(openssl("rsa", "-pubin", "-in", PUBLIC, "-noout", "-modulus").strip().removeprefix("Modulus="), 16)
        for name, data in IMAGES.items():
            signature = int.from_bytes(self.signed(data, name)[-0x200:-0x180], "little")
            digest = bytes.fromhex(self.kvsign("digest", self.folder / name).stdout.split()[0])
            self.assertEqual(pow(signature, 65537, modulus).to_bytes(128, "little"), digest + digest[:63] + b"\0", name)

    def test_enlarges_full_headers_and_moves_what_lies_behind(self):
        for name, data in IMAGES.items():
            image = pefile.PE(data=crowded(data, 0x400), fast_load=True)
            symbols, code, constants = len(data) + 3, image.sections[0], image.sections[2]
            entry = constants.PointerToRawData + 0x100
            image.set_bytes_at_offset(entry, struct.pack("<7I", 0, 0, 0, 2, 4, 0, symbols))
            debug = image.OPTIONAL_HEADER.DATA_DIRECTORY[6]
            debug.VirtualAddress, debug.Size = constants.VirtualAddress + 0x100, 28
            image.FILE_HEADER.PointerToSymbolTable = code.PointerToLinenumbers = code.PointerToRelocations = symbols
            full = bytes(image.write()) + b"___symbols"
            signed = self.signed(full)
            self.assertEqual(self.verdict(signed), (0, "valid\n"), name)
            after = pefile.PE(data=signed, fast_load=True)
            moved = [after.FILE_HEADER.PointerToSymbolTable, after.sections[0].PointerToLinenumbers,
                     after.sections[0].PointerToRelocations, struct.unpack_from("<I", signed, entry + 0x200 + 24)[0]]
            self.assertEqual([signed[offset:offset + 7] for offset in moved], [b"symbols"] * 4)
            self.assertEqual((after.OPTIONAL_HEADER.SizeOfHeaders, signed[0x600:entry + 0x200]), (0x600, full[0x400:entry]))
            self.assertEqual([section.PointerToRawData for section in after.sections[:-1]],
                             [old.PointerToRawData and old.PointerToRawData + 0x200 for old in image.sections])

    def test_refuses_what_cannot_be_signed_and_writes_nothing(self):
        def directory(number):
            return lambda image: image.OPTIONAL_HEADER.DATA_DIRECTORY[number]

        certificate = edited(DRIVER, (directory(4), "VirtualAddress", 8), (directory(4), "Size", 8))
        cases = [
            ("carries an Authenticode signature.*cannot have both; sign", certificate),
            (".*the section table ends where the first section begins; link", crowded(DRIVER, 0x1000)),
            (".*behind the section table are in use; link", DRIVER[:TABLE_END + 39] + b"x" + DRIVER[TABLE_END + 40:]),
            ("refused: a section does not begin .*, at file offset 0x",
             edited(DRIVER, (lambda image: image.sections[1], "VirtualAddress", 0x9000))),
            ("refused: the import directory .*, at image offset 0x20000",
             edited(DRIVER, (directory(1), "VirtualAddress", 0x20000))),
            ("refused: the relocation directory lies in a discardable section", DRIVER, "--keep-discardable"),
        ]
        target = self.file("target.sys", b"as it was")
        for pattern, data, *options in cases:
            run = self.kvsign("sign", "--key", KEY, *options, self.file("bad.sys", data), target)
            self.assert_fails(run, 3, f"bad.sys: {pattern}")
            self.assertEqual(target.read_bytes(), b"as it was")

    def test_verify_tells_the_ways_to_be_wrong_apart(self):
        signed, key, public = self.signed(DRIVER), self.folder / "key", self.folder / "public"
        openssl("genpkey", "-algorithm", "RSA", "-pkeyopt", "rsa_keygen_bits:1024", "-out", key)
        openssl("pkey", "-in", key, "-pubout", "-out", public)
        results = [self.verdict(signed, "--key", public)]
        for offset in (0x400, len(signed) - 0x200):  # the code, the signature
            results.append(self.verdict(signed[:offset] + bytes([signed[offset] ^ 1]) + signed[offset + 1:]))
        self.assertEqual(results, [(1, "not valid: the signature is not this image's\n")] * 3)
        hidden = edited(signed, (lambda image: image.sections[-1], "Characteristics", DISCARDABLE | 0x40000040))
        self.assertEqual([self.verdict(DRIVER), self.verdict(hidden)], [(1, "not valid: no signature\n")] * 2)
        code, text = self.verdict(signed[:-1])
        self.assertRegex(text, r"\Arefused: the signature section's data .*, at file offset 0xe00\n\Z")
        files = json.loads(self.verdict(signed[:-1], "--json", public, self.file("valid", signed))[1])["files"]
        self.assertEqual((code, [file["result"] for file in files]), (3, ["refused", "valid", "refused"]))
        self.assertEqual([files[0]["refusal"]["rule"], files[2]["refusal"]["rule"]], ["peOffset", "signatureData"])

    def test_verify_warns_when_valid_says_nothing_about_who_signed(self):
        path = self.file("valid", self.signed(DRIVER))
        for options, warning in ([], "kvsign: built-in key: the development key, .*\n"), (["--key", PUBLIC], ""):
            run = self.kvsign("verify", *options, path)
            self.assertEqual((run.returncode, run.stdout), (0, f"{path}: valid\n"))
            self.assertRegex(run.stderr, f"\\A{warning}\\Z")
            document = json.loads(self.kvsign("verify", "--json", *options, path).stdout)
            self.assertEqual(document["developmentKey"], warning != "")


if __name__ == "__main__":
    unittest.main()
