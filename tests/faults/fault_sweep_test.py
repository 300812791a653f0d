"""Each call that the helper makes for a request fails once, in every way it can; memory too."""

import unittest
from collections import Counter
from pathlib import Path

from attacker import AttackedHelper
from removal_test import FOLDERS
from scenarios import Admission, Operation, Removal, UndoneRemoval
from stage_support import main


class FaultSweep(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        for folder in FOLDERS.values():
            for file in folder.glob("*.plist"):
                file.unlink()
        cls.helper = AttackedHelper()

    @classmethod
    def tearDownClass(cls):
        cls.helper.stop()

    def sweep(self, scenario):
        attack = self.helper.attack(scenario)
        scenario.learn(attack.allocations, attack.records)
        self.assertEqual(attack.problems, [])
        tried, missed, found = Counter(), [], []
        for fault in scenario.faults():
            attack = self.helper.attack(scenario, fault)
            if not attack.fired and "allocate" in fault.calls and \
                    attack.allocations < fault.ordinal:
                continue
            tried[fault.calls[0]] += 1
            missed += [] if attack.fired else [str(fault)]
            found += [f"{fault}: {problem}" for problem in attack.problems]
        print(f"{type(scenario).__name__}: {sum(tried.values())} points, "
              f"{len(missed)} of them missed: {dict(tried)}", flush=True)
        self.assertEqual((found, missed), ([], []))

    def test_removal(self):
        self.sweep(Removal())

    def test_removal_that_is_undone(self):
        self.sweep(UndoneRemoval())

    def test_operation(self):
        self.sweep(Operation())

    def test_admission(self):
        self.sweep(Admission())


if __name__ == "__main__":
    main()
