"""Who is let in: a client's signature, the helper's own, and the socket in front of both."""

import contextlib
import itertools
import os
import shutil
import signal
import socket
import stat
import subprocess
import sys
import time
import unittest
from pathlib import Path

from stage_support import (CLIENT_IDENTIFIER, HELPER, INTERFACE, SERVICE, SOCKET, Client,
                           StageTestCase, eventually, helper_pid, main, message, removal_request,
                           run_as)

AUTHORITY = Path("/stage/authority")
WORK = Path("/stage/work")
WORK.mkdir(exist_ok=True)
TEAM = "/CN=Velmora Stage/OU=VELMORA042"
LEAF = {"basicConstraints": "critical,CA:FALSE", "keyUsage": "critical,digitalSignature",
        "extendedKeyUsage": "codeSigning"}
NO_TEAM = f"{SERVICE} [XPC] error: Rejected an XPC client: the helper couldn't read its own team"
numbers = itertools.count()


def openssl(*arguments):
    subprocess.run(["openssl", *map(str, arguments)], check=True, capture_output=True)


def certificate(subject=TEAM, days=30, authority=AUTHORITY / "authority", digest="sha256",
                **extensions):
    """A leaf of the stage's authority unless told otherwise; an extension of None is left out."""
    base = WORK / f"leaf{next(numbers)}"
    lines = [f"{name}={value}" for name, value in (LEAF | extensions).items() if value]
    base.with_suffix(".cnf").write_text("\n".join(lines) + "\n")
    openssl("req", "-new", "-utf8", "-config", AUTHORITY / "leaf.cnf", "-key",
            AUTHORITY / "leaf.key", "-subj", subject, "-out", base.with_suffix(".csr"))
    openssl("x509", "-req", "-in", base.with_suffix(".csr"), f"-{digest}", "-days", days, "-CA",
            f"{authority}.pem", "-CAkey", f"{authority}.key", "-set_serial", next(numbers) + 10,
            "-extfile", base.with_suffix(".cnf"), "-out", base.with_suffix(".pem"))
    return base.with_suffix(".pem")


def sign(program, leaf, identifier=CLIENT_IDENTIFIER, chain=()):
    subprocess.run(["/usr/local/lib/stage/sign", identifier, program, leaf,
                    AUTHORITY / "leaf.key", *chain], check=True)


def flip_byte(path):
    data = bytearray(Path(path).read_bytes())
    data[-1] ^= 1  # the end of the section headers, which running it does not need
    Path(path).write_bytes(data)


def in_place_of(make):
    """`make` puts something else where a file was."""
    return lambda path: (os.unlink(path), make(path))


@contextlib.contextmanager
def whole_again(path):
    """Puts a file back, in one step, when the block has done with it what it wants."""
    kept = path + ".kept"
    os.rename(path, kept)
    shutil.copy(kept, path)
    try:
        yield
    finally:
        if os.path.isdir(path) and not os.path.islink(path):
            os.rmdir(path)
        os.rename(kept, path)


# What may be done to a signature, and to the bytes of a program that runs on.
BYTES_CHANGED = {
    "truncated": lambda path: os.truncate(path, os.path.getsize(path) - 1),
    "followed by more": lambda path: os.truncate(path, os.path.getsize(path) + 1),
    "altered": flip_byte,
}
FILE_CHANGED = BYTES_CHANGED | {
    "missing": os.unlink,
    "100 MB": lambda path: os.truncate(path, 100 << 20),
    "FIFO": in_place_of(os.mkfifo),
    "directory": in_place_of(os.mkdir),
    "endless device": in_place_of(lambda path: os.symlink("/dev/zero", path)),
    "symlink loop": in_place_of(lambda path: os.symlink(path, path)),
}


def make_other_authority():
    """An authority of the same name that the helper does not know."""
    other = WORK / "other"
    openssl("ecparam", "-name", "prime256v1", "-genkey", "-noout", "-out", f"{other}.key")
    openssl("req", "-x509", "-config", AUTHORITY / "leaf.cnf", "-extensions", "authority", "-key",
            f"{other}.key", "-subj", "/CN=Velmora Stage Authority", "-out", f"{other}.pem")
    return other


