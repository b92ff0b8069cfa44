"""libkelvanecapture.so between the client and the session library: what it writes, and that the client does not notice."""

import os
import pathlib
import shutil
import socket
import struct
import threading

from support import CLIENT, HUB, EndToEndTest
from test_automation import EVENTS, whole_run

LIBRARY = pathlib.Path(HUB).parent / "libkelvanecapture.so"
EVENT, REQUEST = 1, 2

def records(capture):
    """The messages of a capture: of each session and direction, a list of SUIDs with their messages."""
    data, at, found, last = pathlib.Path(capture).read_bytes(), 24, {}, (0, 0)
    while at < len(data):
        seconds, nanoseconds, size, whole = struct.unpack_from("<4I", data, at)
        version, direction, session, low, high = struct.unpack_from("<BBxxIQQ", data, at + 16)
        assert (version, size, (seconds, nanoseconds) >= last) == (1, whole, True), data[at:]
        found.setdefault((session, direction), []).append((low, high, data[at + 40:at + 16 + size]))
        at, last = at + 16 + size, (seconds, nanoseconds)
    assert at == len(data)
    return found


def between():
    """The environment in which the library bears the session library's name."""
    os.mkdir("between")
    shutil.copy(LIBRARY, "between/libkelvanesession.so")
    return {"LD_LIBRARY_PATH": os.path.abspath("between"),
            "KELVANE_CAPTURE_LIBRARY": str(LIBRARY.with_name("libkelvanesession.so"))}


def capturing():
    """The environment in which a client is captured."""
    emulated = pathlib.Path(CLIENT).read_bytes().startswith(b"#!")  # the emulator itself would be told to preload it
    return between() if emulated else {"LD_PRELOAD": str(LIBRARY)}


class Relay:
    """Stands between the session library and the hub at hub.sock, and keeps what passes, in the form of records()."""

    def __init__(self, test):
        self.passed, self.connections = {}, []
        self.listener = socket.socket(socket.AF_UNIX)
        self.listener.bind("relay.sock")
        self.listener.listen()
        self.threads = [threading.Thread(target=self.accept, daemon=True)]
        self.threads[0].start()
        test.addCleanup(self.end)

    def accept(self):
        for session in (1, 2):  # a lookup and a sensor
            client, hub = self.listener.accept()[0], socket.socket(socket.AF_UNIX)
            hub.connect("hub.sock")
            self.connections += client, hub
            for direction, ends in ((REQUEST, (client, hub)), (EVENT, (hub, client))):
                self.threads.append(threading.Thread(target=self.pass_on, args=(session, direction, *ends), daemon=True))
                self.threads[-1].start()

    def pass_on(self, session, direction, source, target):
        stream = source.makefile("rb")
        while header := stream.read(28):
            kind, size, low, high = struct.unpack("<IIQQ", header[4:])
            message = stream.read(size)
            if kind != 1:  # a hello
                self.passed.setdefault((session, direction), []).append((low, high, message))
            target.sendall(header + message)
        target.shutdown(socket.SHUT_WR)

    def end(self):
        for end in (self.listener, *self.connections):
            end.close()

    def all(self):
        """What has passed, when all connections have ended."""
        while self.threads:
            self.threads.pop().join()
        return self.passed


class CaptureLibraryTest(EndToEndTest):
    def test_what_passes_is_captured_and_the_client_does_not_notice(self):
        self.serve(EVENTS)
        relay = Relay(self)
        pathlib.Path("run.pcap").write_text("an earlier capture " * 1000)
        run = whole_run(self, **capturing(), KELVANE_CAPTURE="run.pcap", KELVANE_HUB_SOCKET="relay.sock")
        self.expect_golden("automation", run)
        self.assertEqual(relay.all(), records("run.pcap"))
        self.assertEqual({(1, EVENT): 1, (1, REQUEST): 1, (2, EVENT): 5, (2, REQUEST): 2},
                         {stream: len(messages) for stream, messages in relay.passed.items()})

    def test_full_disk_is_said_once(self):
        run = whole_run(self, **between(), KELVANE_CAPTURE="/dev/full")
        said = "libkelvanecapture: cannot capture into /dev/full: No space left on device\n"
        self.assertEqual(1, run.count(said))
        self.expect_golden("automation", run.replace(said, ""))

    def test_session_library_that_is_none(self):
        own = os.path.abspath("between/libkelvanesession.so")
        for named, why in (("none.so", "none.so: cannot open shared object file: No such file or directory"),
                           (own, "it is this library itself")):
            with self.subTest(named):
                shutil.rmtree("between", ignore_errors=True)
                run = self.automation("operation=1", **{**between(), "KELVANE_CAPTURE_LIBRARY": named})
                run.says(f"libkelvanecapture: expected a session library behind this one: {why}")
                run.kill()
