"""A user who exchanges everything on the way to a property list while it is being removed.

Every file that the attacker makes has bytes of its own, and the attacker deletes none. So what is
gone in the end was deleted by the helper, and its bytes must be in the archive: a file without
them, or a link, was put in its place in the one moment between the helper's comparison and its
unlink.
"""

import ctypes
import multiprocessing
import os
import plistlib
import random
import subprocess
import time
from collections import Counter
from pathlib import Path

from attack_support import AttackTestCase, process, tell, times
from removal_test import ALICE, ARCHIVE, CHANGED, FOLDERS, MISSING, UNSAFE
from stage_support import STAFF, USERS, main

LABEL = "org.example.race"
NAME = LABEL + ".plist"
USERS_FOLDER, KEPT, OUTSIDE = Path("/Users"), Path("/stage/users"), Path("/stage/outside")
SECONDS = 22 + 4  # what a request may take
EXCHANGE, NO_REPLACE = 2, 1
ANSWERS = (MISSING.format(LABEL), CHANGED.format(LABEL), UNSAFE.format(ALICE),
           f"The background item {LABEL} could not be removed: Is a directory.")
# What is on the way, and to what links of the same name may lead.
WAY = {"alice": [OUTSIDE], "Library": [OUTSIDE / "Library"],
       "LaunchAgents": [OUTSIDE / "Library/LaunchAgents", FOLDERS["systemDaemon"]],
       NAME: [OUTSIDE / "Library/LaunchAgents" / NAME, "/etc/passwd"]}
rename = ctypes.CDLL(None, use_errno=True).renameat2


def contents(number):
    """Each third file is the same as the one outside, so that a link to that is no change."""
    return plistlib.dumps({"Label": LABEL, "Number": number if number % 3 else 0},
                          fmt=plistlib.FMT_BINARY)


class Attacker:
    """Holds the real folders open, so that it never loses its own way."""

    def __init__(self, chance):
        self.chance, self.made, self.exchanges = chance, 0, 0
        self.places = []  # where a property list belongs
        self.pairs = []  # what to exchange: folder, name, other name
        path = USERS_FOLDER
        for depth, (name, links) in enumerate(WAY.items()):
            folder = os.open(path, os.O_RDONLY | os.O_DIRECTORY | os.O_NOFOLLOW)
            others = [f".{name}.{number}" for number in range(len(links) + 2)]
            for other, link in zip(others, links):
                (path / other).symlink_to(link)
            os.mkfifo(path / others[-1])
            copy = Path(path / others[-2], *list(WAY)[depth + 1:])
            if name == NAME:
                copy.mkdir()
            else:
                copy.parent.mkdir(parents=True)
                self.places.append((os.open(copy.parent, os.O_RDONLY), NAME))
            self.pairs += [(folder, name.encode(), other.encode()) for other in others]
            path /= name
        self.neighbours = [(folder, NAME.encode(), other) for other in (b"first", b"second")]
        self.places += [(folder, name) for name in (NAME, "first", "second")]
        self.pairs += self.neighbours * 4
        self.refill()

    def refill(self):
        for folder, name in self.places:
            try:
                os.stat(name, dir_fd=folder, follow_symlinks=False)
            except FileNotFoundError:
                file = os.open("new", os.O_WRONLY | os.O_CREAT | os.O_EXCL, 0o644, dir_fd=folder)
                os.write(file, contents(self.made))
                os.close(file)
                assert rename(folder, b"new", folder, name.encode(), NO_REPLACE) == 0
                self.made += 1

    def exchange(self, folder, *names):
        # When the helper has just deleted one of the two, the other would stay where it is.
        while rename(folder, names[0], folder, names[1], EXCHANGE) != 0:
            self.refill()
        self.exchanges += 1

    def run(self, exchanges):
        """There and back, and away for a shorter time, so that some removals succeed."""
        while self.exchanges < exchanges:
            pair = self.chance.choice(self.pairs)
            for longest in (5e-3, 5e-2):
                self.exchange(*pair)
                time.sleep(self.chance.choice((0, longest * 10 ** -self.chance.uniform(0, 2))))
                self.refill()

    def run_without_pause(self, exchanges):
        """The property list and another one alone, as often as can be."""
        while self.exchanges < exchanges:
            self.exchange(*self.neighbours[-1])


