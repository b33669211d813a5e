"""The way of the sample machine from claimed drivers to a clean machine."""

import unittest

from support import COMPONENTS, SAMPLE, START, KvsimTest, tree

# What becomes of each component at the starts.
WAY = {
    "kvlnk03": ["kept", "kept", "kept", "restart-pending", "gone"],
    "kvlnk04": ["kept", "kept", "restart-pending", "gone", "absent"],
    "kvvol02": ["kept", "restart-pending", "gone", "absent", "absent"],
    "kvaux02": ["restart-pending", "gone", "absent", "absent", "absent"],
    "kvenv01": ["removed", "absent", "absent", "absent", "absent"],
    "kvenv01a": ["removed", "absent", "absent", "absent", "absent"],
    "kvdel01": ["kept", "kept", "kept", "restart-pending", "gone"],
}


def results(starts):
    return {name: [start["components"][index]["result"] for start in starts] for index, name in enumerate(COMPONENTS)}


class Sample(KvsimTest):
    def test_ends_clean_after_five_starts_and_is_not_changed(self):
        before = tree(SAMPLE)
        for every in ("10d", "12d"):
            document = self.json("boot", SAMPLE, "--at", START, "--every", every, "--starts", "5", "--json")
            self.assertEqual(results(document["starts"]), WAY)
            self.assertEqual([start["clean"] for start in document["starts"]], [False] * 4 + [True])
            self.assertTrue(document["clean"])
            self.assertEqual([start["program"]["ran"] for start in document["starts"]], [True] * 4 + [False])
            self.assertEqual({start["program"].get("exitCode", 0) for start in document["starts"]}, {0})
            self.assertEqual([start["program"].get("leftOpen", []) for start in document["starts"]], [[]] * 5)
        self.assertEqual(tree(SAMPLE), before)

    def test_may_be_saved_and_taken_up_again_at_any_start(self):
        whole = self.boot(SAMPLE, "--at", START, "--every", "10d", "--starts", "5")
        machine = SAMPLE
        for start in whole:
            target = self.folder / f"after start {start['number']}"
            again = self.boot(machine, "--at", start["time"], "--save", target)[0]
            self.assertEqual(again | {"number": start["number"]}, start)
            machine = target
        self.assertEqual(sorted(tree(machine)), [
            "C", "C/Program Files", "C/Program Files/Carvel", "C/Program Files/Carvel/readme.txt", "C/Windows",
            "C/Windows/System32", "C/Windows/System32/drivers", "C/Windows/win.ini", "registry.reg"])
        self.assertNotIn("kv", (machine / "registry.reg").read_text(encoding="utf-16").lower().replace("kvaux02_", ""))

    def test_the_question_whether_it_may_go_follows_the_starts(self):
        ask = ("--", "kvdel01.exe", "can-remove-now")
        answers = []
        for starts in range(1, 6):
            target = self.folder / str(starts)
            self.boot(SAMPLE, "--at", START, "--every", "10d", "--starts", starts, "--save", target)
            answers.append(self.kvsim("exec", target, *ask).returncode)  # in the end it is not installed any more
        self.assertEqual(answers, [1, 1, 1, 0, 0])


if __name__ == "__main__":
    unittest.main()
