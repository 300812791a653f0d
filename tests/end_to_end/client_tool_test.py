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
from pathlib import Path

from removal_test import ARCHIVE, CHANGED, FOLDERS, ItemTestCase
from stage_support import (BUSY, SERVICE, SOCKET, STAFF, USERS, StageTestCase, eventually,
                           free_memory, main, run_as)

STARTED = "Memory purge: started, at most 55 s\n"
REMOVAL = "Background item removal: "
REMOVAL_STARTED = REMOVAL + "started, at most 22 s\n"


class Terminal:
    """velmoractl as alice on a terminal of its own."""

    def __init__(self, *arguments, kind="xterm"):
        self.output = ""
        self.pid, self.terminal = pty.fork()
        if self.pid == 0:
            os.setgroups([])
            os.setgid(STAFF)
            os.setuid(USERS["alice"])
            os.execve("/usr/local/bin/velmoractl", ["velmoractl", *arguments], {"TERM": kind})

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
        self.assert_outcome(0, r"(?s:usage: velmoractl .*130 .*)", "", "--help")
        self.assert_outcome(2, "", r".*\nTry 'velmoractl remove --help'\.\n", "remove", "--yes")
        for command in ("free-memory", "flush-dns-cache", "rebuild-spotlight-index",
                        "repair-user-permissions", "thin-local-snapshots"):
            self.assert_outcome(0, r"(.+): started, at most .+\n\1: done after \d+\.\d s\n", "",
                                command)
        self.control("purge", "stderr=a %s\\x07\\nline", "exit=1")
        self.assert_outcome(1, STARTED, "purge exited with status 1: a %s\a\nline\n",
                            "free-memory")

    def test_helper_that_gives_no_answer_is_status_3(self):
        unsigned = shutil.copy("/usr/local/bin/velmoractl", "/stage/velmoractl")
        refused = "velmoractl: .*closed the connection without an answer.*\n"
        self.assert_outcome(3, "", refused, "version", program=unsigned)
        away = Path(SOCKET).rename(SOCKET + ".away")
        self.addCleanup(lambda: away.exists() and away.rename(SOCKET))
        self.assert_outcome(3, STARTED, f"velmoractl: .*cannot be reached at {SOCKET}: .*\n",
                            "free-memory")

    def test_helper_killed_in_mid_call_is_status_3_and_tells_what_is_gone(self):
        item = self.item("item")
        removal = REMOVAL_STARTED + f"{item.key}: still there\n"
        for tool, arguments, expected in (("purge", ["free-memory"], STARTED),
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
            self.assertIn("without an answer", error)
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
        with self.held("purge") as release:
            terminal = Terminal("free-memory")
            self.wait_for_calls("/usr/sbin/purge")
            terminal.wait_for("Memory purge: ")
            os.write(terminal.terminal, b"\x03")
            self.assertEqual(terminal.exit_status(), 130)
            self.assertRegex(terminal.output,
                             r"\r\x1b\[Kvelmoractl: [^\r\n]*carries on[^\r\n]*\r\n\Z")
            self.assertEqual(free_memory("bob"), (False, BUSY))
            release()
            eventually(lambda: free_memory("bob") == (True, ""), "the free lock")

    def test_pipe_gets_what_was_removed_without_a_question(self):
        first, second = self.item("first"), self.item("gr\u00f6\u00dfe")
        removed = re.escape(f"removed {first.key}\nremoved {second.key}\n"
                            f"Archived in a new folder of {ARCHIVE}, ")
        output = REMOVAL_STARTED + REMOVAL + r"done after \d+\.\d s\n" + removed + ".*\n"
        asked = second.key.replace("|", "/").replace("\u00f6", "o\u0308")  # the same, to Unicode
        self.assert_outcome(0, output, "", "remove", first.key, asked)
        self.assertFalse(first.path.exists() or second.path.exists())

    def test_failed_removal_tells_what_is_gone(self):
        first, second, third = (self.item(number) for number in "123")
        self.control("launchctl.bootout", f"run=[ -e {first.job} ] || rm '{second.path}'")
        unknown = "userAgent|org.example.unknown"
        self.assert_outcome(1, re.escape(
            f"{REMOVAL_STARTED}{first.key}: gone\n{second.key}: gone\n{third.key}: still there\n"),
            re.escape(CHANGED.format(second.label) + "\n"),
            "remove", first.key, second.key, third.key)
        self.assert_outcome(1, re.escape(f"{REMOVAL_STARTED}{unknown}: not listed before\n"),
                            ".* no longer present .*\n", "remove", unknown)

    def test_terminal_removes_only_after_a_yes(self):
        cases = ((b"\n", 1, "nothing was removed"), (b"yess\n", 1, "nothing was removed"),
                 (b"\x04", 1, "nothing was removed"), (b"\x03", 130, "asked for nothing"),
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
