"""kelvane-hub report and plot on runs and scenarios."""

import csv
import io
import json
import os
import pathlib
import subprocess
import unittest.mock
import xml.etree.ElementTree

from support import HUB, EndToEndTest, read

KINDS = {"serving_neighboring_cell_info", "highspeed_rail_network_info", "voice_calls"}


class ReportTest(EndToEndTest):

    def test_run_of_the_built_in_scenario(self):
        run = self.automation("operation=3", KELVANE_HUB_SPEED="5")
        self.wait_for_output("CallID")
        self.stop(run)
        report = "output/wwan_test_output.txt"
        events = [json.loads(line) for line in self.hub_command("report", report)[1].splitlines()]
        self.assertEqual(KINDS, {event["event"] for event in events})
        cells = [cell for event in events for cell in event.get("cells", [])]
        self.assertEqual(read(report).count("=== Cell "), len(cells))
        rows = list(csv.DictReader(io.StringIO(self.hub_command("report", report, "--format", "csv")[1])))
        self.assertEqual([str(cell["timestamp"]) for cell in cells], [row["timestamp"] for row in rows if row["cell"]])
        self.assertEqual((0, "", ""), self.hub_command("plot", report, "-o", "run.svg"))
        self.assertEqual({cell["technology"] for cell in cells if cell["registered"]} | {"voice call", "cell change"},
                         {text.partition(",")[0] for text in self.legend("run.svg")})

    def test_scenario(self):
        scenario = pathlib.Path(__file__).resolve().parents[2] / "scenarios" / "two_subscriptions.textproto"
        os.symlink(scenario, odd_name := os.fsdecode(b"\xff<'.textproto"))
        pathlib.Path(".gnuplot").write_text("set output 'elsewhere'\n")
        with unittest.mock.patch.dict(os.environ, HOME=os.getcwd()):
            self.assertEqual((0, "", ""), self.hub_command("plot", odd_name, "-o", "two.svg"))
        self.assertEqual({"LTE, sub 0", "NR, sub 0", "LTE, sub 1", "GSM, sub 1", "voice call", "cell change"},
                         self.legend("two.svg"))

    def legend(self, picture):
        """The texts of the picture after those of its axes."""
        texts = ["".join(text.itertext()).strip()
                 for text in xml.etree.ElementTree.parse(picture).iter("{http://www.w3.org/2000/svg}text")]
        return {text for text in texts if text.isupper() or "sub " in text or text in ("voice call", "cell change")}

    def test_failures_leave_nothing_behind(self):
        pathlib.Path("run.txt").write_text("Payload size: 0\nReceived HST info on Sub :0\nhst\n")
        pathlib.Path("good.textproto").write_text("steps { at: 0 cells { } }")
        said = "run.txt:3: expected 'hst info-LTE ', found 'hst'\n"
        for command in (("report", "run.txt", "-o", "out"), ("plot", "run.txt", "-o", "out")):
            self.assertEqual((1, "", said), self.hub_command(*command))
        without = subprocess.run([os.path.abspath(HUB), "plot", "good.textproto", "-o", "out"], env={"PATH": "/nowhere"},
                                 capture_output=True, text=True, check=False)
        self.assertEqual((1, "plot: expected gnuplot in PATH, found none; the package gnuplot-nox has it\n"),
                         (without.returncode, without.stderr))
        self.assertEqual(["good.textproto", "output", "run.txt"], sorted(os.listdir()))

    def test_run_that_is_cut_off(self):
        pathlib.Path("run.txt").write_text("Payload size: 2\nerror info: 0\nPayload size: 2\nerror in")
        self.assertEqual((0, '{"event":"signal_strength_config_status","line":1,"payload_size":2,"error":0}\n',
                          "run.txt:3: the report that begins here is cut off, and left out\n"),
                         self.hub_command("report", "run.txt"))
