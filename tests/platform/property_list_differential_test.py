#!/usr/bin/env python3
"""Compares the property-list reader with an independent one.

usage: property_list_differential_test.py LOOKUP plistlib [FOLDER] | gnustep | memory

LOOKUP is the program property_list_lookup. The files are realistic job files and generated ones,
in every format, always the same. What a file must yield is known from how it was made; the
independent reader has to confirm it, as far as it can be trusted. What only Apple's reader takes
is in property_list_test.cc. Exits with 77 where the independent reader is missing. With FOLDER,
its files are compared instead, whatever they hold, as far as plistlib takes them.
"""
import codecs
import os
import pathlib
import plistlib
import random
import re
import shutil
import struct
import subprocess
import sys
import tempfile
from xml.sax.saxutils import escape

FOUND, REFUSED, NO_DICTIONARY, MISSING, NO_STRING, UNKNOWN = range(6)
SEPARATOR = "separator-of-files"
SEED = 20

JOBS = [
    {"Label": "org.example.updater", "ProgramArguments": ["/usr/local/bin/updater", "--daily"],
     "RunAtLoad": True, "StartInterval": 86400},
    {"Label": "org.example.sync-agent", "Program": "/Applications/Sync Tool.app/Contents/MacOS/sync",
     "KeepAlive": {"SuccessfulExit": False, "PathState": {"/etc/x": True}}, "Nice": 5,
     "EnvironmentVariables": {"PATH": "/usr/bin:/bin", "Label": "inner"}},
    {"Label": "com.caf\u00e9.\u65e5\u672c\u8a9e", "MachServices": {"com.caf\u00e9.port": True}},
    {"Label": "a & b < c > \"d\" 'e' \\ f", "StandardOutPath": "/tmp/out \U0001F600.log"},
    {"Label": "", "WatchPaths": []},
    {"Label": "first", "Sockets": {"Listeners": [{"SockServiceName": "8080"}]}, "Zoo": "last"},
    {"ProgramArguments": ["Label", "value"], "Program": "Label"},
    {"Label": ["org.example.list"]},
    {"Label": {"Label": "org.example.nested"}},
    {"Label": b"org.example.data"},
    {},
    ["Label", "org.example.array"],
    [{"Label": "org.example.in-array"}],
    "Label",
]


def expected(value):
    if not isinstance(value, dict):
        return NO_DICTIONARY, ""
    if "Label" not in value:
        return MISSING, ""
    label = value["Label"]
    return (FOUND, label) if isinstance(label, str) else (NO_STRING, "")


class Generator:
    """Values, and files that hold them, in the ways in which files of the field differ."""

    def __init__(self):
        self.random = random.Random(SEED)

    def text(self):
        alphabet = "abcLABEL.019-_ /:&<>\"'\\;={}(),\u00e9\u0100\u2028\ufffd\U0001F600"
        return "".join(self.random.choices(alphabet, k=self.random.randrange(20)))

    def value(self, depth, scalars):
        kind = self.random.randrange(8 if depth < 4 else 5)
        if kind < 5:
            return self.random.choice(scalars)(self)
        if kind == 5:
            return [self.value(depth + 1, scalars) for _ in range(self.random.randrange(5))]
        keys = [self.text() for _ in range(self.random.randrange(5))]
        return {key: self.value(depth + 1, scalars) for key in keys + self.labels()}

    def labels(self):
        return self.random.choice([["Label"], []])

    def job(self, scalars):
        value = {self.text(): self.value(0, scalars) for _ in range(6)}
        if self.random.random() < 0.9:
            value["Label"] = self.random.choice([self.text(), self.value(2, scalars)])
        items = list(value.items())
        self.random.shuffle(items)
        return dict(items)

    def space(self, comments):
        return "".join(self.random.choices(["", " ", "\n", "\t", *comments], k=2))

    # XML

    def xml(self, value):
        body = f"{self.space(XML_COMMENTS)}{self.element(value)}{self.space(XML_COMMENTS)}"
        prolog = self.random.choice(["", "<?xml version='1.0' encoding='utf-8'?>", plistlib.PLISTHEADER.decode()])
        bytes_ = f"{prolog}\n<plist version='1.0'>{body}</plist>\n".encode()
        return self.random.choice([b"", codecs.BOM_UTF8]) + bytes_

    def element(self, value):
        if isinstance(value, dict):
            inner = "".join(f"<key>{self.characters(key)}</key>{self.space(XML_COMMENTS)}{self.element(item)}"
                            for key, item in value.items())
            return f"<dict>{inner}{self.space(XML_COMMENTS)}</dict >" if inner else "<dict/>"
        if isinstance(value, list):
            return f"<array>{''.join(self.element(item) for item in value)}</array>"
        if isinstance(value, bytes):
            return f"<data>{codecs.encode(value, 'base64').decode()}</data>"
        if isinstance(value, bool):
            return f"<{str(value).lower()}/>"
        if isinstance(value, int):
            return f"<integer>{value}</integer>"
        return f"<string>{self.characters(value)}</string>"

    def characters(self, text):
        return "".join(self.random.choice([escape(character), f"&#{ord(character)};",
                                           f"&#x{ord(character):x};", f"<![CDATA[{character}]]>"])
                       if self.random.random() < 0.2 else escape(character) for character in text)

    # Old text

    def old_text(self, value):
        return (self.object(value) + self.space(TEXT_COMMENTS)).encode()

    def strings_file(self, value):
        return (self.entries(value) + "\n").encode()

    def object(self, value):
        space = self.space(TEXT_COMMENTS)
        if isinstance(value, dict):
            return f"{space}{{{self.entries(value)}{space}}}"
        if isinstance(value, list):
            return f"{space}({(space + ',').join(map(self.object, value))}{space})"
        if isinstance(value, bytes):
            return f"{space}<{value.hex(' ', 2)}>"
        return f"{space}{self.string(value)}"

    def entries(self, value):
        return "".join(f"{self.space(TEXT_COMMENTS)}{self.string(key)}{self.space([])}={self.object(item)};"
                       for key, item in value.items())

    def string(self, text):
        if re.fullmatch(r"[A-Za-z0-9._]+", text) and self.random.random() < 0.5:
            return text + " "  # or the slash of a comment were part of it
        return '"' + "".join(self.escaped(character) for character in text) + '"'

    def escaped(self, character):
        if character in "\"\\":
            return "\\" + character
        if character > "\x7f" and self.random.random() < 0.5:
            units = character.encode("utf-16-be").hex()
            return "".join(f"\\U{units[at:at + 4]}" for at in range(0, len(units), 4))
        return character


