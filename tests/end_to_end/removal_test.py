"""The removal of background items, from the request's bytes to what is left on disk."""

import json
import os
import plistlib
import resource
import shutil
import signal
import stat
import subprocess
import time
from pathlib import Path

from stage_support import (BUSY, SANITIZED, STAFF, USERS, Client, StageTestCase, eventually, main,
                           removal_request, resident_bytes)

ALICE = Path("/Users/alice/Library/LaunchAgents")
FOLDERS = {"userAgent": ALICE, "sharedAgent": Path("/Library/LaunchAgents"),
           "systemDaemon": Path("/Library/LaunchDaemons")}
DOMAINS = {"userAgent": "gui/501", "sharedAgent": "gui/501", "systemDaemon": "system"}
ARCHIVE = Path("/Library/Application Support/Velmora/Background Item Backups")
INVALID = "The background-item request was invalid."
MISSING = "The background item {} is no longer present in an allowed launchd folder."
CHANGED = "The background item {} changed during removal, so Velmora stopped safely."
UNDELETABLE = "The background item {} could not be removed: Device or resource busy."
UNSAFE = "{} contains a symbolic link or is unavailable, so Velmora stopped safely."


def remove(*keys, user="alice", data=None):
    """(ok, the keys removed, message)."""
    with Client(user) as client:
        client.socket.settimeout(60)
        ok, response, text = client.remove(*keys, data=data)
    return ok, json.loads(response) if ok else response, text


def failed(text):
    return f"[Maintenance] error: Background-item removal failed: {text}"


class Item:
    """A property list in one of the folders, loaded unless told otherwise."""

    def __init__(self, label, kind="userAgent", name=None, loaded=True, contents=None):
        self.label, self.kind, self.key = label, kind, f"{kind}|{label}"
        self.path = FOLDERS[kind] / (name or f"{label}.plist")
        self.domain, self.job = DOMAINS[kind], Path("/stage/launchd", DOMAINS[kind], label)
        self.data = contents or plistlib.dumps({"Label": label, "Program": "/bin/sleep"})
        self.put()
        self.job.unlink(missing_ok=True)
        if loaded:
            self.job.touch()

    def put(self):
        self.path.write_bytes(self.data)
        os.chown(self.path, 501 if self.kind == "userAgent" else 0, 20)

    def archived(self):
        """The record and bytes of every archive entry of this item."""
        found = []
        for record in ARCHIVE.glob("*/*.json"):
            metadata = json.loads(record.read_text())
            if metadata["token"] == self.key and \
                    record.with_suffix(".plist").read_bytes() == self.data:
                found.append(metadata)
        return found

    def is_in_place(self):
        return self.path.is_file() and not self.path.is_symlink() and \
            self.path.read_bytes() == self.data


class ItemTestCase(StageTestCase):
    def item(self, label, **options):
        item = Item(f"{self._testMethodName}.{label}", **options)
        self.addCleanup(lambda: item.path.rmdir() if item.path.is_dir()
                        else item.path.unlink(missing_ok=True))
        self.addCleanup(item.job.unlink, missing_ok=True)
        return item


