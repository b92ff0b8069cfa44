"""Captures: written by hubs, dumped, and taken apart by tshark."""

import fcntl
import json
import os
import pathlib
import re
import shutil
import socket
import struct
import subprocess
import unittest

from support import CLIENT, HUB, SENSORS, EndToEndTest, Program, field, read, until

DISSECTOR = pathlib.Path(HUB).with_name("kelvane.lua")

# A report that comes twice, one that never comes, one of an unknown id, one that is broken.
SCENARIO = SENSORS + """
steps { at: 0 cells { cells { cell_type: 3 registered: true
  lte { cell_identity { mcc: 262 mnc: 2 ci: 77 pci: 9 tac: 5 earfcn: 1300 } signal_strength { rsrp: -90 } } } } }
steps { at: 1 raw { msg_id: 99 payload: "\\377abc" } }
steps { at: 1 raw { msg_id: 1281 payload: "\\377abc" } }
steps { at: 2 error { error: -5 } }
steps { at: 3 cells { cells { cell_type: 6 registered: true
  nr { cell_identity { mcc: 262 ci: 68719476736 pci: 9 } signal_strength { rsrp: -91 } } } } }
faults { msg_id: 1281 count: 1 duplicate {} }
faults { msg_id: 130 drop {} }
"""

CALLS, STATES, BOTH, NEITHER = field(2, 1), field(3, 1), field(2, 1) + field(3, 1), field(2, 0)
GARBAGE = b"\xff"

# Session, sensor, id and payload; of events also which record of the session they answer, from 1; 0: nobody can tell.
TALKS = (
    (1, 1, 641, CALLS), (1, 1, 641, STATES), (1, 1, 1284, b"", 2), (1, 1, 1283, b"", 1), (1, 1, 1283, b"\x10\1", 0),
    (1, 1, 641, CALLS), (1, 1, 1283, b"", 0),  # an indication or an answer
    (2, 1, 641, STATES), (2, 1, 1283, b"", 0), (2, 1, 641, CALLS), (2, 1, 1283, b"\x10\1", 0), (2, 1, 1284, b"", 1),
    (3, 1, 641, BOTH), (3, 1, 1284, b"", 1), (3, 1, 1283, b"", 1), (4, 1, 641, NEITHER), (4, 1, 1283, b"", 0),
    (5, 1, 641, CALLS), (5, 1, 641, CALLS), (5, 1, 1283, b"", 0),
    (6, 1, 1, b""), (6, 2, 1, b""), (6, 2, 128, b"", 2), (6, 1, 128, b"", 1),
    (7, 1, 643, b""), (8, 1, 643, b""), (8, 1, 1285, b"", 1), (7, 1, 1285, b"", 1),
    (9, 1, 512, field(1, b"a")), (9, 1, 512, field(1, b"b")), (9, 1, 768, field(1, b"b"), 2), (9, 1, 768, field(1, b"c"), 0),
    (9, 1, 768, field(1, b"a"), 1), (9, 1, 512, field(1, b"a")), (9, 1, 768, field(1, b"a"), 6),
    (10, 1, 512, field(1, b"a") + field(2, 1)), (10, 1, 768, field(1, b"a"), 1), (10, 1, 512, field(1, b"a")),
    (10, 1, 768, field(1, b"a"), 0),  # maybe an update
    (11, 1, 640, field(1, 0)), (11, 1, 640, field(1, 1)), (11, 1, 1280, b"", 0), (11, 1, 1280, field(1, 1), 0),
    (11, 1, 640, b""), (11, 1, 1280, b"", 5),
    (12, 1, 643, b""), (12, 1, 643, b""), (12, 1, 1285, b"", 0), (12, 1, 1285, b"", 0),  # the same twice
    (12, 1, 643, b""), (12, 1, 1285, GARBAGE, 0),
    (13, 1, 514, b""), (13, 1, 1281, b"", 1), (13, 1, 1281, field(2, 1), 0), (13, 1, 642, b""), (13, 1, 1281, b"", 0),
    (14, 1, 99, b""), (14, 1, 130, b"", 1), (14, 1, 643, b""), (14, 1, 130, b"", 3), (14, 1, 641, GARBAGE), (14, 1, 640, b""),
    (14, 1, 130, b"", 0), (14, 1, 1280, b"", 6), (14, 1, 130, field(1, 1), 0),
    (15, 1, 514, b""), (15, 1, 130, b"", 0), (15, 1, 1281, b"", 1), (15, 1, 643, b""), (15, 1, 130, b"", 0),  # a step of a scenario
    (15, 1, 1285, GARBAGE, 4),
    (16, 1, 643, b""), (16, 1, 1282, b"", 0), (16, 1, 130, b"", 0), (17, 1, 130, b"", 0), (17, 1, 643, b""), (17, 1, 130, b"", 0),
    (18, 1, 643, b""), (18, 1, 130, b"", 1), (18, 1, 643, b""), (18, 1, 1285, b"", 3),
    (19, 1, 643, b""), (19, 1, 643, b""), (19, 1, 1285, b"", 0), (19, 1, 1285, GARBAGE, 0), (19, 1, 640, b""), (19, 1, 130, b"", 5),
)


