"""The scripts as a newcomer calls them: scripts_test.py SOURCES. As root, for the stage."""

import os
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOMS = (".ci", "benchmarks", "examples", "scripts", "stage")


def children(process):
    return Path(f"/proc/{process}/task/{process}/children").read_text().split()


class Scripts(unittest.TestCase):
    def test_usage_is_not_told_or_another_call_does_something(self):
        folder = Path(self.enterContext(tempfile.TemporaryDirectory()))
        for room in ROOMS:
            shutil.copytree(SOURCES / room, folder / room)
        files = sorted(folder.rglob("*"))
        scripts = [file for file in files if file.is_file() and os.access(file, os.X_OK)]
        self.assertGreater(len(scripts), 15)
        for script in scripts:
            for argument, status, words in (("--help", 0, "usage: "), ("--no-such-option", 2, "")):
                with self.subTest(script.relative_to(folder), argument=argument):
                    result = subprocess.run([script, argument], cwd=folder, capture_output=True,
                                            text=True, stdin=subprocess.DEVNULL, timeout=30)
                    self.assertEqual(result.returncode, status, result)
                    said, silent = sorted((result.stdout, result.stderr), key=len, reverse=True)
                    self.assertTrue(words in said and said and not silent, result)
        self.assertEqual(sorted(folder.rglob("*")), files)

    def running_cat(self, *command):
        """A process that has gone as far as to run cat, which ends with its input."""
        process = self.enterContext(subprocess.Popen(
            [*command, "cat"], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True))
        print("here", file=process.stdin, flush=True)
        self.assertEqual(process.stdout.readline(), "here\n")
        return process

    def test_two_write_in_one_folder_at_once(self):
        locked = SOURCES / "scripts/locked", self.enterContext(tempfile.TemporaryDirectory())
        first = self.running_cat(*locked)
        second = self.enterContext(subprocess.Popen([*locked, "true"], stderr=subprocess.PIPE))
        self.assertIn(b"Waiting", second.stderr.readline())
        self.assertIsNone(second.poll())
        first.stdin.close()
        self.assertEqual(second.wait(30), 0)

    def test_second_terminal_is_in_another_stage_or_has_another_user(self):
        stage = SOURCES / "scripts/stage"
        bubblewrap, = children(self.running_cat(stage).pid)
        inside, = children(bubblewrap)
        look = "whoami; cat /proc/2/comm; test -d /proc/self && exit 7"
        result = subprocess.run([stage, f"--join={inside}", "--user", "bob", "sh", "-c", look],
                                capture_output=True, text=True)
        self.assertEqual((result.returncode, result.stdout), (7, "bob\ncat\n"), result)

    def test_host_without_namespaces_is_not_told_apart(self):
        result = subprocess.run(["setpriv", "--bounding-set=-sys_admin", SOURCES / "scripts/stage",
                                 "true"], capture_output=True, text=True)
        self.assertEqual(result.returncode, 125, result)
        self.assertRegex(result.stderr, r"\A.*CAP_SYS_ADMIN.*\n\Z")


if __name__ == "__main__":
    SOURCES = Path(sys.argv.pop(1))
    unittest.main()
