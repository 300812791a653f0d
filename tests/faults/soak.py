"""Everything at once for a while: operations, removals, all abuses, and tools that misbehave.

In parts: after each, descriptors and threads are what they were before it, and the memory has not
grown since an early one.
"""

import contextlib
import os
import plistlib
import random
import statistics
import time
from pathlib import Path

import abuses
from attack_support import SANITIZED, AttackTestCase, process, tell, times
from stage_support import (BUSY, CONTROL, STAFF, USERS, Client, descriptors, eventually, main,
                           resident_bytes, threads)

SECONDS, PARTS = times(16, 600), times(8, 40)
ABUSES = [lambda chance: abuses.crowd(chance, chance.randint(1, 140)), abuses.no_login,
          abuses.mutated_messages, abuses.mutated_requests, abuses.lost_client,
          abuses.deaf_client, abuses.descriptors_sent_along]
AGENTS = Path("/Users/alice/Library/LaunchAgents")
OPERATIONS = ("flushDNSCacheWithReply", "rebuildSpotlightIndexWithReply", "freeMemoryWithReply")
TOOLS = ("killall", "mdutil", "purge", "launchctl.print", "launchctl.bootout",
         "launchctl.bootstrap")
MISDEEDS = ("exit=3", "signal=11", "sleep=0.3", "ignore-term", "stderr=no\\xff",
            "run=head -c 200000 /dev/zero >&2", "run=setsid sleep 1 &",
            "run=kill -STOP $PPID & sleep 0.2; kill -CONT $PPID")
USERS["user601"] = 601


def operate(chance):
    with Client(chance.choice(("alice", "user601"))) as client:
        client.socket.settimeout(60)
        for _ in range(chance.randint(1, 5)):
            ok, text = client.call(chance.choice(OPERATIONS))
            assert ok == (not text), text


def remove(chance):
    labels = [f"org.example.soak.{number}" for number in range(chance.randint(1, 3))]
    files = [AGENTS / f"{label}.plist" for label in labels]
    for label, file in zip(labels, files):
        file.write_bytes(plistlib.dumps({"Label": label}))
        os.chown(file, USERS["alice"], STAFF)
        if chance.random() < 0.5:
            Path("/stage/launchd/gui/501", label).touch()
    with Client() as client:
        client.socket.settimeout(60)
        ok, _, text = client.remove(*(f"userAgent|{label}" for label in labels))
    assert ok == (not text), text
    assert ok == (not any(file.exists() for file in files)), text
    assert text != BUSY or all(file.exists() for file in files)


def abuse(chance):
    with chance.choice(ABUSES)(chance):
        time.sleep(chance.random() / 4)


def misbehave(chance):
    tool = CONTROL / chance.choice(TOOLS)
    (CONTROL / "new").write_text("\n".join(chance.choices(MISDEEDS, k=chance.randint(1, 3))))
    (CONTROL / "new").rename(tool)
    time.sleep(chance.random() / 2)
    tool.unlink()
    time.sleep(chance.random() / 2)


def repeat(step, seed, end):
    chance = random.Random(seed)
    while time.monotonic() < end:
        try:
            step(chance)
        except ConnectionError:  # refused: a crowd has taken all places of the user
            time.sleep(0.05)


class Soak(AttackTestCase):
    def test_mixed_load_costs_no_more_at_its_end_than_at_its_beginning(self):
        steps = [operate, remove, misbehave, abuse, abuse, abuse]
        resident = []
        with self.connect("bob") as witness:
            self.assertEqual(witness.version(), ("3",))
            at_rest = descriptors(self.helper), threads(self.helper)
            for part in range(PARTS):
                end = time.monotonic() + SECONDS / PARTS
                with contextlib.ExitStack() as processes:
                    running = [processes.enter_context(process(repeat, step, seed, end))
                               for seed, step in enumerate(steps, part * len(steps))]
                    while time.monotonic() < end:
                        self.assertEqual(witness.version(), ("3",))
                        time.sleep(0.1)
                    for step, started in zip(steps, running):
                        started.join()
                        self.assertEqual(started.exitcode, 0, step.__name__)
                eventually(lambda: (descriptors(self.helper), threads(self.helper)) == at_rest,
                           f"all given back after part {part}")
                resident.append(resident_bytes(self.helper) >> 10)
        tell(f"  KiB resident after each part: {resident}; descriptors and threads: {at_rest}")
        second, last = (statistics.median(resident[quarter * PARTS // 4:][:PARTS // 4])
                        for quarter in (1, 3))
        if not SANITIZED:
            self.assertLess(last - second, times(8192, 4096))
        self.new_log()


if __name__ == "__main__":
    main()
