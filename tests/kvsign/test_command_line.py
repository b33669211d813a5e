"""Options, messages, exit codes, keys and forms of output."""

import json
import os
import resource
import subprocess
import unittest

from support import IMAGES, KEY, KVSIGN, PUBLIC, ROOT, KvsignTest, edited, openssl

DRIVER = IMAGES["driver32.sys"]
ACCEPTED = edited(DRIVER, (lambda image: image.sections[-1], "Characteristics", 0x40000040))  # keeps its relocations


class CommandLine(KvsignTest):
    def test_wrong_command_lines_end_with_2_and_one_line(self):
        cases = {(): "see kvsign --help", ("sing", "x"): "'sing' .did you mean 'sign'.*; see kvsign --help",
                 ("sign", "a", "b"): "--key is required; see kvsign sign --help",
                 ("verify",): "FILE is required; see kvsign verify --help",
                 ("digest", "--json", "x"): "'--json'; see kvsign digest --help"}
        for arguments, pattern in cases.items():
            run = self.kvsign(*arguments)
            self.assertRegex(run.stderr, f"\\Akvsign: [^\n]*{pattern}\n\\Z")
            self.assertEqual(run.returncode, 2)

    def test_files_that_are_no_images_get_a_line_and_the_others_go_on(self):
        os.mkfifo(self.folder / "pipe")
        good, empty = self.file("good", ACCEPTED), self.file("empty", b"")
        with open(self.folder / "huge", "wb") as huge:
            huge.truncate(5 << 30)
        bad = {self.folder / "missing": "no such file", self.folder: "is a folder", empty: "is empty",
               self.folder / "pipe": "no regular file", self.folder / "huge": "5368709120 bytes; expected at most"}
        for command in ("verify", "digest"):
            run = self.kvsign(command, good, *bad, good)
            self.assertEqual((run.returncode, run.stdout.count("\n")), (3, 2))
            for line, (path, pattern) in zip(run.stderr.splitlines(), bad.items(), strict=True):
                self.assertRegex(line, f"\\Akvsign: {path}: .*{pattern}")
        self.assert_fails(self.kvsign("info", empty), 3, "is empty")

    def test_results_that_cannot_be_written_end_with_4_and_links_are_followed(self):
        good, link = self.file("good", ACCEPTED), self.folder / "link"
        for target in (self.folder / "missing/x", self.folder, "/dev/null"):
            self.assert_fails(self.kvsign("sign", "--key", KEY, good, target), 4, f"{target}: cannot be written: ")
        with open("/dev/full", "w") as full:
            run = subprocess.run([KVSIGN, "digest", good], stdout=full, stderr=subprocess.PIPE, text=True)
        self.assertEqual((run.returncode, run.stderr), (4, "kvsign: standard output cannot be written to: No space left on device\n"))
        link.symlink_to(good)
        self.assertEqual(self.kvsign("sign", "--key", KEY, good, link).returncode, 0)
        self.assertEqual({path.name: path.is_symlink() for path in self.folder.iterdir()}, {"good": False, "link": True})
        self.assertEqual(self.kvsign("verify", good).stdout, f"{good}: valid\n")

    @unittest.skipIf(os.environ["KVSIGN_SANITIZED"] == "1", "the sanitizers need all of the address space")
    def test_an_image_that_declares_more_memory_than_there_is_gets_a_line(self):
        path = self.file("large", edited(DRIVER, (lambda image: image.sections[-1], "Misc_VirtualSize", 0xF0000000)))
        limit = [resource.RLIMIT_AS, (1 << 30, 1 << 30)]
        for arguments in (["digest", path], ["info", path], ["sign", "--key", KEY, path, path]):
            run = self.kvsign(*arguments, preexec_fn=lambda: resource.setrlimit(*limit))
            self.assert_fails(run, 3, "needs more memory than there is")

    def test_keys_that_others_could_forge_or_that_do_not_fit_are_refused(self):
        locked, text, image = self.folder / "locked", self.file("text", b"key"), self.file("image", DRIVER)
        openssl("pkey", "-in", KEY, "-aes256", "-passout", "pass:x", "-out", locked)
        private = {locked: "is encrypted; decrypt", PUBLIC: "holds a public key; signing needs the private",
                   text: "no private key in PEM form; expected", "nowhere": "cannot be opened"}
        public = {KEY: "a private key.*expected its public half, which 'openssl", text: "no public key in PEM form"}
        for name, pattern, *options in [
                ("small", "below 65537.*could forge.*expected an odd one from 65537", "RSA", "-pkeyopt",
                 "rsa_keygen_bits:1024", "-pkeyopt", "rsa_keygen_pubexp:3"),
                ("large", "has 2048 bits; expected 1024", "RSA", "-pkeyopt", "rsa_keygen_bits:2048"),
                ("curve", "is no RSA key", "EC", "-pkeyopt", "ec_paramgen_curve:P-256")]:
            key, half = self.folder / name, self.folder / (name + ".pub")
            openssl("genpkey", "-out", key, "-algorithm", *options)
            openssl("pkey", "-in", key, "-pubout", "-out", half)
            private[key] = public[half] = pattern
        for key, pattern in private.items():
            self.assert_fails(self.kvsign("sign", "--key", key, image, image), 3, f"{key}: .*{pattern}")
        for key, pattern in public.items():
            self.assert_fails(self.kvsign("verify", "--key", key, image), 3, f"{key}: .*{pattern}")
            self.assert_fails(self.kvsign("export-key", key), 3, f"{key}: .*{pattern}")

    def test_the_development_key_of_the_build_is_the_exported_one(self):
        committed = (ROOT / "src/imagesigning/keys/DevelopmentKey.cpp").read_text()
        self.assertEqual(self.kvsign("export-key", PUBLIC).stdout, committed)
        self.assertEqual(self.kvsign("export-key", PUBLIC, "--output", self.folder / "key.cpp").returncode, 0)
        self.assertEqual((self.folder / "key.cpp").read_text(), committed)


