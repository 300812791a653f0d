"""velmoractl as people and scripts see it: exit statuses, streams, a terminal, Ctrl-C."""

import json
import os
import plistlib
import pty
import re
import select
import shutil
import signal
import subprocess
import time
from pathlib import Path

from removal_test import ARCHIVE, CHANGED, FOLDERS, ItemTestCase
from stage_support import (BUSY, CLIENT_IDENTIFIER, HELPER, SERVICE, SOCKET, STAFF, USERS,
                           StageTestCase, eventually, free_memory, main, run_as)

ASKED = "Memory purge: asked for, at most 55 s\n"
REMOVAL = "Background item removal: "
REMOVAL_ASKED = REMOVAL + "asked for, at most 22 s\n"


class Terminal:
    """velmoractl as alice on a terminal of its own."""

    def __init__(self, *arguments, kind="xterm", program="/usr/local/bin/velmoractl"):
        self.output = ""
        self.pid, self.terminal = pty.fork()
        if self.pid == 0:
            os.setgroups([])
            os.setgid(STAFF)
            os.setuid(USERS["alice"])
            os.execve(program, [program, *arguments], {"TERM": kind})

    def read(self):
        """Takes in what there is; False at the end."""
        if select.select([self.terminal], [], [], 0.1)[0]:
            try:
                self.output += os.read(self.terminal, 4096).decode()
            except OSError:  # nobody has the terminal open any more
                return False
        return True

    def wait_for(self, text):
        eventually(lambda: self.read() and text in self.output, text)

    def exit_status(self):
        eventually(lambda: not self.read(), "velmoractl's end")
        os.close(self.terminal)
        return os.waitstatus_to_exitcode(os.waitpid(self.pid, 0)[1])


