"""What the operations run, what becomes of a tool that misbehaves, and the gate before them all."""

import os
import re
import select
import signal
import socket
import struct
import subprocess
import time
from pathlib import Path

from stage_support import (BUSY, SERVICE, STAFF, USERS, Client, StageTestCase, eventually,
                           free_memory, main)

DONE = (True, "")
PURGE = Path("/usr/sbin/purge")
OPERATIONS = {  # member: name in the log, calls of tools
    "flushDNSCacheWithReply": ("DNS cache flush", ["/usr/bin/dscacheutil -flushcache",
                                                   "/usr/bin/killall -HUP mDNSResponder"]),
    "rebuildSpotlightIndexWithReply": ("Spotlight index rebuild", ["/usr/bin/mdutil -E /"]),
    "repairUserPermissionsWithReply": ("user permission repair",
                                       ["/usr/sbin/diskutil resetUserPermissions / 501"]),
    "thinLocalSnapshotsWithReply": ("Time Machine local snapshot thinning",
                                    ["/usr/bin/tmutil thinlocalsnapshots / 999999999999 4"]),
    "freeMemoryWithReply": ("memory purge", ["/usr/sbin/purge"]),
}
TOOLS = ["dscacheutil", "killall", "mdutil", "diskutil", "tmutil", "purge"]
PURGED = "[Maintenance] default: memory purge completed"


def failed(message):
    return f"[Maintenance] error: memory purge failed: {message}"


