"""What the end-to-end tests share: a raw client, the stage's files, and the check after each test.

Runs inside the stage as root. main() replaces the test process by a signed copy of Python, so
that the tests themselves are the genuine client and can send it any bytes; as which user they
connect is the effective user at that moment.
"""

import contextlib
import json
import os
import re
import shutil
import socket
import struct
import subprocess
import sys
import time
import unittest
from pathlib import Path

CONSTANTS = dict(re.findall(r"(\w+)='(.*)'", Path("/stage/build_constants.env").read_text()))
SERVICE, CLIENT_IDENTIFIER = CONSTANTS["HelperServiceName"], CONSTANTS["ClientBundleIdentifier"]
INTERFACE = CONSTANTS["VendorLabelPrefix"] + "VelmoraMaintenanceHelperXPC"
HELPER = f"/Library/PrivilegedHelperTools/{SERVICE}"
SANITIZED = b"__asan_init" in (program := Path(HELPER).read_bytes()) or b"__tsan_init" in program
SOCKET = f"/run/{SERVICE}.socket"
USERS = {"root": 0, "alice": 501, "bob": 502}
STAFF = 20
BUSY = "Another maintenance operation is already running."
CONTROL, HOLD = Path("/stage/control"), Path("/stage/hold")
SIGNED_PYTHON = "/stage/tests/python3"
ERROR = 3  # the message type


def eventually(condition, what, seconds=30, pause=0.02):
    deadline = time.monotonic() + seconds
    while not (result := condition()):
        if time.monotonic() > deadline:
            raise AssertionError(f"not within {seconds} s: {what}")
        time.sleep(pause)
    return result


# --- A raw client of the bus ---------------------------------------------------------------


def padded(data):
    return data + bytes(-len(data) % 8)


def message(member, serial=1, signature="", body=b"", order="<"):
    fields = b""
    for code, form, text in ((1, b"o", "/"), (2, b"s", INTERFACE), (3, b"s", member)):
        fields = padded(fields) + bytes([code]) + b"\1" + form + b"\0"
        fields += struct.pack(order + "I", len(text)) + text.encode() + b"\0"
    if signature:
        text = signature.encode()
        fields = padded(fields) + b"\x08\1g\0" + bytes([len(text)]) + text + b"\0"
    header = struct.pack(order + "cBBBIII", b"l" if order == "<" else b"B", 1, 0, 1, len(body),
                         serial, len(fields))
    return padded(header + fields) + body


def removal_request(*keys, data=None, order="<"):
    """The parts of a message that asks for these items, or of these bytes."""
    data = json.dumps(keys).encode() if data is None else data
    return dict(member="removeLegacyBackgroundItems", signature="ay",
                body=struct.pack(order + "I", len(data)) + data, order=order)


def values_in(data, signature, at=0):
    """The values of types s, o, g, u, b and ay that `signature` names; where they end."""
    values = []
    for form in re.findall("ay|.", signature):
        if form == "g":
            size, start = data[at], at + 1
        else:
            start = at + -at % 4 + 4
            size, = struct.unpack_from("<I", data, start - 4)
        if form in "ub":
            values.append(bool(size) if form == "b" else size)
            at = start
        else:
            content = data[start:start + size]
            values.append(content if form == "ay" else content.decode())
            at = start + size + (form != "ay")
    return values, at


class Client(contextlib.AbstractContextManager):
    """One connection of `user`; authenticated unless told otherwise.

    A connection that the helper has closed shows as a ConnectionError, silence as a TimeoutError.
    """

    def __init__(self, user="alice", authenticate=True, path=SOCKET):
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.settimeout(30)
        self.buffer, self.serial = b"", 0
        try:
            os.seteuid(USERS[user])
            try:
                self.socket.connect(path)
            finally:
                os.seteuid(0)
            if authenticate:
                self.authenticate(USERS[user])
        except OSError:
            self.socket.close()
            raise

    def authenticate(self, uid):
        self.send(b"\0AUTH EXTERNAL %s\r\n" % str(uid).encode().hex().encode())
        while not self.buffer.endswith(b"\r\n"):
            self.buffer += self.receive()
        self.buffer = b""
        self.send(b"BEGIN\r\n")

    def __exit__(self, *_):
        self.socket.close()

    def fileno(self):
        return self.socket.fileno()

    def send(self, data):
        self.socket.sendall(data)

    def receive(self):
        if not (data := self.socket.recv(65536)):
            raise ConnectionResetError("closed by the helper")
        return data

    def request(self, member, **parts):
        self.serial += 1
        self.send(message(member, self.serial, **parts))

    def reply(self):
        """The next reply's values; of an error, its name alone."""
        self.take(0)
        kind, size, fields = struct.unpack("<xB2xI4xI", self.take(16))
        header = self.take(fields + -fields % 8)
        signature, name, at = "", None, 0
        while at < fields:
            at += -at % 8
            code, form = header[at], chr(header[at + 2])
            (value,), at = values_in(header, form, at + 4)
            signature = value if code == 8 else signature
            name = value if code == 4 else name
        body = self.take(size)
        return name if kind == ERROR else tuple(values_in(body, signature)[0])

    def take(self, size):
        while len(self.buffer) < size:
            self.buffer += self.receive()
        data, self.buffer = self.buffer[:size], self.buffer[size:]
        return data

    def call(self, member, **parts):
        self.request(member, **parts)
        return self.reply()

    def version(self):
        return self.call("protocolVersionWithReply")

    def remove(self, *keys, data=None):
        return self.call(**removal_request(*keys, data=data))


