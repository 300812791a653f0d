"""Writes the stage's users and launchd items: fixtures.py ROOT HELPER_SERVICE_NAME.

Runs as root. Every property list is a row of ITEMS; a row's jobs are loaded in its domains.
"""

import os
import plistlib
import sys
from pathlib import Path

WHEEL, STAFF = 0, 20

USERS = [  # name, user, group, home, shell
    ("root", 0, WHEEL, "/var/root", "/bin/bash"),
    ("alice", 501, STAFF, "/Users/alice", "/bin/bash"),
    ("bob", 502, STAFF, "/Users/bob", "/bin/bash"),
    ("nobody", 65534, 65534, "/var/empty", "/usr/bin/false"),
]
GROUPS = [("wheel", WHEEL, "root"), ("staff", STAFF, "root"), ("nogroup", 65534, "")]

SHARED_AGENTS = "/Library/LaunchAgents"
DAEMONS = "/Library/LaunchDaemons"
ALICE = "/Users/alice/Library/LaunchAgents"
BOB = "/Users/bob/Library/LaunchAgents"

XML, BINARY = plistlib.FMT_XML, plistlib.FMT_BINARY


def agent(label, program, **more):
    return {"Label": label, "ProgramArguments": [program, "--background"], "RunAtLoad": True} | more


# Folder, file name, format, contents, domains in which the job is loaded.
ITEMS = [
    (ALICE, "org.example.updater.plist", XML,
     agent("org.example.updater", "/Applications/Example.app/Contents/MacOS/updater",
           StartInterval=3600), ["gui/501"]),
    (ALICE, "org.example.reminder.plist", BINARY,
     agent("org.example.reminder", "/Users/alice/bin/reminder", KeepAlive=False), []),
    (ALICE, "com.example.sync-agent.plist", BINARY,
     agent("com.example.sync-agent", "/Applications/Sync.app/Contents/MacOS/sync",
           EnvironmentVariables={"SYNC_HOME": "/Users/alice/Sync"}), ["gui/501"]),
    (ALICE, "org.example.installed-by-root.plist", XML,
     agent("org.example.installed-by-root", "/usr/local/bin/agent"), ["gui/501"]),
    (ALICE, "Größenwächter.plist", XML,
     agent("org.example.größenwächter", "/Users/alice/bin/größe"), []),
    (ALICE, "org.example.tool.plist", XML,
     agent("org.example.tool", "/Users/alice/bin/tool"), ["gui/501"]),
    (ALICE, "org.example.tool copy.plist", XML,
     agent("org.example.tool", "/Users/alice/bin/tool-2"), []),
    (ALICE, ".org.example.hidden.plist", XML,
     agent("org.example.hidden", "/Users/alice/bin/hidden"), []),
    (BOB, "org.example.updater.plist", XML,
     agent("org.example.updater", "/Applications/Example.app/Contents/MacOS/updater"),
     ["gui/502"]),
    (SHARED_AGENTS, "com.example.sync-agent.plist", BINARY,
     agent("com.example.sync-agent", "/Applications/Sync.app/Contents/MacOS/sync",
           LimitLoadToSessionType="Aqua"), ["gui/501", "gui/502"]),
    (SHARED_AGENTS, "org.example.menu-bar.plist", XML,
     agent("org.example.menu-bar", "/Applications/Example.app/Contents/MacOS/menu"), ["gui/501"]),
    (SHARED_AGENTS, "com.apple.example-agent.plist", XML,
     agent("com.apple.example-agent", "/usr/libexec/example-agent"), ["gui/501"]),
    (DAEMONS, "org.example.backup-daemon.plist", XML,
     agent("org.example.backup-daemon", "/usr/local/libexec/backup-daemon",
           StartCalendarInterval={"Hour": 3, "Minute": 30}), ["system"]),
    (DAEMONS, "com.example.license-daemon.plist", BINARY,
     agent("com.example.license-daemon", "/Library/Application Support/Example/licensed",
           MachServices={"com.example.license": True}), ["system"]),
    (DAEMONS, "com.example.driver-loader.plist", BINARY,
     agent("com.example.driver-loader", "/Library/Application Support/Example/loader"), []),
]

