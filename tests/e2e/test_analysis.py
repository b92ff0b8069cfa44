"""kelvane-hub summary, diff and report --follow."""

import collections
import csv
import datetime
import itertools
import json
import math
import os
import pathlib
import socket
import subprocess

import test_drives
from support import DEADLINE, HUB, ROOT, EndToEndTest, Program, until

CALL = 'voice_calls {{ calls {{ call_id: 1 call_state: {} }} }}'
CELL = "cells { cells { registered: true cell_type: 3 lte { cell_identity { ci: 5 } signal_strength { rsrp: -90 } } } }"
EVENT = "Payload size: 2\nerror info: {}\n"


def rank(values, percent):
    return sorted(values)[max(1, math.ceil(len(values) * percent / 100)) - 1]


def measures(recording):
    """What a summary says of a recording, worked out from its rows."""
    with open(recording, newline="", encoding="utf-8") as file:
        rows = [(datetime.datetime.strptime(row["Timestamp"], test_drives.TIME).timestamp(), *test_drives.cells_of(row)[0])
                for row in csv.DictReader(file)]
    times, strengths, visits = collections.Counter(), collections.defaultdict(list), []
    for (time, technology, _, cell), (end, *_) in zip(rows, [*rows[1:], rows[-1]]):
        times[technology] += end - time
        strength = cell.get({"WCDMA": "rscp", "GSM": "signal_strength"}.get(technology, "rsrp"))
        if strength is not None:
            strengths[technology].append(strength)
        place = technology, *(cell.get(key) for key in ("ci", "cid", "tac", "lac"))
        if not visits or visits[-1][0] != place:
            visits.append((place, time))
    changes = [before[0][0] != after[0][0] for before, after in itertools.pairwise(visits)]
    ping_pongs = sum(a[0] == c[0] and c[1] - b[1] <= 5 for a, b, c in zip(visits, visits[1:], visits[2:]))
    return (times, [changes.count(False), changes.count(True), ping_pongs],
            {technology: [len(values), *(rank(values, percent) for percent in (0, 5, 50, 95, 100))]
             for technology, values in strengths.items()})


