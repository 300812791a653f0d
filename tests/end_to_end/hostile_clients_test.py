"""Genuinely signed clients that want to hurt: garbage, silence, and wrong calls."""

import contextlib
import os
import random
import resource
import socket
import struct
import subprocess
import time

from stage_support import (SOCKET, Client, StageTestCase, descriptors, eventually, free_memory,
                           main, message, processor_seconds, resident_bytes)

VERSION_CALL = message("protocolVersionWithReply")
DONE = (True, "")


class HostileClients(StageTestCase):
    def assert_idle_processor(self):
        """A helper with nothing to do uses no more than a tenth of a second in one."""
        before = processor_seconds(self.helper)
        time.sleep(1)
        self.assertLess(processor_seconds(self.helper) - before, 0.1)

    def test_garbage_ends_only_its_own_connection(self):
        noise = random.Random(1)
        header = struct.pack("<cBBBIII", b"l", 1, 0, 1, 0, 1, 0)
        before = {"noise": noise.randbytes(5000), "endless line": b"\0AUTH " + b"A" * 300000,
                  "other user": b"\0AUTH EXTERNAL 353032\r\nBEGIN\r\n" + VERSION_CALL,
                  "anonymous": b"\0AUTH ANONYMOUS\r\nBEGIN\r\n" + VERSION_CALL,
                  "no authentication": b"\0BEGIN\r\n" + VERSION_CALL, "no NUL": VERSION_CALL}
        after = {"noise": noise.randbytes(5000), "no fields": header,
                 "4 GB of fields": header[:12] + b"\xff" * 4, "4 GB of body":
                 VERSION_CALL[:4] + b"\xff" * 4 + VERSION_CALL[8:],
                 "other byte order": b"B" + VERSION_CALL[1:],
                 "fields beyond the end": header[:12] + b"\x08\0\0\0" + b"\1\1o\0\xff\0\0\0"}
        bystander = self.connect("bob")
        for stage, cases in (("before", before), ("after", after)):
            for name, data in cases.items():
                with self.subTest(f"{name} {stage} authentication"):
                    client = self.connect("alice", authenticate=stage == "after")
                    with contextlib.suppress(ConnectionError):
                        client.send(data)
                        if not name.startswith("4 GB"):  # which is not to be waited for
                            client.socket.shutdown(socket.SHUT_WR)
                        answer = b"".join(iter(lambda: client.socket.recv(4096), b""))
                        self.assertNotIn(b"3\0", answer)
                    self.assertEqual(bystander.version(), ("3",))
        self.assert_logged()

    def test_unsigned_garbage_is_not_read(self):
        script = (f"import os, socket; peer = socket.socket(1); peer.connect('{SOCKET}'); "
                  "peer.settimeout(5)\n"
                  "try: peer.sendall(os.urandom(1 << 20)); print(peer.recv(10))\n"
                  "except ConnectionError: print('closed')")
        result = subprocess.run(["/usr/bin/python3", "-c", script], timeout=60, text=True,
                                stdout=subprocess.PIPE)
        self.assertIn(result.stdout, ("closed\n", "b''\n"))
        self.assert_logged()

    def test_half_a_message_keeps_nobody_waiting(self):
        client = self.connect("alice")
        for cut in (1, 16, len(VERSION_CALL) - 1):
            client.send(VERSION_CALL[:cut])
            self.assert_served("bob")
            self.assertEqual(free_memory("bob"), DONE)
            if cut == 16:
                self.assert_idle_processor()
            client.send(VERSION_CALL[cut:])
            self.assertEqual(client.reply(), ("3",))

    def test_client_that_never_reads_costs_little_and_stops_only_itself(self):
        client = self.connect("alice")
        before = resident_bytes(self.helper)
        flood = memoryview(VERSION_CALL * 300000)
        sent = 0
        client.socket.settimeout(1)
        with self.assertRaises(TimeoutError, msg="the helper took in everything"):
            while sent < len(flood):
                sent += client.socket.send(flood[sent:sent + 65536])
        self.assertLess(resident_bytes(self.helper) - before, 128 << 20)
        self.assert_idle_processor()
        self.assert_served("bob")
        self.assertEqual(free_memory("bob"), DONE)
        client.socket.settimeout(10)
        for _ in range(sent // len(VERSION_CALL)):
            self.assertEqual(client.reply(), ("3",))

    def test_wrong_call_is_an_error_and_the_connection_goes_on(self):
        error = "org.freedesktop.DBus.Error."
        text = dict(signature="s", body=b"\1\0\0\0x\0")
        cases = {
            "path": (dict(path="/other"), "UnknownObject"),
            "interface": (dict(interface="org.example.Other"), "UnknownInterface|UnknownMethod"),
            "member": (dict(member="rmWithReply"), "UnknownMethod"),
            "argument": (text, "InvalidArgs"),
            "no argument": (dict(member="removeLegacyBackgroundItems"), "InvalidArgs"),
            "text for bytes": (dict(member="removeLegacyBackgroundItems") | text, "InvalidArgs"),
            "property": (dict(member="Get", interface="org.freedesktop.DBus.Properties",
                              signature="ss", body=b"\0\0\0\0\0\0\0\0\0\0\0\0\0"),
                         "InvalidArgs|.*Unknown.*"),
        }
        client = self.connect("alice")
        for name, (parts, expected) in cases.items():
            with self.subTest(name):
                reply = client.call(**{"member": "protocolVersionWithReply"} | parts)
                self.assertRegex(str(reply), f"^{error}({expected})$")
                self.assertEqual(client.version(), ("3",))
        for kind in (2, 3, 4, 77):  # replies to nothing, a signal, an unknown type: no answer
            with self.subTest(kind=kind), contextlib.suppress(ConnectionError):
                client = self.connect("alice")
                client.request("freeMemoryWithReply", kind=kind)
                self.assertEqual(client.version(), ("3",))
        self.assertEqual(self.new_calls(), [])
        self.assert_logged()

    def test_descriptors_sent_along_cost_the_helper_none(self):
        bystander = self.connect("bob")
        devices = [os.open("/dev/null", os.O_RDONLY) for _ in range(20)]
        for authenticate in (True, False):
            client = self.connect("alice", authenticate=authenticate)
            before = descriptors(self.helper)
            with contextlib.suppress(ConnectionError):
                for _ in range(10):
                    socket.send_fds(client.socket, [VERSION_CALL[:10]], devices)
            self.assertEqual(bystander.version(), ("3",))
            self.assertLessEqual(descriptors(self.helper), before + 2)
        for device in devices:
            os.close(device)

    def test_helper_out_of_descriptors_refuses_without_spinning_and_recovers(self):
        limits = resource.prlimit(self.helper, resource.RLIMIT_NOFILE)

        def allow(soft):
            resource.prlimit(self.helper, resource.RLIMIT_NOFILE, (soft, limits[1]))

        self.addCleanup(allow, limits[0])
        allow(self.idle[0] + 4)
        with self.assertRaises(ConnectionError):
            for _ in range(8):
                self.connect("alice")
        with self.assertRaises(ConnectionError):
            self.connect("bob")
        allow(3)  # not even the newcomer that is to be refused can be taken
        waiting = self.connect("bob", authenticate=False)
        self.assert_idle_processor()
        allow(limits[0])
        waiting.authenticate(502)
        self.assertEqual(waiting.version(), ("3",))
        self.assertEqual(free_memory("bob"), DONE)
        self.new_log()


if __name__ == "__main__":
    main()
