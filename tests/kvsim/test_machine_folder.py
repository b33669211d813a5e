"""What kvsim takes for a machine folder, what it refuses, and how it saves one."""

import fcntl
import json
import os
import pathlib
import resource
import signal
import unittest

from support import (DRIVERS, KVSIM, SAMPLE, SERVICES, START, SYSTEM, KvsimTest, driver_keys, reg_text, service_keys, time_bytes,
                     tree)


class BrokenMachines(KvsimTest):
    def assert_refused(self, folder, pattern):
        before = tree(folder) if folder.is_dir() else None
        self.assert_fails(self.kvsim("boot", folder), 3, pattern)
        self.assertEqual(tree(folder) if folder.is_dir() else None, before)

    def test_what_is_no_machine_folder(self):
        (self.folder / "empty").mkdir()
        (self.folder / "file").write_text("")
        cases = {"nowhere": "nowhere: does not exist", "empty": "empty: has no registry.reg", "file": "is not a folder"}
        for name, pattern in cases.items():
            self.assert_refused(self.folder / name, pattern + ".*expected")

    def test_registry_files_with_faults_name_the_line(self):
        good = reg_text(driver_keys("kvlnk03", {"a": {"Mode": 1, "Time": time_bytes(0)}}))
        number = good.split("\n").index('"Mode"=dword:00000001') + 1
        cases = {
            "a line cut in half": (good.replace('"Mode"=dword:00000001', '"Mode"=dwo'), number),
            "a number cut short": (good.replace('"Mode"=dword:00000001', '"Mode"=dword:000001'), number),
            "a value before any key": ('Windows Registry Editor Version 5.00\n\n"a"="b"\n', 3),
            "another format": ("[Settings]\na=b\n", 1),
            "an empty file": ("", 1),
        }
        for name, (text, line) in cases.items():
            with self.subTest(name):
                folder = self.machine({}, name=name)
                (folder / "registry.reg").write_text(text)
                self.assert_refused(folder, f"registry.reg:{line}: .*expected")

    def test_a_registry_cut_off_anywhere_is_loaded_or_refused_in_one_line(self):
        text = reg_text(driver_keys("kvlnk03", {"a": {"Mode": 1, "Time": time_bytes(0)}})).encode("utf-16")
        folder = self.machine({})
        for length in range(0, len(text), 61):
            (folder / "registry.reg").write_bytes(text[:length])
            run = self.kvsim("boot", folder, "--at", START)
            self.assertIn(run.returncode, (0, 3), length)
            self.assertRegex(run.stderr, r"\A\Z" if run.returncode == 0 else r"\Akvsim: \S+registry.reg:\d+: [^\n]+\n\Z")

    def test_machine_json_with_faults_names_the_place(self):
        cases = [
            ('{\n  "wow64": true,\n  "drives": {"D": }\n}', "machine.json:3: is not JSON"),
            ('{"wow64": true', "machine.json:1: is not JSON"),
            ("", "machine.json:1: is not JSON"),
            ("[]", "machine.json: the whole file is an array; expected an object"),
            ('{"wow46": true}', "/wow46 is not known; expected one of .*wow64"),
            ('{"wow64": 1}', "/wow64 is a number .1.; expected true or false"),
            ('{"wow64": true, "wow64": false}', '"wow64" stands twice'),
            ('{"version": {"major": -1}}', "/version/major is a number .-1.; expected a whole number"),
            ('{"version": {"platformId": 3}}', "/version/platformId is 3; expected"),
            ('{"system": "windows-11"}', '/system is a string .*; expected one of .*"windows-10"'),
            ('{"drives": {"DD": "fixed"}}', "/drives/DD is no drive letter; expected"),
            ('{"drives": {"D": {"type": "tape"}}}', '/drives/D/type is a string ."tape".; expected one of .*"cdrom"'),
            ('{"shares": {"\\\\\\\\server\\\\x": "../x"}}', "leaves the machine folder; expected"),
            ('{"shares": {"\\\\\\\\server\\\\x": "no such folder"}}', "no such folder: does not exist; expected"),
            ('{"attributes": {"C:\\\\nothing": "hidden"}}', "/attributes/C:.nothing does not exist; expected"),
            ('{"refused": {"registry": {"System\\\\No": "read"}}}', "/refused/registry/System.No does not exist"),
            ('{"drivers": {"kvenv01": {"stop": "perhaps"}}}', '/drivers/kvenv01/stop .*expected one of "pending"'),
            ('{"drivers": {"kvenv01": {"replies": {"x": {}}}}}', "/drivers/kvenv01/replies/x .*expected a number"),
            ('{"drivers": {"kvenv01": {"replies": {"0x1": {"bytes": "0g"}}}}}', "/replies/0x1/bytes .*expected bytes"),
            ('{"heldLocks": [{"name": "x"}]}', "/heldLocks/0 is not complete; expected"),
            ('{"drivers": {"kvlnk3": {}}}', "/drivers/kvlnk3 does not exist; expected the name of a service in registry.reg"),
            ('{"refused": {"services": {"kvlnk3": "stop"}}}', "/refused/services/kvlnk3 does not exist; expected"),
            ('{"ansiCodePage": 866}', "/ansiCodePage is 866; expected .*1250 to 1258"),
        ]
        folder = self.machine({SERVICES + "kvenv01": {}}, description={})
        self.boot(folder)
        for text, pattern in cases:
            with self.subTest(text):
                (folder / "machine.json").write_text(text)
                self.assert_refused(folder, pattern)

    def test_files_that_windows_could_not_have(self):
        cases = {
            "two of a name": (lambda c: (c / "A.txt").write_text("") + (c / "a.TXT").write_text(""), "case of letters"),
            "bad name": (lambda c: (c / "a:b").write_text(""), "a:b: has a name"),
            "trailing dot": (lambda c: (c / "a.").mkdir(), "a.: has a name"),
            "not UTF-8": (lambda c: open(os.fsencode(c) + b"/\xff", "w").close(), "has a name"),
            "link": (lambda c: (c / "link").symlink_to("/etc/passwd"), "link: is a symbolic link; expected"),
            "pipe": (lambda c: os.mkfifo(c / "pipe"), "pipe: is a special file; expected"),
            "drive twice": (lambda c: (c.parent / "c").mkdir(), "/c: stands for the drive of"),
            "drive that is a file": (lambda c: (c.parent / "D").write_text(""), "D: is not a folder; expected"),
            "drive that is a link": (lambda c: (c.parent / "D").symlink_to("/etc"), "D: is not a folder; expected"),
        }
        for name, (spoil, pattern) in cases.items():
            with self.subTest(name):
                folder = self.machine({"System": {}}, name=name)
                spoil(folder / "C")
                self.assert_fails(self.kvsim("boot", folder), 3, pattern)