class Output(KvsignTest):
    def test_digest_lines_are_those_of_sha512sum(self):
        names = ["plain", "with blank", "back\\slash", "line\nbreak", "return\rhere", "ümlaut", "*star"]
        for name in names:
            self.file(name, ACCEPTED)
        ours = self.kvsign("digest", *names, cwd=self.folder)
        theirs = subprocess.run(["sha512sum", *names], cwd=self.folder, capture_output=True, text=True, check=True)
        self.assertEqual((ours.returncode, ours.stdout.replace(ours.stdout[:128], "DIGEST")),
                         (0, theirs.stdout.replace(theirs.stdout[:128], "DIGEST")))

    def test_info_tells_what_is_signed(self):
        signed = self.signed(DRIVER)
        text = self.kvsign("info", "signed.sys", cwd=self.folder).stdout
        document = json.loads(self.kvsign("info", "--json", self.folder / "signed.sys").stdout)
        sections = {section["name"]: section.get("reasons", section["signed"]) for section in document["sections"]}
        self.assertEqual(sections, {".text": True, ".data": ["writable"], ".rdata": True, ".bss": ["writable", "no data"],
                                    ".idata": ["writable"], ".reloc": True, ".kvsign1": ["signature"]})
        self.assertEqual([field["name"] for field in document["headers"] if field["signed"]],
                         ["NumberOfSections", "SizeOfOptionalHeader", "AddressOfEntryPoint", "SectionAlignment",
                          "FileAlignment", "NumberOfRvaAndSizes"])
        digest = self.kvsign("digest", self.folder / "signed.sys").stdout.split()[0]
        self.assertEqual((document["digest"], document["format"], document["relocations"], document["signature"]),
                         (digest, "PE32", 13, len(signed) - 0x200))
        self.assertLessEqual(max(map(len, text.splitlines())), 80)
        self.assertIn(digest[:64], text)

    def test_info_shows_the_headers_of_a_refused_image_and_why(self):
        run = self.kvsign("info", self.file("refused", DRIVER))
        self.assertEqual((run.returncode, run.stderr), (3, ""))
        for pattern in ("refused: the relocation directory lies .*, at image offset 0x7000",
                        r"AddressOfEntryPoint +0x\w+ +0x\w+ +-", r"\.reloc .* r--d +-"):
            self.assertRegex(run.stdout, f"\n  {pattern}\n")


if __name__ == "__main__":
    unittest.main()
