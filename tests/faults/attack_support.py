"""What the attackers share: how much of each attack there is, and what is at rest after it.

Without VELMORA_ATTACK=full each attack is bounded to some seconds; so is it in a helper that a
sanitizer slows down, whose memory says nothing either.
"""

import contextlib
import multiprocessing
import os
import sys

from stage_support import SANITIZED, StageTestCase, eventually, free_memory, resident_bytes

FULL = os.environ.get("VELMORA_ATTACK") == "full" and not SANITIZED
DONE = (True, "")
RESIDENT_GROWTH = 32 << 20  # what the allocator may keep of a flood


def times(bounded, full):
    return full if FULL else bounded


def tell(text):
    print(text, file=sys.stderr, flush=True)


@contextlib.contextmanager
def process(routine, *arguments):
    """A copy of this process, so a genuine client, for `routine`; killed at the end."""
    started = multiprocessing.get_context("fork").Process(target=routine, args=arguments)
    started.start()
    try:
        yield started
    finally:
        started.kill()
        started.join()


class AttackTestCase(StageTestCase):
    def setUp(self):
        super().setUp()
        self.resident = resident_bytes(self.helper)

    def check_helper(self):
        super().check_helper()
        self.assert_lock_is_free()
        self.check_memory(self._testMethodName)

    def check_memory(self, when):
        growth = resident_bytes(self.helper) - self.resident
        tell(f"  {when}: {growth >> 10} KiB more resident")
        if not SANITIZED:
            self.assertLess(growth, RESIDENT_GROWTH)

    def assert_lock_is_free(self):
        eventually(lambda: free_memory("bob") == DONE, "the free lock")

    def assert_served_again(self, user):
        def is_served():
            with contextlib.suppress(ConnectionError):
                self.assert_served(user)
                return True

        eventually(is_served, "the places given back")
