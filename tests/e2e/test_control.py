"""Orders to a running hub, and what its clients see of them."""

import os
import pathlib
import re
import socket
import signal
import struct
import termios

from support import ATTRIBUTES, HUB, SENSORS, EndToEndTest, OnTerminal, Program, field, read, until

SCENARIO = SENSORS + """
steps { at: 0 cells { cells { cell_type: 3 registered: true lte { signal_strength { rsrp: -90 } } } } }
steps { at: 1000 cells { cells { cell_type: 3 registered: true lte { signal_strength { rsrp: -95 } } } } }
steps { at: 1000 cells { sub: 1 } }
"""


def reports(name):
    """All that the client says of its sensor in that file."""
    return read(f"output/{name}").partition(ATTRIBUTES)[2]


def ask_and_leave(path):
    """Asks the on-change sensor for its attributes, and is gone when they have come."""
    request = field(1, field(1, 1) + field(2, 2)) + field(3, b"") + field(4, 1)
    with socket.socket(socket.AF_UNIX) as peer:
        peer.connect(path)
        for kind, payload in ((1, b"kelvane wire 1"), (2, request)):
            peer.sendall(struct.pack("<4sIIQQ", b"KELV", kind, len(payload), kind - 1, 2 * (kind - 1)) + payload)
        until(lambda: len(peer.recv(1000, socket.MSG_PEEK)) > 28 + 14 + 28, "an answer")


class Prompt(OnTerminal):
    """`control` where a person types."""

    def __init__(self, test, terminal="xterm"):
        self.found = None
        super().__init__(test, [HUB, "control", "hub.sock"], {"TERM": terminal, "LC_ALL": "C"}, self._note)
        self.shows("> ")

    def _note(self, settings):
        settings[3] &= ~termios.ECHOCTL  # editing needs other settings
        self.found = list(settings)

    def edit(self, keys):
        """Types them where lines are edited."""
        until(lambda: not self.is_as_found(), "editing")
        self.type(keys)

    def shows(self, text):
        """Waits for a text, and takes what stands before it, too. How the cursor moves does not count."""
        self._read(lambda: text in self._shown())
        self.test.assertIn(text, self._shown())
        self.seen = self._shown().partition(text)[2].encode()

    def _shown(self):
        return re.sub(rb"\x1b\[[\d;?]*[a-zA-Z]|\r", b"", self.seen).decode("utf-8", "ignore")

    def is_as_found(self):
        return termios.tcgetattr(self.terminal) == self.found


