"""Clients in numbers, clients lost in mid-call, mutated calls, and a helper that runs out."""

import contextlib
import os
import random
import resource
import select
import signal
import struct
import subprocess
import time
import unittest
from pathlib import Path

from attack_support import DONE, SANITIZED, AttackTestCase, main, process, tell, times
from stage_support import (USERS, Client, eventually, free_memory, message, removal_request,
                           threads)

CONNECTIONS_PER_USER, CONNECTIONS = 128, 512
AUTHENTICATION_SECONDS = 10
VERSION_CALL = message("protocolVersionWithReply")
REMOVAL_CALL = message(**removal_request("userAgent|org.example.absent", "sharedAgent|absent"))
USERS.update({f"user{number}": number for number in range(601, 606)})


def mutated(chance, data):
    """One to four bytes changed, or a piece of it left out, doubled or moved."""
    data = bytearray(data)
    if chance.random() < 0.7:
        for _ in range(chance.randint(1, 4)):
            byte = chance.choice((0, 1, 127, 255, chance.randrange(256)))
            data[chance.randrange(len(data))] = byte
        return bytes(data)
    begin, end = sorted(chance.choices(range(len(data)), k=2))
    piece = data[begin:end]
    del data[begin:end]
    at = chance.randrange(len(data) + 1)
    return bytes(data[:at] + piece * chance.randint(0, 2) + data[at:])


class Connections(AttackTestCase):
    def test_thousand_connections_of_one_user_leave_room_for_others(self):
        mine = []
        for _ in range(1000):
            with contextlib.suppress(ConnectionError):
                mine.append(self.connect("alice"))
                if len(mine) == CONNECTIONS_PER_USER:
                    self.assert_served("bob")
        self.assertEqual(len(mine), CONNECTIONS_PER_USER)
        self.assert_served("bob")
        self.assertEqual(free_memory("bob"), DONE)
        self.assertEqual(mine[-1].version(), ("3",))
        mine.pop().socket.close()
        self.assert_served_again("alice")

    def test_all_places_taken_end_with_their_connections(self):
        for _ in range(times(1, 5)):
            with contextlib.ExitStack() as all_of_them:
                count = 0
                for user in sorted(USERS)[-5:]:
                    for _ in range(CONNECTIONS_PER_USER):
                        with contextlib.suppress(ConnectionError):
                            all_of_them.enter_context(Client(user))
                            count += 1
                self.assertEqual(count, CONNECTIONS)
                with self.assertRaises(ConnectionError):
                    self.connect("bob")
            self.assert_served_again("bob")

    def test_unfinished_authentications_give_their_places_back_after_ten_seconds(self):
        authenticated = self.connect("alice")
        began = time.monotonic()
        beginnings = (b"", b"\0", b"\0AUTH EXTERNAL 353031", b"\0AUTH EXTERNAL 353031\r\n")
        ends = {}
        # With a sanitizer, the first ones end before the last places are taken.
        for number in range(8 if SANITIZED else CONNECTIONS_PER_USER - 1):
            ends[self.connect("alice", authenticate=False)] = None
            list(ends)[-1].send(beginnings[number % len(beginnings)])
        if not SANITIZED:
            with self.assertRaises(ConnectionError):
                self.connect("alice")
        self.assertEqual(free_memory("bob"), DONE)
        dripping = list(ends)[1]
        while None in ends.values():
            self.assertLess(time.monotonic() - began, AUTHENTICATION_SECONDS + 8)
            time.sleep(0.1)
            for client in [client for client, end in ends.items() if end is None]:
                try:
                    if client is dripping:
                        client.send(b"A")
                    client.socket.setblocking(False)
                    client.receive()
                except BlockingIOError:
                    pass
                except ConnectionError:
                    ends[client] = time.monotonic() - began
        self.assertGreaterEqual(min(ends.values()), AUTHENTICATION_SECONDS - 0.1)
        self.assertEqual(authenticated.version(), ("3",))
        self.assert_served_again("alice")

    def test_client_lost_at_any_point_of_a_call_hurts_nobody(self):
        login = b"\0AUTH EXTERNAL 353031\r\n"
        whole = login + b"BEGIN\r\n" + REMOVAL_CALL
        begin = len(whole) - len(REMOVAL_CALL)
        cuts = [0, 1, len(login) - 1, len(login), begin - 1, begin, begin + 1, begin + 16,
                begin + 40, len(whole) - 5, len(whole) - 1, len(whole)]

        def send_and_wait(size, more, ready):
            client = Client("alice", authenticate=False)
            client.send(whole[:size] + VERSION_CALL * more)
            os.write(ready, b".")
            signal.pause()

        for number in (signal.SIGKILL, signal.SIGSTOP):
            for size in cuts:
                with self.subTest(number.name, size=size), contextlib.ExitStack() as both:
                    ready, writer = os.pipe()
                    more = 1000 if size == len(whole) else 0
                    lost = both.enter_context(process(send_and_wait, size, more, writer))
                    os.read(ready, 1)
                    os.close(ready), os.close(writer)
                    os.kill(lost, number)
                    self.assert_served("bob")
                    eventually(lambda: free_memory("bob") == DONE, "the free lock")
        self.new_log()