class ForeignClients(StageTestCase):
    """Clients that are not ours: copies of dbus-send, each with a signature of its own."""

    def foreign_client(self, name, leaf=None, **signing):
        folder = WORK / f"{next(numbers)} {name}"
        folder.mkdir()
        program = shutil.copy("/usr/bin/dbus-send", folder)
        sign(program, leaf or certificate(), **signing)
        return program

    def ask(self, program, user="alice", member=f"{INTERFACE}.protocolVersionWithReply"):
        return run_as(user, program, f"--peer=unix:path={SOCKET}", "--print-reply", "/",
                      member, timeout=20)

    def assert_refused(self, program):
        result = self.ask(program)
        self.assertNotEqual(result.returncode, 0)
        self.assertEqual(result.stdout, "")

    def test_signature_alone_decides_about_a_foreign_client(self):
        program = self.foreign_client("as genuine as ours")
        for user in ("alice", "bob", "root"):
            self.assertIn('string "3"', self.ask(program, user).stdout)
        described = self.ask(program, member="org.freedesktop.DBus.Introspectable.Introspect")
        self.assertIn('<method name="removeLegacyBackgroundItems">', described.stdout)
        self.assert_logged()

    def test_client_signed_by_or_as_another_gets_no_answer(self):
        certificates = {
            "other team": dict(subject="/CN=Velmora Stage/OU=OTHER00001"),
            "team in another field": dict(subject="/CN=Velmora Stage/O=VELMORA042"),
            "team twice": dict(subject=TEAM + "/OU=VELMORA042"),
            "other team first": dict(subject="/CN=Velmora Stage/OU=OTHER00001/OU=VELMORA042"),
            "team in another case": dict(subject="/CN=Velmora Stage/OU=velmora042"),
            "other authority": dict(authority=make_other_authority()),
            "expired": dict(days=-1), "weak digest": dict(digest="sha1"),
            "no key usage": dict(keyUsage=None),
            "no purpose": dict(extendedKeyUsage=None),
            "any purpose": dict(extendedKeyUsage="anyExtendedKeyUsage"),
            "encipherment only": dict(keyUsage="critical,keyEncipherment"),
            "an authority": dict(basicConstraints="critical,CA:TRUE",
                                 keyUsage="critical,digitalSignature,keyCertSign"),
            "an authority that may not certify": dict(basicConstraints="critical,CA:TRUE"),
            "one by its usage alone": dict(basicConstraints=None,
                                           keyUsage="critical,digitalSignature,keyCertSign"),
        }
        cases = {name: dict(leaf=certificate(**parts)) for name, parts in certificates.items()}
        cases |= {name: dict(identifier=name)
                  for name in ("com.example.other", SERVICE, CLIENT_IDENTIFIER.upper())}
        shutil.copy(certificate(), WORK / "issuer.pem")
        shutil.copy(AUTHORITY / "leaf.key", WORK / "issuer.key")
        cases["issued by a leaf"] = dict(leaf=certificate(authority=WORK / "issuer"),
                                         chain=[WORK / "issuer.pem"])
        for name, signing in cases.items():
            with self.subTest(name):
                self.assert_refused(self.foreign_client(name, **signing))
        self.assert_logged()

    def test_client_changed_since_it_was_signed_gets_no_answer(self):
        stolen = "/Applications/Velmora.app/Contents/MacOS/velmoractl.signature"
        of_another = {"of another": lambda path: shutil.copy(stolen, path)}
        for suffix, changes in (("", BYTES_CHANGED), (".signature", FILE_CHANGED | of_another)):
            for name, change in changes.items():
                with self.subTest(name, suffix=suffix):
                    program = self.foreign_client(name)
                    change(program + suffix)
                    self.assert_refused(program)
        self.assert_logged()

    def test_lower_case_team_is_served_when_both_carry_it(self):
        leaf = certificate("/CN=Velmora Stage/OU=velmora042abc")
        program = self.foreign_client("lower case", leaf)
        self.assert_refused(program)
        with whole_again(HELPER + ".signature"):
            sign(HELPER, leaf, SERVICE)
            self.assertIn('string "3"', self.ask(program).stdout)
            with self.assertRaises(ConnectionError):
                Client()
        self.assert_logged()

    def test_client_that_became_another_program_gets_no_answer(self):
        become = ("import socket, sys; peer = socket.socket(fileno=int(sys.argv[1])); "
                  "peer.settimeout(5); peer.sendall(bytes.fromhex(sys.argv[2])); "
                  "print(peer.recv(1000))")
        script = ("import os, sys; from stage_support import Client; client = Client('root'); "
                  "print(client.version(), flush=True); "
                  "os.set_inheritable(client.fileno(), True); "
                  "os.execv(sys.argv[1], ['python3', '-c', sys.argv[2], str(client.fileno()), "
                  "sys.argv[3]])")
        call = message("protocolVersionWithReply", serial=2).hex()
        for program, answer in (("/usr/bin/python3", "b''"), (sys.executable, "b'l\\x02")):
            result = run_as("root", sys.executable, "-B", "-c", script, program, become, call,
                            cwd="/stage/tests")
            self.assertEqual(result.stdout.splitlines()[0], "('3',)", result.stderr)
            self.assertTrue(result.stdout.splitlines()[1].startswith(answer), result.stdout)
        self.assert_logged()

    def test_client_of_the_other_byte_order_is_answered(self):
        with Client("alice") as client:
            answer = client.call(**removal_request("userAgent|absent", order=">"))
        self.assertIn("absent is no longer present", answer[2])
        self.new_log()

    @unittest.skipIf(tuple(map(int, os.uname().release.split(".")[:2])) < (6, 5),
                     "the kernel tells nothing but the number")
    def test_genuine_process_with_the_number_of_an_ended_client_gets_no_answer(self):
        def fork(number, routine):
            Path("/proc/sys/kernel/ns_last_pid").write_text(str(number - 1))
            if not (process := os.fork()):
                routine()
                os._exit(0)
            self.assertEqual(process, number)

        for number, is_known in ((10000, True), (20000, False)):
            if not is_known:
                os.kill(self.helper, signal.SIGSTOP)
            ours, theirs = socket.socketpair()
            fork(number, lambda: socket.send_fds(
                theirs, [b"."], [(client := Client("root", authenticate=is_known)).fileno()]))
            client = Client.__new__(Client)
            client.socket = socket.socket(fileno=socket.recv_fds(ours, 1, 1)[1][0])
            client.socket.settimeout(30)
            client.buffer, client.serial = b"", 0
            os.waitpid(number, 0)
            fork(number, signal.pause)
            os.kill(self.helper, signal.SIGCONT)
            with self.subTest(is_known=is_known), self.assertRaises(ConnectionError):
                if not is_known:
                    client.authenticate(0)
                client.version()
            os.kill(number, signal.SIGKILL)
            os.waitpid(number, 0)
            client.socket.close()

    def test_each_connection_keeps_its_own_user(self):
        with Client("alice") as alice, Client("bob") as bob:
            for client in (alice, bob, alice):
                eventually(lambda: client.call("repairUserPermissionsWithReply") == (True, ""),
                           "the free lock")
        self.assertEqual(self.new_calls(), [f"/usr/sbin/diskutil resetUserPermissions / {uid}"
                                            for uid in (501, 502, 501)])