XML_COMMENTS = ["<!-- a comment -->", "<!-- <key>Label</key><string>x</string> -->"]
TEXT_COMMENTS = ["/* Label = x; */", "// Label = x;\n"]
TEXT_SCALARS = [Generator.text, lambda self: self.random.randbytes(self.random.randrange(9))]
SCALARS = TEXT_SCALARS + [lambda self: self.random.random() < 0.5,
                          lambda self: self.random.randrange(-2**63, 2**63)]


def files():
    """(format, bytes, what it yields) of every file."""
    generator = Generator()
    for number in range(len(JOBS) + 100):
        value = JOBS[number] if number < len(JOBS) else generator.job(SCALARS)
        yield "xml", plistlib.dumps(value, sort_keys=False), expected(value)
        yield "xml", generator.xml(value), expected(value)
        yield "binary", plistlib.dumps(value, fmt=plistlib.FMT_BINARY), expected(value)
        value = JOBS[number] if number < len(JOBS) else generator.job(TEXT_SCALARS)
        if all(kind not in repr(value) for kind in ("True", "False", ": 5", ": 86400")):
            yield "text", generator.old_text(value), expected(value)
            if isinstance(value, dict):
                value = {key: item for key, item in value.items() if isinstance(item, str)}
                yield "strings", generator.strings_file(value), expected(value)


def parse_with_plistlib(format_, bytes_):
    if format_ not in ("xml", "binary"):
        return None
    kind = plistlib.FMT_XML if format_ == "xml" else plistlib.FMT_BINARY
    return expected(plistlib.loads(bytes_, fmt=kind))


def described_label(description):
    """The label in what pldes prints: old text, one entry of the top level to a line."""
    if not description.startswith("{"):
        return NO_DICTIONARY, ""
    entry = re.search(r"^    Label = (.*?)(;?)$", description, re.MULTILINE)
    if not entry:
        return MISSING, ""
    text, semicolon = entry.groups()
    if text[:1] in "{(<" or not semicolon:
        return NO_STRING, ""
    if text.startswith('"'):
        units = re.sub(r"\\(?:U([0-9A-Fa-f]{4})|(.))",
                       lambda match: chr(int(match[1], 16)) if match[1] else match[2], text[1:-1])
        text = units.encode("utf-16", "surrogatepass").decode("utf-16")
    return FOUND, text


def parse_with_gnustep(paths):
    """pldes takes no strings files, of which plparse tells at least that they are dictionaries."""
    separator = paths[0].parent / "separator"
    separator.write_text(SEPARATOR)
    known = [path for path in paths if path.suffix != ".strings"]
    arguments = [argument for path in known for argument in (path, separator)]
    output = run_tool("pldes", arguments).stdout.split(SEPARATOR)
    answers = dict(zip(known, map(described_label, output[:-1]), strict=True))
    strings = [path for path in paths if path.suffix == ".strings"]
    kinds = run_tool("plparse", strings).stderr.splitlines()
    answers |= {path: (UNKNOWN if "a dictionary" in kind else NO_DICTIONARY, "")
                for path, kind in zip(strings, kinds, strict=True)}
    return [trusted(path.suffix, path.read_bytes(), answers[path]) for path in paths]


def trusted(suffix, bytes_, answer):
    """GNUstep 1.28 knows XML by its declaration only, and loses some of its characters; plparse
    takes ASCII only, and no empty strings file."""
    if suffix == ".xml" and not bytes_.startswith(b"<?xml"):
        return None
    if suffix == ".strings" and (not bytes_.isascii() or b"=" not in bytes_):
        return None
    if suffix == ".xml" and answer[0] != NO_DICTIONARY:
        return UNKNOWN, ""
    return answer