class ClientTool(ItemTestCase):
    def assert_outcome(self, status, output, error, *arguments, program="velmoractl"):
        """`output` and `error` are regular expressions for all of a stream."""
        result = run_as("alice", program, *arguments, stdin=subprocess.DEVNULL)
        self.assertEqual(result.returncode, status, result)
        self.assertRegex(result.stdout, rf"\A(?:{output})\Z")
        self.assertRegex(result.stderr, rf"\A(?:{error})\Z")

    def test_answers_land_on_the_right_stream_unchanged(self):
        self.assert_outcome(0, "3\n", "", "version")
        self.assert_outcome(0, r"velmoractl \d+, protocol 3\n", "", "--version")
        self.assert_outcome(0, r"(?s:usage: velmoractl .*130 .*)", "", "--help")
        for command in ("free-memory", "flush-dns-cache", "rebuild-spotlight-index --yes",
                        "repair-user-permissions --wait", "thin-local-snapshots -y"):
            self.assert_outcome(0, r"(.+): asked for, at most .+\n\1: done after \d+\.\d s\n", "",
                                *command.split())
        self.control("purge", "stderr=a %s\\x07\\nline", "exit=1")
        self.assert_outcome(1, ASKED, "purge exited with status 1: a %s\a\nline\n",
                            "free-memory")

    def test_wrong_usage_is_status_2_and_asks_nothing_of_the_helper(self):
        item = self.item("item")
        link = FOLDERS["userAgent"] / "org.example.linked.plist"
        kinds = ".* the kinds are userAgent, sharedAgent and systemDaemon"
        cases = [  # arguments, the complaint, and whose help is pointed to
            ("remove --yes", "remove: which ones\\?", "remove "),
            (f"remove {item.key}", "remove asks first, .* --yes .*", "remove "),
            ("thin-local-snapshots", ".* asks first, .*", "thin-local-snapshots "),
            ("rebuild-spotlight-index </dev/null", ".* takes no arguments",
             "rebuild-spotlight-index "),
            ("remove --yes agent/x", "agent/x .*" + kinds, "remove "),
            ("remove --yes x", "x is no item; .*" + kinds, "remove "),
            ("remove --yes userAgent/com.apple.x", ".* protected or not allowed; .*", "remove "),
            (f"remove --yes {link}", f"{link} is no item: it is a symbolic link", "remove "),
            ("remove --yes /etc/passwd", "/etc/passwd is no file that .*", "remove "),
            ("remove --yes " + " ".join(f"userAgent/{n}" for n in range(129)),
             ".* more than 128 items, .*", "remove "),
            ("flsh-dns-cache", ".*; did you mean flush-dns-cache\\?", ""),
            ("free-memory --js", "options are taken in full only: --json", "free-memory "),
        ]
        for arguments, complaint, command in cases:
            with self.subTest(arguments):
                self.assert_outcome(2, "", f"velmoractl: {complaint}\n"
                                    f"Try 'velmoractl {command}--help'\\.\n", *arguments.split())
        self.assertTrue(item.is_in_place())
        self.assert_logged()

    def test_helper_that_gives_no_answer_is_status_3(self):
        unsigned = shutil.copy("/usr/local/bin/velmoractl", "/stage/velmoractl")
        refused = "velmoractl: .*closed the connection without an answer.*\n.* doctor' .*\n"
        self.assert_outcome(3, "", refused, "version", program=unsigned)
        away = Path(SOCKET).rename(SOCKET + ".away")
        self.addCleanup(lambda: away.exists() and away.rename(SOCKET))
        self.assert_outcome(3, "", f"velmoractl: .*cannot be reached at {SOCKET}: .*\n.*\n",
                            "free-memory")

    def test_doctor_tells_causes_apart_that_look_the_same(self):
        def client(*signing, altered=False):
            program = shutil.copy("/usr/local/bin/velmoractl", "/stage/patient")
            Path(program + ".signature").unlink(missing_ok=True)
            if signing:
                subprocess.run(["stage-sign", signing[0], program, *signing[1:]], check=True)
            if altered:
                subprocess.run(["truncate", "--size=+1", program], check=True)
            return program

        refused, demanded = "helper: The helper closed the connection", "requirement: "
        cases = [  # which client, and the problems that are found
            (lambda: "velmoractl", []),
            (client, [refused, "client signature: .* carries no signature", demanded]),
            (lambda: client(CLIENT_IDENTIFIER, "OTHER"),
             [refused, 'teams: .* team "OTHER".* team "VELMORA042"', demanded]),
            (lambda: client("org.example.other"),
             [refused, 'client identifier: .* signed as "org.example.other", not as', demanded]),
            (lambda: client(CLIENT_IDENTIFIER, altered=True),
             [refused, "client signature: .* has been altered", demanded]),
            (lambda: Path(HELPER + ".signature").rename("/stage/away") and "velmoractl",
             [refused, "helper signature: .* carries no signature", demanded + ".* nobody"]),
            (lambda: os.rename(SOCKET, SOCKET + ".away") or "velmoractl",
             [f"service: .* cannot be reached at {SOCKET}", "helper signature: ", demanded]),
        ]
        self.addCleanup(os.rename, "/stage/away", HELPER + ".signature")
        self.addCleanup(os.rename, SOCKET + ".away", SOCKET)
        for program, problems in cases:
            with self.subTest(problems):
                result = run_as("alice", program(), "doctor", "--json")
                found = {each["check"]: each for each in json.loads(result.stdout)}
                texts = [f"{check}: {each['finding']}" for check, each in found.items()
                         if each["state"] == "problem" and each["remedy"]]
                self.assertEqual((len(texts), result.returncode), (len(problems), bool(problems)))
                for text, problem in zip(texts, problems):
                    self.assertRegex(text, problem)
                self.assertEqual(found["log"]["state"], "unknown")  # the stage has no journal
        self.assert_outcome(1, "problem: service: (?s:.*)", "", "doctor")

    def test_helper_killed_in_mid_call_is_status_3_and_tells_what_is_gone(self):
        item = self.item("item")
        removal = REMOVAL_ASKED + f"{item.key}: still there\n"
        for tool, arguments, expected in (("purge", ["free-memory"], ASKED),
                                          ("launchctl", ["remove", "--yes", item.key], removal)):
            with self.subTest(tool), self.held(tool):
                process = subprocess.Popen(["velmoractl", *arguments], user=USERS["alice"],
                                           group=STAFF, extra_groups=[], text=True,
                                           stdout=subprocess.PIPE, stderr=subprocess.PIPE)
                self.addCleanup(process.kill)
                eventually(self.new_calls, "the tool's start")
                os.kill(self.helper, signal.SIGKILL)
                output, error = process.communicate(timeout=30)
            self.assertEqual((process.returncode, output), (3, expected))
            self.assertIn("in the middle of the call", error)
            for left in Path("/tmp").glob("driftwhale-helper-*"):
                left.unlink()  # nobody is there any more to remove it
            self.helper = self.wake_helper()

    def test_terminal_shows_time_passing_and_ends_clean(self):
        with self.held("purge") as release:
            terminal = Terminal("free-memory")
            terminal.wait_for("Memory purge: 1 s of at most 55 s")
            self.assertNotIn("\n", terminal.output)
            release()
            self.assertEqual(terminal.exit_status(), 0)
        self.assertTrue(terminal.output.startswith("\rMemory purge: 0 s of at most 55 s\x1b[K"))
        self.assertEqual(terminal.output.count("0 s of at most"), 1)
        last = terminal.output.rsplit("\r\x1b[K", 1)[1]
        self.assertRegex(last, r"\AMemory purge: done after [1-9]\d*\.\d s\r\n\Z")
        self.control("purge", "stderr=words", "exit=1")
        terminal = Terminal("free-memory")
        self.assertEqual(terminal.exit_status(), 1)
        self.assertTrue(terminal.output.endswith("\r\x1b[Kpurge exited with status 1: words\r\n"))
        terminal = Terminal("free-memory", kind="dumb")
        self.assertEqual(terminal.exit_status(), 1)
        self.assertNotIn("\x1b", terminal.output)

    def test_interrupt_ends_the_client_and_not_the_operation(self):
        for end, status in ((lambda terminal: os.write(terminal.terminal, b"\x03"), 130),
                            (lambda terminal: os.kill(terminal.pid, signal.SIGTERM), 143)):
            with self.subTest(status), self.held("purge") as release:
                terminal = Terminal("free-memory")
                self.wait_for_calls("/usr/sbin/purge")
                terminal.wait_for("Memory purge: ")
                end(terminal)
                self.assertEqual(terminal.exit_status(), status)
                self.assertRegex(terminal.output, r"\r\x1b\[Kvelmoractl: [^\r\n]*carries on[^\r\n]*"
                                 f"\r\nIts outcome .*: journalctl SUBSYSTEM={SERVICE}\r\n\\Z")
                self.assertEqual(free_memory("bob"), (False, BUSY))
                release()
                eventually(lambda: free_memory("bob") == (True, ""), "the free lock")
                self.new_calls()  # bob's is none that alice's next one may be taken for

    def test_busy_helper_is_status_75_or_waited_for(self):
        with self.held("purge") as release, self.connect() as client:
            client.request("freeMemoryWithReply")
            self.wait_for_calls("/usr/sbin/purge")
            self.assert_outcome(75, ASKED, BUSY + "\n", "free-memory")
            self.assert_outcome(75, f'{{"message":"{BUSY}","ok":false,"seconds":.*}}\n',
                                BUSY + "\n", "free-memory", "--wait=1", "--json")
            terminal = Terminal("free-memory", "--wait")
            terminal.wait_for("Memory purge: 1 s, waiting for another operation to end")
            release()
            self.assertEqual(terminal.exit_status(), 0)
            self.assertRegex(terminal.output, r"Memory purge: done after 0\.\d s\r\n\Z")
            client.reply()

    def test_pipe_gets_what_was_removed_without_a_question(self):
        first, second, third = self.item("first"), self.item("gr\u00f6\u00dfe"), self.item("third")
        removed = re.escape(f"removed {first.key}\nremoved {second.key}\n"
                            f"Archived in a new folder of {ARCHIVE}, ")
        output = REMOVAL_ASKED + REMOVAL + r"done after \d+\.\d s\n" + removed + ".*\n"
        asked = second.key.replace("|", "/").replace("\u00f6", "o\u0308")  # the same, to Unicode
        self.assert_outcome(0, f"(?s:.*  {re.escape(first.key)}\n.*Nothing was done.\n)", "",
                            "remove", "--dry-run", first.key, asked)
        self.assert_outcome(0, output, "", "remove", "--yes", first.key, asked)
        self.assertFalse(first.path.exists() or second.path.exists())
        outcome = run_as("alice", "velmoractl", "remove", "--yes", "--json", str(third.path))
        seconds = json.loads(outcome.stdout).pop("seconds")
        self.assertEqual(json.loads(outcome.stdout),
                         {"ok": True, "removed": [third.key], "seconds": seconds})

    def test_failed_removal_tells_what_is_gone(self):
        first, second, third = (self.item(number) for number in "123")
        self.control("launchctl.bootout", f"run=[ -e {first.job} ] || rm '{second.path}'")
        unknown = "userAgent|org.example.unknown"
        self.assert_outcome(1, re.escape(
            f"{REMOVAL_ASKED}{first.key}: gone\n{second.key}: gone\n{third.key}: still there\n"),
            re.escape(CHANGED.format(second.label) + "\n"),
            "remove", "--yes", first.key, second.key, third.key)
        linked, unknown = "userAgent|org.example.linked", "userAgent|org.example.unknown"
        known = (f"  {linked}\n    .*org.example.linked.plist is a symbolic link\n"
                 f"  {unknown}\n    .*no property list in {third.path.parent} .*\n")
        result = run_as("alice", "velmoractl", "remove", "--yes", "--json", linked, unknown)
        self.assertRegex(result.stderr, r"\A.* no longer present .*\n" + known.replace("|", "\\|"))
        outcome = json.loads(result.stdout)
        self.assertEqual((outcome["ok"], outcome["removed"], outcome["message"] + "\n"),
                         (False, [], result.stderr.splitlines(True)[0]))

    def test_terminal_removes_only_after_a_yes(self):
        cases = ((b"\n", 1, "nothing was removed"), (b"yess\n", 1, "nothing was removed"),
                 (b"\x04", 1, "nothing was removed"), (b"\x03", 130, "nothing was done"),
                 (b"y\n", 0, ""), (b"YES\n", 0, ""), (None, 0, ""))
        for answer, status, words in cases:
            with self.subTest(answer):
                item = self.item("item")
                terminal = Terminal("remove", item.key, *([] if answer else ["-y"]))
                if answer:
                    terminal.wait_for("Remove? [y/N] ")
                    self.assertIn(f"  {item.key}\r\n    {item.path}\r\n", terminal.output)
                    os.write(terminal.terminal, answer)
                self.assertEqual(terminal.exit_status(), status)
                self.assertEqual("Remove?" in terminal.output, answer is not None)
                last = f"velmoractl: .*{words}.*\r\n\\Z" if words else f"removed {item.key}\r\n"
                self.assertRegex(terminal.output, "\r\n" + last.replace("|", r"\|"))
                self.assertEqual(item.is_in_place(), status != 0)
                self.assertEqual(bool(self.new_calls()), status == 0)
        ask = "velmoractl thin-local-snapshots"
        terminal = Terminal("-c", f"{ask} </dev/null; [ $? = 2 ] || exit 9; {ask} >/dev/null 2>&1",
                            program="/bin/sh")
        terminal.wait_for("cannot be brought back")
        os.write(terminal.terminal, b"n\n")
        self.assertEqual((terminal.exit_status(), self.new_calls()), (1, []))


