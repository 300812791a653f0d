"""Measures everything, inside the stage: inside.py RESULTS.json [--quick] [PART…].

Runs as root. It and the programs it starts are genuine clients.
"""

import contextlib
import json
import os
import shutil
import signal
import subprocess
import sys
import time
from pathlib import Path

import measuring
import memory
import property_lists
from measuring import AT_LEAST, AT_MOST, HERE, Program, alternate, compared, counted, seconds_of
from stage_support import (CLIENT_IDENTIFIER, CONTROL, HELPER, SOCKET, Client, eventually,
                           helper_pid)

QUICK = "--quick" in sys.argv
BARE_SOCKET, BUS_SOCKET = "/run/bare.socket", "/run/bus.socket"
LISTS, ARCHIVES = Path("/lists"), Path("/archives")  # in memory, and on the disk
AGENTS = Path("/Users/alice/Library/LaunchAgents")
DAEMONS = Path("/Library/LaunchDaemons")
LOADED = Path("/stage/launchd/gui/501")
ALICE = 501
REQUESTED = 128
VELMORACTL = "/usr/local/bin/velmoractl"


def either(full, quick):
    return quick if QUICK else full


def sign(*programs):
    for program in programs:
        subprocess.run(["stage-sign", CLIENT_IDENTIFIER, program], check=True)


# --- Running a tool ------------------------------------------------------------------------


def run_by_subprocess(count):
    for _ in range(count):
        subprocess.run(["/usr/bin/true"], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                       stderr=subprocess.PIPE, check=True)


def tool_run():
    count = either(64, 16)
    with Program("tool_run") as program:
        for threads, goal in ((1, 1.10), (4, 1.10), (16, 1.12)):
            subjects = {name: program.subject(f"{name}{threads}", count)
                        for name in ("ours", "floor", "glib")}
            if threads == 1:
                subjects["python"] = lambda: seconds_of(run_by_subprocess, count) / count
            series = alternate(either(40, 5), **subjects)
            peers = {"GSubprocess": series["glib"]}
            if threads == 1:
                peers["Python"] = series["python"]
            yield compared(f"run of a tool, {threads} thread{'s' * (threads > 1)}", series["ours"],
                           series["floor"], (AT_MOST, goal), floor="posix_spawn, wait, a file",
                           peers=peers)


# --- Calls ---------------------------------------------------------------------------------


@contextlib.contextmanager
def running(*command, socket):
    process = subprocess.Popen(command, stderr=subprocess.DEVNULL)
    try:
        eventually(lambda: Path(socket).exists(), socket)
        yield process
    finally:
        process.kill()
        process.wait()


def bus():
    settings = HERE / "bus.conf"
    settings.write_text(f"""<busconfig><type>session</type><listen>unix:path={BUS_SOCKET}</listen>
<auth>EXTERNAL</auth><policy context="default"><allow send_destination="*" eavesdrop="true"/>
<allow eavesdrop="true"/><allow own="*"/><allow user="*"/></policy></busconfig>""")
    return running("/usr/bin/dbus-daemon", f"--config-file={settings}", "--nofork", "--nopidfile",
                   socket=BUS_SOCKET)


def bare_service():
    return running(HERE / "bare_service", BARE_SOCKET, socket=BARE_SOCKET)


def wake_helper():
    with Client("root") as client:
        client.version()
    measuring.pin(helper_pid())
    return helper_pid()


def version_calls():
    wake_helper()
    count, rounds = either((200, 300), (200, 20))
    with bus(), bare_service(), Program("calls", SOCKET, BARE_SOCKET, BUS_SOCKET, HELPER,
                                        HERE / "calls") as program:
        one = alternate(rounds, **{name: program.subject(name, count)
                                   for name in ("ours", "bare", "pingpong", "bus")})
        yield compared("version call", one["ours"], one["bare"], (AT_MOST, 1.25),
                       floor="bare sd-bus service", peers={"dbus-daemon": one["bus"]})
        yield compared("version call beside a ping-pong", one["ours"], one["pingpong"], (AT_MOST, 2.0),
                       floor="a byte there and back")
        crowd = alternate(rounds, ours=program.subject("ours32", 5 * count),
                          bus=program.subject("bus32", 5 * count))
        yield compared("version calls, 32 connections", crowd["ours"], crowd["bus"],
                       (AT_LEAST, 1.5), peer="dbus-daemon")
        count = 4
        first = alternate(rounds, ours=program.subject("connect", count),
                          floor=program.subject("admit", count))
        yield compared("connection with its first call", first["ours"], first["floor"],
                       (AT_MOST, 1.10), floor="2 files hashed, 2 CMS verified, connect")


