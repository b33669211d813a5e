"""Options, messages, exit codes and the two forms of output."""

import datetime
import json
import os
import pathlib
import re
import subprocess
import time
import unittest

from support import KVSIM, SAMPLE, SERVICES, START, KvsimTest, driver_keys, time_bytes, tree


class CommandLine(KvsimTest):
    def test_wrong_command_lines_end_with_2_and_one_line(self):
        cases = {
            ("--bogus",): "unknown option '--bogus'; see kvsim --help",
            ("boot",): "MACHINE is required; see kvsim boot --help",
            (): "a command is missing: boot, exec; see kvsim --help",
            ("bot", "x"): "unknown command 'bot' .did you mean 'boot'.*; see kvsim --help",
            ("help", "exce"): "unknown command 'exce' .did you mean 'exec'.*; see kvsim --help",
            ("boot", "x", "--stats", "3"): "unknown option '--stats' .did you mean '--starts'.*; see kvsim boot --help",
            ("--trace", "boot", "x"): "'--trace' belongs behind the command boot",
            ("boot", ""): "what follows 'boot' is empty",
            ("boot", "x", "--save="): "the value of '--save=' is empty",
            ("exec", "x", "--", ""): "command line behind '--'",
            ("boot", "x", "--every", "2d"): "--every requires --starts",
            ("boot", "x", "--starts", "2", "--every", "1M"): "'1M' may mean months or minutes; expected",
            ("boot", "x", "--at", "2026-03-01+01:00"): "is not a time",
            ("boot", "x", "--at", "2026-03-01T08:00+1"): "is not a time",
            ("boot", "x", "--at", "1601-01-01T00:00+00:01"): "is not a time",
            ("boot", "x", "y"): "'y'; see kvsim boot --help",
            ("boot", "x", "--starts", "0"): "--starts.*1 to 10000",
            ("boot", "x", "--starts", "many"): "--starts",
            ("boot", "x", "--at", "2026-02-30"): "--at: '2026-02-30' is not a time; expected",
            ("boot", "x", "--at", "1600-01-01"): "--at",
            ("boot", "x", "--starts", "2", "--every", "1y"): "--every: '1y' is not a length of time; expected",
            ("boot", "x", "--starts", "2", "--every", "PT"): "--every",
            ("boot", "x", "--starts", "2", "--every", "P1H"): "--every",
            ("boot", "x", "--at", "9999-12-30", "--starts", "9"): "--every.*after the year 9999",
            ("boot", "x", "--", "kvdel01.exe"): "only exec",
            ("exec", "x"): "command line behind '--'",
            ("exec", "x", "kvdel01.exe"): "command line behind '--'",
            ("exec", "x", "y", "--", "z"): "unknown argument 'y'; see kvsim exec --help",
        }
        for option in ("--at", "--save", "--starts", "--every"):
            cases["boot", "x", option, ""] = f"what follows '{option}' is empty; is a variable"
        for arguments, pattern in cases.items():
            with self.subTest(arguments=arguments):
                self.assert_fails(self.kvsim(*arguments), 2, pattern)

    def test_help_and_version_tell_about_exit_codes_and_the_number(self):
        for arguments, alias in ((["--help"], ["help"]), (["boot", "--help"], ["help", "boot"]), (["exec", "-h"], ["help", "exec"])):
            run = self.kvsim(*arguments)
            self.assertEqual((run.returncode, run.stderr), (0, ""))
            self.assertRegex(run.stdout, "Usage: kvsim (.|\n)*\nExamples:\n  kvsim (.|\n)*Exit codes:(.|\n)*  4  ")
            self.assertEqual(self.kvsim(*alias).stdout, run.stdout)
            script = subprocess.run(["./run"] + arguments, executable=KVSIM, capture_output=True, text=True)
            self.assertRegex(script.stdout, "Usage: ./run (.|\n)*\nExamples:\n  ./run ")
        self.assertRegex(self.kvsim("--version").stdout, r"\Akvsim \d+\.\d+\.\d+\n\Z")
        self.assertEqual(self.kvsim("-V").stdout, self.kvsim("--version").stdout)

    def test_times_and_lengths_of_time_in_all_their_forms(self):
        times = {"2026-03-01T08:00:00Z": START, "2026-03-01T08:00Z": START, "2026-03-01 08:00:00": START,
                 "2026-03-01T09:30:00+01:30": START, "2026-02-28 23:00-0900": START,
                 "2026-03-01": "2026-03-01T00:00:00Z", "2024-02-29T23:59:59Z": "2024-02-29T23:59:59Z"}
        for text, expected in times.items():
            self.assertEqual(self.boot(SAMPLE, "--at", text)[0]["time"], expected)
        now = datetime.datetime.fromisoformat(self.json("boot", SAMPLE, "--json")["starts"][0]["time"])
        self.assertLess(abs(now.timestamp() - time.time()), 100)
        lengths = {"12d": "13T08:00:00", "1d12h": "02T20:00:00", "30m": "01T08:30:00", "45s": "01T08:00:45",
                   "2w": "15T08:00:00", "P1D": "02T08:00:00", "PT12H": "01T20:00:00", "P1DT1H1M1S": "02T09:01:01"}
        for text, expected in lengths.items():
            starts = self.boot(SAMPLE, "--at", START, "--starts", "2", "--every", text)
            self.assertEqual(starts[1]["time"], f"2026-03-{expected}Z", text)

    def test_failures_are_one_json_document_when_asked(self):
        cases = [
            (["boot", SAMPLE, "--nonsense", "--json"], 2, "usage"),
            (["boot", self.folder / "nowhere", "--json"], 3, "machine"),
            (["boot", SAMPLE, "--save", SAMPLE, "--json"], 4, "output"),
            (["exec", SAMPLE, "--json", "--", "nothing.exe"], 3, "command"),
        ]
        for arguments, code, kind in cases:
            with self.subTest(kind=kind):
                run = self.kvsim(*arguments)
                document = json.loads(run.stdout)
                self.assertEqual((run.returncode, document["schema"]), (code, 1))
                self.assertEqual((document["error"]["code"], document["error"]["kind"]), (code, kind))
                self.assertIn(document["error"]["message"], run.stderr)

    def test_a_full_disk_under_standard_output_ends_with_4(self):
        with open("/dev/full", "w") as full:
            run = subprocess.run([KVSIM, "boot", SAMPLE], stdout=full, stderr=subprocess.PIPE, text=True)
        self.assertEqual((run.returncode, run.stderr), (4, "kvsim: standard output cannot be written to: No space left on device\n"))

    def test_finds_its_program_through_a_link_and_from_another_folder(self):
        link = self.folder / "a link"
        link.symlink_to(pathlib.Path(KVSIM).resolve())
        run = self.kvsim("exec", SAMPLE, "--", "kvdel01.exe", "can-remove-now", program=link, cwd="/")
        self.assertEqual((run.returncode, run.stdout), (1, ""))

    def test_a_copy_without_its_program_says_so(self):
        copy = self.folder / "kvsim"
        copy.write_bytes(pathlib.Path(KVSIM).read_bytes())
        copy.chmod(0o755)
        environment = os.environ | {"LD_LIBRARY_PATH": str(pathlib.Path(KVSIM).parent)}
        self.assert_fails(self.kvsim("boot", SAMPLE, program=copy, env=environment), 5, "kvdel01.so")