class Exports(KvsimTest):
    """Registry files that are whole in another form, and those that are not."""

    def export(self, keys, name="machine", encoding="utf-8"):
        folder = self.machine({}, name=name)
        (folder / "registry.reg").write_bytes(reg_text(keys).encode(encoding))
        return folder

    def test_the_current_control_set_follows_select(self):
        set1, set2 = ({path.replace("CurrentControlSet", f"ControlSet00{number}"): values for path, values in keys.items()}
                      for number, keys in ((1, service_keys()),
                                           (2, driver_keys("kvenv01a", {"x": {"Mode": 1, "Time": time_bytes(-1)}}) | service_keys())))
        select = {"System\\Select": {"Current": 2, "Default": 2}}
        current = {path.replace("ControlSet002", "CurrentControlSet"): values for path, values in set2.items()}
        differs = current | {SERVICES + "kvenv01a\\LifeTime\\x": {"Mode": 1, "Time": time_bytes(-2)}}
        cases = {"offline": (set1 | set2 | select, ""), "both": (set2 | current | select, ""),
                 "both, not equal": (set2 | differs | select, "ControlSet002 and CurrentControlSet.* differ in "
                                     ".*kvenv01a.LifeTime.x; CurrentControlSet counts")}
        for name, (keys, note) in cases.items():
            with self.subTest(name):
                folder, target, later = self.export(keys, name), self.folder / (name + " saved"), self.folder / (name + " later")
                run = self.kvsim("exec", folder, "--save", target, "--", "kvdel01.exe", "can-remove-now")
                self.assertEqual(run.returncode, 1)
                self.assertRegex(run.stderr, "kvsim: note: .*registry.reg: " + note if note else "\\A(?!.*note)")
                saved = (target / "registry.reg").read_text(encoding="utf-16")
                # Keys are written where they came from, and what is one key is equal in both places.
                self.assertEqual({path for path in keys if f"MACHINE\\{path}]" not in saved}, set())
                self.assertEqual("CurrentControlSet" in saved, name != "offline")
                self.assertEqual(saved.count("LifeTime\\x]"), 1 if name == "offline" else 2)
                self.boot(target, "--at", "2026-05-01", "--save", later)
                self.assertNotIn("LifeTime", (later / "registry.reg").read_text(encoding="utf-16"))

    def test_an_export_without_the_services_is_refused_with_the_command_for_a_whole_one(self):
        one = {SERVICES + "kvlnk03": {"Type": 1}, SERVICES + "kvlnk03\\LifeTime": {"Auto": 1}}
        offline = {"System\\ControlSet001\\Services": {}, "System\\Setup": {}}
        cases = {
            "header": ({}, "holds no key at all"),
            "one service": (one, "holds HKEY_LOCAL_MACHINE.System.CurrentControlSet.Services.kvlnk03 only"),
            "another branch": ({"Software\\A": {}, "Software\\B": {}}, "holds HKEY_LOCAL_MACHINE.Software with A, B"),
            "no select": (offline, "has control sets, but no System.Select that says which"),
            "select": (offline | {"System\\Select": {"Current": 12}}, "has no ControlSet012, which its System.Select"),
            "loaded hive": ({f"Offline\\{name}": {} for name in "EDCBA"}, "holds .*Offline with A, B, C, D and others"),
        }
        for name, (keys, pattern) in cases.items():
            with self.subTest(name):
                run = self.kvsim("boot", self.export(keys, name))
                self.assert_fails(run, 3, f"registry.reg: {pattern}.*; expected.* reg export HKLM.System registry.reg")

    def test_texts_of_the_old_format_are_in_the_code_page_of_the_machine(self):
        keys = driver_keys("kvenv01a", {"x": {"Mode": 0, "File": "C:\\Игра\\g.exe"}}) | service_keys()
        folder = self.machine(keys, ["C/Игра/g.exe"])
        text = (folder / "registry.reg").read_text().replace("Windows Registry Editor Version 5.00", "REGEDIT4")
        (folder / "registry.reg").write_bytes(text.encode("cp1251"))
        line = text[:text.index("Игра")].count("\n") + 1
        run = self.kvsim("boot", folder, "--json")
        note = f"{folder}/registry.reg:{line}: read in code page 1252; .*ansiCodePage"
        self.assertRegex(run.stderr, f"\\Akvsim: note: {note}[^\n]*\n\\Z")
        self.assertRegex(json.loads(run.stdout)["notes"][0], note)
        (folder / "machine.json").write_text('{"ansiCodePage": 1251}')
        self.assertEqual(self.boot(folder)[0]["components"][-2]["result"], "kept")

    def test_files_are_found_in_any_case_and_their_faults_have_reasons(self):
        folder = self.machine(service_keys(), description={"wow64": 1})
        (folder / "registry.reg").rename(folder / "REGISTRY.REG")
        (folder / "machine.json").rename(folder / "Machine.JSON")
        self.assert_fails(self.kvsim("boot", folder), 3, "Machine.JSON: /wow64 is a number")
        (folder / "Machine.JSON").unlink()
        self.boot(folder)
        (folder / "machine.json").mkdir()
        self.assert_fails(self.kvsim("boot", folder), 3, "machine.json: is a folder")
        (folder / "machine.json").rmdir()
        (folder / "registry.reg").symlink_to("nowhere")
        self.assert_fails(self.kvsim("boot", folder), 3, "registry.reg: has the name of REGISTRY.REG")
        (folder / "REGISTRY.REG").unlink()
        self.assert_fails(self.kvsim("boot", folder), 3, "registry.reg: cannot be read: No such file")
        self.assert_fails(self.kvsim("boot", "x" * 300), 3, "x: cannot be read: File name too long")


