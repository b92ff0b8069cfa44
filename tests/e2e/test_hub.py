"""The hub on its own and between several clients: sharing, failures, what each side says of the other."""

import contextlib
import fcntl
import os
import pathlib
import pty
import re
import resource
import signal
import socket
import stat
import struct
import sys
import termios
import threading
import time
import unittest

from support import (CLIENT, LISTENING, MENU, ON_CHANGE, SENSORS, STOPPED, EndToEndTest, Program, children, field, is_running,
                     no_cells, read, until)

MISMATCH = "expected a frame that starts with \"KELV\", found the bytes 6e 6f 6e 73"
HUB_GONE = "libkelvanesession: the hub ended the connection"

HELLO, REQUEST, EVENT = 1, 2, 3
NO_SENSOR, LOOKUP = (0, 0), (0x6c6f6f6b75702d31, 0x6b656c76616e6531)


def frame(kind, sensor=NO_SENSOR, payload=b"kelvane wire 1"):
    return b"KELV" + struct.pack("<IIQQ", kind, len(payload), *sensor) + payload


def event(sensor, msg_id, payload):
    return frame(EVENT, sensor, field(2, field(1, msg_id) + field(3, payload)))


# A lookup of "wwan", and the answer with the first of SENSORS.
LOOKUP_REQUEST = frame(REQUEST, LOOKUP, field(3, field(1, field(1, b"wwan"))) + field(4, 512))
LOOKUP_ANSWER = event(LOOKUP, 768, field(1, b"wwan") + field(2, field(1, 1) + field(2, 2)))


@contextlib.contextmanager
def as_user(user):
    own = os.geteuid()
    try:
        os.seteuid(own if user is None else user)
    except OSError as error:
        raise unittest.SkipTest(f"cannot become another user: {error}") from error
    yield
    os.seteuid(own)