class ControlTest(EndToEndTest):

    def order(self, *words, status=0, at="hub.sock"):
        """What the hub answers; times are blotted out."""
        done = self.hub_command("control", at, *words)
        self.assertEqual((status, ""), done[::2], done)
        return re.sub(r"\d+\.\d{3}", "#", done[1])

    def client(self, name, **environment):
        run = self.automation("operation=1", f"filename={name}", **environment)
        self.wait_for_output("RSRP: -90", name)
        return run

    def test_live_changes_and_their_record(self):
        hub = self.serve(SCENARIO)
        shared = {"KELVANE_HUB_SOCKET": "hub.sock"}
        first = self.client("first.txt", **shared)
        self.assertEqual("OK at=# sub=0 cell=1 rsrp=-105\n", self.order("set", "rsrp=-105"))
        self.wait_for_output("RSRP: -105", "first.txt")
        self.order("step", "ramp { field: 'rsrp' to: -107 over: 0.002 every: 0.001 }")
        self.wait_for_output("RSRP: -107", "first.txt")
        self.assertEqual("OK at=# state=paused\n", self.order("pause"))
        self.assertEqual("OK at=# steps=3 what=cells\n", self.order("next"))
        self.wait_for_output("RSRP: -95", "first.txt")
        self.assertEqual("OK at=# error=-5\n", self.order("error", "-5"))
        self.assertEqual("scenario time # s, paused, speed 1, 3 steps\nall sessions: 3 requests, 9 events\n"
                         "session 2: 2 requests, 8 events\nsession 2, wwan: configured for changes\nOK at=#\n",
                         self.order("status"))
        self.assertEqual("KO: speed: expected a number from 0.01 to 10000, found 'x'\n",
                         self.order("speed", "x", status=1))
        self.assertEqual("KO: expected a file to write, found none\n", self.order("record", status=1))
        self.assertEqual("OK at=# steps=7\n", self.order("record", "record.textproto"))
        self.assertEqual((0, ""), self.hub_command("check", "record.textproto")[::2])
        self.stop(first)
        self.order("quit")
        self.assertEqual(0, hub.wait())
        self.assertEqual([], [name for name in os.listdir() if name.startswith("hub.sock")])
        again = self.client("again.txt", KELVANE_HUB_SCENARIO="record.textproto", KELVANE_HUB_SPEED="500")
        until(lambda: "error event -5" in again.err, "the end of the record")
        self.stop(again)
        self.assertEqual(reports("first.txt"), reports("again.txt"))
        self.assertEqual((2, "", "kelvane-hub control: no answer from the hub at hub.sock: No such file or directory\n"),
                         self.hub_command("control", "hub.sock", "status"))

    def test_private_hub_takes_orders_from_standard_input(self):
        run = self.client("private.txt", KELVANE_HUB_CONTROL="own.sock", **self.playing(SCENARIO))
        pathlib.Path("orders").write_text("# a comment\n\npause\nhalt\n  set rsrp=-111")
        with open("orders", encoding="utf-8") as orders:
            control = Program(self, [HUB, "control", "own.sock"], {}, stdin=orders)
            self.assertEqual(1, control.wait())
        self.assertRegex(control.out, r"^OK at=\S+ state=paused\nKO: expected set, .*\nOK at=\S+ sub=0 cell=1 rsrp=-111\n$")
        self.wait_for_output("RSRP: -111", "private.txt")
        self.stop(run)

    def test_controller_that_reads_nothing_and_one_that_says_too_much(self):
        hub = self.serve(SCENARIO)
        with socket.socket(socket.AF_UNIX) as silent, socket.socket(socket.AF_UNIX) as talkative:
            silent.connect("hub.sock.control")
            silent.settimeout(1)
            with self.assertRaises(TimeoutError):
                while True:
                    silent.send(b"help\n" * 1000)
            talkative.connect("hub.sock.control")
            talkative.sendall(b"x" * 70000)
            self.assertEqual(b"KO: expected a line of at most 65536 bytes, found a longer one\n",
                             talkative.makefile("rb").read())
            self.order("status")
        self.stop(hub)

    def test_controllers_that_go_at_once(self):
        hub = self.serve(SCENARIO)
        with socket.socket(socket.AF_UNIX) as gone, socket.socket(socket.AF_UNIX) as listening:
            gone.connect("hub.sock.control")
            gone.sendall(b"pause\n" * 1000 + b"speed 7")
            gone.close()
            until(lambda: "speed 7," in self.order("status"), "the last order to be carried out")
            listening.connect("hub.sock.control")
            listening.sendall(b"pause\n" * 1000 + b"halt\n")
            listening.shutdown(socket.SHUT_WR)
            answers = listening.makefile("rb").readlines()
            self.assertEqual((1001, b"KO"), (len(answers), answers[-1][:2]))
        self.stop(hub)

    def test_hub_that_cannot_be_controlled(self):
        pathlib.Path("hub.sock.control").touch()
        hub = self.serve(SCENARIO)
        hub.says("kelvane-hub: hub.sock.control: expected a free path or a socket, found a file; nobody can control this hub")
        self.stop(hub)

    def test_scenario_for_each_first_client_and_end(self):
        steps = SENSORS + SCENARIO.partition(SENSORS)[2].replace("1000", "0.5")
        steps += "steps { at: 0.5 expect { requests { attr_req {} } count: 1 } }"
        pathlib.Path("short.textproto").write_text(steps)
        hub = Program(self, [HUB, "serve", "--listen", "hub.sock", "--scenario", "short.textproto", "--restart"], {})
        until(lambda: hub.out, "the hub to listen")
        ask_and_leave("hub.sock")
        for name in ("one.txt", "two.txt"):
            until(lambda: "\nsession " not in self.order("status"), "nobody to be left")
            run = self.client(name, KELVANE_HUB_SOCKET="hub.sock")
            self.wait_for_output("RSRP: -95", name)
            self.stop(run)
        self.assertEqual(reports("one.txt"), reports("two.txt"))
        until(lambda: hub.err.count("the scenario is over: 4 steps in 0.5 s") == 2, "both ends of the scenario")
        self.assertNotIn("expected", hub.err)
        self.stop(hub)
        hub = Program(self, [HUB, "serve", "--listen", "hub.sock", "--scenario", "short.textproto", "--exit-at-end"], {})
        until(lambda: hub.out, "the hub to listen")
        run = self.client("three.txt", KELVANE_HUB_SOCKET="hub.sock")
        self.assertEqual(0, hub.wait())
        self.wait_for_output("RSRP: -95", "three.txt")
        self.stop(run)

    def test_prompt_completes_and_remembers(self):
        hub = self.serve(SCENARIO)
        self.order("step", "cells { cells { cell_type: 3 lte {} } }")
        for folder in ("gräser", "grüße"):
            os.mkdir(folder)
        prompt = Prompt(self)
        for typed, shown in (("sta\t\n", "status \nscenario time"), ("re\t", "resume   restart  record\n> re"),
                             ("\x15set rsrp\t-105\n", "rsrp=-105\nOK at="), ("call \t", "none  id=   sub=\n> call "),
                             ("\x15rrc \t", "lte=    nr5g=   wcdma=  sub=\n> rrc "), ("\x15rail lte\t", "lte=true "),
                             ("\x15fault del\t", "fault delay="), ("\x15capture st\t", "capture stop "),
                             ("\x15error \t", "error N: an error event\n> error "), ("\x15help fa\t", "help fault "),
                             ("\x15record gr\t", "gräser/  grüße/\n> record gr"), ("ü\t", "üße/"),
                             ("\x15\x1b[A\x1b[A\n", "status\nscenario time")):
            with self.subTest(typed):
                prompt.edit(typed)
                prompt.shows(shown)
        prompt.edit("\x15quit\n")
        self.assertEqual((0, 0, ""), (prompt.wait(), hub.wait(), prompt.err))
        self.assertTrue(prompt.is_as_found())

    def test_ways_out_of_the_prompt(self):
        hub = self.serve(SCENARIO)
        for keys, status in (("\x03", -signal.SIGINT), ("\x04", 0), ("", -signal.SIGTERM)):
            with self.subTest(keys):
                prompt = Prompt(self)
                prompt.edit(keys)
                if not keys:
                    prompt.process.terminate()
                self.assertEqual((status, True, ""), (prompt.wait(), prompt.is_as_found(), prompt.err))
        prompt, plain = Prompt(self), Prompt(self, "dumb")
        prompt.edit("halt\n")
        prompt.shows("found 'halt'\n> ")
        self.stop(hub)
        prompt.edit("sta\t")
        self.assertTrue(plain.is_as_found())
        plain.type("status\n")
        for ended in (prompt, plain):
            self.assertEqual((2, "kelvane-hub control: no answer from the hub at hub.sock.control: it ended the connection\n"),
                             (ended.wait(), ended.err))
            self.assertTrue(ended.is_as_found())
