"""A user who exchanges everything on the way to a property list while it is being removed.

Every file that the attacker makes has bytes of its own, and the attacker deletes none. So what is
gone in the end was deleted by the helper, and its bytes must be in the archive: a file without
them was put in its place in the one moment between the helper's comparison and its unlink.
"""

import contextlib
import ctypes
import json
import math
import os
import plistlib
import random
import shutil
import time
from collections import Counter
from pathlib import Path

from attack_support import AttackTestCase, main, process, tell, times
from stage_support import STAFF, USERS

LABEL = "org.example.race"
NAME = LABEL + ".plist"
USERS_FOLDER = Path("/Users")
OUTSIDE = Path("/stage/outside")
ARCHIVE = Path("/Library/Application Support/Velmora/Background Item Backups")
SECONDS = 22 + 4  # what a request may take
EXCHANGE, NO_REPLACE = 2, 1
ANSWERS = (f"The background item {LABEL} is no longer present in an allowed launchd folder.",
           f"The background item {LABEL} changed during removal, so Velmora stopped safely.",
           "/Users/alice/Library/LaunchAgents contains a symbolic link or is unavailable, so "
           "Velmora stopped safely.",
           f"The background item {LABEL} could not be removed: Is a directory.")
rename = ctypes.CDLL(None, use_errno=True).renameat2


def contents(number):
    return plistlib.dumps({"Label": LABEL, "Number": number}, fmt=plistlib.FMT_BINARY)


class Attacker:
    """Holds the real folders open, so that it never loses its own way."""

    def __init__(self, chance):
        self.chance, self.made, self.exchanges = chance, 0, 0
        self.places = []  # where a property list belongs
        self.pairs = []  # what to exchange: folder, name, other name
        folder = self.level(None, USERS_FOLDER, "alice", [OUTSIDE])
        folder = self.level(folder, "alice", "Library", [OUTSIDE / "Library"])
        folder = self.level(folder, "Library", "LaunchAgents",
                            [OUTSIDE / "Library/LaunchAgents", "/Library/LaunchDaemons"])
        folder = self.level(folder, "LaunchAgents", NAME,
                            [OUTSIDE / "Library/LaunchAgents" / NAME, "/etc/passwd"])
        for other in (NAME, "first", "second"):
            self.places.append((folder, other))
        self.pairs += [(folder, NAME, other) for other in ("first", "second")] * 4
        self.refill()

    def level(self, parent, folder, name, links):
        """Puts beside `name` in the folder what it may be exchanged with."""
        folder = os.open(folder, os.O_RDONLY | os.O_DIRECTORY | os.O_NOFOLLOW, dir_fd=parent)
        others = [f".{name}.{number}" for number in range(len(links) + 2)]
        for other, link in zip(others, links):
            os.symlink(link, other, dir_fd=folder)
        os.mkfifo(others[-1], dir_fd=folder)
        self.copy_of_path(folder, others[-2], name)
        self.pairs += [(folder, name, other) for other in others]
        return folder

    def copy_of_path(self, folder, other, name):
        """A real folder with all that is below the one called `name`, and an own property list."""
        parts = ["alice", "Library", "LaunchAgents"]
        for part in [other, *parts[parts.index(name) + 1:]] if name in parts else [other]:
            os.mkdir(part, dir_fd=folder)
            folder = os.open(part, os.O_RDONLY | os.O_DIRECTORY, dir_fd=folder)
        if name in parts:
            self.places.append((folder, NAME))

    def refill(self):
        for folder, name in self.places:
            try:
                os.stat(name, dir_fd=folder, follow_symlinks=False)
            except FileNotFoundError:
                # Each third one is the same as the one outside, so that a link there is no change.
                number = self.made if self.made % 3 else 0
                file = os.open("new", os.O_WRONLY | os.O_CREAT | os.O_EXCL, 0o644, dir_fd=folder)
                os.write(file, contents(number))
                os.close(file)
                assert rename(folder, b"new", folder, name.encode(), NO_REPLACE) == 0
                self.made += 1

    def pause(self, longest):
        """A microsecond or more, each order of magnitude as often."""
        seconds = math.exp(self.chance.uniform(math.log(1e-6), math.log(longest)))
        end = time.perf_counter() + seconds
        while (left := end - time.perf_counter()) > 0:
            if left > 1e-4:
                time.sleep(min(left, 1e-3))
                self.refill()

    def run(self, exchanges):
        """There and back, and away for a shorter time, so that some removals succeed."""
        while self.exchanges < exchanges:
            folder, *names = self.chance.choice(self.pairs)
            for longest in (5e-3, 5e-2):
                # When the helper has just deleted one of the two, the other would stay where it is.
                while rename(folder, names[0].encode(), folder, names[1].encode(), EXCHANGE) != 0:
                    self.refill()
                self.exchanges += 1
                self.pause(longest)

    def run_without_pause(self, exchanges):
        """The property list and another one alone, as often as can be."""
        folder, *names = self.pairs[-1]
        names = [name.encode() for name in names]
        while self.exchanges < exchanges:
            for _ in range(100):
                rename(folder, names[0], folder, names[1], EXCHANGE)
            self.exchanges += 100
            self.refill()


