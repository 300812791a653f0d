"""velmoractl as people and scripts see it: exit statuses, streams, a terminal, Ctrl-C."""

import os
import pty
import re
import select
import shutil
import signal
import subprocess
from pathlib import Path

from stage_support import (BUSY, SOCKET, STAFF, USERS, StageTestCase, eventually, free_memory,
                           main, run_as)

STARTED = "Memory purge: started, at most 55 s\n"


class Terminal:
    """velmoractl free-memory as alice on a terminal of its own."""

    def __init__(self, kind="xterm"):
        self.output = ""
        self.pid, self.terminal = pty.fork()
        if self.pid == 0:
            os.setgroups([])
            os.setgid(STAFF)
            os.setuid(USERS["alice"])
            os.execve("/usr/local/bin/velmoractl", ["velmoractl", "free-memory"], {"TERM": kind})

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


class ClientTool(StageTestCase):
    def assert_outcome(self, status, output, error, *arguments, program="velmoractl"):
        """`output` and `error` are regular expressions for all of a stream."""
        result = run_as("alice", program, *arguments)
        self.assertEqual(result.returncode, status, result)
        self.assertRegex(result.stdout, rf"\A(?:{output})\Z")
        self.assertRegex(result.stderr, rf"\A(?:{error})\Z")

    def test_answers_land_on_the_right_stream_unchanged(self):
        done = STARTED + r"Memory purge: done after \d+\.\d s\n"
        self.assert_outcome(0, "3\n", "", "version")
        self.assert_outcome(0, done, "", "free-memory")
        for command in ("flush-dns-cache", "rebuild-spotlight-index", "repair-user-permissions",
                        "thin-local-snapshots"):
            self.assert_outcome(0, "[^\n]+: started, at most [^\n]+\n[^\n]+: done after .*\n", "",
                                command)
        self.control("purge", "stderr=a %s\\x07\\nline", "exit=1")
        self.assert_outcome(1, STARTED, "purge exited with status 1: a %s\a\nline\n",
                            "free-memory")
        self.new_calls()
        with self.held("purge"):
            other = self.start("free-memory")
            self.wait_for_calls("/usr/sbin/purge")
            self.assert_outcome(1, STARTED, re.escape(BUSY) + "\n", "free-memory")
        self.assertEqual(other.wait(30), 0)

    def start(self, *arguments):
        process = subprocess.Popen(["velmoractl", *arguments], user=USERS["alice"], group=STAFF,
                                   extra_groups=[], stdout=subprocess.DEVNULL,
                                   stderr=subprocess.PIPE, text=True)
        self.addCleanup(process.stderr.close)
        self.addCleanup(process.kill)
        return process

    def test_wrong_usage_asks_the_helper_for_nothing(self):
        hint = r"(?:.*\n)?Try 'velmoractl --help'\.\n"
        for arguments in ((), ("nothing",), ("",), ("version", "now"), ("--no-such-option",),
                          ("free-memory", "--help")):
            with self.subTest(arguments):
                self.assert_outcome(2, "", hint, *arguments)
        self.assert_outcome(0, r"(?s:usage: velmoractl .*130 .*)", "", "--help")
        self.assertEqual(self.new_calls(), [])

    def test_helper_that_gives_no_answer_is_status_3(self):
        unsigned = shutil.copy("/usr/local/bin/velmoractl", "/stage/velmoractl")
        refused = "velmoractl: .*closed the connection without an answer.*\n"
        self.assert_outcome(3, "", refused, "version", program=unsigned)
        self.assert_outcome(3, STARTED, refused, "free-memory", program=unsigned)
        away = Path(SOCKET).rename(SOCKET + ".away")
        self.addCleanup(lambda: away.exists() and away.rename(SOCKET))
        unreachable = f"velmoractl: .*cannot be reached at {SOCKET}: .*\n"
        self.assert_outcome(3, "", unreachable, "version")
        self.assert_outcome(3, STARTED, unreachable, "free-memory")
        Path(SOCKET).touch()
        self.assert_outcome(3, "", unreachable, "version")
        away.rename(SOCKET)
        self.assert_outcome(0, "3\n", "", "version")

    def test_helper_killed_in_mid_operation_is_status_3(self):
        with self.held("purge"):
            process = self.start("free-memory")
            self.wait_for_calls("/usr/sbin/purge")
            os.kill(self.helper, signal.SIGKILL)
            self.assertEqual(process.wait(30), 3)
            self.assertIn("without an answer", process.stderr.read())
        for left in Path("/tmp").glob("driftwhale-helper-*"):
            left.unlink()  # nobody is there any more to remove it
        self.helper = self.wake_helper()

    def test_terminal_shows_time_passing_and_ends_clean(self):
        with self.held("purge") as release:
            terminal = Terminal()
            terminal.wait_for("Memory purge: 1 s of at most 55 s")
            self.assertNotIn("\n", terminal.output)
            release()
            self.assertEqual(terminal.exit_status(), 0)
        self.assertTrue(terminal.output.startswith("\rMemory purge: 0 s of at most 55 s\x1b[K"))
        last = terminal.output.rsplit("\r\x1b[K", 1)[1]
        self.assertRegex(last, r"\AMemory purge: done after [1-9]\d*\.\d s\r\n\Z")

    def test_dumb_terminal_gets_plain_lines(self):
        terminal = Terminal("dumb")
        self.assertEqual(terminal.exit_status(), 0)
        self.assertNotIn("\x1b", terminal.output)
        self.assertEqual(terminal.output.count("\n"), 2)

    def test_failure_on_a_terminal_stands_on_a_line_of_its_own(self):
        self.control("purge", "stderr=words", "exit=1")
        terminal = Terminal()
        self.assertEqual(terminal.exit_status(), 1)
        self.assertTrue(terminal.output.endswith("\r\x1b[Kpurge exited with status 1: words\r\n"))

    def test_interrupt_ends_the_client_and_not_the_operation(self):
        with self.held("purge") as release:
            terminal = Terminal()
            terminal.wait_for("Memory purge: ")
            self.wait_for_calls("/usr/sbin/purge")
            os.write(terminal.terminal, b"\x03")
            self.assertEqual(terminal.exit_status(), 130)
            self.assertRegex(terminal.output,
                             r"\r\x1b\[Kvelmoractl: [^\r\n]*carries on[^\r\n]*\r\n\Z")
            self.assertEqual(free_memory("bob"), (False, BUSY))
            self.assert_logged()
            release()
            found = []
            eventually(lambda: found.extend(self.new_log()) or found, "the operation's end")
        self.assertRegex(found[0], "memory purge completed$")
        self.assertEqual(free_memory("bob"), (True, ""))


if __name__ == "__main__":
    main()
