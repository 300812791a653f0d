#!/usr/bin/env python3
"""Compares the property-list reader with an independent one.

usage: property_list_differential_test.py LOOKUP plistlib [FOLDER] | gnustep

LOOKUP is the program property_list_lookup. The files are generated, in every format, always the
same. What a file must yield is known from how it was made, and the independent reader has to
confirm it: plistlib for XML and binary files, GNUstep for OpenStep ones. Exits with 77 where GNUstep is
missing. With FOLDER, its files are compared instead, whatever they hold, as far as plistlib takes
them.
"""
import codecs
import os
import pathlib
import plistlib
import random
import re
import shutil
import subprocess
import sys
import tempfile
from xml.sax.saxutils import escape

from property_list_reading import REFUSED, expected, look_up

VALUES = 120
ALPHABET = "abcLABEL.019-_ /:&<>\"'\\;={}(),\u00e9\u0100\u2028\ufffd\U0001F600"
XML_COMMENTS = ["<!-- a comment -->", "<!-- <key>Label</key><string>x</string> -->"]
OPENSTEP_COMMENTS = ["/* Label = x; */", "// Label = x;\n"]


class Generator:
    """Values, and files that hold them, in the ways in which files of the field differ."""

    def __init__(self):
        self.random = random.Random(20)

    def text(self):
        return "".join(self.random.choices(ALPHABET, k=self.random.randrange(20)))

    def value(self, depth=0):
        kind = self.random.randrange(8 if depth < 4 else 5)
        if kind < 5:
            return self.random.choice([self.text(), self.random.randbytes(depth), True, False,
                                       self.random.randrange(-2**63, 2**63)])
        values = [self.value(depth + 1) for _ in range(self.random.randrange(6))]
        if kind == 5:
            return values
        return {self.random.choice(["Label", self.text()]): value for value in values}

    def top_level(self):
        if self.random.random() < 0.1:
            return self.value()
        label = self.random.choice([self.text(), self.text(), self.value()])
        items = [(self.text(), self.value()) for _ in range(6)] + [("Label", label)]
        self.random.shuffle(items)
        return dict(items[:-1])  # now and then without the label

    def space(self, comments):
        return "".join(self.random.choices(["", " ", "\n", "\t", *comments], k=2))

    def xml(self, value):
        body = f"{self.space(XML_COMMENTS)}{self.element(value)}{self.space(XML_COMMENTS)}"
        prolog = self.random.choice(["", "<?xml version='1.0' encoding='utf-8'?>\n",
                                     plistlib.PLISTHEADER.decode()])
        document = f"{prolog}<plist version='1.0'>{body}</plist>\n".encode()
        return self.random.choice([b"", codecs.BOM_UTF8]) + document

    def element(self, value):
        if isinstance(value, dict):
            inner = "".join(f"<key>{self.characters(key)}</key>{self.space(XML_COMMENTS)}"
                            f"{self.element(item)}" for key, item in value.items())
            return f"<dict>{inner}{self.space(XML_COMMENTS)}</dict >" if inner else "<dict/>"
        if isinstance(value, list):
            return f"<array>{''.join(map(self.element, value))}</array>"
        if isinstance(value, bytes):
            return f"<data>{codecs.encode(value, 'base64').decode()}</data>"
        if isinstance(value, bool):
            return f"<{str(value).lower()}/>"
        if isinstance(value, int):
            return f"<integer>{value}</integer>"
        return f"<string>{self.characters(value)}</string>"

    def characters(self, text):
        return "".join(self.random.choice([escape(character), escape(character),
                                           f"&#{ord(character)};", f"&#x{ord(character):x};",
                                           f"<![CDATA[{character}]]>"]) for character in text)

    def openstep(self, value):
        """Numbers and truth values, of which OpenStep has none, are strings there."""
        space = self.space(OPENSTEP_COMMENTS)
        if isinstance(value, dict):
            entries = "".join(f"{self.space(OPENSTEP_COMMENTS)}{self.string(key)}{self.space([])}="
                              f"{self.openstep(item)};" for key, item in value.items())
            return f"{space}{{{entries}{space}}}"
        if isinstance(value, list):
            return f"{space}({(space + ',').join(map(self.openstep, value))}{space})"
        if isinstance(value, bytes):
            return f"{space}<{value.hex(' ', 2)}>"
        return space + self.string(str(value))

    def string(self, text):
        if re.fullmatch(r"[A-Za-z0-9._]+", text) and self.random.random() < 0.5:
            return text + " "  # or the slash of a comment were part of it
        return '"' + "".join(map(self.escaped, text)) + '"'

    def escaped(self, character):
        if character in "\"\\":
            return "\\" + character
        if character > "\x7f" and self.random.random() < 0.5:
            units = character.encode("utf-16-be").hex()
            return "".join(f"\\U{units[at:at + 4]}" for at in range(0, len(units), 4))
        return character


