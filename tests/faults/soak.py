"""Everything at once for a while: operations, removals, all abuses, and tools that misbehave.

Memory, descriptors and threads stay level meanwhile, and all but the memory is given back after.
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
from stage_support import (BUSY, CONTROL, STAFF, USERS, Client, descriptors, main,
                           resident_bytes, threads)

SECONDS, SAMPLES = times(16, 600), 160
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
        samples = []
        end = time.monotonic() + SECONDS
        with contextlib.ExitStack() as processes, self.connect("bob") as witness:
            steps = [operate, remove, misbehave, abuse, abuse, abuse]
            running = [processes.enter_context(process(repeat, step, seed, end))
                       for seed, step in enumerate(steps)]
            while time.monotonic() < end:
                time.sleep(SECONDS / SAMPLES)
                self.assertEqual(witness.version(), ("3",))
                samples.append((resident_bytes(self.helper) >> 10, descriptors(self.helper),
                                threads(self.helper)))
            for step, started in zip(steps, running):
                started.join()
                self.assertEqual(started.exitcode, 0, step.__name__)
        quarter = len(samples) // 4
        spare = {"KiB resident": times(8192, 4096), "descriptors": times(128, 60),
                 "threads": times(128, 60)}
        for (name, most), column in zip(spare.items(), zip(*samples)):
            second, last = map(statistics.median, (column[quarter:2 * quarter], column[-quarter:]))
            tell(f"  {name}: median {second} in the second quarter, {last} in the last, of "
                 f"{column[::8]}")
            if not SANITIZED:
                self.assertLess(last - second, most, name)
        self.new_log()


if __name__ == "__main__":
    main()
