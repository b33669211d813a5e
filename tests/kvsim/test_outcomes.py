"""That kvsim tells the truth about what became of a driver and of the service, and why."""

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
            "half a time": ("removed", ["counts for nothing: it is bound to a time and gives none"],
                            {"x": {"Mode": 1, "Time": b"\0\0\0\0\0\0\0"}}, {}),
            "no file named": ("removed", ["counts for nothing: it is bound to a file and names none"], {"x": {"Mode": 0}}, {}),
            "unknown kind": ("removed", ["counts for nothing: it says neither"], {"x": {"Mode": 2}}, {}),
            "one of two": ("kept", ['"b" holds', '"a" lapsed', "-still recorded"], {"a": timed(-31), "b": timed(-1)}, {}),
            "nobody": ("removed", ["nobody claims it", "stopped", removed], {}, {}),
            "Auto 0": ("kept", ['may not be removed automatically ("Auto" is 0)'], {}, {"Auto": 0}),
            "no Auto": ("kept", ['("Auto" is missing)'], {"x": timed(-31)}, {"Other": 1}),
            "Auto a text": ("kept", ['("Auto" is missing)'], {}, {"Auto": "1"}),
        }
        for name, (result, reasons, claims, record, *files) in cases.items():
            with self.subTest(name):
                keys = driver_keys("kvenv01a", claims, **record) | service_keys()
                self.assert_outcome(result, reasons, keys, *files)
                self.assert_outcome("kept" if result == "kept" else "restart-pending",
                                    ["still needed for kvenv01a"] if result == "kept" else ["no driver needs it any more"],
                                    keys, *files, component="kvdel01")

    def test_records_files_and_nodes_that_are_not_as_usual(self):
        keys = driver_keys("kvenv01a", {"x": FILE}) | service_keys()
        self.assert_outcome("kept", ["holds: C:\\Games\\g.exe cannot be looked at (error 5, access denied)"], keys,
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
            "kvenv01": ("not-removed", 'in use: told to stop, it stays in the state "stop pending"'),
            "kvaux02": ("not-removed", "not looked at: the pass ended at kvenv01"),
            "kvlnk04": ("kept", 'claim "x" holds until'),
            "kvlnk03": ("not-removed", 'claim "x" lapsed on 2026-02-28 08:00 UTC, but is still recorded'),
            "kvdel01": ("kept", "still needed for kvlnk03, kvlnk04, kvvol02 and kvaux02"),
        }
        for entry in start["components"]:
            if entry["name"] in expected:
                result, reason = expected[entry["name"]]
                self.assertEqual(entry["result"], result)
                self.assertIn(reason, "\n".join(entry["reasons"]))

    def test_calls_that_fail_are_named(self):
        keys = driver_keys("kvenv01a") | service_keys()
        cases = [
            ({"refused": {"services": {"kvenv01a": "delete"}}}, "kvenv01a", "OpenServiceW(", "error 5, access denied"),
            ({"refused": {"services": {"kvenv01a": "stop"}}}, "kvenv01a", "OpenServiceW(", "error 5, access denied"),
            ({"refused": {"serviceManager": True}}, "kvenv01a", "OpenSCManagerW(", "error 5"),
            ({"refused": {"services": {"kvdel01": "delete"}}}, "kvdel01", "OpenServiceW(", "error 5"),
            ({"refused": {"mutexes": ["Global\\", MUTEX]}}, "kvenv01a", "the pass ended before the first driver", "error 5"),
        ]
        for description, component, call, error in cases:
            with self.subTest(description=description):
                self.assert_outcome("not-removed", [call, error], keys, (), description, component=component)

    def test_drivers_that_do_not_stop_wait_for_the_restart(self):
        keys = driver_keys("kvenv01a") | driver_keys("kvlnk03") | service_keys()
        for component in ("kvenv01a", "kvlnk03"):
            self.assert_outcome("restart-pending", ["cannot be stopped: stays loaded", "left to the restart: service entry and image file"],
                                keys, (), {"drivers": {"kvenv01a": {"stop": "refuses"}}}, component=component)

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