class Mutations(AttackTestCase):
    def test_mutated_messages_hurt_nobody(self):
        chance = random.Random(20)
        bystander = self.connect("bob")
        for number in range(times(300, 10000)):
            with Client("alice") as client, contextlib.suppress(ConnectionError):
                client.send(mutated(chance, REMOVAL_CALL if number % 2 else VERSION_CALL))
                client.send(VERSION_CALL)
            if number % 50 == 0:
                self.assertEqual(bystander.version(), ("3",))
        self.assertEqual(bystander.version(), ("3",))
        self.new_log()

    def test_each_mutated_request_gets_one_answer(self):
        chance = random.Random(21)
        bodies = (b'["userAgent|org.example.absent","sharedAgent|absent"]',
                  '["userAgent|e\u0301\u00e9","systemDaemon|\\ud83d\\ude00", "\\u0000|"]'.encode())
        calls = 0
        with self.connect("alice") as client:
            for number in range(times(2000, 20000)):
                ok, _, text = client.remove(data=mutated(chance, bodies[number % 2]))
                self.assertEqual((ok, bool(text)), (False, True))
                calls += 1
            self.assertEqual(client.version(), ("3",))
        self.assertEqual(len(self.new_log()), calls)
        self.assertEqual(self.new_calls(), [])


class Exhaustion(AttackTestCase):
    def test_large_requests_leave_no_memory_with_idle_clients(self):
        clients = [self.connect("alice") for _ in range(times(12, 40))]
        for number, client in enumerate(clients):  # of which each fits where the last one was
            ok, _, text = client.remove(data=b"x" * ((times(8, 30) << 20) - (number << 12)))
            self.assertEqual((ok, bool(text)), (False, True))
        self.check_memory(f"{len(clients)} idle clients")
        self.new_log()

    @contextlib.contextmanager
    def control_group(self):
        """A control group for the helper and its children alone; skips where there is none."""
        hierarchy = Path("/stage/pids")
        hierarchy.mkdir()
        forms = (("cgroup", "-o", "pids", "pids"), ("cgroup2", "cgroup2"))
        if all(subprocess.run(["mount", "-t", *form, hierarchy], capture_output=True).returncode
               for form in forms):
            self.skipTest("no control groups in here")
        group = hierarchy / f"velmora-attack-{os.urandom(8).hex()}"
        try:
            group.mkdir()
            (group / "cgroup.procs").write_text(str(self.helper))
            if not (group / "pids.max").exists():
                self.skipTest("no control group counts processes in here")
            yield group
        finally:
            (hierarchy / "cgroup.procs").write_text(str(self.helper))
            eventually(lambda: not (group / "cgroup.procs").read_text(), "an empty control group")
            group.rmdir()
            subprocess.run(["umount", hierarchy], check=True)
            hierarchy.rmdir()

    def test_helper_out_of_threads_refuses_and_recovers(self):
        bystander = self.connect("bob")
        self.assertEqual(bystander.version(), ("3",))
        with self.control_group() as group:
            def allow(more):
                (group / "pids.max").write_text(str(threads(self.helper) + more))

            allow(0)
            for _ in range(200):
                with self.assertRaises(ConnectionError):
                    self.connect("alice")
            self.assertEqual(bystander.version(), ("3",))
            for more in (0, 1):  # not even the thread that waits for a tool; no tool
                allow(more)
                ok, text = bystander.call("freeMemoryWithReply")
                self.assertEqual((ok, "/usr/sbin/purge" in text), (False, True), text)
                self.assertEqual(bystander.remove("userAgent|org.example.updater")[0], False)
            eventually(lambda: threads(self.helper) <= self.idle[1] + 1, "threads ended")
            allow(2)
            self.assertEqual(bystander.call("freeMemoryWithReply"), DONE)
        self.assert_served("alice")
        self.new_log()

    @unittest.skipIf(SANITIZED, "a sanitizer copies what has come with each part of it")
    def test_message_on_its_way_when_memory_is_short_ends_its_connection_alone(self):
        bystander = self.connect("bob")
        half = VERSION_CALL[:4] + struct.pack("<I", 100 << 20) + VERSION_CALL[8:]
        client = self.connect("alice")
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
        client = self.connect("alice")
        client.send(half + bytes(3 << 20))
        self.assertFalse(select.select([client], [], [], 0.5)[0], "ended without need")

    def data_bytes(self):
        status = Path(f"/proc/{self.helper}/status").read_text()
        return int(status.split("VmData:")[1].split()[0]) * 1024

    def strain(self, bystander, chance):
        """Newcomers, operations and large requests; what came of them."""
        outcomes = {}

        def attempt(name, call):
            try:
                outcome = str(call())[:60]
            except ConnectionError:
                outcome = "closed"
            outcomes.setdefault(name, set()).add(outcome)

        newcomers = []
        for _ in range(20):
            attempt("newcomer", lambda: newcomers.append(self.connect("alice")))
        attempt("bystander", bystander.version)
        for client in [*newcomers[:8], bystander]:
            attempt("operation", lambda: client.call("freeMemoryWithReply"))
            size = chance.choice((1000, 100_000, 3_000_000, 30_000_000))
            attempt("removal", lambda: client.remove(data=b'["' + b"a" * size + b'"]'))
        for client in newcomers:
            client.socket.close()
        return outcomes

    @unittest.skipIf(SANITIZED, "a sanitizer ends the process that runs out")
    def test_helper_out_of_memory_ends_connections_and_recovers(self):
        chance = random.Random(22)
        sizes = [int(1000 * 1.3 ** step) for step in range(times(0, 45))]
        for spare in (0, 100_000, 1 << 20, 9 << 20, 20 << 20, 50 << 20, *sizes):
            with self.subTest(spare=spare):
                bystander = self.connect("bob")
                self.assertEqual(bystander.version(), ("3",))
                with self.limited(resource.RLIMIT_DATA, self.data_bytes() + spare):
                    outcomes = self.strain(bystander, chance)
                tell(f"  {spare >> 10} KiB to spare: {outcomes}")
                self.assert_served_again("alice")
                self.assert_served_again("bob")
                self.assertEqual(free_memory("bob"), DONE)
        self.new_log()


if __name__ == "__main__":
    main()
