"""What a process has and does, by the kernel's count."""

import os
import re
import time
from pathlib import Path


def kibibytes(process):
    """Private dirty and proportional memory."""
    text = Path(f"/proc/{process}/smaps_rollup").read_text()
    return {name: int(re.search(rf"^{name}:\s+(\d+)", text, re.M)[1])
            for name in ("Private_Dirty", "Pss")}


def status(process, name, thread=None):
    thread = thread or process
    text = Path(f"/proc/{process}/task/{thread}/status").read_text()
    return int(re.search(rf"^{name}:\s+(\d+)", text, re.M)[1])


def forget_peak(process):
    Path(f"/proc/{process}/clear_refs").write_text("5")


def wake_ups(process, seconds):
    """How often a thread of it gets a processor within so many seconds."""

    def switches():
        return sum(status(process, name, thread)
                   for thread in os.listdir(f"/proc/{process}/task")
                   for name in ("voluntary_ctxt_switches", "nonvoluntary_ctxt_switches"))

    before = switches()
    time.sleep(seconds)
    return switches() - before
