"""Runs, imported and played again: a client reports the same, log times aside, and says the same of events without report."""

import json
import pathlib
import re
import subprocess

from support import CLIENT, HUB, ROOT, EndToEndTest, Program, until
from test_drives import TRACES, made_up_drive
from test_scenarios import SESSIONS

DIAGNOSED = re.compile(r"event_cb:\d+, Received .*")
# What is said of every run, or of every console session.
ROUTINE = re.compile(r"run.txt: \d+ (lines that are no report|reports? begins? behind|reports? in) .*\n| \(first in line \d+\)")
OF_THE_RUN = ("line", "time", "earliest", "latest", "log_time")


class ReplayTest(EndToEndTest):

    def run_of(self, scenario, typed, status=0):
        """The output file of an automation run; or of a console session all that it has said, with what is typed there."""
        run = Program(self, [HUB, "run", scenario, "--speed", "max", "--", CLIENT, *["operation=1"] * (not typed)], {},
                      stdin=subprocess.PIPE, stderr=subprocess.STDOUT)
        for choice, awaited in typed:
            run.process.stdin.write(f"{choice}\n".encode())
            run.process.stdin.flush()
            until(lambda text=awaited: text in run.out, awaited)
        self.assertEqual(status, run.wait(), run.out)
        return pathlib.Path(run.name + ".out" if typed else "output/wwan_test_output.txt").read_text(encoding="utf-8")

    def reports(self, run):
        """What is reported, in its order, and what is only diagnosed."""
        pathlib.Path("reported.txt").write_text(run, encoding="utf-8")
        events = map(json.loads, self.hub_command("report", "reported.txt")[1].splitlines())
        for event in (events := list(events)):
            for part in (event, *event.get("cells", ()), *(c for s in event.get("subscriptions", ()) for c in s["cells"])):
                for key in OF_THE_RUN:
                    part.pop(key, None)
        self.assertTrue(events)
        return events + DIAGNOSED.findall(run)

    def replay(self, scenario, typed=(), said=""):
        run = self.run_of(scenario, typed)
        pathlib.Path("run.txt").write_text(run, encoding="utf-8")
        status, _, summary = self.hub_command("import", "run.txt", "-o", "again.textproto")
        self.assertEqual(0, status, summary)
        self.assertEqual(said, ROUTINE.sub("", summary))
        self.assertEqual(self.reports(run), self.reports(self.run_of("again.textproto", typed)))

    def replay_drive(self, drive):
        if not drive.exists():
            self.skipTest(f"there is no recorded drive {drive}: set CELLSCOPE_TRACES to a folder that has it")
        self.assertEqual(0, self.hub_command("import", str(drive), "-o", "drive.textproto")[0])
        self.replay("drive.textproto")

    def test_made_up_drive(self):
        pathlib.Path("drive.csv").write_text(made_up_drive(), encoding="utf-8")
        self.replay_drive(pathlib.Path("drive.csv"))


# What is said beyond that.
SAID = {"hub_errors": """\
run.txt: 2 played as raw events, with payload bytes that these definitions do not read
run.txt: 1 played as raw events, which the run does not show to be registered for
run.txt: 2 played as raw events, answers that the run does not show to be asked for
run.txt: 3 played as refusals of the requests before them
run.txt: connects 2 times, which the scenario plays as one connection
"""}
for _name in SESSIONS:
    setattr(ReplayTest, f"test_{_name}", lambda self, name=_name: self.replay(
        ROOT / f"scenarios/{name}.textproto", SESSIONS[name], SAID.get(name, "")))
for _name in ("city_ring", "2g_fallback", "all_modes"):
    setattr(ReplayTest, f"test_{_name}",
            lambda self, name=_name: self.replay_drive(TRACES / f"drive-{name.replace('_', '-')}.csv"))
