"""What is under attack: requests, how each is made ready, and what must hold after it.

Whatever goes wrong, each item is in its folder or wholly in the archive, the one reply is true,
and the next request is served.
"""

import errno
import json
import os
import plistlib
import re
import shutil
import stat
from collections import Counter
from pathlib import Path

from attack_support import FULL
from attacker import (ADDRESS, BINDING, ERRORS, FAIL, KILL, NONE, REPEATED, SCARCE, SHORT, SHORTEN,
                      Fault)
from removal_test import ARCHIVE, CHANGED, FOLDERS, UNSAFE, Item
from stage_support import CONTROL as TOOL_CONTROL
from stage_support import Client

CALLS = Path("/stage/calls.log")
SAMPLES = 40  # of what there is more of than that, in the bounded form
DRIFT = 4     # of the number of an allocation: a new thread may find its stack ready, or not


class Attacked:
    """One request of alice's."""

    from_the_knock = False
    first_step = None  # the call with which the work itself begins
    binding = BINDING
    messages = []      # what the reply may say of a failure, beside the system's own reason

    def prepare(self):
        CALLS.write_bytes(b"")

    def learn(self, attack):
        """From a run without a fault."""
        self.allocations, self.records, self.reply = attack.allocations, attack.records, attack.reply
        self.undo = len(self.records)
        calls = [record.call for record in self.records]
        self.counts = Counter(calls)
        self.begins = calls.index(self.first_step)
        self.ends = len(calls) - 1 - calls[::-1].index("sendmsg")

    def position(self, fault, drift=0):
        """The number of calls before the fault; of an allocation only nearly, so many to or fro."""
        if "allocate" in fault.calls:
            return sum(record.allocations < fault.ordinal + drift for record in self.records)
        places = [at for at, record in enumerate(self.records) if record.call in fault.calls]
        return places[fault.ordinal - 1]

    def faults(self):
        for call, count in sorted(self.counts.items()):
            errors = ERRORS[call]
            for number in self.some(count if FULL else max(count, len(errors))):
                for error in errors if FULL else [errors[number % len(errors)]]:
                    yield Fault((call,), number % count + 1, FAIL, error)
            for ordinal in self.some(count) if call in SHORT else ():
                yield Fault((call,), ordinal, SHORTEN)
        for calls, error in SCARCE:
            for ordinal in self.some(sum(self.counts[call] for call in calls)):
                yield Fault(calls, ordinal, FAIL, error, True)
        for lasting in (False, True):
            for ordinal in self.some(self.allocations):
                yield Fault(("allocate",), ordinal, FAIL, "ENOMEM", lasting)

    def kills(self):
        """Before each call in turn; in the bounded form, before every fourth."""
        seen = Counter()
        for at, record in enumerate(self.records):
            seen[record.call] += 1
            if FULL or at % 4 == 0:
                yield Fault((record.call,), seen[record.call], KILL)

    def is_left(self):
        return True

    def is_as_ever(self, reply):
        return reply[0]

    @staticmethod
    def some(count):
        return range(1, count + 1, 1 if FULL else max(1, count // SAMPLES))

    def may_end_unanswered(self, fault):
        """For want of memory for the reply, or because the message or the reply cannot pass."""
        if fault.action in (NONE, KILL):
            return fault.action == KILL
        if "allocate" in fault.calls:
            first, last = self.position(fault, -DRIFT), self.position(fault, DRIFT)
            return fault.lasting or not self.begins < first <= last < self.ends
        return not self.begins <= self.position(fault) < self.ends and \
            fault.calls[0] in ("recvmsg", "sendmsg", "ppoll", "poll", "getsockopt")

    def problems(self, reply, fault):
        """What is wrong after the request that `fault` has hit; `reply` is None for none."""
        if reply is None:
            if not self.may_end_unanswered(fault):
                yield "no reply"
        elif reply[0] and not self.is_done() or not reply[0] and not self.is_true(reply[-1], fault):
            yield f"untrue: {reply}"
        elif self.is_no_failure(fault):
            if reply != self.reply:
                yield f"given up: {reply}"
        elif fault.action == FAIL and fault.calls[0] in self.binding and \
                self.position(fault) < self.undo and reply == self.reply:
            yield "passed over"

    @staticmethod
    def is_no_failure(fault):
        return fault.action == SHORTEN or fault.error == "EINTR" and fault.calls[0] in REPEATED

    def is_true(self, text, fault):
        reason = re.escape(os.strerror(getattr(errno, fault.error or "EIO")))
        forms = [f"Could not [a-z]+ .+: {reason}\\.",
                 f"The background item \\S+ could not be removed: {reason}\\.",
                 "The maintenance helper could not create a secure diagnostic file\\."]
        if fault.error == "ENOMEM":
            forms += ["Out of memory\\."]
        if fault.error == "ECHILD":
            forms += ["\\w+ exited with status -1"]
        return any(re.fullmatch(form, text) for form in forms + self.messages)


class Operation(Attacked):
    first_step = "getrandom"
    # Of a removal's probe it means that the job is not loaded.
    binding = (*BINDING, "waitpid")

    def request(self, client):
        return client.call("flushDNSCacheWithReply")

    def is_done(self):
        return CALLS.read_text() == ("/usr/bin/dscacheutil -flushcache\n"
                                     "/usr/bin/killall -HUP mDNSResponder\n")


class Removal(Attacked):
    """An agent that is loaded, a daemon that is not, and another agent, which is found changed once
    it has been stopped and archived: this is undone."""

    first_step = "getpwuid_r"

    def prepare(self):
        super().prepare()
        shutil.rmtree(ARCHIVE.parent, ignore_errors=True)
        contents = plistlib.dumps({"Label": "attacked.agent"}) + bytes(8192)
        first, _, last = self.items = [Item("attacked.agent", contents=contents), Item(
            "attacked.daemon", "systemDaemon", loaded=False), Item("attacked.last")]
        (TOOL_CONTROL / "launchctl.bootout").write_text(
            f"run=[ -e '{first.job}' ] || echo >>'{last.path}'\n")
        # The stage's own way, which reads the file with Python, takes too long.
        (TOOL_CONTROL / "launchctl.bootstrap").write_text(
            "".join(f"run=[ ! -e '{item.path}' ] || touch '{item.job}'\n"
                    for item in (first, last)) + "exit=0\n")
        labels = "|".join(re.escape(item.label) for item in self.items)
        folders = "|".join(map(str, FOLDERS.values()))
        self.messages = [
            CHANGED.format(f"({labels})"), UNSAFE.format(f"({folders})"),
            f"The background item ({labels}) is no longer present in an allowed launchd folder.",
            "The signed-in user\u2019s home directory could not be resolved safely."]

    def learn(self, attack):
        super().learn(attack)
        self.undo = max(at for at, record in enumerate(self.records) if record.call == "unlink"
                        and ARCHIVE.name in record.subject)

    def request(self, client):
        keys = [item.key for item in self.items if self.stays(item)]
        ok, response, text = client.remove(*keys)
        return ok and json.loads(response) == keys, text

    def is_done(self):
        return not self.is_left()

    def is_left(self):
        return any(item.path.exists() for item in self.items)

    def is_as_ever(self, reply):
        """Where the job was no longer loaded, nothing changes the file this time."""
        return reply in ((True, ""), (False, CHANGED.format(self.items[-1].label)))

    def stays(self, item):
        return is_copy(item.path, item)

    def problems(self, reply, fault):
        yield from super().problems(reply, fault)
        undisturbed = fault.action != KILL and "unlink" not in fault.calls
        for item in self.items:
            if not self.stays(item) and (item.path.exists() or not whole_copies(item)):
                yield f"lost: {item.key}"
            if self.stays(item) and item.kind != "systemDaemon" and not item.job.exists() and \
                    not self.may_stay_stopped(fault):
                yield f"not loaded again: {item.key}"
        entries = [path.name for path in ARCHIVE.glob("*/*")]
        gone = sum(not self.stays(item) for item in self.items)
        if undisturbed and gone and any(stat.S_IMODE(path.stat().st_mode) & 0o677 != 0o600
                                        for path in (ARCHIVE, *ARCHIVE.rglob("*"))):
            yield "modes in the archive that are not root's alone"
        if undisturbed and len(entries) != 2 * gone:
            yield f"left in the archive: {entries}"

    def may_stay_stopped(self, fault):
        return fault.action == KILL or fault.lasting and fault.error != "ENOSPC" or \
            fault.error == "ECHILD" or \
            fault.action != NONE and self.position(fault, DRIFT) > self.undo


class Admission(Attacked):
    """A connection, from the knock on: refused or served."""

    from_the_knock = True
    first_step = "accept4"

    def request(self, _):
        with Client("alice", path=ADDRESS) as client:
            return client.version()

    def problems(self, reply, fault):
        if reply not in (None, ("3",)):
            yield f"replied {reply}"


def is_copy(path, item):
    """All the item's bytes, and perhaps the one that is added meanwhile."""
    return path.is_file() and path.read_bytes().rstrip() == item.data.rstrip()


def whole_copies(item):
    """The entries of `item` in the archive with all its bytes and a readable record."""
    count = 0
    for record in ARCHIVE.glob("*/*.json"):
        metadata = json.loads(record.read_text())
        count += (metadata["token"], metadata["originalPath"]) == (item.key, str(item.path)) and \
            is_copy(record.with_suffix(".plist"), item)
    return count
