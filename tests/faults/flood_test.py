"""Abuses one at a time, connections that never authenticate, and a helper that runs out."""

import contextlib
import os
import random
import resource
import select
import signal
import statistics
import struct
import subprocess
import time
import unittest
from pathlib import Path

import abuses
from attack_support import SANITIZED, AttackTestCase, tell, times
from stage_support import (SOCKET, STAFF, USERS, Client, descriptors, eventually, main,
                           processor_seconds)

AUTHENTICATION_SECONDS = 10
ROUNDS = {abuses.crowd: (1, 5), abuses.no_login: (20, 200), abuses.mutated_messages: (300, 10000),
          abuses.mutated_requests: (100, 1000), abuses.lost_client: (25, 250),
          abuses.deaf_client: (1, 1), abuses.large_requests: (1, 1),
          abuses.descriptors_sent_along: (1, 10)}
# An unsigned process with as many connections as it can have, each made anew when it ends.
ONLY_CONNECT = f"""
import contextlib, socket, threading
def connect():
    while True:
        with contextlib.suppress(OSError), socket.socket(socket.AF_UNIX) as own:
            own.connect("{SOCKET}")
            own.recv(1)
for _ in range(150):
    threading.Thread(target=connect).start()
print("knocking", flush=True)
"""


class Flood(AttackTestCase):
    def assert_idle_processor(self):
        """A helper with nothing to do soon uses no more than a tenth of a second in one."""
        def rests():
            before = processor_seconds(self.helper)
            time.sleep(1)
            return processor_seconds(self.helper) - before < 0.1

        eventually(rests, "a helper that rests")

    def test_abuse_costs_only_whoever_commits_it(self):
        for abuse, rounds in ROUNDS.items():
            with self.subTest(abuse.__name__), self.connect("bob") as bystander:
                chance = random.Random(abuse.__name__)
                for left in reversed(range(times(*rounds))):
                    with abuse(chance):
                        if left % 50 == 0 or abuse is abuses.lost_client:
                            self.assertEqual(bystander.version(), ("3",))
                            self.assert_lock_is_free()
                        if left == 0:
                            self.assertLess(descriptors(self.helper), self.idle[0] + 2 * 128 + 20)
                            self.check_memory(f"during {abuse.__name__}")
                            self.assert_idle_processor()
                bystander.socket.close()
                self.assert_served_again("alice")
                self.check_helper()
                self.assertEqual(set(self.new_calls()), {"/usr/sbin/purge"})
        self.new_log()

    def test_users_who_only_connect_starve_another(self):
        quiet = self.median_seconds()
        with contextlib.ExitStack() as floods:
            for uid in range(601, 606):
                flood = floods.enter_context(subprocess.Popen(
                    ["/usr/bin/python3", "-c", ONLY_CONNECT], user=uid, group=STAFF,
                    extra_groups=[], stdout=subprocess.PIPE))
                floods.callback(flood.kill)
                flood.stdout.read(1)
            flooded = self.median_seconds()
        tell(f"  version of a new connection: {quiet * 1000:.1f} ms in quiet, "
             f"{flooded * 1000:.1f} ms with five users who only connect: {flooded / quiet:.1f} times")
        self.new_log()

    def test_crowd_of_one_user_is_let_in_before_another_user_or_its_subordinates_in_between(self):
        USERS["alice's subordinate"] = 300000
        Path("/etc/subuid").write_text("alice:300000:65536\n")
        self.addCleanup(Path("/etc/subuid").unlink)
        os.kill(self.helper, signal.SIGSTOP)
        crowd = [self.connect(authenticate=False) for _ in range(100)]
        subordinate, bob = (self.connect(user, authenticate=False)
                            for user in ("alice's subordinate", "bob"))
        for client in (*crowd, subordinate, bob):
            client.send(abuses.LOGIN)
        os.kill(self.helper, signal.SIGCONT)
        let_in = []
        for client in (bob, subordinate):
            client.receive()
            let_in.append(len(select.select(crowd, [], [], 0)[0]))
        self.assertLess(let_in[0], 50)
        self.assertGreater(let_in[1], 50)

    @staticmethod
    def median_seconds():
        """Of a new connection's first answer; each of them is served."""
        seconds = []
        for _ in range(times(15, 100)):
            began = time.monotonic()
            with Client("alice") as client:
                assert client.version() == ("3",)
            seconds.append(time.monotonic() - began)
        return statistics.median(seconds)

    def test_unfinished_authentications_end_after_ten_seconds(self):
        began = time.monotonic()
        beginnings = (b"", b"\0", b"\0AUTH EXTERNAL 353031", b"\0AUTH EXTERNAL 353031\r\n") * 31
        waiting = [self.connect(authenticate=False) for _ in beginnings]
        for client, beginning in zip(waiting, beginnings):
            client.send(beginning)
        authenticated, dripping = self.connect(), waiting[1]
        # Its turn came after those of all the others, whose time begins with their turn.
        admitted = time.monotonic()
        while waiting:
            self.assertLess(time.monotonic() - admitted, AUTHENTICATION_SECONDS + 8)
            with contextlib.suppress(ConnectionError):
                dripping.send(b"A")
            for client in select.select(waiting, [], [], 0.1)[0]:
                try:
                    client.receive()
                except ConnectionError:
                    waiting.remove(client)
                    self.assertGreaterEqual(time.monotonic() - began, AUTHENTICATION_SECONDS - 0.1)
        self.assertEqual(authenticated.version(), ("3",))

    def test_helper_out_of_descriptors_waits_without_spinning_and_recovers(self):
        before = resource.prlimit(self.helper, resource.RLIMIT_NOFILE)
        resource.prlimit(self.helper, resource.RLIMIT_NOFILE, (3, before[1]))
        try:
            waiting = self.connect("bob", authenticate=False)
            self.assert_idle_processor()
        finally:
            resource.prlimit(self.helper, resource.RLIMIT_NOFILE, before)
        waiting.authenticate(USERS["bob"])
        self.assertEqual(waiting.version(), ("3",))

    @unittest.skipIf(SANITIZED, "a sanitizer copies what has come with each part of it")
    def test_message_on_its_way_when_memory_is_short_ends_its_connection_alone(self):
        bystander, client, other = self.connect("bob"), self.connect(), self.connect()
        half = struct.pack("<cBBBI", b"l", 1, 0, 1, 100 << 20) + abuses.VERSION_CALL[8:]
        client.send(half + bytes(3 << 20))
        shortage = Path("/stage/meminfo")
        shortage.write_text("MemTotal: 30000000 kB\nMemAvailable:     100000 kB\n")
        subprocess.run(["mount", "--bind", shortage, "/proc/meminfo"], check=True)
        try:
            with self.assertRaises(ConnectionError):
                for _ in range(50):
                    client.send(bytes(1 << 20))
                client.receive()
            self.assertEqual(bystander.version(), ("3",))
            self.assert_served("alice")
        finally:
            subprocess.run(["umount", "/proc/meminfo"], check=True)
        other.send(half + bytes(3 << 20))
        self.assertFalse(select.select([other], [], [], 0.5)[0], "ended without need")


if __name__ == "__main__":
    main()
