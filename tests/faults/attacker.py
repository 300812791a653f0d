"""A helper with the fault shim before its C library, and the shim's hands.

The helper is this process's own child on a socket of this process's own, so that it can be killed
and started again on the same socket, as its on-demand service would.
"""

import contextlib
import ctypes
import errno
import mmap
import os
import signal
import socket
import struct
import time
from collections import namedtuple
from pathlib import Path

from removal_test import INVALID
from stage_support import HELPER, Client, children, descriptors, threads

FULL = os.environ.get("VELMORA_ATTACK") == "full"
ADDRESS, CONTROL, LOG = "/run/attacked.socket", "/stage/faults", "/stage/attacked.log"
SHIM = "/stage/tests/fault_shim.so"
FIELDS, FIELDS_AT, RECORDS_AT, RECORD = struct.Struct("<QIIIiIIIII"), 1024, 1088, 256
RECORD_COUNT = 4096
FAIL, FAIL_AFTERWARDS, SHORTEN, KILL = 1, 2, 3, 4
PR_SET_CHILD_SUBREAPER = 36
WAITING = ("7", "271", "219")  # poll, ppoll, and what becomes of them when a system is suspended

Record = namedtuple("Record", "call subject error allocations")

# What each call can really fail with; the first is the one that the bounded form takes.
STORAGE = "EIO ENOSPC EDQUOT EROFS"
ERRORS = {call: names.split() for call, names in {
    "open": "EACCES EIO EMFILE ENFILE ENOMEM EINTR", "openat": "EMFILE EIO EACCES ENFILE ENOMEM",
    "create": "ENOSPC EDQUOT EROFS EACCES EMFILE ENFILE EIO ENOMEM EINTR",
    "fstat": "EIO ENOMEM", "stat": "EACCES EIO ENOMEM", "lstat": "EIO EACCES ENOMEM",
    "readlink": "EIO EACCES ENOMEM", "read": "EIO EINTR ENOMEM", "pread": "EIO EINTR",
    "write": "ENOSPC EIO EDQUOT EINTR EFBIG", "close": "EIO EINTR ENOSPC",
    "fsync": f"{STORAGE} EINTR", "rename": f"ENOSPC EACCES ENOMEM {STORAGE}",
    "unlink": "EIO EACCES EPERM EROFS EBUSY", "unlinkat": "EPERM EIO EACCES EROFS EBUSY",
    "mkdir": f"{STORAGE} EACCES ENOMEM", "fchmod": "EROFS EPERM EIO", "fchown": "EPERM EIO EDQUOT",
    "fdopendir": "ENOMEM", "readdir": "EIO", "dup": "EMFILE", "close_range": "ENOMEM EMFILE",
    "posix_spawn": "EAGAIN ENOMEM EACCES ENOENT ETXTBSY EMFILE",
    "posix_spawn_file_actions_adddup2": "ENOMEM", "pthread_create": "EAGAIN ENOMEM",
    "waitid": "EINTR ECHILD", "waitpid": "EINTR ECHILD", "getrandom": "ENOSYS EINTR",
    "getpwuid_r": "EIO ERANGE EINTR EMFILE ENFILE ENOMEM", "socket": "EMFILE ENFILE ENOBUFS",
    "connect": "EAGAIN EACCES", "getsockopt": "EMFILE ENOMEM ENOBUFS",
    "accept4": "EMFILE ENFILE ENOMEM ENOBUFS ECONNABORTED EINTR EAGAIN EPERM",
    "poll": "ENOMEM EINTR", "ppoll": "EINTR ENOMEM", "recvmsg": "ECONNRESET EAGAIN EINTR ENOMEM",
    "sendmsg": "EPIPE EAGAIN EINTR ENOBUFS"}.items()}
SHORT = ("read", "pread", "write", "recvmsg", "sendmsg")
# What happens although the call reports a failure.
DONE_ALL_THE_SAME = {("close", name) for name in ERRORS["close"]} | {("waitpid", "ECHILD")}
# What lasts: a full disk, and no more descriptors.
SCARCE = ((("write", "create", "mkdir"), "ENOSPC"),
          (("open", "create", "openat", "dup", "socket"), "EMFILE"))


class Fault(namedtuple("Fault", "calls ordinal action error lasting")):
    """The `ordinal`th of `calls` goes wrong, or with `lasting` every one from there on."""

    def __str__(self):
        how = {SHORTEN: "is short", KILL: "is the helper's last"}.get(self.action, self.error)
        name = "/".join(self.calls) if len(self.calls) < 3 else f"{self.calls[0]}…"
        return f"{name} {self.ordinal}{' and all later' if self.lasting else ''}: {how}"


NO_FAULT = Fault((), 0, 0, None, False)


class Attack:
    """What one request has met and left: the calls it made, the problems found after it."""

    def __init__(self):
        self.fired, self.allocations, self.records = 0, 0, []
        self.reply, self.problems = None, []

    def ended_before(self, fault):
        """Runs differ a little: how often a message is asked for, what a thread finds ready."""
        count = self.allocations if "allocate" in fault.calls else \
            sum(record.call in fault.calls for record in self.records)
        return not self.fired and count < fault.ordinal


def failing(call, ordinal, error):
    action = FAIL_AFTERWARDS if (call, error) in DONE_ALL_THE_SAME else FAIL
    return Fault((call,), ordinal, action, error, False)


