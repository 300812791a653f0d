"""What no other reader can say of the property-list reader: property_list_test.py LOOKUP [TEST…].

LOOKUP is the program property_list_lookup. Where Apple's reader takes or refuses other files than
the independent ones do, ours has to do as Apple's does. Hostile files must cost linear time, three
times their size in memory and no stack; the limits that show it are for programs without a
sanitizer.
"""

import os
import struct
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

from property_list_reading import MISSING, NO_DICTIONARY, NO_STRING, REFUSED, found, look_up

LOOKUP = os.path.abspath(sys.argv.pop(1))
SIZE = 2 << 20
DEPTH = SIZE // 8
A = found("a")
# Every way to leave out the end of something, or to begin it over and over.
PIECES = ("<!-- ", "<!", "<?", "<!DOCTYPE [", "<![CDATA[", "]]", "&", "&#", "&#9;", "-", "<", "<a",
          " ", "0", "/* ", "/", "//", "\"", "\\", "\\U", "\\U0800", "'\"", "{", "{k=(", "=", "a;",
          "a=b;", "\u2028", "\u0800", "\xA9")


def xml_value(value):
    return f"<plist version='1.0'><dict><key>Label</key>{value}</dict></plist>"


def xml_before(value):
    return xml_value(f"<string>a</string><key>k</key>{value}")


def openstep_value(value):
    return f"{{ Label = {value}; }}"


def openstep_before(value):
    return openstep_value(f"a; k = {value}")


def binary(objects, top, reference_size=1):
    """A whole binary file with the object of number `top` as its top level."""
    table, at = b"", 8
    for each in objects:
        table += struct.pack(">I", at)
        at += len(each)
    trailer = struct.pack(">6xBBQQQ", 4, reference_size, len(objects), top, at)
    return b"bplist00" + b"".join(objects) + table + trailer


def binary_value(value):
    return binary([b"\x65\0L\0a\0b\0e\0l", value, b"\xD1\0\1"], 2)


def binary_entry(key):
    return binary([b"\x55Label", b"\x51a", key, b"\x51z", b"\xD2\0\2\1\3"], 4)