def free_memory(user="alice"):
    with Client(user) as client:
        return client.call("freeMemoryWithReply")


def run_as(user, *command, **options):
    defaults = dict(capture_output=True, text=True, timeout=60, user=USERS[user], group=STAFF,
                    extra_groups=[])
    return subprocess.run(command, **(defaults | options))


# --- The helper as the system sees it ------------------------------------------------------


def helper_pid():
    """The helper behind the stage's socket; None without one."""
    for folder in Path("/proc").glob("[0-9]*"):
        with contextlib.suppress(OSError):
            if (folder / "cmdline").read_bytes() == HELPER.encode() + b"\0":
                return int(folder.name)
    return None


def descriptors(pid):
    return len(os.listdir(f"/proc/{pid}/fd"))


def threads(pid):
    return len(os.listdir(f"/proc/{pid}/task"))


def children(pid):
    found = []
    for file in Path(f"/proc/{pid}/task").glob("*/children"):
        with contextlib.suppress(OSError):
            found += file.read_text().split()
    return found


def resident_bytes(pid):
    return int(re.search(r"VmRSS:\s+(\d+)", Path(f"/proc/{pid}/status").read_text())[1]) * 1024


def processor_seconds(pid):
    times = Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()
    return (int(times[11]) + int(times[12])) / os.sysconf("SC_CLK_TCK")


class StageTestCase(unittest.TestCase):
    """After each test the helper is the one it was before, and has kept nothing."""

    def setUp(self):
        self.marks = {}
        self.helper = self.wake_helper()
        self.idle = self.settled(self.helper)
        self.new_log(), self.new_calls()
        self.log_began = self.marks["/stage/helper.log"]
        self.addCleanup(self.check_helper)

    @staticmethod
    def wake_helper():
        with Client("root") as client:
            client.version()
        return helper_pid()

    @staticmethod
    def settled(pid):
        """Descriptors and threads once every earlier connection has gone."""
        readings = []

        def is_steady():
            readings.append((descriptors(pid), threads(pid)))
            return len(readings) >= 5 and len(set(readings[-5:])) == 1 and not children(pid)

        eventually(is_steady, "an idle helper")
        return readings[-1]

    def check_helper(self):
        self.assertEqual(helper_pid(), self.helper, "the helper has ended")
        eventually(lambda: descriptors(self.helper) <= self.idle[0], "descriptors given back")
        eventually(lambda: threads(self.helper) <= self.idle[1], "threads ended")
        eventually(lambda: not children(self.helper), "tools reaped")
        self.assertEqual(list(Path("/tmp").glob("driftwhale-helper-*")), [])
        log = Path("/stage/helper.log").read_bytes()[self.log_began:].decode(errors="replace")
        complaint = re.search(r"(?s)(Sanitizer|runtime error).{,4000}", log)
        self.assertFalse(complaint, complaint and complaint[0])

    def new_lines(self, file):
        data = Path(file).read_bytes()[self.marks.get(file, 0):]
        self.marks[file] = self.marks.get(file, 0) + len(data)
        return data.decode().splitlines()

    def new_log(self):
        return self.new_lines("/stage/helper.log")

    def new_calls(self):
        return self.new_lines("/stage/calls.log")

    def assert_logged(self, *texts):
        """Exactly these lines are new in the helper's log."""
        self.assertEqual(self.new_log(), [f"{SERVICE} {text}" for text in texts])

    def connect(self, *arguments, **options):
        client = Client(*arguments, **options)
        self.addCleanup(client.socket.close)
        return client

    def assert_served(self, user="bob"):
        with Client(user) as client:
            self.assertEqual(client.version(), ("3",))

    def control(self, tool, *lines):
        (CONTROL / tool).write_text("".join(line + "\n" for line in lines))
        self.addCleanup((CONTROL / tool).unlink, missing_ok=True)

    @contextlib.contextmanager
    def held(self, *tools):
        """These tools do not end before the block does, or call what it is given."""
        HOLD.touch()
        for tool in tools:
            self.control(tool, f"run=while [ -e {HOLD} ]; do sleep 0.02; done")
        release = lambda: HOLD.unlink(missing_ok=True)
        try:
            yield release
        finally:
            release()
            for tool in tools:
                (CONTROL / tool).unlink(missing_ok=True)

    def wait_for_calls(self, *lines):
        found = []
        eventually(lambda: found.extend(self.new_calls()) or len(found) >= len(lines), lines)
        self.assertEqual(found, list(lines))


def main():
    if sys.executable != SIGNED_PYTHON:
        shutil.copy("/usr/bin/python3", SIGNED_PYTHON)
        subprocess.run(["stage-sign", CLIENT_IDENTIFIER, SIGNED_PYTHON], check=True)
        os.execv(SIGNED_PYTHON, [SIGNED_PYTHON, "-B", *sys.argv])
    unittest.main(verbosity=2)
