"""Every script says how it is called, and refuses another call without doing anything: usage_test.py
SOURCES. What it would do, it would do in a copy."""

import os
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOMS = (".ci", "scripts", "stage")


class Usage(unittest.TestCase):
    def test_helps_and_refuses(self):
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


if __name__ == "__main__":
    SOURCES = Path(sys.argv.pop(1))
    unittest.main()