class Cases(unittest.TestCase):
    def assert_each(self, expected, wrap, bodies):
        files = [wrap(body) if wrap else body for body in bodies]
        with tempfile.TemporaryDirectory() as folder:
            paths = [Path(folder, str(number)) for number in range(len(files))]
            for path, file in zip(paths, files):
                path.write_bytes(file if isinstance(file, bytes) else file.encode())
            for file, answer in zip(files, look_up([LOOKUP], paths), strict=True):
                self.assertEqual(answer, expected, file)

    def test_xml_that_apple_s_reader_takes_is_refused(self):
        self.assert_each(A, None, [
            b"<!-- a -- \xFF --><!DOCTYPE plist><!---->-->" + xml_before("<true/>").encode(),
            "<!---->" + xml_value("<string>b</string>") + "<!-- -->" + xml_before("<true/>"),
            "<dict><key>Label</key><string>a</string></dict>behind",
            "<?xml version='1.0' encoding='Windows_1252'?>" + xml_before("<true/>")])
        self.assert_each(A, xml_value, [
            "<?a?><?><!----><string x='y' >a</string\n>", "<string>\uFEFFa</string>",
            "<string>a</string><!---><key>Label</key><string>b</string><!-- -->",
            "<key>a</key>", "<string>b</string><key>Label</key><string>a</string>"])
        self.assert_each(A, xml_before, ["<array>" * 511 + "</array>" * 511])
        self.assert_each(NO_STRING, xml_value, ["<string>a</string><key>Label</key><true/>"])
        for name in "ISO-8859-1", "latin-1", "US_ASCII":
            self.assert_each(found("\u00E9"), lambda text: text.encode("latin-1"), [
                f"<?xml encoding='{name}'?>" + xml_value("<string>\u00E9</string>")])
        self.assert_each(REFUSED, lambda text: text.encode("latin-1"), [
            "<?xml encoding='latin1'?>" + xml_before("<integer>\u00A01</integer>")])

    def test_xml_that_apple_s_reader_refuses_is_taken(self):
        self.assert_each(REFUSED, None, [
            "", "<plist/>", "<plist><dict/><dict/></plist>", "</dict>", "<dict><></dict>",
            "<dict><key>Label</key><string>a</string></array>", "<dict><key>Label</key></dict>",
            "<dict><string>Label</string><string>a</string></dict>",
            "\uFEFF", "<!---->" + xml_before("<true/>"), "<!DOCTYPE a []>" + xml_before("<true/>")])
        self.assert_each(REFUSED, lambda name: f"<?xml encoding='{name}'?>" + xml_before("<true/>"),
                         ["UTF-16", "utf_32be", "Utf-7", "ISO-2022-JP", "EBCDIC-CP-US",
                          "windows-1252'?><!--\u00E9--><?'"])
        self.assert_each(REFUSED, xml_value, [
            "<string>a</string>text", "<string>a<!-- --></string>", "<string>a</key>",
            "<string>&#xD800;</string>", "<string>&#x110000;</string>", "<string>&#1a;</string>",
            "<string>&a;</string>"])
        self.assert_each(REFUSED, xml_before, [
            "<blob/>", "<array><true/></dict>", "<integer>x</integer>", "<date>x</date>",
            "<real>x</real>", "<data>\x80</data>", "<array>" * 512 + "</array>" * 512])

    def test_openstep_reader_differs_from_apple_s(self):
        self.assert_each(A, None, [
            "\uFEFF// c\n/* c */ { /**/ Label /* ; */ = // }\r a ; } /* open",
            "Label = a; } behind", "{\u2028Label =\u2029 a;}//\u2028", "Label = b; Label = a;"])
        self.assert_each(A, openstep_before, ["(a, (), { k = v; }, <0f 0F>, )",
                                              "(" * 511 + ")" * 511])
        self.assert_each(found("\a\b\f\n\r\t\v\"\\'qu0041\u00E9\n"), openstep_value, [
            r'"\a\b\f\n\r\t\v\"\\\'\q\u0041' + '\\\u00E9\\\n"'])
        self.assert_each(found("\uFFFDxAgA\0\u00C6\u02CB2\0\0018"), openstep_value, [
            r'"\Ud83dx\U41g\101\0\341\3012\777\18"'])
        self.assert_each(found("Label"), None, ["Label;"])
        self.assert_each(MISSING, None, [" /* only */ // a comment"])
        self.assert_each(REFUSED, None, [
            "{ Label = a }", "{ Label = a;", "{ Label = a; } behind", "{ Label a; }", "Label = a",
            "{ (a) = b; }", "{ Label = ; }", "{ Label = \"a; }", "{ Label = \"a\\"])
        self.assert_each(REFUSED, openstep_before, ["(a b)", "(,)", "<6>", "<6 1>",
                                                    "(" * 512 + ")" * 512])

    def test_binary_reader_differs_from_apple_s(self):
        self.assert_each(found("ab"), binary_value, [b"\x5F\x11\0\2ab", b"\x62\0a\0b"])
        self.assert_each(found("\u00E9"), binary_value, [b"\x51\xE9"])
        self.assert_each(found("\uFFFD\U0001F600\uFFFD"), binary_value,
                         [b"\x64\xD8\0\xD8\x3D\xDE\0\xDC\0"])
        self.assert_each(A, binary_entry, [b"\x55Label", b"\x56Labels"])
        self.assert_each(NO_DICTIONARY, binary_entry, [b"\x10\1"])
        self.assert_each(found(32 * "a"), lambda two: binary([  # by two numbers
            b"\x55Label", b"\x51k", b"", two, b"\xD2\0\1\2\3"], 4), [b"\x5F\x10\x20" + 32 * b"a"])
        self.assert_each(REFUSED, lambda key: binary([  # first seen as a value
            b"\x55Label", b"\x51a", key, b"\xD1\2\1", b"\x51k", b"\xD3\0\4\1\1\2\3"], 5), [b"\xA0"])
        self.assert_each(REFUSED, binary_entry, [b"\xA0", b"\xB0", b"\xA1\xFF", b"\x4F\x20\1z",
                                                 b"\x60", b"\x6F\x10\0"])

    def test_text_of_another_encoding_is_misread(self):
        for whole in xml_value("<string>*</string>"), openstep_value('"*"'):
            def mended(string, whole=whole.encode()):
                return whole.replace(b"*", string)
            self.assert_each(found("\uFFFDa\u00E9\uFFFD"), mended, [b"\xA9a\xC3\xA9\xA9"])
            self.assert_each(REFUSED, mended, [b"\xA8", b"\xC3\xC3\xA9", b"\xE2\xA9a", b"\xC3"])
        for codec in ("utf-16-le", "utf-16-be", "utf-32-le", "utf-32-be"):
            def encoded(text):
                return text.encode(codec, "surrogatepass")
            text = openstep_value("\"\u00E9\U0001F600\"")
            self.assert_each(found("\u00E9\U0001F600"), encoded, ["\uFEFF" + text])
            self.assert_each(REFUSED, encoded, [
                text, "\uFEFF", *(f"\uFEFF{{ Label = \"{lone}\"; }}" for lone in (
                    "\uD800", "\uDC00", "\uD800\U0001F600"))])


