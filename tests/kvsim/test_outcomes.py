"""That kvsim tells the truth about what became of a driver and of the service, and why."""

import re
import unittest

from support import DRIVERS, SERVICES, START, SYSTEM, KvsimTest, driver_keys, multi_string, service_keys, time_bytes

MUTEX = "{E06A1434-144A-4C05-B8EA-F3E3F4216C47}"
FILE = {"Mode": 0, "File": "C:\\Games\\g.exe"}


def timed(days, ticks=0):
    return {"Mode": 1, "Time": time_bytes(days, ticks)}


class Outcomes(KvsimTest):
    def outcome(self, keys, files=(), description=None, component="kvenv01a"):
        """The start of a machine, and one of its components."""
        self.count = getattr(self, "count", 0) + 1
        start = self.boot(self.machine(keys, files, description, f"machine {self.count}"))[0]
        return start, next(entry for entry in start["components"] if entry["name"] == component)

    def assert_outcome(self, result, reasons, *arguments, component="kvenv01a"):
        """`reasons` are pieces that some reason has each, in this order; "-" in front of one that none has."""
        entry = self.outcome(*arguments, component=component)[1]
        self.assertEqual(entry["result"], result, entry["reasons"])
        told = "\n".join(entry["reasons"])
        for reason in reasons:
            if reason.startswith("-"):
                self.assertNotIn(reason[1:], told)
            else:
                self.assertIn(reason, told)
                told = told[told.index(reason):]

    def test_what_keeps_a_driver_and_what_does_not(self):
        removed = "deleted: event-log source, service entry and image file"
        cases = {
            "file there": ("kept", ['claim "x" holds: C:\\Games\\g.exe is there'], {"x": FILE}, {}, ["C/games/G.EXE"]),
            "file missing": ("removed", ['claim "x" lapsed: C:\\Games\\g.exe is missing', removed], {"x": FILE}, {}),
            "time runs": ("kept", ['claim "x" holds until 2026-03-01 08:00'], {"x": timed(-30, 1)}, {}),
            "time is up": ("removed", ['claim "x" lapsed on 2026-03-01 08:00 UTC', removed], {"x": timed(-30)}, {}),
            "future": ("kept", ["holds until after the year 9999"], {"x": {"Mode": 1, "Time": b"\0\0\0\0\0\0\0\x7f"}}, {}),
            "long Mode": ("kept", ['claim "x" holds until'], {"x": timed(-1) | {"Mode": ("hex(4):", b"\1\0\0\0\2")}}, {}),
            "long Auto": ("removed", [removed], {}, {"Auto": ("hex(4):", b"\1\0\0\0\0\0")}),
            "one of two": ("kept", ['"b" holds', '"a" lapsed', "-still recorded"], {"a": timed(-31), "b": timed(-1)}, {}),
            "nobody": ("removed", ["nobody claims it", "stopped", removed], {}, {}),
            "Auto 0": ("kept", ['may not be removed automatically ("Auto" is 0)'], {}, {"Auto": 0}),
            "no Auto": ("kept", ['("Auto" is missing; expected a REG_DWORD, 1)'], {"x": timed(-31)}, {"Other": 1}),
            "Auto a text": ("kept", ['("Auto" is a REG_SZ of 4 bytes; expected'], {}, {"Auto": "1"}),
            "short Auto": ("kept", ['("Auto" is a REG_DWORD of 1 byte; expected'], {}, {"Auto": ("hex(4):", b"\1")}),
        }
        for name, (result, reasons, claims, record, *files) in cases.items():
            with self.subTest(name):
                keys = driver_keys("kvenv01a", claims, **record) | service_keys()
                self.assert_outcome(result, reasons, keys, *files)
                self.assert_outcome("kept" if result == "kept" else "restart-pending",
                                    ["still needed for kvenv01a"] if result == "kept" else ["no driver needs it any more"],
                                    keys, *files, component="kvdel01")

    def test_broken_claims_tell_what_is_there_and_what_is_expected(self):
        mode, file, time = "a REG_DWORD, 0 .* or 1", "a REG_SZ with the path", "a REG_BINARY of 8 bytes"
        cases = [
            ({}, "Mode", "missing", mode),
            ({"Mode": 2}, "Mode", "2", mode),
            ({"Mode": "0"}, "Mode", "a REG_SZ of 4 bytes", mode),
            ({"Mode": ("hex(4):", b"\1\0\0")}, "Mode", "a REG_DWORD of 3 bytes", mode),
            ({"Mode": 0}, "File", "missing", file),
            ({"Mode": 0, "File": ("hex(2):", b"C\0\0\0")}, "File", "a REG_EXPAND_SZ of 4 bytes", file),
            ({"Mode": 1, "File": "C:\\x"}, "Time", "missing", time),
            ({"Mode": 1, "Time": bytes(7)}, "Time", "a REG_BINARY of 7 bytes", time),
            ({"Mode": 1, "Time": ("hex(b):", bytes(8))}, "Time", "a REG_QWORD of 8 bytes", time),
            ({"Mode": 1, "Time": ("hex(c):", bytes(9))}, "Time", "a value of type 12 of 9 bytes", time),
        ]
        claims = {f"claim {i:02}": values for i, (values, *_) in enumerate(cases)}
        entry = self.outcome(driver_keys("kvenv01a", claims) | service_keys())[1]
        self.assertEqual(entry["result"], "removed")
        for claim, (values, value, found, expected) in zip(entry["claims"], cases, strict=True):
            with self.subTest(values=values):
                fault = claim["fault"]
                self.assertEqual((claim["bound"], claim["holds"], fault["value"], fault["found"]), ("broken", False, value, found))
                self.assertRegex(fault["expected"], expected)
                self.assertIn(f'"{claim["client"]}" counts for nothing: its "{value}" is {found}; expected {fault["expected"]}',
                              claim["text"])

    def test_risks(self):
        wrong = {"ahead": timed(2), "drive": {"Mode": 0, "File": "E:\\x.exe"}, "share": {"Mode": 0, "File": "\\\\srv\\s\\x.exe"},
                 "no name": {"Mode": 0, "File": "C:\\a:b.exe"}, "gone": FILE, "good": timed(0)}
        keys = driver_keys("kvenv01a", wrong) | driver_keys("kvlnk03", {"x": timed(-1)}) | service_keys(WOW64=1)
        description = {"drives": {"E": {"type": "cdrom", "medium": False}},
                       "drivers": {"kvenv01a": {"openErrors": {"kvenv01ai": "0xE0000004"}},
                                   "kvlnk03": {"openErrors": {"kvlnk03": 5, "kvlnk03i": 2}}}}
        start, entry = self.outcome(keys, (), description)
        self.assertEqual([(risk["kind"], risk.get("client")) for risk in entry["risks"]],
                         [("time-ahead", "ahead"), ("file-not-seen", "drive"), ("file-not-seen", "share"), ("device-refuses", None)])
        self.assertEqual({claim["client"]: (claim["lookError"], claim["doubtful"]) for claim in entry["claims"] if "file" in claim},
                         {"drive": (21, True), "share": (53, True), "no name": (123, False), "gone": (3, False)})
        self.assertIn("wow64-mark", [risk["kind"] for risk in start["components"][-1]["risks"]])
        self.assertEqual(start["components"][0]["risks"], [])
        text = self.kvsim("boot", self.folder / "machine 1", "--at", START).stdout
        self.assertIn('   risk: claim "ahead" is dated 2026-03-03 08:00 UTC, ahead of the clock (2026-03-01 08:00 UTC)', text)
        self.assertIn("\\\\.\\kvenv01ai refuses to be opened (error 0xE0000004)", text)
        without = driver_keys("kvenv01a") | driver_keys("kvlnk03", {"x": timed(-1)})
        for keys, why in ((without, "kvdel01 is not installed"), (without | service_keys(Start=4), ".*disabled")):
            risks = self.outcome(keys, component="kvdel01")[1]["risks"]
            self.assertEqual([risk["kind"] for risk in risks], ["nobody-removes"])
            self.assertRegex(risks[0]["text"], f"nothing will ever remove kvlnk03 and kvenv01a: {why}")

    def test_records_files_and_nodes_that_are_not_as_usual(self):
        keys = driver_keys("kvenv01a", {"x": FILE}) | service_keys()
        self.assert_outcome("kept", ["holds: looking at C:\\Games\\g.exe is refused (error 5, access denied)"], keys,
                            ["C/Games/g.exe"], {"refused": {"files": ["C:\\Games"]}})
        without = {path: values for path, values in keys.items() if "LifeTime" not in path}
        self.assert_outcome("kept", ["has no lifetime record"], without)
        image_only = service_keys() | {SYSTEM + "Control\\Nothing": {}}
        self.assert_outcome("removed", ["has no service entry, so nothing keeps it", "deleted: image file"], image_only,
                            ["C/Windows/system32/drivers/kvenv01a.sys"])
        nodes = {f"{SYSTEM}Enum\\ROOT\\LEGACY_KVENV01A\\000{i}": {"Service": "KVENV01A", "ClassGUID": "{%s}" % guid}
                 for i in (0, 1) for guid in ["8ECC055D-047F-11D1-A537-0000F8753ED1"]}
        nodes[SYSTEM + "Control\\Class\\{8ECC055D-047F-11D1-A537-0000F8753ED1}"] = {"Class": "LegacyDriver"}
        del keys[SERVICES + "kvenv01a\\LifeTime\\x"]
        self.assert_outcome("removed", ["deleted: event-log source, service entry, device node and image file",
                                        "left over: 1 device node"], keys | nodes)

    def test_a_pass_that_ends_early_is_told_from_drivers_that_are_kept(self):
        keys = service_keys()
        for driver in DRIVERS:
            keys |= driver_keys(driver, {"x": timed(-31)})
        keys |= driver_keys("kvlnk04", {"x": timed(-1)})
        stuck = {"drivers": {"kvenv01": {"stop": "pending"}}}
        start, service = self.outcome(keys, (), stuck, "kvdel01")
        expected = {
            "kvenv01a": ("removed", "stopped"),
            "kvenv01": ("not-removed", 'told to stop, it is in use and stays in the state "stop pending"'),
            "kvaux02": ("not-removed", "not reached: the pass broke off at kvenv01"),
            "kvlnk04": ("kept", 'claim "x" holds until'),
            "kvlnk03": ("not-removed", 'claim "x" lapsed on 2026-02-28 08:00 UTC, but is still recorded'),
            "kvdel01": ("kept", "still needed for kvlnk03, kvlnk04, kvvol02 and kvaux02"),
        }
        for entry in start["components"]:
            if entry["name"] in expected:
                result, reason = expected[entry["name"]]
                self.assertEqual(entry["result"], result)
                self.assertIn(reason, "\n".join(entry["reasons"]))

    def test_a_pass_that_breaks_off_says_where_by_what_and_what_waits(self):
        keys = driver_keys("kvenv01a") | driver_keys("kvlnk03", {"x": timed(-1)}) | driver_keys("kvlnk04") | service_keys()
        alone = {path: values for path, values in keys.items() if "kvlnk" not in path}
        no_log = {path: values for path, values in keys.items() if "Eventlog" not in path}
        waiting = ["kvlnk04", "kvlnk03", "kvdel01"]
        denied = "error 5, access denied"
        cases = [
            (keys, {"refused": {"services": {"kvenv01a": "delete"}}}, "kvenv01a", "OpenServiceW", denied, waiting),
            (keys, {"refused": {"services": {"kvlnk04": "delete"}}}, "kvlnk04", "OpenServiceW", denied, waiting[1:]),
            (keys, {"refused": {"registry": {SERVICES + "kvlnk03\\LifeTime\\x": "read"}}}, "kvlnk03", "RegOpenKeyExW", denied, waiting[2:]),
            (keys, {"refused": {"serviceManager": True}}, "kvenv01a", "OpenSCManagerW", denied, waiting),
            (keys, {"drivers": {"kvenv01a": {"openErrors": {"kvenv01ai": "0xE0000004"}}}}, "kvenv01a", "CreateFileW", "error 0xE0000004", waiting),
            (no_log, {}, "kvenv01a", "RegOpenKeyExW", "error 2, not found", waiting),
            (alone, {"refused": {"services": {"kvdel01": "delete"}}}, "kvdel01", "OpenServiceW", denied, []),
            (keys, {"refused": {"mutexes": ["Global\\", MUTEX]}}, None, "CreateMutexW", denied, ["kvenv01a"] + waiting),
            (keys, {"drivers": {"kvenv01a": {"stop": "pending"}}}, "kvenv01a", "ControlService", 'the state "stop pending"', waiting),
        ]
        for machine, description, at, function, error, behind in cases:
            with self.subTest(description=description, at=at):
                start, entry = self.outcome(machine, (), description, at or "kvenv01a")
                ended = start["program"]["pass"]
                self.assertEqual((start["program"]["exitCode"], ended["complete"], ended["repeats"]), (0, False, True))
                self.assertEqual((ended["brokeOffAt"], ended["call"]["function"], ended["notReached"]), (at, function, behind))
                self.assertIn(error, ended["cause"])
                self.assertEqual((entry["result"], ended["stopPending"]), ("not-removed" if at != "kvlnk03" else "kept", "state" in error))
                text = self.kvsim("boot", self.folder / f"machine {self.count}", "--at", START).stdout
                where = f"at {at}" if at else "before the first driver"
                self.assertIn(f"ran, exit code 0, but its pass broke off {where}: {ended['cause']}\n", text)
                self.assertIn(f"The pass broke off {where}: {ended['cause']}.\n", text)
                self.assertEqual(len(re.findall("[Tt]he next start does the same if nothing changes", text)), 2)
        for machine in (keys, alone, service_keys(), service_keys() | driver_keys("kvlnk03", {}, Auto=0)):
            self.assertEqual(self.outcome(machine)[0]["program"]["pass"], {"complete": True})

    def test_a_service_entry_that_runs_something_else_makes_no_pass(self):
        start, entry = self.outcome(driver_keys("kvenv01a") | service_keys(ImagePath="kvdel01.exe"))
        self.assertEqual((start["program"]["exitCode"], "pass" in start["program"], entry["result"]), (1, False, "not-removed"))
        self.assertIn("no pass was made", entry["reasons"])

    def test_drivers_that_do_not_stop_wait_for_the_restart(self):
        keys = driver_keys("kvenv01a") | driver_keys("kvlnk03") | service_keys()
        for component in ("kvenv01a", "kvlnk03"):
            self.assert_outcome("restart-pending", ["cannot be stopped: stays loaded", "left to the restart: service entry and image file"],
                                keys, (), {"drivers": {"kvenv01a": {"stop": "refuses"}}}, component=component)

    def test_a_driver_that_could_not_be_loaded_is_removed_at_once(self):
        self.assert_outcome("removed", ["nobody claims it", "-stopped", "deleted: event-log source, service entry and image file"],
                            driver_keys("kvaux02") | service_keys(), (), {"drivers": {"kvaux02": {"loadError": 193}}}, component="kvaux02")

    def test_why_the_program_did_not_run(self):
        driver = driver_keys("kvenv01a", {"x": FILE})
        cases = {
            "kvdel01 is not installed": driver,
            "does not start it automatically (start type 3)": driver | service_keys(Start=3),
            "(start type 4, disabled)": driver | service_keys(Start=4),
            "is not that of a program (type 0x1)": driver | service_keys(Type=1, Start=4),
            'runs "C:\\other.exe svc"': driver | service_keys(ImagePath="C:\\other.exe svc"),
        }
        for reason, keys in cases.items():
            with self.subTest(reason):
                start, entry = self.outcome(keys)
                self.assertFalse(start["program"]["ran"])
                self.assertIn(reason, start["program"]["reason"])
                self.assertEqual((entry["result"], entry["before"]["image"]), ("untouched", True))
                self.assertEqual(entry["reasons"], ['claim "x" lapsed: C:\\Games\\g.exe is missing'])
        folder = self.machine(driver | service_keys())
        (folder / "C/Windows/system32/kvdel01.exe").unlink()
        self.assertEqual(self.boot(folder)[0]["program"]["reason"], "C:\\Windows\\system32\\kvdel01.exe is missing")
        marked = self.machine(driver | service_keys(WOW64=1), name="marked")
        (marked / "C/Windows/system32/kvdel01.exe").unlink()
        self.assertIn("has the mark WOW64 and its program is not in SysWOW64", self.boot(marked)[0]["program"]["reason"])
        old = self.machine(driver | service_keys(), description={"system": "windows-98"}, name="old")
        self.assertIn("no service manager", self.boot(old)[0]["program"]["reason"])

    def test_what_windows_does_at_a_start_is_told_apart_from_what_the_program_does(self):
        keys = driver_keys("kvenv01a") | service_keys()
        keys[SERVICES + "kvenv01a"] |= {"DeleteFlag": 1, "Start": 4}
        keys[SERVICES + "other"] = {"Type": 1, "Start": 4, "DeleteFlag": 1}
        keys[SYSTEM + "Control\\Session Manager"] = {"PendingFileRenameOperations": multi_string(
            "\\??\\C:\\Windows\\system32\\drivers\\kvenv01a.sys", "", "\\??\\C:\\new.txt", "!\\??\\C:\\old.txt",
            "\\??\\C:\\missing.txt", "\\??\\C:\\x.txt")}
        start, entry = self.outcome(keys, ["C/new.txt", "C/old.txt"])
        self.assertEqual(start["windows"], {
            "servicesRemoved": ["kvenv01a", "other"],
            "fileOperations": [{"file": "C:\\Windows\\system32\\drivers\\kvenv01a.sys", "done": True},
                               {"file": "C:\\new.txt", "to": "C:\\old.txt", "done": True},
                               {"file": "C:\\missing.txt", "to": "C:\\x.txt", "done": False}]})
        self.assertEqual((entry["result"], entry["reasons"]), ("removed", [
            "has no service entry, so nothing keeps it", "deleted: event-log source"]))

    def test_a_lock_that_another_program_holds_is_waited_for(self):
        keys = driver_keys("kvenv01a", {"x": timed(-30, 9_000_000_000)}) | service_keys()
        lock = {"heldLocks": [{"name": "Global\\" + MUTEX, "seconds": 1200}]}
        self.assertEqual(self.outcome(keys)[1]["result"], "kept")
        start, entry = self.outcome(keys, (), lock)
        self.assertEqual((start["program"]["seconds"], entry["result"]), (1200, "removed"))


if __name__ == "__main__":
    unittest.main()