class HubTest(EndToEndTest):

    def program(self, name, script):
        pathlib.Path(name).write_text(f"#!/bin/sh\n{script}\n")
        os.chmod(name, 0o700)

    def fake_hub(self, *connections, user=None):
        """Listens at hub.sock; on each connection waits for some bytes and sends others, in turns."""
        listener = socket.socket(socket.AF_UNIX)
        listener.bind("hub.sock")
        with as_user(user):
            listener.listen()

        def serve():
            with contextlib.suppress(OSError):
                for turns in connections:
                    accepted = listener.accept()[0]
                    self.addCleanup(accepted.close)
                    for awaited, answer in turns:
                        accepted.recv(awaited, socket.MSG_WAITALL)
                        accepted.sendall(answer)

        thread = threading.Thread(target=serve)
        thread.start()
        self.addCleanup(thread.join)
        self.addCleanup(listener.close)
        self.addCleanup(listener.shutdown, socket.SHUT_RDWR)

    def connect(self):
        peer = socket.socket(socket.AF_UNIX)
        self.addCleanup(peer.close)
        peer.settimeout(60)
        peer.connect("hub.sock")
        return peer

    def test_shared_by_a_console_and_an_automation_run(self):
        self.serve(SENSORS + "steps { at: 0 voice_calls { calls { call_id: 1 } } }")
        run = self.automation("operation=1", KELVANE_HUB_SOCKET="hub.sock")
        self.wait_for_output(no_cells())
        console = self.console("shared_hub", KELVANE_HUB_SOCKET="hub.sock")
        console.play()
        self.wait_for_output(LISTENING)
        self.stop(run)
        console.play()
        self.assertEqual("Input given 1\nconnecting to on-change sensor\n" + no_cells() + STOPPED,
                         read("output/wwan_test_output.txt").replace(LISTENING, ""))

    def test_hub_that_cannot_be_reached(self):
        pathlib.Path("bad.textproto").write_text("steps {\n  at: 0\n  bells {} }\n")
        prefix = "libkelvanesession: no session with the "
        private = prefix + "private hub: "
        for name, script in ("killed", "kill -9 $$"), ("closed", "exec 3>&-; exec sleep 1000"):
            self.program(name, script)
        no_speed = ("kelvane-hub serve: --speed: expected 0.01 to 10000, found '{}' (KELVANE_HUB_SPEED sets it, too)\n"
                    f"{private}it ended with exit status 2\n")
        unreadable = "kelvane-hub: none.textproto: cannot read it: No such file or directory\n"
        self.fake_hub([(1, b"nonsense")])
        cases = (
            ({"KELVANE_HUB_SOCKET": "none.sock"}, prefix + "hub at none.sock: No such file or directory\n"),
            ({"KELVANE_HUB_SOCKET": "bad.textproto"}, prefix + "hub at bad.textproto: Connection refused\n"),
            ({"KELVANE_HUB_SOCKET": "hub.sock"}, f"{prefix}hub at hub.sock: {MISMATCH}\n"),
            ({"KELVANE_HUB_SCENARIO": "none.textproto"},
             f"{unreadable}{private}it ended with exit status 1\n"),
            ({"KELVANE_HUB_SCENARIO": "none.textproto", "CHILD_IGNORED": ""}, f"{unreadable}{private}it ended\n"),
            ({"KELVANE_HUB_PROGRAM": "./killed"}, private + "it was ended by signal 9\n"),
            ({"KELVANE_HUB_PROGRAM": "./closed"}, private + "it closed the connection instead of saying hello\n"),
            ({"KELVANE_HUB_PROGRAM": "./none"}, private + "cannot start ./none: No such file or directory\n"),
            ({"KELVANE_HUB_SCENARIO": "bad.textproto"},
             "kelvane-hub: bad.textproto:3:9: Message type \"scenario_step\" has no field named \"bells\".\n"
             f"{private}it ended with exit status 1\n"),
            ({"KELVANE_HUB_SPEED": "0"}, no_speed.format("0")),
            ({"KELVANE_HUB_SPEED": "nan"}, no_speed.format("nan")),
        )
        for environment, diagnostics in cases:
            with self.subTest(environment):
                pathlib.Path("typed").write_text("1 -1")
                with open("typed", "rb") as typed:
                    on_child = signal.SIG_IGN if "CHILD_IGNORED" in environment else signal.SIG_DFL
                    console = Program(self, [CLIENT], environment, stdin=typed,
                                      preexec_fn=lambda action=on_child: signal.signal(signal.SIGCHLD, action))
                self.assertEqual((0, diagnostics), (console.wait(), console.err))
                failed = "connecting to on-change sensor\nget Suidfailed to open ISession for suid discovery"
                self.assertEqual(MENU + failed + MENU, console.out)

    def test_shared_hub_is_killed(self):
        hub = self.serve(SENSORS)
        run = self.automation("operation=1", KELVANE_HUB_SOCKET="hub.sock")
        self.wait_for_output(LISTENING)
        hub.kill()
        run.says(HUB_GONE)
        self.wait_for_output(LISTENING * 2)
        self.stop(run)
        self.assertEqual(ON_CHANGE + HUB_GONE + "\n", run.err)

    def test_private_hub_is_killed_and_replaced(self):
        console = self.console("private_hub_is_killed")
        console.play()
        os.kill(console.hub(), signal.SIGKILL)
        console.says(HUB_GONE + ": it was ended by signal 9")
        until(lambda: not children(console.pid), "the hub to be reaped")
        console.play()
        self.assertEqual(1, len(children(console.pid)))
        console.play()

    def test_private_hub_that_hangs(self):
        self.program("hangs", "sleep 1000 & echo $$ $! >new; mv new pids; wait")
        pathlib.Path("typed").write_text("1 -1")
        for arguments, status, lines in (["operation=1"], 0, 1), ([], -signal.SIGINT, 0):
            with self.subTest(arguments), open("typed", "rb") as typed:
                run = Program(self, [CLIENT, *arguments], {"KELVANE_HUB_PROGRAM": "./hangs"}, stdin=typed)
                pids = until(lambda: read("pids"), "the program").split()
                run.interrupt()
                self.assertEqual((status, lines), (run.wait(), run.err.count("\n")))
                until(lambda gone=pids: not any(map(is_running, gone)), "the program and its child to end")
                os.remove("pids")

    def test_hub_of_another_user(self):
        self.fake_hub(user=1234)
        run = self.automation("operation=1", KELVANE_HUB_SOCKET="hub.sock")
        run.says("libkelvanesession: no session with the hub at hub.sock: it belongs to user 1234, expected user 0")
        pathlib.Path("my.sock.lock").touch()
        os.chown("my.sock.lock", 1234, -1)
        self.assertEqual((1, "", "kelvane-hub: my.sock.lock: expected no file or one of user 0, found one of user 1234\n"),
                         self.hub_command("serve", "--listen", "my.sock"))

    def test_closed_standard_streams(self):
        runs = {stream: Program(self, ["sh", "-c", f'exec "$0" operation=1 filename={stream} {stream}>&-', CLIENT],
                                self.playing(SENSORS)) for stream in (1, 2)}
        for stream, run in runs.items():
            self.wait_for_output(no_cells(), stream)
            self.stop(run)
            self.assertEqual("Input given 1\nconnecting to on-change sensor\n" + no_cells() + STOPPED,
                             read(f"output/{stream}").replace(LISTENING, ""))

    def test_hub_that_turns_to_nonsense(self):
        hello = (len(frame(HELLO)), frame(HELLO))
        self.fake_hub([hello, (1, LOOKUP_ANSWER)], [hello, (1, b"nonsense")])
        self.console("hub_that_turns_to_nonsense", KELVANE_HUB_SOCKET="hub.sock").play()

    def test_clients_that_break_the_rules(self):
        hub = self.serve(SENSORS)
        good = self.connect()
        good.sendall(frame(HELLO))
        cases = (
            (b"nonsense", MISMATCH),
            (frame(9), "expected a frame of kind 1 to 3, found 9"),
            (b"KELV" + struct.pack("<II", HELLO, 1 << 30) + bytes(16),
             "expected a payload of at most 14 bytes, found one of 1073741824"),
            (frame(HELLO) + b"KELV" + struct.pack("<II", REQUEST, (1 << 16) + 1) + bytes(16),
             "expected a payload of at most 65536 bytes, found one of 65537"),
            (LOOKUP_REQUEST, "expected a hello first, found a frame of kind 2"),
            (frame(HELLO, payload=b"another"), "expected the hello \"kelvane wire 1\", found another of 7 bytes"),
            (frame(HELLO) + event(LOOKUP, 768, b""), "expected a request, found a frame of another kind"),
            (frame(HELLO)[:-1], "it ended the connection in the middle of a frame"),
        )
        complaints = ""
        for number, (sent, complaint) in enumerate(cases, 2):
            peer = self.connect()
            peer.sendall(sent)
            peer.shutdown(socket.SHUT_WR)
            complaints += f"kelvane-hub: session {number} ended: {complaint}\n"
            until(lambda: len(hub.err) >= len(complaints), complaints)
            self.assertEqual(complaints, hub.err)
        self.is_answered(good)

    def test_client_that_does_not_say_hello(self):
        hub = self.serve(SENSORS)
        begin = time.monotonic()
        self.connect()
        until(lambda: hub.err, "the hub to lose patience")
        self.assertEqual("kelvane-hub: session 1 ended: it did not say hello\n", hub.err)
        self.assertGreater(time.monotonic() - begin, 9)

    def test_client_that_lags_behind_gets_everything(self):
        texts = [letter * 200000 for letter in "abcdefghijklmnopqrst"]
        self.serve(SENSORS + "".join(f"steps {{ at: 0 raw {{ msg_id: 9 payload: '{text}' }} }}\n" for text in texts))
        peer = self.connect()
        peer.sendall(frame(HELLO) + frame(REQUEST, (1, 2), field(4, 514)))
        # More than this does not fit between the two.
        until(lambda: int.from_bytes(fcntl.ioctl(peer, termios.FIONREAD, bytes(4)), sys.byteorder) > 100000, "the hub")
        stream = peer.makefile("rb")
        for text in texts:
            delivery = b""
            while len(delivery) < len(text):  # others come first
                kind, size, *sensor = struct.unpack("<4xIIQQ", stream.read(28))
                delivery = stream.read(size)
            self.assertEqual((EVENT, [1, 2]), (kind, sensor))
            self.assertTrue(delivery.startswith(field(1, field(1, 1) + field(2, 2))), delivery[:20])
            self.assertTrue(delivery.endswith(field(3, text.encode())), text[0])

    def is_answered(self, peer):
        """What comes back for a lookup on a connection that has said hello."""
        peer.sendall(LOOKUP_REQUEST)
        answer = frame(HELLO) + frame(EVENT, LOOKUP)[:8]
        self.assertEqual(answer, peer.makefile("rb").read(len(answer)))

    @unittest.skipIf("TSAN_OPTIONS" in os.environ, "hundreds of megabytes take minutes")
    def test_clients_that_stall_or_flood_harm_only_themselves(self):
        large = SENSORS.replace("attributes {", f"attributes {{ value {{ values {{ text: '{'x' * 100000}' }} }} }} attributes {{")
        hub = self.serve(large + f"steps {{ at: 0 raw {{ msg_id: 9 payload: '{'x' * 1000000}' }} }} repeat_after: 0.01")
        stalling, flooding, good = (self.connect() for _ in range(3))
        good.sendall(frame(HELLO))  # who waits longer than ten seconds with it is ended
        flooding.sendall(frame(HELLO))
        flooding.settimeout(1)
        with contextlib.suppress(TimeoutError):  # it is not heard before it takes its answers
            while True:
                flooding.sendall(frame(REQUEST, (1, 2), field(4, 1)) * 1000)
        stalling.sendall(frame(HELLO) + frame(REQUEST, (1, 2), field(4, 514)))
        until(lambda: re.fullmatch(r"kelvane-hub: session 1 ended: it left \d+ bytes of events waiting\n", hub.err), "the end")
        self.is_answered(good)
        answers = flooding.makefile("rb")
        for _ in range(100):  # and then it is
            kind, size, *_ = struct.unpack("<4xIIQQ", answers.read(28))
            answers.read(size)
        self.assertEqual(EVENT, kind)

    def test_standard_error_that_nobody_reads(self):
        ends = os.pipe()
        self.addCleanup(os.close, ends[0])
        hub = self.serve(SENSORS, stderr=ends[1])
        os.set_blocking(ends[1], False)
        with contextlib.suppress(BlockingIOError):
            while True:
                os.write(ends[1], b"x" * 65536)
        os.set_blocking(ends[1], True)
        os.close(ends[1])
        for _ in range(50):
            peer = self.connect()
            peer.sendall(b"nonsense")
            peer.shutdown(socket.SHUT_WR)
            peer.makefile("rb").read()
        good = self.connect()
        good.sendall(frame(HELLO))
        self.is_answered(good)
        hub.process.send_signal(signal.SIGTERM)
        self.assertEqual(0, hub.wait())

    def test_terminal_that_stops_what_writes_in_the_background(self):
        terminal, slave = pty.openpty()
        self.addCleanup(os.close, terminal)
        settings = termios.tcgetattr(slave)
        settings[3] |= termios.TOSTOP
        termios.tcsetattr(slave, termios.TCSANOW, settings)
        environment = self.playing(SENSORS + "steps { at: 0 cells {} } steps { at: 0.5 cells { cells {} } }")
        run = Program(self, [CLIENT, "operation=1"], {**environment, "KELVANE_HUB_EXPLAIN": "1"}, stdin=slave, stderr=slave,
                      start_new_session=True, preexec_fn=lambda: fcntl.ioctl(0, termios.TIOCSCTTY, 0))
        os.close(slave)
        self.wait_for_output("Number of cells: 1")
        self.assertIn("reported: there are no thresholds", os.read(terminal, 65536).decode())
        self.stop(run)

    def test_hub_without_free_descriptors(self):
        hub = self.serve(SENSORS)
        first = self.connect()
        first.sendall(frame(HELLO))
        self.is_answered(first)
        used = len(os.listdir(f"/proc/{hub.pid}/fd"))
        resource.prlimit(hub.pid, resource.RLIMIT_NOFILE, (used, used))
        waiting = self.connect()
        waiting.sendall(frame(HELLO))
        hub.says("kelvane-hub: no more files can be opened; others have to wait")
        first.close()
        self.is_answered(waiting)

    def test_scenario_that_takes_long_to_load(self):
        os.mkfifo("slow.textproto")
        run = self.automation("operation=1", KELVANE_HUB_SCENARIO="slow.textproto")
        until(lambda: children(run.pid), "the hub")
        files = pathlib.Path(f"/proc/{children(run.pid)[0]}/fd")
        until(lambda: sum(os.readlink(file).startswith("socket:") for file in files.iterdir()) == 2, "the client to be let in")
        with open("slow.textproto", "w") as scenario:
            scenario.write(SENSORS)
        self.wait_for_output(LISTENING)
        self.stop(run)
        run = self.automation("operation=1", KELVANE_HUB_SCENARIO="slow.textproto")
        until(lambda: children(run.pid), "the hub")
        hub, = children(run.pid)
        run.kill()
        until(lambda: not os.path.exists(f"/proc/{hub}"), "the end of the hub")
        # A mistake that shows late is told all the same before a session begins.
        run = self.automation("operation=1", KELVANE_HUB_SCENARIO="slow.textproto")
        with open("slow.textproto", "w") as scenario:
            scenario.write("bells {}")
        run.says("libkelvanesession: no session with the private hub: it ended with exit status 1")
        self.stop(run)

    def test_process_that_opens_too_many_connections(self):
        hub = self.serve(SENSORS, preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_NOFILE, (96, 96)))
        peers = [self.connect() for _ in range(17)]
        self.assertEqual(b"", peers[-1].recv(1))
        hub.says(f"kelvane-hub: process {os.getpid()} has 16 connections open; one more was refused")
        peers[0].sendall(frame(HELLO))
        self.is_answered(peers[0])

    def test_commands(self):
        files = {
            "good.textproto": "description: \"Two\"\nsteps { at: 0 cells {} }\nsteps { at: 2 rrc_states { sub: 1 } }\n",
            "fast.textproto": "steps { at: 0 cells {} } repeat_after: 0.001",
            "late.textproto": "steps { at: 2 cells {} }\n  steps { at: 1 cells {} }\n",
            "drive.csv": "Timestamp,NetworkMode\n1,LTE\n",
            "bad.csv": "RSRP,Timestamp\n",
            "run.txt": "Payload size: 2\n16 0 \nbroken: 7\nPayload size: 0\nerror info: 0\n",
        }
        for name, text in files.items():
            pathlib.Path(name).write_text(text)
        commands = "serve, control, run, check, import, report, plot, summary, diff, dump or monitor"
        cases = (
            ("check good.textproto", 0, "Two\nsensors: wwan wwan_stream\nsubscriptions: 0 1\n"
             "steps: 2, cells 1, rrc_states 1\nlast step at 2 s\n", ""),
            ("check late.textproto", 1, "",
             "late.textproto:2:3: expected a time (at) of 2 seconds or later, found 1\n"),
            ("import bad.csv -o out", 1, "", "bad.csv:1: expected a column NetworkMode, found 'RSRP,Timestamp'\n"),
            ("import bad.csv -o out --plmn 1-1", 2, "",
             "kelvane-hub import: --plmn: expected a network such as 272-01, found '1-1'\n"),
            ("import drive.csv -o out --column RSRP=power", 1, "",
             "drive.csv:1: expected a column power, found 'Timestamp,NetworkMode'\n"),
            ("import bad.csv -o bad.csv", 1, "", "bad.csv: expected another file than the recording, found the same\n"),
            ("import run.txt -o out", 1, "", "run.txt:4: expected 'Received serving neighboring cell info o...', found "
             "'Payload size: 0'\n"),
            ("import run.txt -o out --plmn 272-01", 2, "",
             "kelvane-hub import: --plmn: expected a recording in CSV, found a run\n"),
            ("import run.txt -o out --session 2", 2, "",
             "kelvane-hub import: --session: expected a capture, found a run\n"),
            ("import run.txt -o out --from capture", 1, "",
             "run.txt: byte 0: expected a pcap file, 0xa1b23c4d or 0xa1b2c3d4, found 0x6c796150\n"),
            ("import run.txt -o out --from csv", 1, "",
             "run.txt:1: expected a column Timestamp, found 'Payload size: 2'\n"),
            ("import drive.csv -o out --from run", 1, "", "drive.csv:1: expected the beginning of a report (Payload size: … "
             "or Log Time: …), found 'Timestamp,NetworkMode'\n"),
            ("import drive.csv -o out --from x", 2, "", "kelvane-hub import: --from: expected csv, run or capture, found 'x'\n"),
            ("import bad.csv", 2, "", "kelvane-hub import: expected --output FILE.textproto, found none\n"),
            ("check a b", 2, "", "kelvane-hub check: expected nothing more, found 'b'\n"),
            ("report x --fromat csv", 2, "", "kelvane-hub report: expected --help, --format, --output, --strict or --follow, found "
             "'--fromat' (did you mean '--format'?)\n"),
            ("report x --format xml", 2, "", "kelvane-hub report: --format: expected json or csv, found 'xml'\n"),
            ("serve --listen", 2, "", "kelvane-hub serve: expected a value after --listen, found none\n"),
            ("serve --speed 1 --speed 2", 2, "", "kelvane-hub serve: expected --speed once\n"),
            ("serve --explain=maybe", 2, "", "kelvane-hub serve: --explain: expected true or false, found 'maybe' "
             "(KELVANE_HUB_EXPLAIN sets it, too)\n"),
            ("serve", 2, "", "kelvane-hub serve: expected --listen PATH, found none\n"),
            ("serve --listen hub.sock --scenario fast.textproto --speed 1000", 1, "",
             "kelvane-hub: --speed: expected at most 100000 steps a second, found 1e+06 (1 steps in 0.001 s at speed 1000)\n"),
            ("", 2, "", f"kelvane-hub: expected {commands}, found none\n"),
            ("chekc", 2, "", f"kelvane-hub: expected {commands}, found 'chekc' (did you mean 'check'?)\n"),
            ("--versio", 2, "", "kelvane-hub: expected --help or --version, found '--versio' (did you mean "
             "'--version'?)\n"),
            ("HELP", 2, "", f"kelvane-hub: expected {commands}, found 'HELP' (did you mean '--help'?)\n"),
            ("--serv", 2, "", "kelvane-hub: expected --help or --version, found '--serv' (did you mean 'serve'?)\n"),
            ("--sped 3 check x", 2, "", "kelvane-hub: expected --help or --version, found '--sped'\n"),
        )
        for arguments, *expected in cases:
            with self.subTest(arguments):
                self.assertEqual(tuple(expected), self.hub_command(*arguments.split()))
                self.assertFalse(os.path.exists("out"))

    def test_socket_of_a_shared_hub(self):
        hub = self.serve(SENSORS)
        self.assertEqual(0o600, stat.S_IMODE(os.stat("hub.sock").st_mode))
        pathlib.Path("file").touch()
        for path, found_there in (("hub.sock", "a free path, found a socket that a running hub listens on"),
                                  ("file", "a free path or a socket, found a file")):
            self.assertEqual((1, "", f"kelvane-hub: {path}: expected {found_there}\n"),
                             self.hub_command("serve", "--listen", path))
        self.connect().close()
        hub.kill()
        self.assertTrue(os.path.exists("hub.sock"))
        replacement = self.serve(SENSORS)
        self.connect().close()
        # One whose socket is gone leaves that of another alone.
        os.rename("hub.sock", "moved.sock")
        another = self.serve(SENSORS)
        self.stop(another)
        os.rename("moved.sock", "hub.sock")
        self.connect().close()
        replacement.process.send_signal(signal.SIGHUP)
        self.assertEqual((0, ""), (replacement.wait(), replacement.err))
        self.assertFalse(os.path.exists("hub.sock"))

    def test_locks_of_others(self):
        folder = os.open(".", os.O_RDONLY)
        self.addCleanup(os.close, folder)
        fcntl.flock(folder, fcntl.LOCK_EX)
        pathlib.Path("hub.sock.lock").touch()  # of a hub that was killed
        hub = self.serve(SENSORS)
        self.assertFalse(os.path.exists("hub.sock.lock"))
        self.stop(hub)
        self.assertEqual(("", False, False), (hub.err, os.path.exists("hub.sock"), os.path.exists("hub.sock.lock")))
