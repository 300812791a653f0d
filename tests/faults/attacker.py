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
from collections import namedtuple
from functools import partial
from pathlib import Path

from removal_test import INVALID
from stage_support import (HELPER, Client, children, descriptors, eventually, removal_request,
                           threads)

ADDRESS, CONTROL, LOG = "/run/attacked.socket", "/stage/faults", "/stage/attacked.log"
SHIM = "/stage/tests/fault_shim.so"
FIELDS = struct.Struct("<IIIIiIIII220s")  # of the shim's Control; what it has recorded follows
RECORDED_BYTES = 1 << 20
NONE, FAIL, FAIL_AFTERWARDS, SHORTEN, KILL = range(5)
PR_SET_CHILD_SUBREAPER = 36
WAITING = ("7", "271", "219")  # poll, ppoll, and what becomes of them when a system is suspended

# What each call can really fail with; the bounded form takes one after the other.
STORAGE = "EIO ENOSPC EDQUOT EROFS"
ERRORS = {call: names.split() for call, names in {
    "open": "EACCES EIO EMFILE ENFILE ENOMEM EINTR", "openat": "EMFILE EIO EACCES ENFILE ENOMEM",
    "create": "ENOSPC EDQUOT EROFS EACCES EMFILE ENFILE EIO ENOMEM EINTR",
    "fstat": "EIO ENOMEM", "stat": "EACCES EIO ENOMEM", "lstat": "EIO EACCES ENOMEM",
    "readlink": "EIO EACCES ENOMEM", "read": "EIO EINTR ENOMEM", "pread": "EIO EINTR",
    "write": "EIO EINTR", "pwrite": "ENOSPC EIO EDQUOT EINTR EFBIG",
    "ftruncate": "EFBIG EIO", "fstatat": "EIO", "close": "EIO EINTR ENOSPC",
    "fsync": f"{STORAGE} EINTR", "rename": f"ENOSPC EACCES ENOMEM {STORAGE}",
    "unlink": "EIO EACCES EPERM EROFS EBUSY", "unlinkat": "EPERM EIO EACCES EROFS EBUSY ENOENT",
    "mkdir": f"{STORAGE} EACCES ENOMEM", "fchmod": "EROFS EPERM EIO", "fchown": "EPERM EIO EDQUOT",
    "readdir": "EIO", "dup": "EMFILE", "close_range": "ENOMEM EMFILE",
    "posix_spawn": "EAGAIN ENOMEM EACCES ENOENT ETXTBSY EMFILE",
    "pthread_create": "EAGAIN ENOMEM", "waitid": "EINTR ECHILD", "waitpid": "EINTR ECHILD",
    "getrandom": "ENOSYS EINTR", "getpwuid_r": "EIO ERANGE EINTR EMFILE ENFILE ENOMEM",
    "socket": "EMFILE ENFILE ENOBUFS", "connect": "EAGAIN EACCES",
    "getsockopt": "EMFILE ENOMEM ENOBUFS",
    "accept4": "EMFILE ENFILE ENOMEM ENOBUFS ECONNABORTED EINTR EAGAIN EPERM",
    "poll": "ENOMEM EINTR", "ppoll": "EINTR ENOMEM", "recvmsg": "ECONNRESET EAGAIN EINTR ENOMEM",
    "sendmsg": "EPIPE EAGAIN EINTR ENOBUFS"}.items()}
# After which a request must not go on, and what is no failure to it when it is interrupted.
BINDING = ("close_range", "fchmod", "fchown", "ftruncate")
REPEATED = ("pread", "pwrite", "fsync", "waitid", "waitpid", "getpwuid_r")
SHORT = ("read", "pread", "write", "pwrite")
# What happens although the call reports a failure.
DONE_ALL_THE_SAME = {("waitpid", "ECHILD"), ("unlinkat", "ENOENT"),
                     *(("close", name) for name in ERRORS["close"])}
# What lasts: a full disk, no more descriptors, and no more threads or processes.
SCARCE = ((("pwrite", "create", "mkdir"), "ENOSPC"),
          (("open", "create", "openat", "dup", "socket"), "EMFILE"),
          (("pthread_create", "posix_spawn"), "EAGAIN"))

Record = namedtuple("Record", "call error allocations subject")
Attack = namedtuple("Attack", "reply fired allocations records problems")