class Saving(KvsimTest):
    def test_targets_that_are_refused_stay_as_they_are(self):
        full, file = self.folder / "full", self.folder / "file"
        (full / "sub").mkdir(parents=True)
        file.write_text("x")
        inside = self.machine({"System": {}})
        cases = {full: "is not empty", file: "is not a folder", inside / "saved": "inside the machine folder",
                 self.folder / "nowhere" / "saved": "nowhere does not exist; expected the folder to make saved in",
                 file / "saved": "file is not a folder; expected", self.folder / ("x" * 300): "cannot be saved to: File name",
                 pathlib.Path("/proc/saved"): "/proc"}
        before = tree(self.folder)
        for target, pattern in cases.items():
            with self.subTest(target.name):
                run = self.kvsim("boot", inside, "--save", target)
                self.assertEqual(run.returncode, 4)
                self.assertRegex(run.stderr, f"\\Akvsim: [^\n]*{pattern}[^\n]*\n\\Z")
        self.assertEqual(tree(self.folder), before)

    def test_signals_while_saving_leave_nothing(self):
        # Pending from the start on, and taken at the save.
        def send(number):
            signal.pthread_sigmask(signal.SIG_BLOCK, [number])
            os.kill(os.getpid(), number)

        before = tree(self.folder)
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            run = self.kvsim("boot", SAMPLE, "--save", self.folder / "saved", preexec_fn=lambda: send(number))
            self.assertEqual((run.returncode, run.stderr), (-number, "kvsim: interrupted; nothing is saved\n"))
            self.assertEqual(tree(self.folder), before)
        run = self.kvsim("boot", SAMPLE, "--save", self.folder / "saved",
                         preexec_fn=lambda: (signal.signal(signal.SIGHUP, signal.SIG_IGN), send(signal.SIGHUP)))
        self.assertEqual((run.returncode, run.stderr), (0, ""))

    def test_what_a_killed_save_left_is_taken_over_unless_it_lives(self):
        target, left = self.folder / "saved", self.folder / ".kvsim-saving-saved"
        machine = self.machine(service_keys(), ["C/large"])
        # The limit kills kvsim when a file becomes larger: the copy of this one, not that of its own program.
        limit = (pathlib.Path(KVSIM).resolve().parent / "kvdel01.so").stat().st_size + 1000
        os.truncate(machine / "C/large", limit + 1)
        run = self.kvsim("boot", machine, "--save", target,
                         preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit)))
        self.assertEqual(run.returncode, -signal.SIGXFSZ)
        self.assertIn("machine/registry.reg", tree(left))
        living = os.open(left, os.O_RDONLY)
        fcntl.flock(living, fcntl.LOCK_EX)
        run = self.kvsim("exec", SAMPLE, "--save", target, "--", "kvdel01.exe")
        self.assertEqual((run.returncode, run.stderr), (4, f"kvsim: {target} is being saved to by another kvsim\n"))
        self.assertIn("machine/registry.reg", tree(left))
        os.close(living)
        run = self.kvsim("exec", machine, "--save", target, "--", "kvdel01.exe")
        self.assertEqual((run.returncode, run.stderr), (1, ""))
        self.assertEqual(sorted(os.listdir(self.folder)), ["machine", "saved"])
        self.assertEqual(tree(target).keys(), tree(machine).keys())

    def test_a_saved_machine_is_whole_and_the_original_untouched(self):
        keys = service_keys() | driver_keys("kvlnk03", {"a": {"Mode": 1, "Time": time_bytes(-1)}})
        description = {"drives": {"D": "removable", "E": {"type": "cdrom", "medium": False}},
                       "shares": {"\\\\server\\work": "shares/office"},
                       "attributes": {"C:\\Data\\secret.txt": ["hidden", "read-only"]},
                       "refused": {"registry": {SERVICES + "kvdel01": "delete"}}}
        files = ["C/Data/secret.txt", "D/x.bin", "shares/office/y.txt", "notes.txt"]
        folder = self.machine(keys, files, description)
        (folder / "C/Empty").mkdir()
        (folder / "D/x.bin").write_bytes(bytes(range(256)) * 300)
        before = tree(folder)
        for target in (self.folder / "new", self.folder / "there"):
            (self.folder / "there").mkdir(exist_ok=True)
            run = self.kvsim("boot", folder, "--at", START, "--save", str(target) + "/")
            self.assertEqual((run.returncode, run.stderr), (0, ""))
            self.assertIn(f"Saved to {target}/.\n", run.stdout)
            saved = tree(target)
            changed = {"registry.reg", "machine.json"}
            self.assertEqual({name: saved[name] for name in saved if name not in changed},
                             {name: before[name] for name in before if name not in changed | {"notes.txt"}})
            self.assertEqual(json.loads((target / "machine.json").read_text()),
                             description | {"attributes": {"C:\\Data\\secret.txt": ["hidden", "read-only"]}})
            self.assertTrue((target / "registry.reg").read_bytes().startswith(b"\xff\xfeW\0i\0n\0"))
        self.assertEqual(tree(folder), before)
        self.assertEqual(sorted(path.name for path in self.folder.iterdir()), ["machine", "new", "there"])

    def test_descriptions_of_what_the_program_removed_go_with_it(self):
        keys = driver_keys("kvenv01a") | service_keys()
        description = {"refused": {"registry": {SERVICES + "kvenv01a\\LifeTime": "write"},
                                   "services": {"kvenv01a": "query"}},
                       "drivers": {"kvenv01a": {"stop": "stops"}},
                       "attributes": {"C:\\Windows\\system32\\drivers\\kvenv01a.sys": ["read-only"]}}
        folder = self.machine(keys, description=description)
        target = self.folder / "saved"
        results = [component["result"] for component in self.boot(folder, "--at", START, "--save", target)[0]["components"]]
        self.assertEqual(results[-2:], ["removed", "restart-pending"])
        self.assertFalse((target / "machine.json").exists())
        self.assertTrue(self.json("boot", target, "--json", "--at", START)["clean"])


class LargeRegistries(KvsimTest):
    def test_show_their_progress_on_a_terminal_only(self):
        folder = self.machine({})
        values = "".join(f'"value {i}"="some text of a usual length, number {i}"\r\n' for i in range(20))
        text = reg_text({SERVICES[:-1]: {}}) + "\r\n" + "".join(
            f"[HKEY_LOCAL_MACHINE\\{SYSTEM}Enum\\BUS\\device {i}\\0000]\r\n{values}\r\n" for i in range(3000))
        (folder / "registry.reg").write_bytes(text.encode("utf-16"))
        self.assertGreater((folder / "registry.reg").stat().st_size, 6_000_000)
        run = self.kvsim("boot", folder)
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        code, output = self.terminal(80, "boot", folder)
        self.assertEqual(code, 0)
        self.assertRegex(output, "\\A\rreading registry.reg: \\d+ %(.|\n)*\r\x1b\\[K(.|\n)*did not run")


if __name__ == "__main__":
    unittest.main()
