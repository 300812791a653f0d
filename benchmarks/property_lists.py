"""The property lists that are read: usual jobs by the thousand, and single ones of any size."""

import os
import plistlib
from pathlib import Path
from xml.parsers.expat import ExpatError

BINARY_SHARE = 5  # one of so many is binary, the others are XML
PLACE = "org.example.benchmark.0000000"


def job(label, arguments=()):
    return {"Label": label,
            "ProgramArguments": ["/Applications/Example.app/Contents/MacOS/agent", "--background",
                                 *arguments],
            "EnvironmentVariables": {"PATH": "/usr/bin:/bin:/usr/sbin:/sbin"},
            "RunAtLoad": True, "KeepAlive": False, "StartInterval": 3600,
            "StandardErrorPath": "/tmp/example.log"}


def label(number):
    return f"{PLACE[:-7]}{number:07}"


def write_jobs(folder, count):
    """`count` jobs, each in a file named as its label; the labels are of one length."""
    folder.mkdir(parents=True, exist_ok=True)
    xml = plistlib.dumps(job(PLACE))
    binary = plistlib.dumps(job(PLACE, ["--more"] * 20 + ["x" * 250]), fmt=plistlib.FMT_BINARY)
    for number in range(count):
        form = xml if number % BINARY_SHARE else binary
        path = folder / f"{label(number)}.plist"
        path.write_bytes(form.replace(PLACE.encode(), label(number).encode()))


def content(size):
    """What comes to about `size` bytes as XML, no text twice except for keys."""

    def entry(number):
        return job(f"org.example.nested.{number:06}", [f"--argument={number:06}-{part}"
                                                       for part in range(6)])

    each = len(plistlib.dumps({"Jobs": [entry(1), entry(2)]})) - len(
        plistlib.dumps({"Jobs": [entry(1)]}))
    start = len(plistlib.dumps({"Label": PLACE, "Jobs": []}))
    return {"Jobs": [entry(number) for number in range(max(1, (size - start) // each))],
            "Label": PLACE}


def openstep(value):
    """The old text form, in which everything is text."""
    if isinstance(value, dict):
        return "{" + "".join(f"{key} = {openstep(item)};\n" for key, item in value.items()) + "}"
    if isinstance(value, list):
        return "(" + ",\n".join(map(openstep, value)) + ")"
    text = str(value).encode("ascii", "replace").decode()
    return f'"{text}"'


def write_forms(folder, size):
    """One content in the three forms; where they are."""
    folder.mkdir(parents=True, exist_ok=True)
    values = content(size)
    forms = {"xml": plistlib.dumps(values),
             "binary": plistlib.dumps(values, fmt=plistlib.FMT_BINARY),
             "openstep": openstep(values).encode()}
    for name, data in forms.items():
        (folder / f"{size}.{name}").write_bytes(data)
    return {name: folder / f"{size}.{name}" for name in forms}


def find_with_plistlib(folder, labels):
    """The jobs of these labels, by a script's usual means."""
    found = {}
    with os.scandir(folder) as entries:
        for entry in entries:
            if entry.name.endswith(".plist") and entry.is_file(follow_symlinks=False):
                data = Path(entry.path).read_bytes()
                try:
                    key = plistlib.loads(data)["Label"]
                except (plistlib.InvalidFileException, ValueError, KeyError, ExpatError):
                    continue
                if key in labels:
                    found[key] = data
    return found