# Files that are as they are found in the field: written by hand, or no property list at all.
RAW_FILES = [
    (ALICE, "org.example.hand-written.plist",
     b"<!-- local changes -- do not overwrite -->\n<plist version=\"1.0\">\n<dict>\n"
     b"\t<key>Label</key>\n\t<string>org.example.hand-written</string>\n"
     b"\t<key>Program</key>\n\t<string>/Users/alice/bin/own</string>\n</dict>\n</plist>\n"),
    (ALICE, "org.example.old-style.plist",
     b"// Converted by hand in 2004\n{\n    Label = \"org.example.old-style\";\n"
     b"    ProgramArguments = (\"/Users/alice/bin/old\", \"-q\");\n    Nice = 5;\n}\n"),
    (ALICE, "org.example.damaged.plist", b"bplist00\xd1"),
    (ALICE, "org.example.previous.plist.disabled", b"moved away by hand\n"),
    (ALICE, ".DS_Store", b"\0\0\0\1Bud1"),
]

LINKS = [(ALICE, "org.example.linked.plist", f"{SHARED_AGENTS}/org.example.menu-bar.plist")]
OTHER_OWNERS = [(ALICE, "org.example.installed-by-root.plist", 0)]


def owner_of(path):
    for _, user, group, home, _ in USERS:
        if path.startswith(home + "/"):
            return user, group
    return 0, WHEEL


def write(root, path, contents, mode=0o644):
    target = root / path.lstrip("/")
    target.parent.mkdir(parents=True, exist_ok=True)
    target.write_bytes(contents)
    os.chown(target, *owner_of(path))
    target.chmod(mode)


def write_accounts(root):
    users = "".join(f"{name}:*:{user}:{group}:{name}:{home}:{shell}\n"
                    for name, user, group, home, shell in USERS)
    groups = "".join(f"{name}:*:{group}:{members}\n" for name, group, members in GROUPS)
    write(root, "/etc/passwd", users.encode())
    write(root, "/etc/group", groups.encode())
    write(root, "/etc/nsswitch.conf", b"passwd: files\ngroup: files\nhosts: files\n")
    write(root, "/etc/hosts", b"127.0.0.1 localhost\n::1 localhost\n")


def make_home(root, home, user, group):
    for folder, mode in (("", 0o750), ("Library", 0o700), ("Library/LaunchAgents", 0o755)):
        path = root / home.lstrip("/") / folder
        path.mkdir(parents=True, exist_ok=True)
        path.chmod(mode)
        os.chown(path, user, group)


def write_items(root, items):
    for folder, name, form, contents, domains in items:
        write(root, f"{folder}/{name}", plistlib.dumps(contents, fmt=form))
        for domain in domains:
            write(root, f"/stage/launchd/{domain}/{contents['Label']}", b"")


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    root, helper = Path(sys.argv[1]), sys.argv[2]
    os.umask(0o022)
    write_accounts(root)
    for name, user, group, home, _ in USERS:
        if name != "nobody":
            make_home(root, home, user, group)
    program = f"/Library/PrivilegedHelperTools/{helper}"
    own = {"Label": helper, "Program": program, "MachServices": {helper: True}}
    write_items(root, [*ITEMS, (DAEMONS, f"{helper}.plist", XML, own, ["system"])])
    for folder, name, contents in RAW_FILES:
        write(root, f"{folder}/{name}", contents)
    for folder, name, target in LINKS:
        (root / folder.lstrip("/") / name).symlink_to(target)
    for folder, name, owner in OTHER_OWNERS:
        os.chown(root / folder.lstrip("/") / name, owner, WHEEL)


if __name__ == "__main__":
    main()
