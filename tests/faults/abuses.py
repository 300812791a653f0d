"""What a genuine client may do to the helper: each once, and going on for as long as its block."""

import contextlib
import os
import select
import signal
import socket
import time

from attack_support import process, times
from stage_support import Client, message, removal_request

CONNECTIONS_PER_USER = 128
VERSION_CALL = message("protocolVersionWithReply")
REMOVAL_CALL = message(**removal_request("userAgent|org.example.absent", "sharedAgent|absent"))
FOUR_GIGABYTES = VERSION_CALL[:4] + b"\xff" * 4 + VERSION_CALL[8:]
LOGIN = b"\0AUTH EXTERNAL 353031\r\nBEGIN\r\n"
NO_LOGINS = (
    b"\0AUTH " + b"A" * 300000, b"\0AUTH EXTERNAL 353032\r\nBEGIN\r\n" + VERSION_CALL,  # bob's
    b"\0AUTH ANONYMOUS\r\nBEGIN\r\n" + VERSION_CALL, b"\0BEGIN\r\n" + VERSION_CALL, VERSION_CALL)
REQUESTS = (b'["userAgent|org.example.absent","sharedAgent|absent"]',
            '["userAgent|e\u0301\u00e9","systemDaemon|\\ud83d\\ude00", "\\u0000|"]'.encode())


def mutated(chance, data):
    """Up to four bytes changed, or a piece left out, doubled or moved."""
    begin, end = sorted(chance.choices(range(len(data)), k=2))
    if chance.random() < 0.7:
        others = chance.choices((0, 1, 127, 255, chance.randrange(256)), k=chance.randint(1, 4))
        return data[:begin] + bytes(others) + data[begin + len(others):]
    rest = data[:begin] + data[end:]
    at = chance.randrange(len(rest) + 1)
    return rest[:at] + data[begin:end] * chance.randint(0, 2) + rest[at:]


@contextlib.contextmanager
def crowd(_, size=1000):
    with contextlib.ExitStack() as clients:
        count = 0
        for _ in range(size):
            with contextlib.suppress(ConnectionError):
                clients.enter_context(Client())
                count += 1
        assert count <= CONNECTIONS_PER_USER, count
        yield


@contextlib.contextmanager
def no_login(chance):
    with Client(authenticate=False) as client:
        answer = b""
        with contextlib.suppress(ConnectionError):
            client.send(chance.choice((chance.randbytes(5000), *NO_LOGINS)))
            client.socket.shutdown(socket.SHUT_WR)
            answer = b"".join(iter(lambda: client.socket.recv(4096), b""))
        assert b"3\0" not in answer, answer
        yield


@contextlib.contextmanager
def mutated_messages(chance):
    with Client(authenticate=False) as client:
        login = mutated(chance, LOGIN) if chance.random() < 0.1 else LOGIN
        call = chance.choice((VERSION_CALL, REMOVAL_CALL, FOUR_GIGABYTES))
        with contextlib.suppress(ConnectionError):
            client.send(login + mutated(chance, call) + VERSION_CALL * chance.choice((1, 50)))
        yield


@contextlib.contextmanager
def mutated_requests(chance):
    with Client() as client:
        for number in range(20):
            ok, _, text = client.remove(data=mutated(chance, REQUESTS[number % 2]))
            assert not ok and text, "each is refused"
        yield


@contextlib.contextmanager
def lost_client(chance):
    """Dead or stopped at any point, with or without replies that nobody reads."""
    session = (LOGIN + REMOVAL_CALL)[:chance.randint(0, 2 * len(LOGIN + REMOVAL_CALL))]

    def send_and_wait():
        with contextlib.suppress(ConnectionError), Client(authenticate=False) as client:
            client.send(session + VERSION_CALL * chance.choice((0, 1000)))
            signal.pause()

    with process(send_and_wait) as lost:
        time.sleep(chance.random() / 50)
        os.kill(lost.pid, chance.choice((signal.SIGKILL, signal.SIGSTOP)))
        yield


@contextlib.contextmanager
def deaf_client(_):
    """It reads nothing, and in the end everything."""
    flood, sent = memoryview(VERSION_CALL * 300000), 0
    with Client() as client:
        while select.select([], [client], [], 1)[1]:
            sent += client.socket.send(flood[sent:sent + 65536], socket.MSG_DONTWAIT)
            assert sent < len(flood), "the helper has taken in everything"
        yield
        for _ in range(sent // len(VERSION_CALL)):
            assert client.reply() == ("3",)


@contextlib.contextmanager
def large_requests(_):
    """Of idle clients; each request fits where the last one was."""
    with contextlib.ExitStack() as clients:
        for number in range(times(12, 40)):
            client = clients.enter_context(Client())
            ok, _, text = client.remove(data=b"x" * ((times(8, 30) << 20) - (number << 12)))
            assert not ok and text
        yield


@contextlib.contextmanager
def descriptors_sent_along(_):
    """With each part of a call that has no end."""
    with open("/dev/null") as device, Client(authenticate=False) as client:
        with contextlib.suppress(ConnectionError):
            client.send(LOGIN.replace(b"BEGIN", b"NEGOTIATE_UNIX_FD"))
            while client.buffer.count(b"\n") < 2:
                client.buffer += client.receive()
            client.buffer = b""
            client.send(b"BEGIN\r\n")
            assert client.version() == ("3",)
            for at in range(20):
                socket.send_fds(client.socket, [VERSION_CALL[at:at + 1]], [device.fileno()] * 20)
        yield
