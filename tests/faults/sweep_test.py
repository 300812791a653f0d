"""Requests during which each call fails once, in every way it can, memory too; and others during
which the helper is killed before each call, and the power fails later."""

import os
import socket
import time
import unittest

from attack_support import tell
from attacker import AttackedHelper
from removal_test import FOLDERS
from scenarios import CALLS, Admission, Operation, Removal
from stage_support import main, processor_seconds


class Disk:
    """What the calls made so far have not yet brought to the disk, where a power cut loses it."""

    def __init__(self):
        self.loose = set()  # the contents of files and folders, attributes included, and names
        self.folder, self.problems = "", []

    def follow(self, records):
        for call, error, _, path in records:
            if error:
                continue
            if call in ("create", "mkdir"):
                self.loose |= {("content", path), ("name", path)}
                self.folder = path if call == "mkdir" else self.folder
            elif call in ("pwrite", "ftruncate", "fchmod", "fchown"):
                self.loose.add(("content", path))
            elif call == "rename":
                if ("content", path + ".partial") in self.loose:
                    self.problems.append(f"{path} is in place before its bytes are safe")
                self.loose = {(what, path if of == path + ".partial" else of)
                              for what, of in self.loose} | {("name", path)}
            elif call == "fsync":
                self.loose -= {(what, of) for what, of in self.loose
                               if path == (of if what == "content" else os.path.dirname(of))}
            elif call == "unlink":
                self.loose -= {("content", path), ("name", path)}
            elif call == "unlinkat":  # not before its archive, and the way there, is safe
                self.loose.add(("name", path))
                self.problems += [f"{path} is deleted before the {what} of {of} is safe"
                                  for what, of in sorted(self.loose)
                                  if of.startswith(self.folder) or self.folder.startswith(of + "/")]


class Sweep(unittest.TestCase):
    def setUp(self):
        for folder in FOLDERS.values():
            for file in folder.glob("*.plist"):
                file.unlink()
        self.helper = AttackedHelper()
        self.addCleanup(self.helper.stop)

    def examine(self, _, attack, __):
        disk = Disk()
        disk.follow(attack.records)
        return disk.problems

    def sweep(self, scenario, faults):
        """The request once with each of the faults that the scenario's `faults` names."""
        began = time.monotonic()
        for _ in range(2):  # what is made once for the process is made by the first
            attack = self.helper.attack(scenario)
            self.assertEqual(attack.problems, [])
        disk = Disk()
        disk.follow(attack.records)
        self.assertEqual(disk.loose, set(), "what is done is not brought to the disk")
        scenario.learn(attack)
        struck, beyond, found = 0, 0, []
        for fault in faults(scenario):
            attack = self.helper.attack(scenario, fault)
            struck += attack.fired > 0
            problems = [*attack.problems, *self.examine(scenario, attack, fault)]
            if not attack.fired and fault.may_miss(attack):
                beyond += 1
            elif not attack.fired:
                problems.append("did not strike")
            found += [f"{fault}: {problem}" for problem in problems]
        tell(f"{type(scenario).__name__}: {struck} faults in {time.monotonic() - began:.0f} s, "
             f"{beyond} more lay beyond the end")
        self.assertFalse(found, "\n".join(["", *found]))


class FaultSweep(Sweep):
    def test_call_that_fails_loses_something_or_is_not_told(self):
        for scenario in (Removal, Operation, Admission):
            with self.subTest(scenario.__name__):
                self.sweep(scenario(), scenario.faults)

    def test_socket_that_another_holder_has_shut_down_keeps_the_processor_busy(self):
        self.helper.listening.shutdown(socket.SHUT_RDWR)
        before = processor_seconds(self.helper.pid)
        time.sleep(1)
        self.assertLess(processor_seconds(self.helper.pid) - before, 0.1)


class CrashSweep(Sweep):
    def examine(self, scenario, attack, fault):
        """What the next helper makes of the same request, and where a power cut leads then."""
        CALLS.write_bytes(b"")
        disk = Disk()
        disk.follow(attack.records)
        if scenario.is_left():
            second = self.helper.attack(scenario, earlier=fault)
            disk.follow(second.records)
            yield from second.problems
            if not scenario.is_as_ever(second.reply):
                yield f"the next request: {second.reply}"
        yield from disk.problems

    def test_end_at_any_moment_loses_something_or_stops_the_next_request(self):
        for scenario in (Removal, Operation):
            with self.subTest(scenario.__name__):
                self.sweep(scenario(), scenario.kills)


if __name__ == "__main__":
    main()