def talk(path, talks):
    """Writes a capture of such records; what each of them answers, as tshark shows it."""
    records, answers, first = [], [], {}
    for number, (session, sensor, msg_id, payload, *answered) in enumerate(talks, 1):
        own = first.setdefault(session, [])
        own.append(number)
        answers.append(str(own[answered[0] - 1]) if answered and answered[0] else "")
        message = (field(2, field(1, msg_id) + field(3, payload)) if answered else
                   field(3, field(1, payload)) + field(4, msg_id))
        head = struct.pack("<BBHIQQ", 1, 1 if answered else 2, 0, session, sensor, 0)
        records.append(struct.pack("<IIII", number, 0, *2 * [len(head + message)]) + head + message)
    path.write_bytes(struct.pack("<IHHIIII", 0xa1b23c4d, 2, 4, 0, 0, 67_108_992, 147) + b"".join(records))
    return answers


def dissected(path, *options):
    """Fields as tshark shows them."""
    return subprocess.run(["tshark", "-X", f"lua_script:{DISSECTOR}", "-r", path, "-T", "fields", *options],
                          capture_output=True, text=True, check=True).stdout


class CaptureTest(EndToEndTest):

    def run_scenario(self):
        """Captures SCENARIO as x.pcap."""
        pathlib.Path("scenario.textproto").write_text(SCENARIO)
        self.assertEqual(0, self.hub_command("run", "scenario.textproto", "--capture", "x.pcap", "--speed", "max", "--",
                                             CLIENT, "operation=1", "request_id=1")[0])

    def dump(self, *options):
        status, lines, errors = self.hub_command("dump", *options)
        self.assertEqual(0, status, errors)
        return re.sub(r"\d{10}\.\d{9}", "T", lines), errors

    def test_dump(self):
        self.run_scenario()
        text = self.dump("x.pcap")[0]
        masked = self.dump("x.pcap", "--mask", "--filter", "msg_id=1281,msg_id=99", "--filter", "session=2")[0]
        lines = self.dump("x.pcap", "--format", "json", "--filter", "direction=event")[0]
        lines = re.sub(r'"timestamp":\d+', '"timestamp":0', lines)
        self.expect_golden("dump", f"{text}\nmasked:\n{masked}\nevents as JSON:\n{lines}")
        self.assertEqual(text.count(" event "), len([json.loads(line) for line in lines.splitlines()]))
        self.assertEqual(("", ""), self.dump("x.pcap", "--filter", "session=2,name=suid_req,name=unreadable"))
        self.assertIn(" unknown ", self.dump("x.pcap", "--filter", "name=unknown")[0])
        for wrong, expected in (("name=cells", "the name amd_event, attr_event, .* or voice_calls, found 'cells'"),
                                ("", "session=N, .*, found ''"),
                                ("session=x", "a number from 0 to 4294967295, found 'session=x'"),
                                ("id=1", "session=N, msg_id=N, name=NAME or direction=request|event, found 'id=1'")):
            status, _, errors = self.hub_command("dump", "x.pcap", "--filter", wrong)
            self.assertEqual(2, status)
            self.assertRegex(errors, f"^kelvane-hub dump: --filter: expected {expected}\n$".replace("|", r"\|"))

    @unittest.skipUnless(shutil.which("tshark"), "there is no tshark")
    def test_wireshark(self):
        self.run_scenario()
        fields = ("frame.number", "_ws.col.Info", "kelvane.request_in", "kelvane.answer_in", "kelvane.cell_identity_nr.ci",
                  "kelvane.signal_strength_lte.rsrp", "kelvane.std_attr_value.element.integer", "_ws.expert.message")
        shown = [word for field in fields for word in ("-e", field)]
        self.expect_golden("wireshark", dissected("x.pcap", "-2", *shown))
        # Of a field that comes twice the last counts.
        message = bytes((0x20, 1, 0x20, 99))
        head = struct.pack("<BBHI16x", 1, 2, 0, 9)
        record = struct.pack("<IIII", 1, 0, len(head + message), len(head + message)) + head + message
        pathlib.Path("twice.pcap").write_bytes(pathlib.Path("x.pcap").read_bytes()[:24] + record)
        self.assertEqual("99 unknown\n", dissected("twice.pcap", "-e", "_ws.col.Info"))
        self.assertIn(" 9 request 99 unknown", self.dump("twice.pcap")[0])

    @unittest.skipUnless(shutil.which("tshark"), "there is no tshark")
    def test_wireshark_tells_answers(self):
        expected = talk(pathlib.Path("x.pcap"), TALKS)
        answers = dissected("x.pcap", "-e", "kelvane.request_in").splitlines()
        self.assertEqual(list(zip(TALKS, expected)), list(zip(TALKS, answers)))

    def test_capture_of_a_killed_private_hub(self):
        run = self.automation("operation=1", "request_id=1", scenario=SCENARIO, KELVANE_HUB_CAPTURE="x.pcap")
        until(lambda: os.path.exists("x.pcap") and " 99 unknown" in self.dump("x.pcap")[0], "an event in the capture")
        os.kill(run.hub(), 9)
        self.assertIn(" 1 request 512 suid_req data_type: \"wwan\" register_updates: true", self.dump("x.pcap")[0])
        self.assertEqual("", self.dump("x.pcap")[1])
        whole = pathlib.Path("x.pcap").read_bytes()
        pathlib.Path("torn.pcap").write_bytes(whole[:150])
        lines, errors = self.dump("torn.pcap")
        self.assertEqual(1, len(lines.splitlines()))
        self.assertEqual("torn.pcap: record 2, byte 127: expected 73 bytes of a record, found the end after 23\n", errors)

    def test_monitor(self):
        large = 'steps { at: 2 raw { msg_id: 99 payload: "' + "x" * 5_000_000 + '" } }'
        pathlib.Path("scenario.textproto").write_text(
            SCENARIO.partition("faults")[0].replace("steps { at: 3", 3 * large + "steps { at: 3"))
        hub = Program(self, [HUB, "serve", "--listen", "hub.sock", "--scenario", "scenario.textproto", "--trace"], {})
        until(lambda: hub.out == "kelvane-hub: listening on hub.sock\n", "the hub to listen")
        monitor = Program(self, [HUB, "monitor", "hub.sock", "--filter", "direction=event,msg_id=1281,msg_id=130"], {})
        unread, nobody = os.pipe()
        os.close(unread)
        alone = Program(self, [HUB, "monitor", "hub.sock"], {}, stdout=nobody)
        os.close(nobody)
        self.assertEqual((1, "standard output: Broken pipe\n"), (alone.wait(), alone.err))
        with socket.socket(socket.AF_UNIX) as slow, socket.socket(socket.AF_UNIX) as slowest:
            slow.connect("hub.sock.control")
            slowest.connect("hub.sock.control")
            slow.sendall(b"monitor\n")
            slowest.sendall(b"monitor\n")
            heard, heard_at_end = slow.makefile("rb"), slowest.makefile("rb")
            self.assertEqual((b"OK\n", b"OK\n"), (heard.readline(), heard_at_end.readline()))
            run = self.automation("operation=1", "request_id=1", KELVANE_HUB_SOCKET="hub.sock")
            until(lambda: run.err.count("unknown message ID 99") == 4, "the large events")
            lines = [heard.readline() for _ in range(11)]
            self.wait_for_output("RSRP: -91")
            self.stop(run)
            hub.interrupt()
            all_heard = heard_at_end.readlines()
            self.assertTrue(lines[:-1] == all_heard[:-1])
        self.assertRegex(lines[-1], rb"^lost [23]\n$")  # two large ones, and the report if they took their time
        self.assertEqual([False] * 9 + [True], [len(line) > 10_000_000 for line in lines[:-1]])
        self.assertRegex(all_heard[-1], rb"^lost \d+\n$")
        self.assertEqual((0, 0), (hub.wait(), monitor.wait()))
        self.assertIn(" 2 event 130 error_event error: -5\n", monitor.out)
        traced = [line for line in hub.out.splitlines(True) if " event 1281 " in line or " event 130 " in line]
        self.assertEqual("".join(traced)[:len(monitor.out)], monitor.out)
        self.assertEqual((2, "", "kelvane-hub monitor: no answer from the hub at hub.sock: No such file or directory\n"),
                         self.hub_command("monitor", "hub.sock"))

    def test_capture_by_order(self):
        hub = self.serve(SCENARIO)
        pathlib.Path("x.pcap").touch(0o644)
        taken = self.enterContext(open("taken.pcap", "w", encoding="ascii"))
        fcntl.flock(taken, fcntl.LOCK_EX)
        for words, status, answer in (
                ("capture", 1, "KO: expected a file to write or stop, found none"),
                ("capture /nowhere/x.pcap", 1, "KO: /nowhere/x.pcap: cannot write it: No such file or directory"),
                ("capture taken.pcap", 1, f"KO: {os.path.realpath('taken.pcap')}: expected a file of its own, "
                                          "found one that another capture goes into"),
                ("capture x.pcap", 0, f"OK at=0.000 file={os.path.realpath('x.pcap')}"),
                ("capture y.pcap", 1, f"KO: expected no capture under way, found {os.path.realpath('x.pcap')}; capture stop ends it"),
                ("capture stop", 0, "OK at=0.000 messages=0"),
                ("capture stop", 1, "KO: expected a capture under way, found none")):
            self.assertEqual((status, answer + "\n", ""), self.hub_command("control", "hub.sock", *words.split()))
        self.assertEqual(("", ""), self.dump("x.pcap"))
        self.assertEqual(0o600, os.stat("x.pcap").st_mode & 0o777)
        self.stop(hub)

    def test_capture_ends_by_order_while_nobody_reads_it(self):
        hub = self.serve(SENSORS + 'steps { at: 0 raw { msg_id: 99 payload: "' + "x" * 3_000_000 + '" } }')
        os.mkfifo("x.fifo")
        with open(os.open("x.fifo", os.O_RDONLY | os.O_NONBLOCK), "rb") as pipe:
            self.assertEqual(0, self.hub_command("control", "hub.sock", "capture", "x.fifo")[0])
            run = self.automation("operation=1", "request_id=1", KELVANE_HUB_SOCKET="hub.sock")
            until(lambda: "unknown message ID 99" in run.err, "the large event")
            answer = self.hub_command("control", "hub.sock", "capture", "stop")[1]
            self.assertEqual(0, self.hub_command("control", "hub.sock", "capture", "y.pcap")[0])
            os.set_blocking(pipe.fileno(), True)
            pathlib.Path("x.pcap").write_bytes(pipe.read())
        lines, errors = self.dump("x.pcap")
        self.assertEqual((f"messages={lines.count(chr(10))}", ""), (answer.split()[-1], errors))
        self.assertNotIn("x.fifo", hub.err)
        self.stop(run)
        self.stop(hub)

    def test_capture_that_cannot_be_written(self):
        for path, reason in (("/dev/full", "No space left on device"), ("/nowhere/x", "No such file or directory")):
            run = self.automation("operation=1", "filename=x.txt", scenario=SCENARIO, KELVANE_HUB_CAPTURE=path)
            run.says(f"kelvane-hub: {path}: cannot write it: {reason}; nothing is captured")
            self.wait_for_output("RSRP: -90", "x.txt")
            self.stop(run)
        self.assertEqual(1, read(run.name + ".err").count("kelvane-hub:"))
