"""Runs, imported and played again: a client reports the same, log times aside, and says the same of events without report."""

import json
import pathlib
import re
import subprocess

from support import CLIENT, HUB, ROOT, EndToEndTest, Program, until
from test_drives import TRACES, made_up_drive
from test_scenarios import SESSIONS

DIAGNOSED = re.compile(r"event_cb:\d+, Received .*")
OF_THE_RUN = ("line", "time", "earliest", "latest", "log_time")
# What is said of every run, or of every console session.
ROUTINE = re.compile(r".*: \d+ (lines that are no report|reports? begins? behind|reports? in) .*\n| \(first in line \d+\)")
# What is said beyond that.
SAID = {"hub_errors": """\
hub_errors.txt: as raw events: 2 with payload bytes that these definitions do not read, \
1 that the run does not show to be registered for, 2 that answer what the run does not show to be asked
hub_errors.txt: as sensors that refuse: 3 refusals of the requests before them
hub_errors.txt: connects 2 times, which the scenario plays as one connection
"""}


class ReplayTest(EndToEndTest):

    def begin(self, name, scenario):
        """Starts an automation run, or a console session if something is typed there."""
        client = [CLIENT] if SESSIONS.get(name) else [CLIENT, "operation=1", f"filename={name}.txt"]
        return Program(self, [HUB, "run", scenario, "--speed", "max", "--", *client], {}, stdin=subprocess.PIPE,
                       stderr=subprocess.STDOUT)

    def output(self, name, run):
        """The run's output file; of a console session all that it has said."""
        typed = SESSIONS.get(name, ())
        for choice, awaited in typed:
            run.process.stdin.write(f"{choice}\n".encode())
            run.process.stdin.flush()
            until(lambda text=awaited: text in run.out, awaited)
        self.assertEqual(0, run.wait(), run.out)
        return pathlib.Path(run.name + ".out" if typed else f"output/{name}.txt").read_text(encoding="utf-8")

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
        begun = {name: self.begin(name, scenario) for name, scenario in scenarios.items()}
        runs = {name: self.output(name, run) for name, run in begun.items()}
        for name, run in runs.items():
            pathlib.Path(f"{name}.txt").write_text(run, encoding="utf-8")
            status, _, said = self.hub_command("import", f"{name}.txt", "-o", f"{name}.textproto")
            self.assertEqual((0, SAID.get(name, "")), (status, ROUTINE.sub("", said)))
        begun = {name: self.begin(name, f"{name}.textproto") for name in scenarios}
        for name, run in begun.items():
            with self.subTest(name):
                self.assertEqual(self.reports(runs[name]), self.reports(self.output(name, run)))

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


for _name in filter(SESSIONS.get, SESSIONS):
    setattr(ReplayTest, f"test_{_name}", lambda self, name=_name: self.replay_scenarios(name))
