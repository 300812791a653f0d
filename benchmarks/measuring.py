"""How things are measured beside each other, and what becomes a row of the table."""

import contextlib
import os
import statistics
import subprocess
import time
from pathlib import Path

HERE = Path(__file__).parent
AT_MOST, AT_LEAST = "≤", "≥"


class Program:
    """One of the benchmark programs, which measures its subjects when it is told to."""

    def __init__(self, name, *arguments):
        self.process = subprocess.Popen([HERE / name, *arguments], text=True, bufsize=1,
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.stdin.close()
        self.process.wait()

    def measure(self, subject, count=1):
        """What one of `count` turns of the subject takes."""
        self.process.stdin.write(f"{subject} {count}\n")
        answer = self.process.stdout.readline()
        if not answer:
            raise RuntimeError(f"{self.process.args[0]} has ended with {self.process.wait()}")
        return float(answer) / count

    def subject(self, name, count=1):
        return lambda: self.measure(name, count)


def seconds_of(work, *arguments):
    began = time.perf_counter()
    work(*arguments)
    return time.perf_counter() - began


def alternate(rounds, **subjects):
    """Each subject once in each round, the order turned round every time; the first round, in which
    everything is cold, does not count."""
    series = {name: [] for name in subjects}
    for number in range(rounds + 1):
        for name in list(subjects)[::1 if number % 2 else -1]:
            value = subjects[name]()
            if number:
                series[name].append(value)
    return series


def summary(values):
    return {"min": min(values), "median": statistics.median(values)}


def quotient(above, below):
    return {key: above[key] / below[key] for key in above}


def fulfils(value, goal):
    return value <= goal[1] if goal[0] == AT_MOST else value >= goal[1]


def compared(measure, ours, other, goal, floor=None, peer=None, peers=None, count=1):
    """A row of times. `other` is what stands in the goal, the floor or the peer of this name; a
    goal "at least" is how many times faster we are. `peers` are shown beside it as multiples of
    `other`; times are shown for each of `count` turns."""
    ours, other = summary(ours), summary(other)
    ratio = quotient(ours, other) if goal[0] == AT_MOST else quotient(other, ours)
    return {"measure": measure, "floor": floor, "peer": peer, "goal": goal, "ratio": ratio,
            "ours_seconds": {key: value / count for key, value in ours.items()},
            "other_seconds": {key: value / count for key, value in other.items()},
            "peers": {name: quotient(summary(values), other)["median"]
                      for name, values in (peers or {}).items()},
            "met": all(fulfils(value, goal) for value in ratio.values())}


def counted(measure, value, goal, unit, floor=None, peer=None):
    """A row of one value that says something by itself."""
    return {"measure": measure, "floor": floor, "peer": peer, "goal": goal, "value": value,
            "unit": unit, "met": fulfils(value, goal)}


def pin(process=0):
    """Has a process, by default this one and its future children, run on one processor, which is
    the same for all, and before whatever else wants it."""
    for thread in map(int, os.listdir(f"/proc/{process or os.getpid()}/task")):
        with contextlib.suppress(ProcessLookupError):  # a connection's, which has just ended
            os.sched_setaffinity(thread, {max(os.sched_getaffinity(os.getpid()))})
            os.setpriority(os.PRIO_PROCESS, thread, -20)