def attack(run, exchanges, report):
    os.setgroups([])
    os.setgid(STAFF)
    os.setuid(USERS["alice"])
    attacker = Attacker(random.Random(3))
    run(attacker, exchanges)
    os.write(report, json.dumps([attacker.made, attacker.exchanges]).encode())


def snapshot(*folders):
    """Everything about the files below that may not change."""
    found = {}
    for folder in map(Path, folders):
        for path in (folder, *folder.rglob("*")):
            status = path.lstat()
            found[path] = (status.st_ino, status.st_mode, status.st_uid, status.st_nlink,
                           status.st_ctime_ns, path.is_file() and path.read_bytes())
    return found


def files_of_attacker():
    return [path for path in USERS_FOLDER.rglob("*") if "bob" not in path.parts and
            path.is_file() and not path.is_symlink() and LABEL.encode() in path.read_bytes()]


def clear():
    for path in files_of_attacker():
        path.unlink()
    for path in sorted(USERS_FOLDER.rglob(".*.[0-9]"), reverse=True):
        if path.is_dir() and not path.is_symlink():
            shutil.rmtree(path)
        else:
            path.unlink()
    for path in (OUTSIDE, ARCHIVE):
        shutil.rmtree(path, ignore_errors=True)


class Race(AttackTestCase):
    def setUp(self):
        super().setUp()
        self.addCleanup(clear)
        USERS_FOLDER.chmod(0o777)  # as if the user could exchange the home folder, too
        self.addCleanup(USERS_FOLDER.chmod, 0o755)
        target = OUTSIDE / "Library/LaunchAgents" / NAME
        target.parent.mkdir(parents=True)
        target.write_bytes(contents(0))
        target.chmod(0o444)
        os.chown(target, USERS["alice"], STAFF)  # all that the helper looks at is as it should be
        Path("/Library/LaunchDaemons", NAME).write_bytes(contents(0))

    def removals_during(self, report):
        """The answers to removals until the attacker reports, and the report."""
        answers, longest = Counter(), 0
        with self.connect("alice") as client:
            client.socket.settimeout(SECONDS + 10)
            while True:
                with contextlib.suppress(BlockingIOError):
                    return answers, longest, json.loads(os.read(report, 100))
                began = time.monotonic()
                ok, _, text = client.remove(f"userAgent|{LABEL}")
                longest = max(longest, time.monotonic() - began)
                answers[text] += 1
                self.assertEqual(ok, not text)

    def attack(self, run, exchanges):
        """How many files were deleted in the removals' window, and how many in all."""
        outside = (OUTSIDE, "/Library/LaunchDaemons", "/Library/LaunchAgents", "/etc", "/Users/bob")
        before = snapshot(*outside)
        report, writer = os.pipe()
        os.set_blocking(report, False)
        with process(attack, run, exchanges, writer):
            os.close(writer)
            answers, longest, (made, exchanges) = self.removals_during(report)
        os.close(report)
        self.assertEqual(snapshot(*outside), before)
        removed = answers.pop("", 0)
        self.assertEqual(set(answers) - set(ANSWERS), set())
        self.assertLess(longest, SECONDS)

        gone = Counter(contents(number if number % 3 else 0) for number in range(made))
        gone -= Counter(path.read_bytes() for path in files_of_attacker())
        archived = Counter(path.read_bytes() for path in ARCHIVE.glob("*/*.plist"))
        missed = (gone - archived).total()
        tell(f"  {exchanges} exchanges; {answers.total() + removed} requests, {longest:.2f} s the "
             f"longest; {removed} removed, {missed} of them in the window between comparison and "
             f"unlink; {[answers[text] for text in ANSWERS]} missing, changed, unsafe, folders")
        self.assertGreater(removed, 0)
        self.assertEqual(gone.total(), removed, "a refused request deletes nothing")
        self.assertEqual((archived - gone).total(), missed, "each archived file is gone")
        self.new_log()
        return missed, removed

    def test_exchanges_on_the_whole_path_delete_nothing_else(self):
        missed, removed = self.attack(Attacker.run, times(1500, 20000))
        self.assertLess(missed, 0.1 * removed, "far more often than the window is open")

    def test_exchanges_without_pause_delete_no_more_than_the_window_lets_them(self):
        self.attack(Attacker.run_without_pause, times(300_000, 10_000_000))


if __name__ == "__main__":
    main()