class HelperItself(StageTestCase):
    def test_helper_without_a_readable_team_refuses_everyone_until_it_has_one(self):
        leaves = {team: certificate(f"/CN=Velmora Stage{team}") for team in (
            "", "/OU=TEAM-1", "/OU=TEAM 1", "/OU=TEAM\"1", "/OU=TE\u00c4M1", "/OU=A/OU=A")}
        leaves |= {"expired": certificate(days=-1),
                   "other authority": certificate(authority=make_other_authority())}
        cases = [(f"{suffix} {name}", HELPER + suffix, change)
                 for suffix in ("", ".signature") for name, change in FILE_CHANGED.items()]
        cases += [(name, HELPER + ".signature", lambda _, leaf=leaf: sign(HELPER, leaf, SERVICE))
                  for name, leaf in leaves.items()]
        for name, path, make in cases:
            with self.subTest(name):
                with whole_again(path):
                    make(path)
                    began = time.monotonic()
                    with self.assertRaises(ConnectionError):
                        Client()
                    self.assertLess(time.monotonic() - began, 5)
                self.assertEqual(self.new_log(), [NO_TEAM])
                self.assertEqual(helper_pid(), self.helper)
                self.assert_served("alice")
        with whole_again(HELPER):
            self.assert_served("alice")  # by what was put in its place, as an update is

    def test_second_helper_leaves_the_socket_to_the_first(self):
        second = subprocess.run([HELPER], capture_output=True, text=True, timeout=30)
        self.assertEqual((second.returncode, second.stdout), (1, ""))
        self.assertRegex(second.stderr, f"^VelmoraMaintenanceHelper: .*{SOCKET}: another helper")
        self.assertEqual(SOCKET, "/run/com.velmora.app.maintenance-helper.socket")
        handed = subprocess.run(["sh", "-c", f"LISTEN_FDS=1 LISTEN_PID=$$ exec {HELPER} 3<&-"],
                                capture_output=True, text=True, timeout=30)
        self.assertEqual(handed.returncode, 1)
        self.assertRegex(handed.stderr, "the descriptors the helper was started with")
        self.assert_served()

    def test_socket_file_left_behind_is_taken_over(self):
        script = (f"mount -t tmpfs none /run && python3 -c 'import socket; "
                  f"socket.socket(1).bind(\"{SOCKET}\")' && exec {HELPER} <&- >&-")
        process = subprocess.Popen(["unshare", "--mount", "sh", "-c", script],
                                   stderr=subprocess.PIPE)
        process.stderr.close()  # nobody reads the log
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        runs, path = (Path(f"/proc/{process.pid}/{name}") for name in ("cmdline", "root" + SOCKET))
        eventually(lambda: runs.read_bytes() == HELPER.encode() + b"\0", "the private helper")

        def connection():
            with contextlib.suppress(ConnectionRefusedError, FileNotFoundError):
                return Client("root", path=str(path))

        with eventually(connection, "a connection to the private helper") as client:
            for number in (0, 1):
                self.assertEqual(os.readlink(f"/proc/{process.pid}/fd/{number}"), "/dev/null")
            self.assertEqual(client.call("freeMemoryWithReply"), (True, ""))
            self.assertEqual(client.version(), ("3",))
        self.assertEqual(stat.S_IMODE(path.stat().st_mode), 0o666)


if __name__ == "__main__":
    main()