class Operations(StageTestCase):
    def test_each_operation_runs_exactly_its_tools(self):
        for tool in TOOLS:
            self.control(tool, "stderr=words of a tool that succeeds\\n")
        for member, (name, calls) in OPERATIONS.items():
            with self.subTest(member), Client("alice") as client:
                self.assertEqual(client.call(member), DONE)
                self.assertEqual(self.new_calls(), calls)
                self.assert_logged(f"[Maintenance] default: {name} completed")

    def test_failure_of_a_tool_is_told_once_and_in_its_words(self):
        prefix = "purge exited with status 1"
        cases = {  # name: control, reply, log where it is not the reply
            "words": (["stderr=  words\\n\\n", "exit=1"], prefix + ": words"),
            "no words": (["exit=1"], prefix),
            "blank": (["stderr= \\t\\n ", "exit=255"], "purge exited with status 255"),
            "signal": (["stderr=words", "signal=9"], "purge exited with status 9: words"),
            "crash": (["signal=11"], "purge exited with status 11"),
            "NUL": (["stderr=a\\x00b", "exit=1"], prefix + ": a\ufffdb", prefix + r": a\x00b"),
            "noncharacter": (["stderr=a\\xef\\xbf\\xbfb", "exit=1"], prefix + ": a\ufffdb"),
            "control characters": (["stderr=a\\x07\\n\\x1b[2Jb\\\\", "exit=1"],
                                   prefix + ": a\a\n\x1b[2Jb\\", prefix + r": a\x07\n\x1B[2Jb\\"),
            "format": (["stderr=%s%n%{public}s", "exit=1"], prefix + ": %s%n%{public}s"),
            "invalid UTF-8": (["stderr=words\\xff\\xfe", "exit=1"], prefix),
            "a lot": (["stderr=" + "x" * 40000, "exit=1"], prefix + ": " + "x" * 16384),
            "cut in a character": (["stderr=" + "x" * 16383 + "\\xc3\\xa9", "exit=1"], prefix),
        }
        for name, (control, reply, *log) in cases.items():
            with self.subTest(name):
                self.control("purge", *control)
                self.assertEqual(free_memory(), (False, reply))
                self.assert_logged(failed(log[0] if log else reply))

    def test_journal_gets_the_text_unchanged_while_there_is_one(self):
        folder = Path("/run/systemd/journal")
        folder.mkdir(parents=True, exist_ok=True)
        self.control("purge", "stderr=a %s\\x07\\nb", "exit=1")
        text = b"memory purge failed: purge exited with status 1: a %s\a\nb"
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as journal:
            journal.bind(str(folder / "socket"))
            self.addCleanup((folder / "socket").unlink)
            journal.settimeout(30)
            free_memory()
            entry = journal.recv(65536)
        for field in (b"MESSAGE\n" + struct.pack("<Q", len(text)) + text, b"PRIORITY=3",
                      b"SUBSYSTEM=" + SERVICE.encode(), b"CATEGORY=Maintenance"):
            self.assertIn(field + b"\n", entry)
            self.assert_logged()
            for _ in range(30):  # more than a journal that does not read takes
                free_memory()
            self.assertTrue(self.new_log())
        free_memory()  # the journal has gone, its socket's file has not
        self.assertEqual(len(self.new_log()), 1)

    def test_first_tool_s_failure_keeps_the_second_from_running(self):
        calls = OPERATIONS["flushDNSCacheWithReply"][1]
        with Client() as client:
            for index, tool in enumerate(["dscacheutil", "killall"]):
                self.control(tool, "exit=1")
                reply = client.call("flushDNSCacheWithReply")
                self.assertEqual(reply, (False, f"{tool} exited with status 1"))
                self.assertEqual(self.new_calls(), calls[:index + 1])
                Path("/stage/control", tool).unlink()

    def test_tool_that_cannot_be_started_is_a_failure_like_others(self):
        def script(text, mode=0o755):
            def make():
                PURGE.write_text(text)
                PURGE.chmod(mode)
            return make

        cases = {"missing": lambda: None, "a directory": PURGE.mkdir,
                 "no interpreter": script("#!/usr/bin/nothing\n"), "no program": script("purge\n"),
                 "not executable": script("#!/bin/sh\n", 0o644),
                 "FIFO": lambda: os.mkfifo(PURGE, 0o755),
                 "link to itself": lambda: PURGE.symlink_to(PURGE)}
        kept = PURGE.rename("/usr/sbin/purge.kept")
        try:
            for name, make in cases.items():
                with self.subTest(name):
                    make()
                    ok, text = free_memory()
                    self.assertFalse(ok)
                    self.assertIn(str(PURGE), text)
                    self.assert_logged(failed(text))
                    with Client() as client:
                        self.assertEqual(client.call("rebuildSpotlightIndexWithReply"), DONE)
                    self.new_log()
                if PURGE.is_dir():
                    PURGE.rmdir()
                PURGE.unlink(missing_ok=True)
        finally:
            kept.rename(PURGE)
        self.assertEqual(free_memory(), DONE)

    def test_tool_inherits_nothing_of_the_helper_s(self):
        seen = Path("/stage/seen")
        self.control("purge", f"run=exec >{seen}; tr '\\0' '\\n' </proc/$PPID/environ; "
                     "grep -E 'SigIgn|SigBlk' /proc/$PPID/status; cd /proc/$PPID/fd; "
                     "stat -c '%n %N %a' *; stat -L -c 'mode %a %u' 2")
        with Client(), Client("bob"):
            self.assertEqual(free_memory(), DONE)
        text = seen.read_text()
        self.assertNotRegex(text, r"(?m)^(LISTEN_|NOTIFY_SOCKET)")
        links = re.findall(r"(?m)^(\d+) '\d+' -> '(.*)' \d+$", text)
        self.assertEqual(links[:2], [("0", "/dev/null"), ("1", "/dev/null")])
        self.assertRegex(links[2][1], "^/tmp/driftwhale-helper-[0-9A-F-]{36}.stderr$")
        self.assertEqual(len(links), 3, links)
        self.assertIn("mode 600 0\n", text)
        ignored = int(re.search(r"SigIgn:\s+(\w+)", text)[1], 16)
        self.assertFalse(ignored >> signal.SIGPIPE - 1 & 1, "a broken pipe must end a tool")

    def test_grandchild_holding_standard_error_delays_no_reply(self):
        number = Path("/stage/grandchild")
        self.control("purge", f"run=setsid sleep 60 & echo $! >{number}", "stderr=words", "exit=1")
        began = time.monotonic()
        self.assertEqual(free_memory(), (False, "purge exited with status 1: words"))
        self.assertLess(time.monotonic() - began, 5)
        os.kill(int(number.read_text()), signal.SIGKILL)

    def test_second_tool_gets_only_what_the_first_left_of_the_budget(self):
        self.control("dscacheutil", "sleep=13")
        self.control("killall", "ignore-term", "sleep=30")
        message = "killall did not finish in time, so the maintenance helper stopped it."
        with Client() as client, Client("bob") as other:
            client.socket.settimeout(40)
            began = time.monotonic()
            client.request("flushDNSCacheWithReply")
            self.wait_for_calls("/usr/bin/dscacheutil -flushcache")
            self.assertEqual(other.call("freeMemoryWithReply"), (False, BUSY))
            self.assertEqual(client.reply(), (False, message))
            elapsed = time.monotonic() - began
        # A budget of its own would have let the second tool run until 28.
        self.assertTrue(15 <= elapsed < 25, elapsed)
        self.assert_logged(f"[Maintenance] error: DNS cache flush failed: {message}")