def starting():
    count, rounds = either((2, 100), (2, 8))
    wake_helper()
    with Program("start_up", HELPER, HERE / "bare_service", SOCKET, VELMORACTL,
                 HERE / "bare_client") as program:
        started = alternate(rounds, ours=program.subject("ours", count),
                            floor=program.subject("floor", count))
        yield compared("start to first answer", started["ours"], started["floor"],
                       (AT_MOST, 1.10), floor="same libraries, same checks")
        command = alternate(rounds, ours=program.subject("command", 2 * count),
                            floor=program.subject("bare_command", 2 * count))
        yield compared("velmoractl version", command["ours"], command["floor"], (AT_MOST, 1.3),
                       floor="a bare C client")


# --- Property lists ------------------------------------------------------------------------


def jobs(count):
    folder = LISTS / str(count)
    if not folder.exists():
        property_lists.write_jobs(folder, count)
    return folder


def discovery():
    sizes = {1000: either(30, 3), 10_000: either(8, 1)}
    if not QUICK:
        sizes[100_000] = 3
    with contextlib.ExitStack() as stack:
        programs = {size: stack.enter_context(Program("discovery", jobs(size)))
                    for size in sizes}
        for size, rounds in sizes.items():
            wanted = {property_lists.label(number * size // REQUESTED) for number in range(REQUESTED)}
            series = alternate(
                rounds, **{name: programs[size].subject(name)
                           for name in ("ours", "floor", "libplist")},
                python=lambda: seconds_of(property_lists.find_with_plistlib, jobs(size),
                                          wanted))
            name = f"discovery of {size:,} lists"
            yield compared(name, series["ours"], series["floor"], (AT_MOST, 1.5),
                           floor="list, open, check, read", count=size)
            yield compared(name, series["ours"], series["libplist"], (AT_LEAST, 1.0),
                           peer="libplist", count=size)
            yield compared(name, series["ours"], series["python"], (AT_LEAST, 6.0),
                           peer="Python's plistlib", count=size)
        least, most = min(sizes), max(sizes)
        growth = alternate(either(5, 3), **{
            str(size): (lambda size=size: programs[size].measure("ours", most // size) / size)
            for size in (least, most)})
        yield compared(f"discovery: each of {most:,} beside each of {least:,}", growth[str(most)],
                       growth[str(least)], (AT_MOST, 1.25), peer=f"of {least:,}")


def reader():
    sizes = either((1000, 10_000, 100_000, 1_000_000, 10_000_000), (1000, 100_000))
    rounds = either(30, 3)
    for size in sizes:
        forms = property_lists.write_forms(LISTS / "forms", size)
        with contextlib.ExitStack() as processes:
            # One for each: the heap that libplist leaves behind costs whoever asks for much next.
            programs = {name: processes.enter_context(Program("reader", *forms.values()))
                        for name in ("ours", "libplist", "expat")}
            count = max(1, either(500_000, 200_000) // size)
            subjects = {f"{name}_{form}": program.subject(f"{name}{index}", count)
                        for index, form in enumerate(forms)
                        for name, program in programs.items()
                        if name == "ours" or form != "openstep"
                        if name != "expat" or form == "xml"}
            series = alternate(rounds, **subjects)
        name = f"{size:,} bytes"
        yield compared(f"XML reader, {name}", series["ours_xml"], series["expat_xml"],
                       (AT_LEAST, 4.0), peer="expat, empty handlers")
        yield compared(f"XML reader, {name}", series["ours_xml"], series["libplist_xml"],
                       (AT_LEAST, 4.0), peer="libplist")
        yield compared(f"binary reader, {name}", series["ours_binary"], series["libplist_binary"],
                       (AT_LEAST, 3.0), peer="libplist")
        each = {form: [value / path.stat().st_size for value in series[f"ours_{form}"]]
                for form, path in forms.items()}
        yield compared(f"OpenStep reader, {name}, for each byte", each["openstep"], each["xml"],
                       (AT_MOST, 1.5), peer="our XML reader")


# --- A request -----------------------------------------------------------------------------


def agent_labels(count):
    return [property_lists.label(number) for number in range(count)]


def lay_out(labels):
    """These items, each with its job loaded."""
    property_lists.write_jobs(AGENTS, len(labels))
    LOADED.mkdir(parents=True, exist_ok=True)
    for label in labels:
        os.chown(AGENTS / f"{label}.plist", ALICE, 20)
        (LOADED / label).touch()
    os.sync()


def remove_by_helper(labels):
    with Client("alice") as client:
        client.socket.settimeout(60)
        ok, _, text = client.remove(*(f"userAgent|{label}" for label in labels))
    if not ok:
        raise RuntimeError(text)


def remove_by_script(labels):
    """What the helper does, step by step."""
    archive = ARCHIVES / str(time.monotonic_ns())
    archive.mkdir(parents=True)
    found = property_lists.find_with_plistlib(AGENTS, set(labels))
    for label in labels:
        for verb in ("print", "bootout"):
            subprocess.run(["/bin/launchctl", verb, f"gui/{ALICE}/{label}"], check=True,
                           stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
        record = json.dumps({"label": label, "removedAt": time.time()}).encode()
        for name, data in ((f"{label}.copy", found[label]), (f"{label}.json", record)):
            with open(archive / name, "xb") as file:
                file.write(data)
                file.flush()
                os.fsync(file.fileno())
        synchronize_folder(archive)
        path = AGENTS / f"{label}.plist"
        if path.read_bytes() != found[label]:
            raise RuntimeError(label)
        path.unlink()
        synchronize_folder(AGENTS)


def synchronize_folder(path):
    descriptor = os.open(path, os.O_RDONLY | os.O_DIRECTORY)
    os.fsync(descriptor)
    os.close(descriptor)


def removal():
    labels = agent_labels(either(REQUESTED, 16))
    archive = ARCHIVES / "benchmark"
    archive.mkdir(parents=True)
    wake_helper()

    def after_laying_out(work):
        def measure():
            lay_out(labels)
            return work()
        return measure

    def barely():
        shutil.rmtree(archive)
        archive.mkdir()
        return program.measure("floor")

    name = f"request of {len(labels)} items"
    with Program("request", AGENTS, archive, f"gui/{ALICE}", *labels) as program:
        series = alternate(either(6, 2),
                           ours=after_laying_out(lambda: seconds_of(remove_by_helper, labels)),
                           floor=after_laying_out(barely),
                           python=after_laying_out(lambda: seconds_of(remove_by_script, labels)))
        yield compared(name, series["ours"], series["floor"], (AT_MOST, 1.2),
                       floor="its spawns, syncs and unlinks", peers={"Python": series["python"]})
        lay_out(labels)
        syncs = program.measure("syncs")
    lay_out(labels[:1])
    with Program("request", AGENTS, archive, f"gui/{ALICE}", labels[0]) as program:
        # The folders above the items' are synced once for all.
        syncs -= program.measure("syncs")
    yield counted(f"{name}: syncs for each item more", syncs / (len(labels) - 1), (AT_MOST, 4.0), "")
    lay_out(labels)
    (CONTROL / "launchctl").write_text("sleep=0.06\n")
    slow = seconds_of(remove_by_helper, labels)
    (CONTROL / "launchctl").unlink()
    yield counted(f"{name}, launchctl takes 60 ms", slow, (AT_MOST, 22.0), "s")


# --- The process ---------------------------------------------------------------------------


def start_afresh():
    # What has been installed but is not on the disk yet would count as changed by the process.
    os.sync()
    if process := helper_pid():
        os.kill(process, signal.SIGKILL)
        eventually(lambda: helper_pid() != process, "the end of the helper")
    process = wake_helper()
    time.sleep(0.5)
    return process


def memory_rows(when, process, peer=None):
    found = memory.kibibytes(process)
    yield counted(f"private memory {when}", found["Private_Dirty"] / 1024, (AT_MOST, 1.5), "MB",
                  peer=peer)
    yield counted(f"proportional memory {when}", found["Pss"] / 1024, (AT_MOST, 3.0), "MB")


def resources():
    process = start_afresh()
    with bus() as daemon:
        with Program("calls", SOCKET, BUS_SOCKET, BUS_SOCKET, HELPER) as program:
            theirs = memory.kibibytes(daemon.pid)
        peer = "dbus-daemon {Private_Dirty:.0f} ({Pss:.0f}) KiB".format_map(theirs)
    process = start_afresh()
    yield from memory_rows("at rest", process, peer)
    with Client("root") as client:
        for _ in range(either(10_000, 1000)):
            client.version()
        yield from memory_rows(f"after {either(10_000, 1000):,} calls", process)

    size = either(100_000, 10_000)
    process = start_afresh()
    at_rest = memory.status(process, "VmRSS")
    wanted = [property_lists.label(number * size // REQUESTED) for number in range(REQUESTED - 1)]
    folder = jobs(size)
    requested_bytes = sum((folder / f"{label}.plist").stat().st_size for label in wanted)
    subprocess.run(["mount", "--bind", folder, DAEMONS], check=True)
    memory.forget_peak(process)
    with Client("root") as client:
        client.socket.settimeout(60)
        _, _, text = client.remove(*(f"systemDaemon|{label}" for label in wanted),
                                   "systemDaemon|org.example.missing")
    if "org.example.missing" not in text:
        raise RuntimeError(text)
    peak = memory.status(process, "VmHWM")
    subprocess.run(["umount", DAEMONS], check=True)
    time.sleep(0.5)
    yield from memory_rows(f"after a discovery of {size:,}", process)
    yield counted("peak of that discovery, beyond rest and the request",
                  (peak - at_rest) / 1024 - requested_bytes / 2**20, (AT_MOST, 10.0), "MB")

    process = start_afresh()
    with Client("root") as one, Client("alice") as two, Client("bob") as three:
        for client in (one, two, three):
            client.version()
        seconds = either(30, 3)
        time.sleep(0.5)
        yield counted(f"wake-ups in {seconds} s with three idle clients",
                      memory.wake_ups(process, seconds), (AT_MOST, 0), "")


def size_on_disk():
    stripped = HERE / "stripped"
    subprocess.run(["strip", "-o", stripped, HELPER], check=True)
    yield counted("stripped helper", stripped.stat().st_size / 1000, (AT_MOST, 420), "KB")


PARTS = (tool_run, version_calls, starting, discovery, reader, removal, resources, size_on_disk)


def main():
    python = HERE / "python3"
    if Path(sys.executable) != python:
        shutil.copy("/usr/bin/python3", python)
        sign(python, HERE / "calls", HERE / "start_up", HERE / "bare_client")
        os.execv(python, [python, "-B", *sys.argv])
    # What lives no longer than a call is not to wait for the disk, nor is what is only read.
    LISTS.mkdir()
    for folder in ("/tmp", LISTS):
        subprocess.run(["mount", "-t", "tmpfs", "-o", "mode=1777", "tmpfs", folder], check=True)
    measuring.pin()
    results, *wanted = (word for word in sys.argv[1:] if word != "--quick")
    rows = []
    for part in PARTS:
        if wanted and part.__name__ not in wanted:
            continue
        began = time.monotonic()
        rows += part()
        print(f"{part.__name__}: {time.monotonic() - began:.0f} s", file=sys.stderr, flush=True)
    Path(results).write_text(json.dumps(rows))


if __name__ == "__main__":
    main()