class Fault(namedtuple("Fault", "calls ordinal action error lasting", defaults=(None, False))):
    """The `ordinal`th of `calls` goes wrong, or with `lasting` every one from there on."""

    def __str__(self):
        how = {SHORTEN: "is short", KILL: "is the helper's last"}.get(self.action, self.error)
        return (f"{'/'.join(self.calls[:2])} {self.ordinal}"
                f"{' and all later' if self.lasting else ''}: {how}")

    def may_miss(self, attack):
        """Runs differ a little: how often a message is asked for, what a thread finds ready."""
        count = attack.allocations if "allocate" in self.calls else \
            sum(record.call in self.calls for record in attack.records)
        return count < self.ordinal


NO_FAULT = Fault((), 0, NONE)


class Shim:
    def __init__(self):
        Path(CONTROL).write_bytes(bytes(FIELDS.size + RECORDED_BYTES))
        with open(CONTROL, "r+b") as file:
            self.memory = mmap.mmap(file.fileno(), 0)

    def arm(self, fault):
        is_done = (*fault.calls, fault.error) in DONE_ALL_THE_SAME
        error = getattr(errno, fault.error) if fault.error else 0
        FIELDS.pack_into(self.memory, 0, 0, FAIL_AFTERWARDS if is_done else fault.action,
                         fault.ordinal, fault.lasting, error, 0, 0, 0, 0,
                         f" {' '.join(fault.calls)} ".encode())
        self.memory[0] = 1  # armed, only now

    def hold(self):
        self.memory[0] = 0

    def results(self):
        """How often it struck, how many allocations there were, and the calls."""
        fired, allocations, size = FIELDS.unpack_from(self.memory)[6:9]
        assert size <= RECORDED_BYTES, "more calls than the shim can record"
        records = []
        for line in self.memory[FIELDS.size:FIELDS.size + size].decode().splitlines():
            call, error, before, *subject = line.split(maxsplit=3)
            records.append(Record(call, int(error), int(before), "".join(subject)))
        return fired, allocations, records


soon = partial(eventually, seconds=10, pause=0.001)


class AttackedHelper:
    def __init__(self):
        ctypes.CDLL(None).prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)
        self.shim = Shim()
        self.listening = socket.socket(socket.AF_UNIX)
        Path(ADDRESS).unlink(missing_ok=True)
        self.listening.bind(ADDRESS)
        os.chmod(ADDRESS, 0o666)
        self.listening.listen(64)
        self.start()

    def start(self):
        self.pid = os.posix_spawn(
            "/bin/sh", ["sh", "-c", f"umask 0777; LISTEN_PID=$$ LD_PRELOAD={SHIM} exec {HELPER}"],
            {"LISTEN_FDS": "1", "PATH": "/usr/bin:/bin", "FAULT_SHIM_CONTROL": CONTROL},
            file_actions=[(os.POSIX_SPAWN_DUP2, self.listening.fileno(), 3),
                          (os.POSIX_SPAWN_OPEN, 2, LOG, os.O_WRONLY | os.O_CREAT, 0o600)])
        self.greet()
        self.leave()
        self.idle = descriptors(self.pid), threads(self.pid)
        self.greet()

    def greet(self):
        """A connection that is served, which shows that the operations' lock is free."""
        self.client = Client("alice", path=ADDRESS)
        self.client.socket.settimeout(40)
        reply = self.client.call(**removal_request())
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
        reply, problems = None, []
        if not earlier:
            scenario.prepare()
        for file in Path("/tmp").iterdir():
            file.unlink()
        if scenario.from_the_knock:
            self.leave()
        self.shim.arm(fault)
        try:
            with contextlib.suppress(ConnectionError):
                reply = scenario.request(self.client)
            self.examine(fault)
        except (AssertionError, OSError) as problem:
            problems.append(f"{type(problem).__name__}: {problem}")
            self.restart()
        return Attack(reply, *self.shim.results(),
                      [*problems, *scenario.problems(reply, earlier or fault)])

    def examine(self, fault):
        """What the helper has kept, and whether it serves the next one, if need be a new one."""
        if fault.action == KILL:
            self.client.socket.close()
            soon(lambda: self.has_ended() or self.is_idle(), "an end")
            return self.restart()
        assert not self.has_ended(), "the helper has ended"
        self.leave()
        left = descriptors(self.pid), threads(self.pid)
        assert left[0] <= self.idle[0] and left[1] <= self.idle[1], f"{self.idle} became {left}"
        assert not list(Path("/tmp").iterdir()) or "unlink" in fault.calls, "a file is left"
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
        self.start()

    def stop(self):
        os.kill(self.pid, signal.SIGKILL)
        self.client.socket.close()
        self.listening.close()