class Output(KvsimTest):
    def test_redirected_text_is_plain_and_never_broken(self):
        run = self.kvsim("boot", SAMPLE, "--at", START, env=os.environ | {"COLUMNS": "40", "TERM": "xterm"})
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        self.assertNotIn("\x1b", run.stdout)
        self.assertIn('lapsed: C:\\Program Files\\Carvel Trial\\carvel.exe is missing\n', run.stdout)

    def test_a_terminal_gets_colours_unless_told_not_to_and_lines_that_fit(self):
        arguments = ("boot", SAMPLE, "--at", START, "--starts", "2")
        code, coloured = self.terminal(80, *arguments)
        self.assertEqual(code, 0)
        self.assertIn("\x1b[32mremoved", coloured)
        for columns, environment in ((80, {"NO_COLOR": "1"}), (60, {"TERM": "dumb"})):
            plain = self.terminal(columns, *arguments, **environment)[1]
            self.assertNotIn("\x1b", plain)
            self.assertLessEqual(max(map(len, plain.splitlines())), columns)
        words = lambda text: re.sub("\x1b\\[[0-9]*m", "", text).split()
        self.assertEqual(words(coloured), words(self.kvsim(*arguments).stdout))

    def test_names_on_the_machine_are_no_commands_to_the_terminal(self):
        name = "a\x1b[31mb\x07 \u202egpj.exe \x9b1m \u2066x\u2069 \u200f\u200b\ufeff\x7f Ж"
        shown = "a<U+001B>[31mb<U+0007> <U+202E>gpj.exe <U+009B>1m <U+2066>x<U+2069> <U+200F><U+200B><U+FEFF><U+007F> Ж"
        machine = self.machine(driver_keys("kvlnk03", {name: {"Mode": 0, "File": "C:\\\u202ex"}}))
        ask = ("--", "kvdel01.exe", "can-remove-now")
        runs = [self.kvsim("boot", machine, "--trace"), self.kvsim("boot", machine, "--json"), self.kvsim("exec", machine, "--trace", *ask),
                self.kvsim("exec", machine, "--json", *ask), self.kvsim("boot", self.folder / "\u202e\x9b", "--json")]
        self.assertIn(f'"{shown}"', runs[0].stdout)
        self.assertIn("C:\\<U+202E>x", runs[2].stderr)
        self.assertEqual(json.loads(runs[1].stdout)["starts"][0]["components"][0]["claims"][0]["client"], name)
        for run in runs:
            self.assertNotRegex(run.stdout + run.stderr, "[\0-\x09\x0b-\x1f\x7f-\x9f\u200b-\u200f\u202a-\u202e\u2066-\u2069\ufeff]")

    def test_the_trace_has_a_line_for_each_call_in_both_forms(self):
        text = self.kvsim("exec", SAMPLE, "--at", START, "--trace", "--", "kvdel01.exe", "can-remove-now").stdout
        document = json.loads(
            self.kvsim("exec", SAMPLE, "--at", START, "--trace", "--json", "--", "kvdel01.exe", "can-remove-now").stdout)
        lines = [line for line in text.splitlines() if line.startswith("    1 ")]
        self.assertEqual([line.split("(")[0].split()[1] for line in lines],
                         [call["function"] for call in document["trace"]])
        opened = [call["arguments"] for call in document["trace"] if call["function"] == "RegOpenKeyExW"]
        self.assertTrue(any("Services\\kvlnk03" in arguments for arguments in opened), opened)
        self.assertNotIn("trace", self.json("boot", SAMPLE, "--json")["starts"][0])