def arrays(depth, width, last=b"\xA0"):
    """Under a label, an array that holds `width` references to the next, and so on."""
    levels = [(b"\xA1" if width == 1 else b"\xA2") + struct.pack(">I", number) * width
              for number in range(4, 3 + depth)]
    top = b"\xD2" + struct.pack(">IIII", 0, 1, 1, 3)
    return binary([b"\x55Label", b"\x51a", top, *levels, last], 2, 4)


def shared_key():
    """One long string under every key of a large dictionary."""
    count = b"\x12" + struct.pack(">I", SIZE // 2)
    return binary([b"\x5F" + count + b"L" * (SIZE // 2), b"\xDF" + count + bytes(SIZE)], 1)


def overlapping_arrays():
    """Arrays that begin six bytes apart and are each most of the file long. As references, their
    own beginnings are the numbers 0xAF12, 4 and 0."""
    first = 0xAF12 + 1
    references = struct.pack(">20000H", *range(first, first + 20000))
    return binary([b"\x08"] * first + [b"\xAF\x12\0\4\0\0"] * 20000 + [bytes(1 << 19)] +
                  [b"\xAF\x11\x4E\x20" + references], first + 20001, 2)


def hostile_files():
    """(what it is, what it must yield if that is known, its bytes)"""
    # Its end begins with the last byte of a piece.
    yield "comment", A, xml_value("<string>a</string><!--" + " " * (SIZE - 1) + "-->")
    yield "plists", MISSING, "<plist>" * DEPTH + "<dict/>" + "</plist>" * DEPTH
    yield "deep references", A, arrays(DEPTH, 1)
    yield "a way for each subset", A, arrays(60, 2)
    yield "a reference back", REFUSED, arrays(20, 1, b"\xA1" + struct.pack(">I", 3))
    yield "shared key", MISSING, shared_key()
    yield "overlapping arrays", REFUSED, overlapping_arrays()
    latin, wide, count = "\u00E9" * SIZE, "\u0800" * SIZE, b"\x12" + struct.pack(">I", SIZE)
    text = "<?xml encoding='latin1'?>" + xml_value(f"<string>{latin}</string>")
    yield "Latin 1", found(latin), text.encode("latin-1")
    yield "binary Latin 1", found(latin), binary_value(b"\x5F" + count + latin.encode("latin-1"))
    text = "\uFEFF" + openstep_value(f'"{wide}"')
    yield "UTF-16", found(wide), text.encode("utf-16-be")
    yield "binary UTF-16", found(wide), binary_value(b"\x6F" + count + wide.encode("utf-16-be"))
    yield "lone A9", found("\uFFFDab" * SIZE), openstep_value('"*"').encode().replace(
        b"*", b"\xA9ab" * SIZE)
    for piece in PIECES:
        many = piece * (SIZE // len(piece))
        for before in ("", "<dict><key>k</key><string>",
                       "<dict><key>k</key><integer>", "{ Label = \""):
            yield f"{before}{piece}…", None, before + many


class Bounds(unittest.TestCase):
    def test_hostile_file_costs_too_much_or_cannot_be_stopped(self):
        with tempfile.TemporaryDirectory() as folder:
            for name, expected, file in hostile_files():
                path = Path(folder, "file")
                size = path.write_bytes(file if isinstance(file, bytes) else file.encode())
                limited = ["prlimit", f"--data={(1 << 20) + 3 * size}", "--cpu=3", LOOKUP]
                with self.subTest(name):
                    try:
                        answer, = look_up(limited, [path])
                    except subprocess.CalledProcessError as error:
                        self.fail(error)
                    self.assertTrue(expected in (None, answer))


if __name__ == "__main__":
    unittest.main()