def generate(folder):
    """Writes the files, and returns the path of each with what it must yield."""
    generator, files = Generator(), {}
    for number in range(VALUES):
        value = generator.top_level()
        forms = {"xml": generator.xml(value),
                 "binary": plistlib.dumps(value, fmt=plistlib.FMT_BINARY)}
        if not isinstance(value, dict) or not isinstance(value.get("Label"), int):
            forms["openstep"] = (generator.openstep(value) + generator.space(OPENSTEP_COMMENTS)).encode()
        for form, data in forms.items():
            path = folder / f"{number}.{form}"
            path.write_bytes(data)
            files[path] = expected(value)
    return files


class FirstKept(dict):
    """Of a key that comes twice in a binary file, the reader keeps the first value."""

    def __setitem__(self, key, value):
        if key not in self:
            super().__setitem__(key, value)


def read_with_plistlib(data, ours):
    """What plistlib says of one file, or nothing."""
    is_binary = data.startswith(b"bplist")
    try:
        value = plistlib.loads(data, dict_type=FirstKept if is_binary else dict)
    except Exception:  # plistlib raises whatever it stumbles over
        return None
    # Of a binary file, plistlib checks neither what the keys are nor all that makes it up.
    is_strange = isinstance(value, dict) and not all(isinstance(key, str) for key in value)
    is_empty = value is None  # "<plist/>", which is no value to us
    return None if is_empty or is_binary and (ours == REFUSED or is_strange) else expected(value)


def read_with_gnustep(paths):
    """What GNUstep says of OpenStep files, all of which must be sound."""
    output = subprocess.run(["plser", "-Format", "NSPropertyListBinaryFormat_v1_0", *paths],
                            capture_output=True, timeout=100).stdout
    return [expected(plistlib.loads(b"bplist00" + file)) for file in output.split(b"bplist00")[1:]]


def compare(lookup, reader, files):
    """How many of the files do not yield what they must, or something else to the other reader."""
    answers = look_up([lookup], files)
    if reader == "gnustep":
        paths = [path for path in files if path.suffix == ".openstep"]
        others = dict(zip(paths, read_with_gnustep(paths), strict=True))
    else:
        others = {path: read_with_plistlib(path.read_bytes(), ours)
                  for path, ours in zip(files, answers)}
    failures = compared = 0
    for (path, known), ours in zip(files.items(), answers, strict=True):
        other = others.get(path)
        compared += other is not None
        if any(each is not None and each != ours for each in (known, other)):
            failures += 1
            print(f"{path}: {ours}, not {known}; {reader} says {other}:\n{path.read_bytes()!r}")
    print(f"{len(files)} files, {compared} of them compared with {reader}, {failures} failures")
    return int(failures > 0 or compared == 0)


def main():
    lookup, reader = os.path.abspath(sys.argv[1]), sys.argv[2]
    if reader == "gnustep" and not shutil.which("plser"):
        print("skipped: GNUstep's plser (package gnustep-base-runtime) is not installed")
        return 77
    if len(sys.argv) > 3:
        return compare(lookup, reader, dict.fromkeys(sorted(pathlib.Path(sys.argv[3]).iterdir())))
    with tempfile.TemporaryDirectory() as folder:
        return compare(lookup, reader, generate(pathlib.Path(folder)))


if __name__ == "__main__":
    sys.exit(main())
