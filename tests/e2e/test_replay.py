"""Runs and their captures, imported and played again: a client reports the same, log times aside, and says the same of events without report."""

import json
import pathlib
import re
import shutil
import subprocess

from support import CLIENT, HUB, ROOT, SENSORS, EndToEndTest, Program, until
from test_capture import DISSECTOR
from test_capture_library import capturing
from test_drives import TRACES, made_up_drive
from test_scenarios import SESSIONS

DIAGNOSED = re.compile(r"event_cb:\d+, Received .*")
OF_THE_RUN = ("line", "time", "earliest", "latest", "log_time")
# What is said of every run, or of every console session.
ROUTINE = re.compile(r".*: \d+ (lines that are no report|reports? begins? behind|reports? in) .*\n| \(first in (?:line|record) \d+\)")
# What is said beyond that.
SAID = {"hub_errors.txt": """\
hub_errors.txt: as raw events: 2 with payload bytes that these definitions do not read, \
1 that the run does not show to be registered for, 2 that answer what the run does not show to be asked
hub_errors.txt: as sensors that refuse: 3 refusals of the requests before them
hub_errors.txt: connects 2 times, which the scenario plays as one connection
""", "hub_errors.pcap": """\
hub_errors.pcap: as raw events: 3 with payload bytes that these definitions do not read, \
1 that the run does not show to be registered for, 3 that answer what the run does not show to be asked
hub_errors.pcap: as sensors that refuse: 2 refusals of the requests before them
"""}

# A phone whose client sets a threshold for LTE, then registers for calls and RRC states.
PHONE = SENSORS + """
steps { at: 0 cells { sub: 0 cells { timestamp: 1 cell_type: 3 registered: true lte { signal_strength { rsrp: -90 } } } } }
steps { at: 0 cells { sub: 1 cells { cell_type: 1 registered: true gsm { signal_strength { signal_strength: -70 } } } } }
steps { at: 1 wait_for { requests { sensor_config { report_voice_calls: true } }
                         requests { sensor_config { report_rrc_state_info: true } } } }
steps { at: 2 voice_calls { sub: 1 calls { call_id: 7 call_state: 5 } } }
steps { at: 3 rrc_states { sub: 0 lte_rrc_state: 2 } }
steps { at: 4 cells { sub: 0 cells { cell_type: 3 registered: true lte { signal_strength { rsrp: -95 } } } } }
steps { at: 5 cells { sub: 0 cells { cell_type: 3 registered: true lte { signal_strength { rsrp: -105 } } } } }
steps { at: 6 cells { sub: 0 cells { cell_type: 6 registered: true nr { cell_identity { ci: 68719476736 } } } } }
steps { at: 7 error { error: -5 } }
steps { at: 8 raw { msg_id: 99 payload: "\\377abc" } }
steps { at: 9 voice_calls { sub: 1 } }
steps { at: 10 rrc_states { sub: 0 nr5g_rrc_state: 1 } }
"""
TYPED = {**SESSIONS, "phone": ((1, "Signal Strength: -70"), ("4 0 0 0 1 1 0 1 1 -100 0 0 0 0 0 0", "error info: 0"),
                               (7, "set_report_voice_calls"), (10, "NR5G RRC STATE: 1"))}


