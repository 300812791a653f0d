"""Manual page, completions and --help know the same commands and options: documentation_test.py
VELMORACTL SOURCES."""

import re
import subprocess
import sys
import unittest
from pathlib import Path

PROGRAM, CLIENT = sys.argv.pop(1), Path(sys.argv.pop(1), "client")


def usage(*command):
    return subprocess.run([PROGRAM, *command, "--help"], check=True, capture_output=True,
                          text=True).stdout


def completed(*words):
    script = 'source "$0"; COMP_WORDS=(velmoractl "$@"); COMP_CWORD=$#; _velmoractl\n' \
             'printf "%s\\n" "${COMPREPLY[@]}"'
    return subprocess.run(["bash", "-c", script, CLIENT / "completions/velmoractl.bash", *words],
                          check=True, capture_output=True, text=True).stdout.split()


class Documentation(unittest.TestCase):
    def test_command_or_option_is_missing_in_manual_page_or_completion(self):
        manual = re.sub(r"[\\]|\.[A-Z]\w ", "", (CLIENT / "velmoractl.1").read_text())
        zsh = (CLIENT / "completions/_velmoractl").read_text()
        listed = re.search(r"(?s)Commands:\n(.*?)\n\n", usage())[1]
        commands = re.findall(r"(?m)^  (\S+(?: \S+)?)  ", listed)
        self.assertGreater(len(commands), 10)
        for command in commands:
            words = command.split()
            self.assertIn(words[0], completed(""))
            self.assertIn(words[-1], completed(*words[:-1], ""))
            self.assertIn(words[-1], zsh)
            self.assertIn(command, manual)
            for option in set(re.findall(r"--[a-z-]+", usage(*words).split("\n")[0])):
                self.assertIn(option, completed(*words, "--"), command)
                self.assertIn(option, zsh)
                self.assertIn(f"Fl {option[1:]}", manual)


if __name__ == "__main__":
    unittest.main()
