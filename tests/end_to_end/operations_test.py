"""What the operations run, what becomes of a tool that misbehaves, and the gate before them all."""

import itertools
import re
import select
import socket
import struct
import time
from pathlib import Path

from stage_support import (BUSY, SERVICE, Client, StageTestCase, eventually, free_memory, main,
                           run_as)

DONE = (True, "")
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
BUDGETS = ["15 s", "15 s", "14 min 40 s", "2 min 50 s", "55 s", "22 s"]  # the last is a removal's
TOOLS = ["dscacheutil", "killall", "mdutil", "diskutil", "tmutil", "purge"]


class Operations(StageTestCase):
    def test_runs_anything_but_an_operation_s_tools_or_under_another_budget(self):
        usage = run_as("alice", "velmoractl", "--help").stdout
        self.assertEqual(re.findall(r"\(at most (.*)\)$", usage, re.MULTILINE), BUDGETS)
        for tool in TOOLS:
            self.control(tool, "stderr=words of a tool that succeeds\\n")
        for member, (name, calls) in OPERATIONS.items():
            with self.subTest(member), Client("alice") as client:
                self.assertEqual(client.call(member), DONE)
                self.assertEqual(self.new_calls(), calls)
                self.assert_logged(f"[Maintenance] default: {name} completed")

    def test_tells_failure_of_a_tool_twice_or_in_other_words(self):
        prefix = "purge exited with status 1"
        cases = {  # name: control, reply, log where it is not the reply
            "words": (["stderr=  words\\n\\n", "exit=1"], prefix + ": words"),
            "what no reply holds": (["stderr=a\\x00b\\xef\\xbf\\xbfc", "exit=1"],
                                    prefix + ": a\ufffdb\ufffdc", prefix + ": a\\x00b\ufffdc"),
            "what a log could act on": (
                ["stderr=%s%n%{public}s\\x07\\n\\x1b[2Jb\\\\", "exit=1"],
                prefix + ": %s%n%{public}s\a\n\x1b[2Jb\\",
                prefix + r": %s%n%{public}s\x07\n\x1B[2Jb\\"),
        }
        for name, (control, reply, *log) in cases.items():
            with self.subTest(name):
                self.control("purge", *control)
                self.assertEqual(free_memory(), (False, reply))
                log, = log or [reply]
                self.assert_logged(f"[Maintenance] error: memory purge failed: {log}")

    def test_journal_gets_another_text_or_loses_what_it_does_not_take(self):
        path = Path("/run/systemd/journal/socket")
        path.parent.mkdir(parents=True, exist_ok=True)
        self.control("purge", "stderr=a %s\\x07\\nb", "exit=1")
        text = b"memory purge failed: purge exited with status 1: a %s\a\nb"
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as journal:
            journal.bind(str(path))
            self.addCleanup(path.unlink)
            journal.settimeout(30)
            free_memory()
            entry = journal.recv(65536)
            self.assert_logged()
            for _ in range(30):  # more than a journal that does not read takes
                free_memory()
            self.assertTrue(self.new_log())
        free_memory()  # the journal has gone, its socket's file has not
        self.assertEqual(len(self.new_log()), 1)
        for field in (b"MESSAGE\n" + struct.pack("<Q", len(text)) + text, b"PRIORITY=3",
                      b"SUBSYSTEM=" + SERVICE.encode(), b"CATEGORY=Maintenance"):
            self.assertIn(field + b"\n", entry)

    def test_tells_tool_of_the_helper_s_socket(self):
        seen = Path("/stage/seen")
        self.control("purge", f"run=tr '\\0' '\\n' </proc/$PPID/environ >{seen}")
        self.assertEqual(free_memory(), DONE)
        self.assertRegex(seen.read_text(), "(?m)^PATH=")
        self.assertNotRegex(seen.read_text(), "(?m)^LISTEN_")

    def test_second_tool_has_a_budget_of_its_own_or_outlives_it_by_resisting(self):
        self.control("dscacheutil", "sleep=13")
        # With many words, and a child that holds on to them.
        self.control("killall", "run=setsid sleep 600 &", "ignore-term",
                     "run=head -c 90000000 /dev/zero >&2", "run=kill -STOP $PPID")
        message = "killall did not finish in time, so the maintenance helper stopped it."
        with Client() as client:
            client.socket.settimeout(40)
            began = time.monotonic()
            self.assertEqual(client.call("flushDNSCacheWithReply"), (False, message))
            elapsed = time.monotonic() - began
        # The grace comes once after each of two signals; a budget of its own would end at 28.
        self.assertTrue(17 <= elapsed < 25, elapsed)
        self.assert_logged(f"[Maintenance] error: DNS cache flush failed: {message}")


class Gate(StageTestCase):
    def test_runs_two_of_many_requests_at_once_or_none(self):
        clients = [self.connect(user) for user in ("alice", "bob") * 32]
        with self.held(*TOOLS) as release:
            for client, member in zip(clients, itertools.cycle(OPERATIONS)):
                client.request(member)
            waiting, replies = set(clients), []
            while len(waiting) > 1:
                ready = select.select(waiting, [], [], 30)[0]
                self.assertTrue(ready, f"{len(waiting)} requests without an answer")
                waiting.difference_update(ready)
                replies += [client.reply() for client in ready]
            self.assertEqual(replies, [(False, BUSY)] * 63)
            self.assert_served()
            self.assert_logged()
            self.assertEqual(len(eventually(self.new_calls, "the tool's start")), 1)
            release()
            self.assertEqual(waiting.pop().reply(), DONE)
        line, = self.new_log()
        self.assertRegex(line, r"\[Maintenance\] default: .* completed$")
        for client in clients:
            eventually(lambda: client.call("freeMemoryWithReply") == DONE, "the free lock")

    def test_answers_before_the_lock_is_free(self):
        with Client("alice") as alice, Client("bob") as bob:
            for client in (alice, bob) * 50:
                self.assertEqual(client.call("freeMemoryWithReply"), DONE)

    def test_client_lost_in_mid_operation_stops_it_or_keeps_the_lock(self):
        with self.held("purge") as release, Client() as client:
            client.request("freeMemoryWithReply")
            self.wait_for_calls("/usr/sbin/purge")
            client.socket.close()
            self.assertEqual(free_memory("bob"), (False, BUSY))
            release()
            eventually(lambda: free_memory("bob") == DONE, "the free lock")
            self.assert_logged(*["[Maintenance] default: memory purge completed"] * 2)

    def test_calls_sent_together_on_one_connection_are_lost_or_change_places(self):
        with Client() as client:
            for member in ("freeMemoryWithReply", "protocolVersionWithReply",
                           "rebuildSpotlightIndexWithReply"):
                client.request(member)
            self.assertEqual([client.reply() for _ in range(3)], [DONE, ("3",), DONE])
        self.assertEqual(self.new_calls(), ["/usr/sbin/purge", "/usr/bin/mdutil -E /"])


if __name__ == "__main__":
    main()
