"""What the helper's reader finds in property lists, and what it has to find."""

import subprocess

REFUSED, NO_DICTIONARY, MISSING, NO_STRING = ((number, "") for number in range(1, 5))


def found(text):
    return 0, text


def expected(value):
    """What a file that holds `value` must yield."""
    if not isinstance(value, dict):
        return NO_DICTIONARY
    label = value.get("Label", MISSING)
    return found(label) if isinstance(label, str) else MISSING if label is MISSING else NO_STRING


def look_up(lookup, paths):
    """The outcome for each file of the program `lookup`, which may be a whole command."""
    output = subprocess.run([*lookup, "Label", *paths], capture_output=True, timeout=100,
                            check=True).stdout.decode()
    lines = [line.split(" ") for line in output.splitlines()]
    return [(int(outcome), bytes.fromhex(value).decode()) for outcome, value in lines]