class Archive(ItemTestCase):
    @staticmethod
    def archive(*arguments):
        return subprocess.run(["velmoractl", "archive", *arguments], capture_output=True, text=True,
                              stdin=subprocess.DEVNULL, timeout=60)

    def listed(self, *items):
        entries = {each["originalPath"]: each
                   for each in json.loads(self.archive("list", "--json").stdout)}
        return [entries[str(item.path)] for item in items]

    def removed(self, *items):
        """What the archive lists of these items, and the paths of their records."""
        run_as("alice", "velmoractl", "remove", "--yes", *(item.key for item in items))
        entries = self.listed(*items)
        self.new_calls()
        return entries, [next(ARCHIVE.glob(f"*/{entry['id']}.json")) for entry in entries]

    def test_removed_items_come_back_as_they_were_and_run(self):
        items = [self.item("agent"), self.item("shared", kind="sharedAgent"),
                 self.item("daemon", kind="systemDaemon")]
        entries, records = self.removed(*items)
        before = [record.read_bytes() for record in records]
        removed_at = json.loads(before[0])["removedAt"] + 978307200
        self.assertEqual(entries[0], {
            "id": records[0].stem, "label": items[0].label, "kind": "userAgent",
            "originalPath": str(items[0].path), "clientUserIdentifier": 501, "restored": False,
            "removedAt": time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(removed_at))})
        identifiers = [entry["id"] for entry in entries]
        for arguments, status in (([], 2), (["--yes", "unknown"], 1), (["--yes", "--load"], 0)):
            result = self.archive("restore", *arguments, *identifiers, identifiers[0])
            self.assertEqual(result.returncode, status, result)
            self.assertEqual([item.is_in_place() for item in items], [status == 0] * 3)
        for item in items:
            self.assertEqual((item.path.stat().st_uid, item.path.stat().st_mode),
                             (501 if item.kind == "userAgent" else 0, 0o100644))
        self.assertEqual(self.new_calls(), [f"/bin/launchctl bootstrap {item.domain} {item.path}"
                                            for item in items])
        self.assertEqual([record.read_bytes() for record in records], before)
        self.assertEqual([entry["restored"] for entry in self.listed(*items)], [True] * 3)
        self.assertEqual(run_as("alice", "velmoractl", "archive", "list").returncode, 1)

    def test_nothing_is_replaced_and_no_link_followed_on_the_way_back(self):
        item, folder = self.item("item"), FOLDERS["userAgent"]
        (entry,), _ = self.removed(item)
        away = folder.with_name("away")
        cases = [  # what is done first, what undoes it, the complaint
            (lambda: item.path.write_text("own"), item.path.unlink, "File exists"),
            (lambda: item.path.symlink_to("/stage/target"), item.path.unlink, "File exists"),
            (item.path.mkdir, item.path.rmdir, "File exists"),
            (lambda: folder.rename(away) and folder.symlink_to("/Library/LaunchDaemons"),
             lambda: folder.unlink() or away.rename(folder), "contains a symbolic link"),
        ]
        for act, undo, complaint in cases:
            with self.subTest(complaint):
                act()
                names = {path.name for path in folder.iterdir()}
                result = self.archive("restore", "--yes", entry["id"])
                undisturbed = {path.name for path in folder.iterdir()} == names
                undo()
                self.assertEqual((result.returncode, undisturbed), (1, True))
                self.assertIn(complaint, result.stderr)
        self.assertFalse(Path("/stage/target").exists())
        self.assertEqual(self.listed(item)[0]["restored"], False)

    def test_damaged_or_foreign_record_is_reported_and_never_acted_on(self):
        item = self.item("item")
        (entry,), (record,) = self.removed(item)
        good, copy = json.loads(record.read_bytes()), record.with_suffix(".plist")
        path, folder = good["originalPath"], FOLDERS["userAgent"]
        daemon = {"token": f"systemDaemon|{item.label}"}
        changes = [
            {"originalPath": "/etc/x.plist"}, {"originalPath": f"{folder}/../x.plist"},
            {"originalPath": f"{folder}/a/x.plist"}, {"originalPath": f"{folder}/.x.plist"},
            {"originalPath": path + "\0"}, {"originalPath": path[1:]}, {"label": "other"}, daemon,
            {"token": "agent|" + item.label}, {"clientUserIdentifier": USERS["bob"]},
            {"clientUserIdentifier": 12345}, {"removedAt": 1e300}, {"removedAt": "today"},
            {"label": "o", "token": "userAgent|o"}, {"token": "userAgent|o"},
            daemon | {"originalPath": "/Library/LaunchDaemons/x.plist", "label": "other"}]
        acts = [lambda change=change: record.write_text(json.dumps(good | change))
                for change in changes] + [
            lambda: record.write_text("[]"),
            lambda: record.write_text(json.dumps(good) + " " * 70000), lambda: record.unlink(),
            lambda: os.chown(record, USERS["alice"], STAFF),
            lambda: record.chmod(0o666), lambda: record.parent.chmod(0o770),
            lambda: record.rename("/stage/record") and record.symlink_to("/stage/record"),
            lambda: copy.unlink(), lambda: os.chown(copy, USERS["alice"], STAFF),
            lambda: copy.write_text("{Label = other;}"),
            lambda: record.rename(record.with_name("x.json")) and
            copy.rename(copy.with_name("x.plist"))]
        before = self.folders()
        self.assertEqual(self.archive("list").stderr, "")
        kept = shutil.copytree(record.parent, "/stage/kept")
        for act in acts:
            act()
            results = [self.archive("restore", "--yes", entry["id"]), self.archive("list")]
            shutil.rmtree(record.parent)
            shutil.copytree(kept, record.parent)
            self.assertEqual([result.returncode for result in results], [1, 1], results)
            self.assertIn("is damaged: ", results[1].stderr)
            self.assertNotIn(entry["id"], results[1].stdout)
        self.assertEqual(self.folders(), before)
        self.assertEqual(self.archive("restore", "--yes", entry["id"]).returncode, 0)

    @staticmethod
    def folders():
        return [sorted(folder.rglob("*")) for folder in (*FOLDERS.values(), Path("/etc"))]