class Gate(StageTestCase):
    def test_of_many_requests_at_once_one_runs(self):
        members = list(OPERATIONS)
        clients = [Client(user) for user in ("alice", "bob") * 32]
        with self.held(*TOOLS) as release:
            for number, client in enumerate(clients):
                client.request(members[number % len(members)])
            waiting, replies = set(clients), []
            while len(waiting) > 1:
                ready = select.select(waiting, [], [], 30)[0]
                self.assertTrue(ready, f"{len(waiting)} requests without an answer")
                for client in ready:
                    waiting.remove(client)
                    replies.append(client.reply())
            self.assertEqual(replies, [(False, BUSY)] * 63)
            self.assert_served()
            self.assert_logged()
            eventually(lambda: Path("/stage/calls.log").stat().st_size > self.marks[
                "/stage/calls.log"], "the tool's start")
            self.assertEqual(len(self.new_calls()), 1)
            release()
            self.assertEqual(waiting.pop().reply(), DONE)
        self.assertRegex("\n".join(self.new_log()), r"\A\S+ \[Maintenance\] default: .* completed\Z")
        for client in clients:
            eventually(lambda: client.call("freeMemoryWithReply") == DONE, "the free lock")
            client.socket.close()

    def test_answered_operation_has_freed_the_lock(self):
        with Client("alice") as alice, Client("bob") as bob:
            for client in (alice, bob) * 50:
                self.assertEqual(client.call("freeMemoryWithReply"), DONE)

    def start_client(self):
        process = subprocess.Popen(
            ["velmoractl", "free-memory"], user=USERS["alice"], group=STAFF, extra_groups=[],
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def test_client_lost_in_mid_operation_neither_stops_it_nor_keeps_the_lock(self):
        for loss in (signal.SIGKILL, signal.SIGSTOP):
            with self.subTest(loss), self.held("purge") as release:
                process = self.start_client()
                self.wait_for_calls("/usr/sbin/purge")
                process.send_signal(loss)
                self.assertEqual(free_memory("bob"), (False, BUSY))
                self.assert_logged()
                release()
                eventually(lambda: free_memory("bob") == DONE, "the free lock")
                self.assert_logged(PURGED, PURGED)
                self.new_calls()
        process.send_signal(signal.SIGCONT)
        self.assertEqual(process.wait(30), 0)

    def test_connection_closed_in_mid_operation_neither_stops_it_nor_keeps_the_lock(self):
        with self.held("purge") as release:
            with Client() as client:
                client.request("freeMemoryWithReply")
                self.wait_for_calls("/usr/sbin/purge")
            self.assertEqual(free_memory("bob"), (False, BUSY))
            release()
            eventually(lambda: free_memory("bob") == DONE, "the free lock")
        self.assert_logged(PURGED, PURGED)

    def test_calls_sent_together_on_one_connection_are_all_served_in_turn(self):
        with Client() as client:
            for member in ("freeMemoryWithReply", "protocolVersionWithReply",
                           "rebuildSpotlightIndexWithReply"):
                client.request(member)
            self.assertEqual([client.reply() for _ in range(3)], [DONE, ("3",), DONE])
        self.assertEqual(self.new_calls(), ["/usr/sbin/purge", "/usr/bin/mdutil -E /"])


if __name__ == "__main__":
    main()
