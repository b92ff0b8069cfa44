"""kelvane-hub run: scenarios played to programs, and what is said of these."""

import os
import pathlib
import pty
import re
import shlex
import signal
import xml.etree.ElementTree

from support import CLIENT, DEADLINE, HUB, EndToEndTest, Program, field, is_running, read, until
from test_hub import HELLO, LOOKUP_REQUEST, REQUEST, frame

NEVER_CONFIGURED = ("a client configures a sensor: expected a client to configure a sensor, found none that did",)
ERROR = "steps { at: 0 error { error: 4 } }\n"
IGNORES_SIGINT = 'trap "" INT; echo $$; while :; do sleep 0.1; done'


def not_met(*lines):
    return "".join(f"kelvane-hub: not met: {line}\n" for line in lines)


class RunTest(EndToEndTest):

    def run_hub(self, scenario, *arguments, **streams):
        """With a folder of its own for sockets. The arguments hold options, "--" and the program."""
        pathlib.Path("test.textproto").write_text(scenario)
        os.makedirs("sockets", exist_ok=True)
        return Program(self, [HUB, "run", "test.textproto", *arguments], {"XDG_RUNTIME_DIR": os.path.abspath("sockets")},
                       **streams)

    def ends(self, run, status, said):
        """Nothing is left behind, either."""
        self.assertEqual((status, said), (run.wait(), run.err))
        self.assertEqual([], os.listdir("sockets"))

    def test_reports_for_machines(self):
        run = self.run_hub(
            "steps { at: 0 expect { name: 'no calls' requests { sensor_config {} } never: true within: 1 } }\n"
            "steps { at: 0 expect { name: 'finds it' requests { suid_req { data_type: 'wwan' } } } }\n"
            "steps { at: 7 expect { requests { sensor_config {} } } }\n" + ERROR.replace("0", "8"),
            "--speed", "max", "--tap", "--junit", "report.xml", "--", CLIENT, "operation=1")
        unmet = ("expected sensor_config {} by 7.000 s, found none; the last request was on_change_config {} to wwan at "
                 "0.000 s by session 2")
        self.assertEqual(1, run.wait())
        self.assertIn(not_met(f"sensor_config {{}}: {unmet}"), run.err)
        self.assertIn("event_cb:645, Received error event 4\n", run.err, "the last report was dealt with")
        self.assertEqual(f"""TAP version 13
1..6
ok 1 - no calls
ok 2 - finds it
not ok 3 - sensor_config {{}}
  ---
  message: "{unmet}"
  ...
ok 4 - a client configures a sensor
ok 5 - the scenario is played to its end
ok 6 - the program ends with exit status 0
""", run.out[run.out.index("TAP version"):])
        report = pathlib.Path("report.xml").read_text()
        self.assertEqual(f"""<?xml version="1.0" encoding="UTF-8"?>
<testsuite name="test" tests="6" failures="1" time="">
  <testcase name="no calls" classname="test"/>
  <testcase name="finds it" classname="test"/>
  <testcase name="sensor_config {{}}" classname="test">
    <failure message="{unmet}"/>
  </testcase>
  <testcase name="a client configures a sensor" classname="test"/>
  <testcase name="the scenario is played to its end" classname="test"/>
  <testcase name="the program ends with exit status 0" classname="test"/>
</testsuite>
""", re.sub(r'time="\d+\.\d{3}"', 'time=""', report))
        xml.etree.ElementTree.fromstring(report)

    def test_programs_that_do_not_do_their_part(self):
        early = "the scenario is played to its end: expected the program to run until it is stopped, it ended at step 0 of 1"
        late = "the scenario is played to its end: expected it within 0.1 s, stopped at step 0 of 1"
        status = "the program ends with exit status 0: expected"
        cases = (
            ("exit 0", (early, f"{status} it to run until it is stopped, it ended by itself")),
            ("exit 3", (early, f"{status} exit status 0, found exit status 3")),
            ("kill $$", (early, f"{status} exit status 0, found signal 15")),
            ("exec sleep 60", (late,)),
            ("trap 'exit 4' INT; while :; do sleep 0.1; done", (late, f"{status} exit status 0, found exit status 4")),
            (IGNORES_SIGINT, (late, f"{status} it to end within 10 s after SIGINT, it had to be killed")),
        )
        for script, said in cases:
            with self.subTest(script):
                patience = ("--timeout", "0.1") if late in said else ()
                self.ends(self.run_hub(ERROR, *patience, "--", "sh", "-c", script), 1, not_met(*NEVER_CONFIGURED, *said))

    def test_what_a_program_asks_for_before_it_ends_counts(self):
        asked = frame(HELLO) + frame(REQUEST, (1, 2), field(3, b"") + field(4, 514)) + 700 * LOOKUP_REQUEST
        pathlib.Path("asked").write_bytes(asked)
        run = self.run_hub("sensors { data_type: 'wwan' suid { suid_low: 1 suid_high: 2 } }"
                           "steps { at: 0 expect { requests { suid_req {} } count: 700 within: 9 } }", "--", "python3", "-c",
                           "import os, socket; s = socket.socket(socket.AF_UNIX); s.connect(os.environ['KELVANE_HUB_SOCKET']);"
                           "s.sendall(open('asked', 'rb').read())")
        run.wait()
        self.assertNotIn("suid_req", run.err.replace("while 'suid_req {}' was open", ""))

    def test_what_was_outstanding(self):
        client = f"rm -f err; {CLIENT} operation=1 2>err & p=$!; until grep -qs 'event 4' err; do sleep 0.1; done; "
        over = f"echo $p >pid; until {HUB} control $KELVANE_HUB_CONTROL status | grep -q 'over,'; do sleep 0.1; done"
        not_taken = f"kill -STOP $p; trap 'kill -9 $p; exit' INT; {HUB} control $KELVANE_HUB_CONTROL next; wait"
        ended, stopped = "to run until it is stopped, it ended ", "it within 12 s, stopped "
        cases = (
            ("steps { at: 0 expect { name: 'calls' requests { sensor_config {} } within: 9 } }", "kill -9 $p",
             ended + "while 'calls' was open"),
            ("steps { at: 0 wait_for { name: 'two' clients: 2 } }", "kill -9 $p",
             ended + "at step 2 of 2, which waits for 'two'"),
            ("faults { msg_id: 130 after: 1 delay: 999 } steps { at: 0 error { error: 5 } }", over,
             ended + "while a message that a fault delays was still to come"),
            ("steps { at: 99 error { error: 5 } }", f"{HUB} control $KELVANE_HUB_CONTROL pause; kill -9 $p",
             ended + "at step 1 of 2, where an order has paused it"),
            ("steps { at: 99 error { error: 5 } }", not_taken, stopped + "while reports were still to be taken by the clients"),
        )
        for steps, script, said in cases:
            with self.subTest(said):
                limit = "12" if stopped in said else str(DEADLINE)
                run = self.run_hub(ERROR + steps, "--timeout", limit, "--", "sh", "-c", client + script)
                self.assertEqual(1, run.wait())
                self.assertRegex(run.err, f"the scenario is played to its end: expected (the program )?{re.escape(said)}\n")
        os.kill(int(read("pid")), signal.SIGKILL)

    def test_orders_from_the_program_and_from_others(self):
        script = (f"{CLIENT} operation=1 & p=$!; trap 'kill -2 $p' INT; until {HUB} control own.sock next; do sleep 0.1; done;"
                  f"{HUB} control $KELVANE_HUB_CONTROL fault drop msg_id=130; {HUB} control $KELVANE_HUB_CONTROL next; wait; wait")
        run = self.run_hub(ERROR + "steps { at: 900 error { error: 5 } } steps { at: 999 error { error: 6 } }",
                           "--control", "own.sock", "--explain", "--", "sh", "-c", script)
        self.assertEqual(0, run.wait(), run.err)
        self.assertIn("Received error event 5\n", run.err)
        self.assertIn("kelvane-hub: session 2, event 5 (error_event): fault 1: lost\n", run.err)
        self.assertEqual([], [name for name in os.listdir() if name.startswith("own.sock")])

    def test_what_cannot_be_run(self):
        pathlib.Path("test.textproto").write_text(ERROR)
        pathlib.Path("bad.textproto").write_text("steps { at: 0 expect { } }")
        usage = "kelvane-hub run: "
        cases = (
            ("test.textproto -- ./none", "cannot start ./none: No such file or directory"),
            ("test.textproto -- .", "cannot start .: Permission denied"),
            ("none.textproto -- true", "none.textproto: cannot read it: No such file or directory"),
            ("bad.textproto -- true", "bad.textproto:1:1: expected requests, found an expectation without any"),
            ("test.textproto --junit none/a.xml -- true", "none/a.xml: expected it in a folder, there is no such folder"),
            ("test.textproto --junit . -- true", ".: expected a file, found a folder"),
            ("test.textproto --junit ./test.textproto -- true",
             "./test.textproto: expected another file than the scenario, found the same"),
            ("test.textproto --capture x --junit ./x -- true", "./x: expected another file than the capture, found the same"),
            ("test.textproto --times 2 -- true",
             "--times: expected a scenario that begins anew (repeat_after), found test.textproto"),
            ("test.textproto --control none/a.sock -- true",
             "--control: none/a.sock.lock: cannot make the lock for none/a.sock: No such file or directory"),
            ("test.textproto --times 0 -- true", usage + "--times: expected 1 to 1000000000, found '0'"),
            ("test.textproto --speed fast -- true", usage + "--speed: expected 0.01 to 10000 or max, found 'fast'"),
            ("test.textproto --timeout -1 -- true", usage + "--timeout: expected seconds, 0 or more, found '-1'"),
            ("test.textproto --junit '' -- true", usage + "--junit: expected a file, found none"),
            ("test.textproto --capture - -- true",
             usage + "--capture: expected a file, found '-' (/dev/stdout is standard output)"),
            ("test.textproto --tap --junit - -- true",
             usage + "expected one of --tap and --junit on standard output, found both"),
            ("test.textproto true", usage + "expected -- before PROGRAM, found 'true'"),
            ("test.textproto --", usage + "expected PROGRAM after --, found none"),
            ("-- true", usage + "expected SCENARIO, found none"),
        )
        for arguments, said in cases:
            with self.subTest(arguments):
                self.assertEqual((2, "", said + "\n"), self.hub_command("run", *shlex.split(arguments)))

    def test_arguments_and_streams_are_the_programs_own(self):
        words = ["", "{}", "[a,b]", "%%", "--", "--quiet"]
        pathlib.Path("input").write_text("what is typed")
        with open("input", "rb") as typed:
            run = self.run_hub(ERROR, "--", "sh", "-c", 'printf "<%s>" "$@"; cat', "sh", *words, stdin=typed)
            self.assertEqual(1, run.wait())
        self.assertEqual("".join(f"<{word}>" for word in words) + "what is typed", run.out)

    def test_surroundings_that_are_of_no_use(self):
        pathlib.Path("test.textproto").write_text(ERROR)
        environment = {"XDG_RUNTIME_DIR": "none", "TMPDIR": "/none", "KELVANE_HUB_SPEED": "x", "KELVANE_HUB_SEED": "x"}
        for limit, status in ("0", 2), ("unlimited", 0):
            with self.subTest(limit):
                command = f"ulimit -f {limit}; exec {HUB} run test.textproto --capture a.pcap -- {CLIENT} operation=1"
                run = Program(self, ["sh", "-c", command], environment)
                self.assertEqual(status, run.wait(), run.err)
        self.assertNotIn("error_event", self.hub_command("diff", "test.textproto", "a.pcap")[1])

    def test_over_and_over(self):
        run = self.run_hub(ERROR + "repeat_after: 1000", "--speed", "max", "--times", "3", "--", CLIENT, "operation=1")
        self.assertEqual((0, 3), (run.wait(), run.err.count("Received error event 4\n")), run.err)

    def test_barrier_for_two_programs(self):
        run = self.run_hub(
            "steps { at: 5 wait_for { clients: 2 } } steps { at: 5 highspeed_rail { lte: true } }", "--speed", "max", "--",
            "sh", "-c", f"{CLIENT} operation=1 request_id=1 filename=a & a=$!; {CLIENT} operation=1 request_id=2 filename=b & "
            "trap 'kill -2 $a $!' INT; wait; wait")
        self.assertEqual(0, run.wait(), run.err)
        self.assertEqual([1, 1], [read(f"output/{name}").count("Received HST info on Sub :0") for name in "ab"])

    def test_barrier_for_a_console(self):
        terminal, slave = pty.openpty()
        self.addCleanup(os.close, terminal)
        run = self.run_hub(
            "steps { at: 1 wait_for { requests { sensor_config { report_voice_calls: true } } } }\n"
            "steps { at: 2 voice_calls { } }", "--", CLIENT, stdin=slave, stdout=slave, stderr=slave)
        os.close(slave)
        shown = b""
        for typed, awaited in (b"1\n", b"step 1 of 2, 50 %"), (b"7\n", b"calls: 0: []"):
            os.write(terminal, typed)
            while awaited not in shown:
                shown += os.read(terminal, 65536)
        self.assertEqual(0, run.wait(), shown)
        self.assertIn(b"1.0 s of 2.0 s, step 1 of 2, 50 %, ", shown)
        self.assertIn(b" times as fast, waiting for clients\r\n", shown)

    def test_signals_leave_nothing_behind(self):
        for number, script in (signal.SIGINT, "echo $$; exec sleep 60"), (signal.SIGTERM, IGNORES_SIGINT):
            with self.subTest(number):
                run = self.run_hub(ERROR, "--junit", "a.xml", "--", "sh", "-c", script)
                program = int(until(lambda run=run: run.out, "the program"))
                self.assertEqual(1, len(os.listdir("sockets")))
                run.process.send_signal(number)
                self.ends(run, 2, "kelvane-hub: the run was interrupted\n")
                self.assertFalse(is_running(program))
                self.assertIn(' message="it was interrupted"', read("a.xml"))

    def test_standard_output_that_takes_nothing(self):
        with open("/dev/full", "wb") as full:
            streams = {"No space left on device": {"stdout": full},
                       "Bad file descriptor": {"stdout": None, "preexec_fn": lambda: os.close(1)}}
            for reason, stream in streams.items():
                with self.subTest(reason):
                    run = self.run_hub(ERROR, "--tap", "--junit", "report.xml", "--", "true", **stream)
                    self.assertEqual((2, f"standard output: {reason}"), (run.wait(), run.err.splitlines()[-1]))
                    xml.etree.ElementTree.parse("report.xml")
                    os.remove("report.xml")