class ReplayTest(EndToEndTest):

    def begin(self, name, scenario, file, *options, program=(CLIENT,)):
        """Starts an automation run that writes `file`, or a console session if something is typed there."""
        client = program if TYPED.get(name) else [*program, "operation=1", f"filename={file}"]
        return Program(self, [HUB, "run", scenario, "--speed", "max", *options, "--", *client], {}, stdin=subprocess.PIPE,
                       stderr=subprocess.STDOUT)

    def output(self, name, run, file):
        """The run's output file; of a console session all that it has said."""
        typed = TYPED.get(name, ())
        for choice, awaited in typed:
            run.process.stdin.write(f"{choice}\n".encode())
            run.process.stdin.flush()
            until(lambda text=awaited: text in run.out, awaited)
        self.assertEqual(0, run.wait(), run.out)
        return pathlib.Path(run.name + ".out" if typed else f"output/{file}").read_text(encoding="utf-8")

    def reports(self, run):
        """What is reported, in its order, and what is only diagnosed."""
        pathlib.Path("reported").write_text(run, encoding="utf-8")
        events = [json.loads(line) for line in self.hub_command("report", "reported")[1].splitlines()]
        self.assertTrue(events)
        for event in events:
            cells = [cell for part in (event, *event.get("subscriptions", ())) for cell in part.get("cells", ())]
            for key in OF_THE_RUN:
                for part in (event, *cells):
                    part.pop(key, None)
        return events + DIAGNOSED.findall(run)

    def replay(self, scenarios):
        """Side by side: a client is asleep for most of its time."""
        begun = {name: self.begin(name, scenario, name, "--capture", f"{name}.pcap") for name, scenario in scenarios.items()}
        runs = {name: self.output(name, run, name) for name, run in begun.items()}
        for name, run in runs.items():
            pathlib.Path(f"{name}.txt").write_text(run, encoding="utf-8")
            for file in (f"{name}.txt", f"{name}.pcap"):
                status, _, said = self.hub_command("import", file, "-o", f"{file}.textproto")
                self.assertEqual((0, SAID.get(file, "")), (status, ROUTINE.sub("", said)))
            self.assertEqual((0, ""), self.hub_command("diff", f"{name}.txt", f"{name}.pcap")[:2])
            if name not in TYPED:
                # All of it is played, and when it was.
                self.assertEqual((0, ""), self.hub_command("diff", "--times", "0", f"{name}.txt", f"{name}.txt.textproto")[:2])
        again = {(name, kind): f"{name}.{kind}" for name in scenarios for kind in ("txt", "pcap")}
        begun = {key: self.begin(key[0], f"{file}.textproto", file) for key, file in again.items()}
        for (name, kind), run in begun.items():
            with self.subTest(name, kind=kind):
                self.assertEqual(self.reports(runs[name]), self.reports(self.output(name, run, f"{name}.{kind}")))

    def replay_scenarios(self, *names, **others):
        self.replay({**{name: ROOT / f"scenarios/{name}.textproto" for name in names}, **others})

    def test_automation(self):
        pathlib.Path("made_up.csv").write_text(made_up_drive(), encoding="utf-8")
        self.hub_command("import", "made_up.csv", "-o", "made_up_drive.textproto")
        self.replay_scenarios(*(name for name in SESSIONS if not SESSIONS[name]), made_up="made_up_drive.textproto")

    def test_drives(self):
        drives = sorted(TRACES.glob("*.csv"))
        if not drives:
            self.skipTest(f"there are no recorded drives in {TRACES}: set CELLSCOPE_TRACES to a folder that has some")
        for drive in drives:
            self.hub_command("import", str(drive), "-o", f"{drive.stem}-drive.textproto")
        self.replay({drive.stem: f"{drive.stem}-drive.textproto" for drive in drives})

    def test_phone(self):
        """From a phone, whose part a client plays that is captured, by way of Wireshark to a run."""
        pathlib.Path("phone").write_text(PHONE, encoding="utf-8")
        environment = {**capturing(), "KELVANE_CAPTURE": "phone.pcap"}
        captured = ["env", *(f"{name}={value}" for name, value in environment.items()), CLIENT]
        phone = self.output("phone", self.begin("phone", "phone", "", program=captured), "")
        with self.subTest("Wireshark"):
            if not shutil.which("tshark"):
                self.skipTest("there is no tshark")
            shown = subprocess.run(["tshark", "-X", f"lua_script:{DISSECTOR}", "-r", "phone.pcap", "-Y",
                                    "kelvane.session == 2 && kelvane.direction == 1", "-T", "fields", "-e", "kelvane.msg_id",
                                    "-e", "kelvane.signal_strength_lte.rsrp", "-e", "kelvane.cell_identity_nr.ci"],
                                   capture_output=True, text=True, check=True).stdout
            self.assertEqual("128 1281/-90 1281 1280 1283 1284 1281/-105 1281/68719476736 130 99 1283 1284",
                             re.sub(r"\t+", "/", re.sub(r"\t*\n", " ", shown)).strip())
        status, _, said = self.hub_command("import", "phone.pcap", "-o", "again.textproto")
        self.assertEqual((0, "phone.pcap: as raw events: 1 with payload bytes that these definitions do not read\n"
                          "phone.pcap: left out: 1 verdict on thresholds, which a hub makes up itself\n"),
                         (status, ROUTINE.sub("", said)))
        again = self.output("phone", self.begin("phone", "again.textproto", ""), "")
        pathlib.Path("torn.pcap").write_bytes(pathlib.Path("phone.pcap").read_bytes()[:-3])
        status, torn, said = self.hub_command("import", "torn.pcap", "-o", "-")
        self.assertEqual((0, 1), (status, pathlib.Path("again.textproto").read_text().count("steps") - torn.count("steps")))
        self.assertRegex(said, r"\ntorn.pcap: record 19, byte \d+: expected 49 bytes of a record, found the end after 46\n$")
        self.assertEqual(self.reports(phone), self.reports(again))


for _name in filter(SESSIONS.get, SESSIONS):
    setattr(ReplayTest, f"test_{_name}", lambda self, name=_name: self.replay_scenarios(name))