class AnalysisTest(EndToEndTest):

    def test_summary(self):
        pathlib.Path("a").write_text(f"steps {{ at: 0 {CELL} }}\nsteps {{ at: 2.5 {CALL.format(5)} }}\n"
                                     "steps { at: 4 voice_calls {} }\n steps { at: 8 cells {} }\nsteps { at: 10 cells {} }")
        table = ("a\n  scenario, 5 reports in 10.0 s by scenario time\n  longest time without a report: 4.0 s, from 4.0 s\n\n"
                 "subscription 0\n\n  technology        time   share\n  LTE              8.0 s  80.0 %\n"
                 "  without service  2.0 s  20.0 %\n\n  serving cell  visits   time   share\n"
                 "  LTE CI 5           1  8.0 s  80.0 %\n\n"
                 "  changes: 0 of the cell within its technology, 0 of the technology;\n"
                 "  back in the cell before within 5 s: 0\n\n"
                 "  without service   from    for\n  1                8.0 s  2.0 s  to the end\n\n"
                 "  measured  unit  count  min  5 %  50 %  95 %  max\n  LTE RSRP   dBm      1  -90  -90   -90   -90  -90\n\n"
                 "  call   from    for  states\n  1     2.5 s  1.5 s       5\n")
        self.assertEqual((0, f"{table}\n{table}", ""), self.hub_command("summary", "a", "a"))
        digest = {
            "file": "a", "kind": "scenario", "clock": "scenario time", "seconds": 10, "reports": 5, "undated": 0,
            "longest_silence": {"begin": 4, "seconds": 4}, "subscriptions": [{
                "sub": 0, "technologies": {"LTE": 8}, "without_service": 2, "unknown_technology": 0, "before_cells": 0,
                "cells": [{"technology": "LTE", "cell_identity": {"ci": 5}, "seconds": 8, "visits": 1}],
                "cell_changes": 0, "technology_changes": 0, "ping_pongs": 0,
                "outages": [{"begin": 8, "earliest_begin": 8, "latest_begin": 8, "end": 10, "seconds": 2, "goes_on": True}],
                "measurements": [{"technology": "LTE", "part": "signal_strength", "field": "rsrp", "name": "RSRP",
                                  "unit": "dBm", "count": 1, **dict.fromkeys(("min", "p5", "p50", "p95", "max"), -90)}],
                "calls": [{"call_id": 1, "begin": 2.5, "end": 4, "seconds": 1.5, "goes_on": False, "states": [5]}],
                "rrc_states": {}}]}
        status, text, said = self.hub_command("summary", "a", "a", "--format", "json")
        self.assertEqual((0, [digest] * 2, ""), (status, [json.loads(line) for line in text.splitlines()], said))
        self.assertEqual((1, "", "nowhere: cannot read it: No such file or directory\n"), self.hub_command("summary", "nowhere"))

    def test_summary_of_drives(self):
        for name in ("city-ring", "2g-fallback", "all-modes"):
            drive = test_drives.TRACES / f"drive-{name}.csv"
            if not drive.exists():
                self.skipTest(f"there is no recorded drive {drive}: set CELLSCOPE_TRACES to a folder that has it")
            found = json.loads(self.hub_command("summary", str(drive), "--format", "json")[1])["subscriptions"][0]
            shown = {of["technology"]: [of[key] for key in ("count", "min", "p5", "p50", "p95", "max")]
                     for of in found["measurements"]
                     if of["name"] in ("RSRP", "RSCP") or (of["technology"], of["name"]) == ("GSM", "RSSI")}
            changes = [found[key] for key in ("cell_changes", "technology_changes", "ping_pongs")]
            self.assertEqual(measures(drive), (found["technologies"], changes, shown), name)

    def test_diff(self):
        scenario = str(ROOT / "scenarios/two_subscriptions.textproto")
        other = pathlib.Path("other")
        other.write_text(pathlib.Path(scenario).read_text().replace("call_state: 1 ", "call_state: 2 "))
        cases = (
            ((scenario, scenario), 0, "", ""),
            ((scenario, "other"), 1,
             f"--- {scenario}\n+++ other\n"
             "-step 12, 34 s: voice_calls { calls { call_id: 1 call_state: 1 } sub: 1 }\n"
             "+step 12, 34 s: voice_calls { calls { call_id: 1 call_state: 2 } sub: 1 }\n", ""),
            ((scenario, "nowhere"), 2, "", "nowhere: cannot read it: No such file or directory\n"),
            (("-", "-"), 2, "", "kelvane-hub diff: expected a file beside standard input, found '-' twice\n"),
            ((scenario, "other", "--times", "x"), 2, "", "kelvane-hub diff: --times: expected seconds, 0 or more, found 'x'\n"),
        )
        for words, *expected in cases:
            with self.subTest(words):
                self.assertEqual(tuple(expected), self.hub_command("diff", *words))
        with open("/dev/full", "wb") as full:
            self.assertEqual(2, Program(self, [HUB, "diff", scenario, "other"], {}, stdout=full).wait())

    def test_follow(self):
        path = pathlib.Path("run.txt")
        path.write_text(EVENT.format(1) + EVENT.format(2)[:-2])
        run = Program(self, [HUB, "report", "-f", "run.txt"], {})

        def shows(*errors):
            return until(lambda: [json.loads(line)["error"] for line in run.out.splitlines()] == list(errors), f"errors {errors}")

        shows(1)
        with path.open("a") as file:
            file.write("2\n" + EVENT.format(3) + "Payload")
        shows(1, 2, 3)
        path.write_text(EVENT.format(4))
        run.says("run.txt: the file was truncated; what follows is read from its beginning")
        shows(1, 2, 3, 4)
        pathlib.Path("new").write_text(EVENT.format(5) + "Payload size: 2\n")
        os.replace("new", path)
        run.says("run.txt: the file was replaced; what follows is of the new one")
        shows(1, 2, 3, 4, 5)
        self.stop(run)
        self.assertTrue(run.err.endswith("\nrun.txt:3: the report that begins here is cut off, and left out\n"), run.err)
        self.assertEqual((2, "", "kelvane-hub report: --follow: expected no --output beside it, found one\n"),
                         self.hub_command("report", "-f", "run.txt", "-o", "x"))
        # Of a pipe, as a device's output comes, to its end.
        csv_rows = subprocess.run([HUB, "report", "-f", "-", "--format", "csv"], input=EVENT.format(6) * 2, text=True,
                                  capture_output=True, timeout=DEADLINE, check=True).stdout
        self.assertEqual(["6", "6"], [row["error"] for row in csv.DictReader(csv_rows.splitlines())])

    def test_follow_for_nobody(self):
        """Who reads what is written goes, and nothing more is to be written."""
        pathlib.Path("run.txt").write_text(EVENT.format(1))
        for file, ends in ("run.txt", os.pipe()), ("-", [end.detach() for end in socket.socketpair()]):
            with self.subTest(file):
                reader, writer = ends
                run = Program(self, [HUB, "report", "-f", file], {}, stdin=subprocess.PIPE, stdout=writer)
                os.close(writer)
                run.process.stdin.write(EVENT.format(1).encode())
                run.process.stdin.flush()
                self.assertTrue(os.read(reader, 65536).startswith(b'{"event":'))
                os.close(reader)
                self.assertEqual((1, "standard output: Broken pipe\n"), (run.wait(), run.err))