class Removal(ItemTestCase):
    def assert_removed(self, *items):
        for item in items:
            self.assertFalse(item.path.exists(), item.key)
            self.assertFalse(item.job.exists(), item.key)
            self.assertEqual(len(item.archived()), 1, item.key)

    def assert_kept(self, *items):
        for item in items:
            self.assertTrue(item.is_in_place(), item.key)
            self.assertEqual(item.archived(), [], item.key)

    def test_leaves_item_of_some_kind_or_format_loaded_in_place_or_without_its_record(self):
        items = [self.item("agent"), self.item("shared", kind="sharedAgent"),
                 self.item("daemon", kind="systemDaemon", loaded=False),
                 self.item("binary", name="of another name.PLIST", contents=plistlib.dumps(
                     {"Label": self._testMethodName + ".binary"}, fmt=plistlib.FMT_BINARY)),
                 self.item("text", contents=b'{ Label = "%s.text"; Hours = (1, 2); }' %
                           self._testMethodName.encode()),
                 self.item("sparse", contents=plistlib.dumps(
                     {"Label": self._testMethodName + ".sparse"}) + bytes(8 << 20) + b"middle" + bytes(8 << 20))]
        self.new_calls()
        before, folders = time.time(), len(list(ARCHIVE.glob("*")))
        keys = [item.key for item in items]
        self.assertEqual(remove(*keys, keys[0]), (True, keys, ""))
        self.assert_removed(*items)
        self.assert_logged("[Maintenance] default: Removed 6 legacy background item(s)")
        calls = [f"/bin/launchctl {verb} {item.domain}/{item.label}" for item in items
                 for verb in ("print", "bootout") if verb == "print" or item.kind != "systemDaemon"]
        self.assertEqual(self.new_calls(), calls)

        self.assertEqual(len(list(ARCHIVE.glob("*"))), folders + 1)
        metadata, = items[1].archived()
        removed_at = metadata.pop("removedAt") + 978307200
        self.assertTrue(before <= removed_at <= time.time(), removed_at)
        self.assertEqual(metadata, {"label": items[1].label, "token": items[1].key,
                                    "originalPath": str(items[1].path),
                                    "clientUserIdentifier": 501})
        for path in (ARCHIVE.parent, ARCHIVE, *ARCHIVE.rglob("*")):
            status = path.lstat()
            mode = 0o700 if path.is_dir() else 0o600
            self.assertEqual((stat.S_IMODE(status.st_mode), status.st_uid), (mode, 0), path)
            self.assertLess(status.st_blocks * 512, 1 << 20, "zeros take up the disk")
        for path in ARCHIVE.glob("*/*"):
            self.assertRegex(path.parent.name, "^[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}$")
            self.assertRegex(path.stem, "^[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}$")

    def test_request_that_is_refused_touches_something(self):
        item, link, foreign = (self.item(name) for name in ("item", "link", "foreign"))
        # The third file of a label must not pass for the only one.
        twice, *_ = (self.item("twice", name=f"{number}.plist") for number in range(3))
        os.chown(foreign.path, USERS["bob"], STAFF)
        link.path.unlink()
        link.path.symlink_to(item.path)
        ambiguous = ("More than one background item uses the label {} in the same launchd "
                     "location.")
        cases = [  # what is asked for beside the item, and what is answered
            ([twice.key], ambiguous.format(twice.label)),
            (["userAgent|org.example.absent"], MISSING.format("org.example.absent")),
            ([foreign.key], MISSING.format(foreign.label)),
            ([link.key], MISSING.format(link.label)),
            ([item.key.replace("userAgent", "sharedAgent")], MISSING.format(item.label)),
            (["userAgent|com.apple.x"], INVALID), (["systemDaemon|COM.VELMORA.app"], INVALID),
            ([f"userAgent|{number}" for number in range(128)], INVALID),
        ]
        before = sorted(ARCHIVE.rglob("*"))
        self.new_calls()
        for keys, text in cases:
            with self.subTest(keys[0]):
                self.assertEqual(remove(item.key, *keys), (False, b"", text))
                self.assert_logged(failed(text))
        self.assertEqual(remove(item.key, user="bob")[2], MISSING.format(item.label))
        self.new_log()
        ok, response, text = remove(data=b"[" * 1_000_000)
        self.assertEqual((ok, response), (False, b""))
        self.assert_logged(failed(text))
        self.assert_kept(item, twice, foreign)
        self.assertTrue(item.job.exists())
        self.assertEqual(self.new_calls(), [])
        self.assertEqual(sorted(ARCHIVE.rglob("*")), before)

    def test_deletes_item_that_has_changed_or_undoes_too_little(self):
        stop_failed, undone = "launchctl exited with status 5: words", "print bootout bootstrap"

        def during_stop(command, loads, text=CHANGED, **controls):
            return {"bootout": ["run=" + command]} | controls, undone, text, loads

        def exchanged(make):
            return during_stop(f"rm '{{path}}'; {make} '{{path}}'", False)

        change = "echo >>'{path}'"
        cases = {  # name: what launchctl does, its calls, the answer, whether the job is loaded
            "one-byte-more": during_stop(change, True),
            "one-byte-less": during_stop("truncate --size=-1 '{path}'", True),
            "another-byte": during_stop("printf X | dd of='{path}' conv=notrunc status=none", True),
            "another-owner": during_stop("chown 502 '{path}'", True),
            "link-to-a-copy": during_stop("mv '{path}' /stage/c; ln -s /stage/c '{path}'", True),
            "FIFO": exchanged("mkfifo"), "folder": exchanged("mkdir"), "gone": exchanged("true"),
            "undeletable": during_stop("mount --bind '{path}' '{path}'", True, UNDELETABLE),
            "undo-hangs": during_stop(change, False, bootstrap=["sleep=60"]),
            "stop-fails": ({"bootout": ["stderr=words", "exit=5"]}, "print bootout", stop_failed,
                           True),
            "not-loaded": ({"print": ["run=" + change, "exit=113"]}, "print", CHANGED, True),
            "probe-killed": ({"print": ["run=" + change, "signal=9"]}, "print", CHANGED, True),
        }
        for name, (controls, verbs, text, loads) in cases.items():
            with self.subTest(name):
                first = self.item(f"{name}.1", loaded=False)
                item, third = self.item(f"{name}.2"), self.item(f"{name}.3")
                self.new_calls()
                for verb in undone.split():
                    lines = controls.get(verb, [])
                    self.control(f"launchctl.{verb}", *(line.format(path=item.path)
                                                        for line in lines))
                began = time.monotonic()
                self.assertEqual(remove(first.key, item.key, third.key),
                                 (False, b"", text.format(item.label)))
                if name == "undo-hangs":
                    self.assertTrue(3 <= time.monotonic() - began < 6)
                probe, *calls = self.new_calls()
                self.assertEqual(" ".join(call.split()[1] for call in calls), verbs)
                if verbs == undone:
                    self.assertEqual(calls[-1], f"/bin/launchctl bootstrap gui/501 {item.path}")
                self.assertEqual(item.job.exists(), loads)
                self.assertEqual(item.archived(), [])
                self.assertEqual(os.path.lexists(item.path), name != "gone")
                self.assert_removed(first)
                self.assert_kept(third)
                self.assertTrue(third.job.exists())
                if name == "undeletable":
                    subprocess.run(["umount", item.path], check=True)

    def test_gives_each_item_a_time_of_its_own(self):
        first, second = self.item("first"), self.item("second")
        self.control("launchctl.bootout", "sleep=13")
        began = time.monotonic()
        self.assertEqual(remove(first.key, second.key), (
            False, b"", "launchctl did not finish in time, so the maintenance helper stopped it."))
        elapsed = time.monotonic() - began
        self.assertTrue(22 <= elapsed < 26, elapsed)
        self.assert_removed(first)
        self.assert_kept(second)
        self.assertTrue(second.job.exists())

    def test_remembers_a_home_or_takes_its_path_as_it_is(self):
        USERS["stranger"] = 503
        item = self.item("item", loaded=False)
        os.chown(item.path, 503, STAFF)
        unavailable = "The signed-in user\u2019s home directory could not be resolved safely."
        self.assertEqual(remove(item.key, user="stranger"), (False, b"", unavailable))
        accounts = Path("/etc/passwd")
        self.addCleanup(accounts.write_text, accounts.read_text())
        with accounts.open("a") as file:  # longer than what is first set aside for a record
            file.write(f"stranger:*:503:20:{'x' * 5000}:/Users//bob/.././alice/:/bin/sh\n")
        self.new_calls()
        named = accounts.read_bytes()
        accounts.write_bytes(named.replace(b"/Users//bob", b"/Users//b\xFFb"))
        self.assertEqual(remove(item.key, user="stranger"), (False, b"", unavailable))
        accounts.write_bytes(named)
        self.assertEqual(remove(item.key, user="stranger"), (True, [item.key], ""))
        self.assertEqual(self.new_calls(), [f"/bin/launchctl print gui/503/{item.label}"])
        self.assertEqual([entry["originalPath"] for entry in item.archived()], [str(item.path)])

    def test_removes_what_it_has_no_memory_or_room_for(self):
        item = self.item("item", contents=plistlib.dumps(
            {"Label": self._testMethodName + ".item", "Program": "x" * (3 << 20)}))
        shortage = Path("/stage/meminfo")
        shortage.write_text("MemTotal: 30000000 kB\nMemAvailable:     100000 kB\n")
        subprocess.run(["mount", "--bind", shortage, "/proc/meminfo"], check=True)
        try:
            self.assertEqual(remove(item.key), (False, b"", MISSING.format(item.label)))
        finally:
            subprocess.run(["umount", "/proc/meminfo"], check=True)
        with Client() as client:
            limit = resource.prlimit(self.helper, resource.RLIMIT_AS)
            pages = int(Path(f"/proc/{self.helper}/statm").read_text().split()[0])
            if not SANITIZED:
                resource.prlimit(self.helper, resource.RLIMIT_AS,
                                 (pages * resource.getpagesize() + (2 << 20), limit[1]))
            absent = client.remove("userAgent|a")
            resource.prlimit(self.helper, resource.RLIMIT_AS, limit)
        self.assertEqual(absent, (False, b"", MISSING.format("a")))
        before = resource.prlimit(self.helper, resource.RLIMIT_FSIZE)
        resource.prlimit(self.helper, resource.RLIMIT_FSIZE, (2 << 20, before[1]))
        self.addCleanup(resource.prlimit, self.helper, resource.RLIMIT_FSIZE, before)
        self.assertRegex(remove(item.key)[2], "^Could not write .*: File too large\\.$")
        self.assert_kept(item)
        self.assertTrue(item.job.exists(), "loaded again")

    def test_keeps_the_memory_that_a_search_took(self):
        os.kill(self.helper, signal.SIGKILL)  # one that has had no memory to give back yet
        self.helper = self.wake_helper()
        before = resident_bytes(self.helper)
        keys = [self.item(f"{number}", loaded=False, contents=plistlib.dumps(
            {"Label": f"{self._testMethodName}.{number}", "Program": "x" * 240_000})).key
            for number in range(50)]
        for number in range(30_000):  # names of seven megabytes
            os.mknod(ALICE / f"{number:0240}.plist")
        self.addCleanup(lambda: [file.unlink() for file in ALICE.glob("0*")])
        for client in [self.connect() for _ in range(3)]:
            self.assertEqual(client.remove(*keys, "userAgent|a")[2], MISSING.format("a"))
        if not SANITIZED:
            self.assertLess(resident_bytes(self.helper) - before, 6 << 20)

    def test_archives_through_a_link_or_changes_the_archive_s_mode(self):
        item, elsewhere = self.item("item"), Path("/stage/elsewhere")
        elsewhere.mkdir()
        shutil.rmtree(ARCHIVE.parent, ignore_errors=True)
        self.addCleanup(shutil.rmtree, ARCHIVE.parent)
        ARCHIVE.parent.mkdir()
        ARCHIVE.symlink_to(elsewhere)
        unavailable = "Velmora could not create its protected background-item archive."
        self.assertEqual(remove(item.key), (False, b"", unavailable))
        self.assertEqual(list(elsewhere.iterdir()), [])
        self.assert_kept(item)
        ARCHIVE.unlink()
        ARCHIVE.mkdir(mode=0o755)
        self.assertEqual(remove(item.key), (True, [item.key], ""))
        self.assertEqual(stat.S_IMODE(ARCHIVE.stat().st_mode), 0o755)

    def test_follows_link_on_the_way_to_the_folder(self):
        for level in (ALICE, ALICE.parent, ALICE.parent.parent):
            with self.subTest(level):
                item = self.item(f"item{len(level.parts)}")
                real = level.with_name(level.name + ".real")
                level.rename(real)
                self.assertEqual(remove("systemDaemon|a")[2], MISSING.format("a"), "elsewhere")
                level.symlink_to(real)
                try:
                    self.assertEqual(remove(item.key), (False, b"", UNSAFE.format(ALICE)))
                    self.assert_kept(item)
                    self.assertTrue(item.job.exists(), "loaded again")
                finally:
                    level.unlink()
                    real.rename(level)

    def test_runs_removal_beside_an_operation(self):
        item = self.item("item")
        with self.held("launchctl.print") as release, Client("alice") as client:
            client.request(**removal_request(item.key))
            eventually(self.new_calls, "the probe")
            self.assertEqual(remove(data=b"no request", user="bob"), (False, b"", BUSY))
            with Client("bob") as other:
                self.assertEqual(other.call("freeMemoryWithReply"), (False, BUSY))
            self.assert_logged()
            release()
            self.assertTrue(client.reply()[0])
        self.assert_removed(item)


if __name__ == "__main__":
    main()