def attack(run, exchanges, report):
    os.setgroups([])
    os.setgid(STAFF)
    os.setuid(USERS["alice"])
    attacker = Attacker(random.Random(3))
    run(attacker, exchanges)
    report[:] = attacker.made, attacker.exchanges


def state_of(*folders):
    """Everything about the files below that may not change; new contents are a change of status."""
    return subprocess.check_output(["find", *folders, "-printf", "%p %i %m %U %n %C@ %s\n"])


def files_of_attacker():
    return [path for path in USERS_FOLDER.rglob("*") if "bob" not in path.parts and
            path.is_file() and not path.is_symlink() and LABEL.encode() in path.read_bytes()]


def others_of_attacker():
    """How many links and FIFOs there are."""
    return sum(path.is_symlink() or path.is_fifo() for path in USERS_FOLDER.rglob("*"))


class Race(AttackTestCase):
    def setUp(self):
        super().setUp()
        os.system(f"cp -a {USERS_FOLDER} {KEPT}")
        self.addCleanup(os.system, f"rm -r {OUTSIDE} '{ARCHIVE}'; find {USERS_FOLDER} -mindepth 1 "
                        f"-delete; cp -a {KEPT}/. {USERS_FOLDER}; rm -r {KEPT}")
        USERS_FOLDER.chmod(0o777)  # as if the user could exchange the home folder, too
        target = OUTSIDE / "Library/LaunchAgents" / NAME
        target.parent.mkdir(parents=True)
        target.write_bytes(contents(0))
        target.chmod(0o444)
        os.chown(target, USERS["alice"], STAFF)  # all that the helper looks at is as it should be
        (FOLDERS["systemDaemon"] / NAME).write_bytes(contents(0))

    def attack(self, run, exchanges):
        """How many files were deleted in the removals' window, and how many in all."""
        outside = (OUTSIDE, *list(FOLDERS.values())[1:], "/etc", "/Users/bob")
        before, answers = state_of(*outside), Counter()
        others = others_of_attacker() + sum(len(links) + 1 for links in WAY.values())
        report = multiprocessing.RawArray("q", 2)
        with process(attack, run, exchanges, report) as attacker, self.connect() as client:
            client.socket.settimeout(SECONDS)
            while attacker.is_alive():
                ok, _, text = client.remove(f"userAgent|{LABEL}")
                self.assertEqual(ok, not text)
                answers[text] += 1
        made, exchanges = report
        self.assertEqual(state_of(*outside), before)
        removed = answers.pop("", 0)
        self.assertEqual(set(answers) - set(ANSWERS), set())

        gone = Counter(map(contents, range(made)))
        gone -= Counter(path.read_bytes() for path in files_of_attacker())
        archived = Counter(path.read_bytes() for path in ARCHIVE.glob("*/*.plist"))
        lost = others - others_of_attacker()
        missed = (gone - archived).total() + lost
        tell(f"  {exchanges} exchanges; {answers.total() + removed} requests; {removed} removed, "
             f"{missed} of them in the window between comparison and unlink; "
             f"{[answers[text] for text in ANSWERS]} missing, changed, unsafe, folders")
        self.assertGreater(removed, 0)
        self.assertEqual(gone.total() + lost, removed, "a refused request deletes nothing")
        self.assertEqual((archived - gone).total(), missed, "each archived file is gone")
        self.new_log()
        return missed, removed

    def test_exchanges_on_the_whole_path_lead_a_removal_elsewhere(self):
        missed, removed = self.attack(Attacker.run, times(1500, 20000))
        self.assertLess(missed, 0.1 * removed, "far more often than the window is open")

    def test_exchanges_without_pause_lead_it_further_than_its_window(self):
        self.attack(Attacker.run_without_pause, times(300_000, 3_000_000))


if __name__ == "__main__":
    main()