def run_tool(tool, arguments):
    return subprocess.run([tool, *arguments], capture_output=True, text=True, timeout=100)


def agree(ours, other):
    if other is None or ours == other:
        return True
    if other[0] == UNKNOWN:
        return ours[0] != NO_DICTIONARY
    # pldes prints a number as it prints a string.
    return ours[0] == NO_STRING and re.fullmatch(r"-?\d+", other[1])


def look_up(lookup, paths):
    output = subprocess.run([lookup, "Label", *paths], capture_output=True, timeout=100, check=True)
    lines = output.stdout.decode().removesuffix("\n").split("\n")
    answers = []
    for line in lines:
        outcome, value = line.split(" ", 1)
        value = re.sub(r"\\x(..)", lambda match: chr(int(match[1], 16)), value)
        answers.append((int(outcome), value))
    return answers


def compare(lookup, reader, folder):
    cases = list(files())
    paths = [folder / f"{number}.{case[0]}" for number, case in enumerate(cases)]
    for path, (_, bytes_, _) in zip(paths, cases):
        path.write_bytes(bytes_)
    if reader == "plistlib":
        others = [parse_with_plistlib(format_, bytes_) for format_, bytes_, _ in cases]
    else:
        others = parse_with_gnustep(paths)
    failures = compared = 0
    for case, ours, other in zip(cases, look_up(lookup, paths), others, strict=True):
        compared += other is not None
        if ours != case[2] or not agree(ours, other):
            failures += 1
            print(f"{case[0]}: expected {case[2]}, got {ours}, {reader} says {other}:\n{case[1]!r}")
    print(f"{len(cases)} files, {compared} of them compared with {reader}, {failures} failures")
    return failures


class FirstKept(dict):
    """Of a key that comes twice in a binary file, the reader keeps the first value."""

    def __setitem__(self, key, value):
        if key not in self:
            super().__setitem__(key, value)


def compare_found(lookup, folder):
    paths = sorted(folder.iterdir())
    failures = compared = 0
    for path, ours in zip(paths, look_up(lookup, paths), strict=True):
        bytes_ = path.read_bytes()
        try:
            value = plistlib.loads(bytes_, dict_type=FirstKept if bytes_.startswith(b"bplist") else dict)
        except Exception:  # plistlib raises whatever it stumbles over
            continue
        # Of a binary file, plistlib checks neither what the keys are nor all that makes it up.
        strange = isinstance(value, dict) and not all(isinstance(key, str) for key in value)
        if bytes_.startswith(b"bplist") and (ours[0] == REFUSED or strange):
            continue
        compared += 1
        if ours != expected(value):
            failures += 1
            print(f"{path}: {ours}, plistlib says {expected(value)}:\n{bytes_!r}")
    print(f"{len(paths)} files, {compared} of them compared with plistlib, {failures} failures")
    return failures


def check_memory(lookup, folder):
    """Whether hostile files are read with a small multiple of their size."""
    size = 4 << 20
    depth = size // 16
    nested = b"".join(b"\xa1" + number.to_bytes(4, "big") for number in range(1, depth)) + b"\xa0"
    table = b"".join((8 + 5 * number).to_bytes(4, "big") for number in range(depth))
    trailer = struct.pack(">6xBBQQQ", 4, 4, depth, 0, 8 + len(nested))
    hostile = {
        "levels.xml": b"<dict><key>k</key>" + b"<array>" * (size // 7),
        "references.xml": b"<dict><key>Label</key><string>" + b"&#9;" * (size // 4) + b"</string></dict>",
        "levels.text": b"{k=" + b"(" * size,
        "escapes.text": b"{Label=\"" + b"\\U0800" * (size // 6) + b"\";}",
        "utf16.text": codecs.BOM_UTF16_BE + ("{Label=\"" + "\u0800" * (size // 2) + "\";}").encode("utf-16-be"),
        "levels.binary": b"bplist00" + nested + table + trailer,
    }
    failures = 0
    for name, bytes_ in hostile.items():
        path = folder / name
        path.write_bytes(bytes_)
        limit = (24 << 20) + 9 * len(bytes_)
        result = subprocess.run(["prlimit", f"--as={limit}", lookup, "Label", path],
                                capture_output=True, timeout=100)
        print(f"{name}: {len(bytes_)} bytes, exit status {result.returncode}")
        failures += result.returncode != 0
    return failures


def main():
    lookup, reader = os.path.abspath(sys.argv[1]), sys.argv[2]
    if reader == "gnustep" and not shutil.which("pldes"):
        print("skipped: GNUstep's pldes (package gnustep-base-runtime) is not installed")
        return 77
    if len(sys.argv) > 3:
        return bool(compare_found(lookup, pathlib.Path(sys.argv[3])))
    with tempfile.TemporaryDirectory() as folder:
        if reader == "memory":
            return bool(check_memory(lookup, pathlib.Path(folder)))
        return bool(compare(lookup, reader, pathlib.Path(folder)))


if __name__ == "__main__":
    sys.exit(main())