class Exec(KvsimTest):
    def test_ends_with_the_exit_code_of_the_program_and_shows_its_message_box(self):
        empty = self.machine({"System": {}})
        self.assertEqual(self.kvsim("exec", empty, "--", "kvdel01.exe", "can-remove-now").returncode, 0)
        run = self.kvsim("exec", SAMPLE, "--", "kvdel01.exe", "svc")
        self.assertEqual((run.returncode, run.stderr), (1, ""))
        caption, blank, text = run.stdout.rstrip("\n").split("\n")
        self.assertEqual((caption, blank), ("KV Quellin Drivers Auto Removal (v1)", ""))
        self.assertRegex(text, "^This service will automatically uninstall .* visit .*\\.$")
        wrapped = self.terminal(60, "exec", SAMPLE, "--", "kvdel01.exe")[1]
        self.assertLessEqual(max(map(len, re.sub("\x1b\\[[0-9]*m", "", wrapped).splitlines())), 60)

    def test_the_check_tells_on_standard_error_what_still_counts_or_what_failed(self):
        key = SERVICES + "kvlnk03"
        keys = driver_keys("kvlnk03", {"a": {"Mode": 1, "Time": time_bytes(-31)}, "b": {"Mode": 1, "Time": time_bytes(-1)}})
        keys |= driver_keys("kvaux02", {}, Auto=0) | driver_keys("kvenv01") | {SERVICES + "kvvol02": {"Type": 1, "Start": 4}}
        needed = {"kvlnk03": ['claim "b" holds until 2026-03-30 08:00 UTC',
                              'claim "a" lapsed on 2026-02-28 08:00 UTC, but counts until a pass deletes it'],
                  "kvvol02": ["has no lifetime record: nobody may remove it automatically"],
                  "kvaux02": ['may not be removed automatically ("Auto" is 0)']}
        rows = "".join(f"  {name:10}{reason}\n" for name, reasons in needed.items() for reason in reasons)
        failure = f'RegOpenKeyExW(HKLM, "{key}", 0x20019) failed with error 5, access denied'
        cases = {"not yet": ({}, 1, "kvdel01.exe cannot go yet\n" + rows),
                 "failed": ({"refused": {"registry": {key: "read"}}}, 255, f"kvdel01.exe failed: {failure}\n")}
        ask = ("--at", START, "--", "kvdel01.exe", "can-remove-now")
        for name, (description, code, told) in cases.items():
            with self.subTest(name):
                machine = self.machine(keys, description=description, name=name)
                run = self.kvsim("exec", machine, *ask)
                self.assertEqual((run.returncode, run.stdout, run.stderr), (code, "", told))
                run = self.kvsim("exec", machine, "--json", *ask)
                document = json.loads(run.stdout)
                self.assertEqual((run.returncode, run.stderr, document["exitCode"] % 256), (code, "", code))
                self.assertEqual({driver["name"]: driver["reasons"] for driver in document["stillNeeded"]},
                                 needed if code == 1 else {})
                self.assertEqual(document.get("cause"), failure if code == 255 else None)

    def test_words_become_one_command_line(self):
        cases = {
            ("kvdel01.exe", "can-remove-now"): ("kvdel01.exe can-remove-now", 1, 0),
            ('"C:\\Windows\\System32\\kvdel01.exe"  CAN-REMOVE-NOW\t',): (None, 1, 0),
            ("kvdel01", "can-remove-now", "x y", ""): ('kvdel01 can-remove-now "x y" ""', 1, 1),
            ("kvdel01.exe", "--json"): ("kvdel01.exe --json", 1, 1),
        }
        for words, (line, code, boxes) in cases.items():
            with self.subTest(words=words):
                run = self.kvsim("exec", SAMPLE, "--json", "--", *words)
                document = json.loads(run.stdout)
                self.assertEqual((run.returncode, len(document["messageBoxes"])), (code, boxes))
                self.assertEqual(document["commandLine"], line or words[0])

    def test_a_program_that_the_machine_does_not_have(self):
        self.assert_fails(self.kvsim("exec", SAMPLE, "--", "nothing.exe"), 3, "nothing.exe")

    def test_runs_no_services_and_saves_what_it_did(self):
        target = self.folder / "saved"
        run = self.kvsim("exec", SAMPLE, "--at", START, "--save", target, "--", "kvdel01.exe", "can-remove-now")
        self.assertEqual((run.returncode, run.stdout), (1, f"Saved to {target}.\n"))
        gone = set(tree(SAMPLE)) - set(tree(target))
        self.assertEqual(gone, {"C/Program Files/Carvel/carvel.exe"})


if __name__ == "__main__":
    unittest.main()
