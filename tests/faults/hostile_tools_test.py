"""Tools that resist being stopped, write without end, leave children or cannot be run."""

import errno
import os
import subprocess
import time
from pathlib import Path

from attack_support import FULL, AttackTestCase
from stage_support import Client, free_memory, main

PURGE = Path("/usr/sbin/purge")
BUDGET, GRACE = 15, 2  # seconds; the grace comes once after each of the two signals
STOPPED = "mdutil did not finish in time, so the maintenance helper stopped it."
# A child in a session of its own, with the tool's standard error and the signals that it ignores.
LEAVE_CHILD = "run=setsid sleep 600 &"
# Some megabytes a second: the stage's disk is memory.
WRITE_FOR_EVER = "run=while kill -0 $PPID; do head -c 100000 /dev/zero >&2; sleep 0.02; done"
CASES = {  # what the tool does for ever, and whether SIGTERM ends it
    "deaf": (["ignore-term", "sleep=600"], False),
    "stopped": (["run=kill -STOP $PPID"], False),
    "writing": ([WRITE_FOR_EVER], True),
    "writing and deaf": (["ignore-term", WRITE_FOR_EVER], False),
    "with children": ([LEAVE_CHILD] * 20 + ["sleep=600"], True),
}
BOUNDED = {"all of it": ([LEAVE_CHILD, "ignore-term", "run=head -c 90000000 /dev/zero >&2",
                          "run=kill -STOP $PPID"], False)}


class HostileTools(AttackTestCase):
    def test_tool_that_resists_ends_within_its_limit_and_leaves_no_file(self):
        for name, (control, heeds_terminate) in (CASES if FULL else BOUNDED).items():
            with self.subTest(name), Client() as client:
                self.control("mdutil", *control)
                client.socket.settimeout(BUDGET + 3 * GRACE)
                began = time.monotonic()
                self.assertEqual(client.call("rebuildSpotlightIndexWithReply"), (False, STOPPED))
                earliest = BUDGET + (0 if heeds_terminate else GRACE)
                self.assertGreaterEqual(time.monotonic() - began, earliest)
                self.assertLess(time.monotonic() - began, earliest + GRACE)
                self.assert_lock_is_free()
                self.assertEqual(list(Path("/tmp").glob("driftwhale-helper-*")), [])
                self.check_memory(name)
        self.new_log()

    def test_what_cannot_be_run_in_a_tool_s_place_is_told_at_once(self):
        script = Path("/stage/script")
        script.write_text("#!/missing\n")
        script.chmod(0o755)
        places = {"true": errno.ENOENT, "mkdir": errno.EACCES, "mkfifo -m 755": errno.EACCES,
                  f"cp -p {script}": errno.ENOENT, "install -m 755 /dev/null": errno.ENOEXEC}
        self.addCleanup(PURGE.rename(PURGE.with_suffix(".kept")).rename, PURGE)
        for make, number in places.items():
            with self.subTest(make):
                subprocess.run([*make.split(), PURGE], check=True)
                text = f"Could not launch {PURGE}: {os.strerror(number)}."
                self.assertEqual(free_memory(), (False, text))
                subprocess.run(["rm", "-rf", PURGE], check=True)
        self.new_log()


if __name__ == "__main__":
    main()