class Listing(StageTestCase):
    AMBIGUOUS = "has the same label as another file"
    PROTECTED = "has a label that is protected or not allowed"
    FILES = {  # in alice's folder: label, contents or making; key or what is wrong with it
        "of another name.PList": ("org.example.menu-bar", "userAgent|org.example.menu-bar"),
        "1.plist": ("thrice", AMBIGUOUS), "2.plist": ("thrice", AMBIGUOUS),
        "3.plist": ("thrice", AMBIGUOUS), "4.plist": ("\u00e9", AMBIGUOUS),
        "5.plist": ("e\u0301", AMBIGUOUS), "6.plist": ("Case", "userAgent|Case"),
        "7.plist": ("case", "userAgent|case"), "space.plist": ("a b", PROTECTED),
        "apple.plist": ("Com.Apple.x", PROTECTED),
        "once.plist": ("org.example.installed-by-root", "userAgent|org.example.installed-by-root"),
        "\x1b]0;\udcff\n.plist": ("strange", "has a name that is not valid UTF-8"),
        "empty.plist": (b"", "is not a property list"),
        "array.plist": (b"(Label, x)", "is a property list, but not a dictionary"),
        "unlabelled.plist": (b"{ Program = x; }", "has no label"),
        "number.plist": (b"<plist><dict><key>Label</key><integer>1</integer></dict></plist>",
                         "has a label that is not text"),
        "device.plist": (lambda path: path.symlink_to("/dev/zero"), "is a symbolic link"),
        "FIFO.plist": (os.mkfifo, "is not a regular file"),
        "secret.plist": (lambda path: path.touch(0), "cannot be opened by you"),
        "huge.plist": (lambda path: path.touch() or os.truncate(path, 1 << 43),
                       "is larger than the memory that can be spared"),
    }
    THERE = {
        "org.example.linked.plist": "is a symbolic link",
        "org.example.installed-by-root.plist": "belongs to another user than this folder demands",
        "org.example.damaged.plist": "is not a property list", f"{SERVICE}.plist": PROTECTED,
        "org.example.menu-bar.plist": "sharedAgent|org.example.menu-bar",
        "org.example.backup-daemon.plist": "systemDaemon|org.example.backup-daemon",
    }

    def test_listing_names_every_property_list_and_what_is_wrong_with_it(self):
        expected = dict(self.THERE)
        for name, (what, said) in self.FILES.items():
            path = FOLDERS["userAgent"] / name
            data = plistlib.dumps({"Label": what}) if isinstance(what, str) else what
            what(path) if callable(what) else path.write_bytes(data)
            self.addCleanup(path.unlink)
            os.chown(path, USERS["alice"], STAFF, follow_symlinks=False)
            expected[name.replace("\udcff", "\ufffd")] = said
        entries = json.loads(run_as("alice", "velmoractl", "list", "--json").stdout)
        files = {Path(each["file"]).name: each for each in entries}
        found = {name: files[name].get("key") or files[name]["reason"] for name in expected}
        self.assertEqual(found, expected)
        self.assertFalse({".org.example.hidden.plist", "org.example.previous.plist.disabled"} &
                         files.keys())
        text = run_as("alice", "velmoractl", "list").stdout
        self.assertEqual(text.lower().count(".plist"), len(entries))
        self.assertTrue(text.replace("\n", "").isprintable())


if __name__ == "__main__":
    main()
