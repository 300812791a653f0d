"""Tools that resist being stopped, write without end, leave children or are replaced."""

import contextlib
import os
import signal
import time
from pathlib import Path

from attack_support import DONE, FULL, AttackTestCase, main, times
from stage_support import Client, eventually, free_memory, resident_bytes

PURGE = Path("/usr/sbin/purge")
BUDGET, GRACE = 15, 2  # seconds; the grace comes once after each of the two signals
STOPPED = "mdutil did not finish in time, so the maintenance helper stopped it."
CHILDREN = Path("/stage/children")
# A child in a session of its own, with the tool's standard error and the signals that it ignores.
LEAVE_CHILD = f"run=setsid sleep 600 & echo $! >>{CHILDREN}"
# Some megabytes a second: the stage's disk is memory.
WRITE_FOR_EVER = "run=while :; do head -c 100000 /dev/zero >&2; sleep 0.02; done"
CASES = {  # what the tool does for ever, and whether SIGTERM ends it
    "deaf": (["ignore-term", "sleep=600"], False),
    "stopped": (["run=kill -STOP $PPID"], False),
    "writing": ([WRITE_FOR_EVER], True),
    "writing and deaf": (["ignore-term", WRITE_FOR_EVER], False),
    "with children": ([LEAVE_CHILD] * 20 + ["sleep=600"], True),
}
BOUNDED = {"all of it": ([LEAVE_CHILD, "ignore-term", "run=head -c 9000000 /dev/zero >&2",
                          "run=kill -STOP $PPID"], False)}


def end_children():
    """Ends what the tools have left, which is nobody's child any more."""
    for number in CHILDREN.read_text().split() if CHILDREN.exists() else ():
        os.kill(int(number), signal.SIGKILL)
    CHILDREN.unlink(missing_ok=True)
    for folder in Path("/proc").glob("[0-9]*"):
        with contextlib.suppress(OSError):
            if b"/dev/zero" in (folder / "cmdline").read_bytes():
                os.kill(int(folder.name), signal.SIGKILL)


class HostileTools(AttackTestCase):
    def setUp(self):
        super().setUp()
        self.addCleanup(end_children)

    def test_tool_that_resists_ends_within_its_limit_and_leaves_no_file(self):
        for name, (control, heeds_terminate) in (CASES if FULL else BOUNDED).items():
            with self.subTest(name), Client("alice") as client:
                self.control("mdutil", *control)
                client.socket.settimeout(BUDGET + 3 * GRACE)
                began = time.monotonic()
                self.assertEqual(client.call("rebuildSpotlightIndexWithReply"), (False, STOPPED))
                earliest = BUDGET + (0 if heeds_terminate else GRACE)
                self.assertGreaterEqual(time.monotonic() - began, earliest)
                self.assertLess(time.monotonic() - began, earliest + GRACE)
                eventually(lambda: free_memory("bob") == DONE, "the free lock")
                self.assertEqual(list(Path("/tmp").glob("driftwhale-helper-*")), [])
                end_children()
        self.new_log()

    def test_long_diagnostic_costs_the_helper_nothing(self):
        size = times(50, 500) << 20
        self.control("purge", f"run=tr '\\0' x </dev/zero | head -c {size} >&2", "exit=1")
        before = resident_bytes(self.helper)
        self.assertEqual(free_memory(), (False, "purge exited with status 1: " + "x" * 16384))
        self.assertLess(resident_bytes(self.helper) - before, 4 << 20)
        self.new_log()

    def test_tool_replaced_while_it_runs_changes_only_the_next_run(self):
        kept = PURGE.with_suffix(".kept")
        replacements = {"another program": ("cp /bin/false", (False, "purge exited with status 1")),
                        "a FIFO": ("mkfifo -m 755", None), "a folder": ("mkdir", None),
                        "nothing": ("true", None)}
        for name, (make, reply) in replacements.items():
            with self.subTest(name):
                self.control("purge", f"run=mv {PURGE} {kept}; {make} {PURGE}")
                self.assertEqual(free_memory(), DONE)
                ok, text = free_memory()
                self.assertIn((ok, text), [reply] if reply else [(False, text)])
                self.assertIn("purge", text)
                os.system(f"rm -rf {PURGE}; mv {kept} {PURGE}; rm /stage/control/purge")
                self.assertEqual(free_memory(), DONE)
        self.new_log()


if __name__ == "__main__":
    main()