class Shim:
    def __init__(self):
        Path(CONTROL).write_bytes(bytes(RECORDS_AT + RECORD * RECORD_COUNT))
        with open(CONTROL, "r+b") as file:
            self.memory = mmap.mmap(file.fileno(), 0)

    @property
    def names(self):
        return self.memory[:FIELDS_AT].rstrip(b"\0").decode().split()

    def arm(self, fault):
        calls = sum(1 << self.names.index(call) for call in fault.calls)
        number = getattr(errno, fault.error) if fault.error else 0
        fields = [calls, 0, fault.action, fault.ordinal, number, fault.lasting, 0, 0, 0, 0]
        FIELDS.pack_into(self.memory, FIELDS_AT, *fields)
        self.memory[FIELDS_AT + 8] = 1  # armed, only now

    def hold(self):
        self.memory[FIELDS_AT + 8] = 0

    def results(self):
        """How often it struck, how many allocations there were, and the calls."""
        *_, fired, allocations, count = FIELDS.unpack_from(self.memory, FIELDS_AT)
        assert count <= RECORD_COUNT, "more calls than the shim can record"
        names, records = self.names, []
        for at in range(RECORDS_AT, RECORDS_AT + count * RECORD, RECORD):
            call, before, error = struct.unpack_from("<IIi", self.memory, at)
            subject = self.memory[at + 12:at + RECORD].split(b"\0", 1)[0]
            records.append(Record(names[call], subject.decode(), error, before))
        return fired, allocations, records


def soon(condition, what):
    deadline = time.monotonic() + 10
    while not condition():
        if time.monotonic() > deadline:
            raise AssertionError(f"not within 10 s: {what}")
        time.sleep(0.001)


class AttackedHelper:
    def __init__(self):
        ctypes.CDLL(None).prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)
        self.shim = Shim()
        self.listening = socket.socket(socket.AF_UNIX)
        self.listening.bind(ADDRESS)
        os.chmod(ADDRESS, 0o666)
        self.listening.listen(64)
        self.start()

    def start(self):
        self.pid = os.fork()
        if self.pid == 0:
            try:
                os.dup2(self.listening.fileno(), 3)
                os.set_inheritable(3, True)
                os.dup2(os.open(LOG, os.O_WRONLY | os.O_CREAT | os.O_APPEND), 2)
                os.execve(HELPER, [HELPER], {
                    "LISTEN_PID": str(os.getpid()), "LISTEN_FDS": "1", "PATH": "/usr/bin:/bin",
                    "LD_PRELOAD": SHIM, "FAULT_SHIM_CONTROL": CONTROL})
            finally:
                os._exit(127)
        self.greet()
        self.leave()
        self.idle = descriptors(self.pid), threads(self.pid)
        self.greet()

    def connect(self, user="alice"):
        return Client(user, path=ADDRESS)

    def greet(self):
        """A connection that is served, which shows that the operations' lock is free."""
        self.client = self.connect()
        self.client.socket.settimeout(40)
        reply = self.client.call("removeLegacyBackgroundItems", signature="ay",
                                 body=b"\2\0\0\0[]")
        assert reply == (False, b"", INVALID), f"the next request: {reply}"
        soon(self.waits, "a connection that waits")

    def leave(self):
        """Until no connection is left and the tools are reaped."""
        self.client.socket.close()
        soon(self.is_idle, "an idle helper")

    def is_idle(self):
        return threads(self.pid) == 1 and not children(self.pid) and self.waits()

    def has_ended(self):
        with contextlib.suppress(ChildProcessError):
            return os.waitpid(self.pid, os.WNOHANG) != (0, 0)
        return True

    def waits(self):
        """What the threads do for the last message is over: all wait for something new."""
        with contextlib.suppress(FileNotFoundError, ProcessLookupError):
            tasks = Path(f"/proc/{self.pid}/task").iterdir()
            return all((task / "syscall").read_text().split()[0] in WAITING
                       for task in tasks)
        return False

    def attack(self, scenario, fault=NO_FAULT, earlier=None):
        """Makes the request with the fault, or once more after an earlier one, and examines it."""
        attack = Attack()
        if not earlier:
            scenario.prepare()
        if scenario.from_the_knock:
            self.leave()
        self.shim.arm(fault)
        try:
            reply = scenario.request(self if scenario.from_the_knock else self.client)
        except ConnectionError:
            reply = None
        except TimeoutError:
            reply = None
            attack.problems.append("no reply in time")
        try:
            if fault.action == KILL:
                self.client.socket.close()
                soon(lambda: self.has_ended() or self.is_idle(), "an end")
                self.restart()
            else:
                self.examine(fault)
        except (AssertionError, OSError) as problem:
            attack.problems.append(f"{type(problem).__name__}: {problem}")
            self.restart()
        attack.fired, attack.allocations, attack.records = self.shim.results()
        attack.reply = reply
        attack.problems += scenario.problems(reply, earlier or fault)
        return attack

    def examine(self, fault):
        assert not self.has_ended(), "the helper has ended"
        self.leave()
        left = descriptors(self.pid), threads(self.pid)
        assert left[0] <= self.idle[0] and left[1] <= self.idle[1], f"{self.idle} became {left}"
        diagnostics = list(Path("/tmp").glob("driftwhale-helper-*"))
        for file in diagnostics:
            file.unlink()
        assert not diagnostics or "unlink" in fault.calls, diagnostics
        self.shim.hold()
        self.greet()

    def restart(self):
        """After the end of the helper and of the tools it leaves behind, as init would do it."""
        if not self.has_ended():
            os.kill(self.pid, signal.SIGKILL)
        self.client.socket.close()
        with contextlib.suppress(ChildProcessError):
            while True:
                os.waitpid(-1, 0)
        self.shim.hold()
        for file in Path("/tmp").glob("driftwhale-helper-*"):
            file.unlink()
        self.start()

    def stop(self):
        os.kill(self.pid, signal.SIGKILL)
        os.waitpid(self.pid, 0)
        self.listening.close()
        os.unlink(ADDRESS)
        self.client.socket.close()
