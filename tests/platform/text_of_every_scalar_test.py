"""The text functions beside Python's own tables, over all scalars: …_test.py TEXT_OF_EVERY_SCALAR.

Scalars that Python's version of Unicode has not assigned are passed over.
"""

import subprocess
import sys
import unicodedata
import unittest

WHITE = {"\t", "\n", "\v", "\f", "\r", "\x85", "\u200b"}


def meant(character, category):
    white = category in ("Zs", "Zl", "Zp") or character in WHITE
    alphanumeric = category[0] in "LMN"
    texts = character.lower(), unicodedata.normalize("NFD", character)
    return " ".join([str(int(alphanumeric)), str(int(white))] +
                    [text.encode().hex() for text in texts])


class TextOfEveryScalar(unittest.TestCase):
    def test_category_case_and_canonical_form(self):
        scalars = [*range(0xD800), *range(0xE000, 0x110000)]
        lines = subprocess.run(sys.argv[1:2], capture_output=True, text=True, check=True,
                               timeout=300).stdout.splitlines()
        self.assertEqual(len(lines), len(scalars))
        wrong = [f"U+{scalar:04X}: {line}, not {meant(chr(scalar), category)}"
                 for scalar, line in zip(scalars, lines)
                 if (category := unicodedata.category(chr(scalar))) != "Cn"
                 and line != meant(chr(scalar), category)]
        self.assertEqual(wrong, [], f"Unicode {unicodedata.unidata_version}")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
