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

    def test_what_is_odd_is_said(self):
        report = "Payload size: 2\nerror info: 0\n"

        def event(line):
            return (f'{{"event":"signal_strength_config_status","line":{line},"time":null,"earliest":null,'
                    '"latest":null,"payload_size":2,"error":0}\n')

        cells = ("Payload size: 2\n8 1 \nReceived serving neighboring cell info on Sub :0\n"
                 "serving neighboring cell info. Number of cells: 0\n")
        beginning = "the beginning of a report (Payload size: … or Log Time: …)"
        cases = (
            (report + report[:-5], 0, event(1), ":3: the report that begins here is cut off, and left out"),
            ("$ cellscope\n" + report + "1\n2\n", 0, event(2),
             ": 3 lines that are no report were skipped, the first at line 1: '$ cellscope'"),
            ("SUID received" + report, 0, event(1), ": 1 report begins behind other text, at line 1: 'SUID received'"),
            ("Payload size: 2\n" + report, 0, event(2), ": 1 broken report was left out, at line 1: "
             "run.txt:2: expected a whole number of 32 bits, found 'Payload size: 2'"),
            (report + cells, 0, None, ": 1 report has payload bytes that do not say what is printed, which is taken as "
             "it is, at line 3: serving_neighboring_cell_info"),
            ("1\n2\n", 1, "", f":1: expected {beginning}, found '1'"),
        )
        for text, status, out, said in cases:
            with self.subTest(text):
                pathlib.Path("run.txt").write_text(text)
                found = self.hub_command("report", "run.txt")
                self.assertEqual((status, found[1] if out is None else out, f"run.txt{said}\n"), found)
        pathlib.Path("run.txt").write_text(report + "1\n")
        self.assertEqual((1, "", f"run.txt:3: expected {beginning}, found '1'\n"),
                         self.hub_command("report", "run.txt", "--strict"))

    def test_outputs(self):
        report = "Payload size: 2\nerror info: 0\n"
        pathlib.Path("run.txt").write_text(report)
        os.symlink("run.txt", "link")
        for command in ("report run.txt -o ./link", "report - -o run.txt < link", "report link -o run.txt",
                        "plot run.txt -o link"):
            with self.subTest(command):
                status, said = self.shell(command)
                self.assertEqual(1, status)
                self.assertRegex(said, "^(./)?(link|run.txt): expected another file than .*, found the same\n$")
                self.assertEqual(report, read("run.txt"))
        event = self.hub_command("report", "run.txt")[1]
        for output in ("", "-o -", "-o /dev/stdout", "-o /proc/self/fd/1", "-o /dev/fd/3 3>&1"):
            with self.subTest(output):
                self.shell(f"(echo a; cat run.txt | $HUB report - {output}; echo b) > out")
                self.assertEqual(f"a\n{event}b\n", read("out"))
        self.assertEqual((1, "standard output: No space left on device\n"), self.shell("report run.txt > /dev/full"))
        reader, writer = os.pipe()
        os.close(reader)
        done = subprocess.run([HUB, "report", "run.txt"], stdout=writer, stderr=subprocess.PIPE, text=True, check=False)
        os.close(writer)
        self.assertEqual((1, "standard output: Broken pipe\n"), (done.returncode, done.stderr))

    def shell(self, command):
        """Runs it, as one of the hub's if it does not say $HUB: exit status, standard error."""
        command = command if "$HUB" in command else f"$HUB {command}"
        done = subprocess.run(command, shell=True, env={**os.environ, "HUB": os.path.abspath(HUB)}, stderr=subprocess.PIPE,
                              text=True, check=False)
        return done.returncode, done.stderr
