"""kelvane-hub report and plot on runs and scenarios."""

import csv
import io
import json
import os
import pathlib
import subprocess
import unittest.mock
import xml.etree.ElementTree

from support import HUB, EndToEndTest, Program, children, is_running, read, until

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
        technologies = {cell["technology"] for cell in cells if cell["registered"]}
        self.assertLessEqual(technologies | {"calls", "technology change"},
                             {text.partition(" R")[0] for text in self.texts("run.svg")})

    def test_scenario(self):
        scenario = pathlib.Path(__file__).resolve().parents[2] / "scenarios" / "two_subscriptions.textproto"
        os.symlink(scenario, odd_name := os.fsdecode(b"\xff'\x01]]>&<'.textproto"))
        pathlib.Path(".gnuplot").write_text("set output 'elsewhere'\n")
        with unittest.mock.patch.dict(os.environ, HOME=os.getcwd()):
            self.assertEqual((0, "", ""), self.hub_command("plot", odd_name, "-o", "two.svg"))
        self.assertLessEqual({"\ufffd'\ufffd]]>&<'.textproto", "subscription 0: RSRP of the serving cell (dBm)",
                              "subscription 1: RSSI, RSRP of the serving cell (dBm)", "LTE RSRP", "NR RSSNR", "GSM RSSI",
                              "no serving cell", "technology", "changes", "calls", "RRC state 1"}, self.texts("two.svg"))
        status, picture, said = self.hub_command("plot", odd_name, "-o", "-", "--sub", "1", "--from", "1", "--to", "2.5")
        self.assertEqual((0, "", pathlib.Path("two.svg").read_text()[:40]), (status, said, picture[:40]))
        for name, begin in (("a.png", b"\x89PNG\r\n"), ("a.pdf", b"%PDF-")):
            self.assertEqual((0, "", ""), self.hub_command("plot", odd_name, "-o", name))
            self.assertTrue(pathlib.Path(name).read_bytes().startswith(begin), name)

    def texts(self, picture):
        return {"".join(text.itertext()).strip()
                for text in xml.etree.ElementTree.parse(picture).iter("{http://www.w3.org/2000/svg}text")}

    def test_options_of_plot(self):
        pathlib.Path("a.textproto").write_text("steps { at: 0 cells { } }")
        seconds = "expected seconds from the start, 0 or more, found"
        cases = (
            ("x.jpg", 1, "plot: expected a picture whose name ends with .svg, .png or .pdf, found 'x.jpg'"),
            ("x.svg --from -1", 2, f"kelvane-hub plot: --from: {seconds} '-1'"),
            ("x.svg --to inf", 2, f"kelvane-hub plot: --to: {seconds} 'inf'"),
            ("x.svg --from 5 --to 5", 2,
             "kelvane-hub plot: --to: expected more than 5, where the picture begins, found 5"),
            ("x.svg --sub x", 2, "kelvane-hub plot: --sub: expected a subscription, 0 or more, found 'x'"),
            ("x.svg --sub 1", 1, "--sub: expected 0, found 1"),
        )
        for words, status, said in cases:
            self.assertEqual((status, "", said + "\n"), self.hub_command("plot", "a.textproto", "-o", *words.split()))
        pathlib.Path("a.svg").touch()
        self.assertEqual((1, "", "a.svg: expected another file than what is drawn, found the same\n"),
                         self.hub_command("plot", "a.svg", "-o", "a.svg"))

    def test_gnuplot_ends_with_the_hub(self):
        pathlib.Path("a.textproto").write_text("steps { at: 0 cells { } }")
        pathlib.Path("gnuplot").write_text("#!/bin/sh\nexec sleep 1000\n")
        os.chmod("gnuplot", 0o755)
        path = f"{os.getcwd()}:{os.environ['PATH']}"
        hub = Program(self, [HUB, "plot", "a.textproto", "-o", "a.svg"], {"PATH": path})
        gnuplot = until(lambda: children(hub.pid), "gnuplot")[0]
        until(lambda: read(f"/proc/{gnuplot}/comm") == "sleep\n", "gnuplot to hang")
        hub.process.terminate()
        until(lambda: not is_running(gnuplot), "gnuplot to end")

    def test_failures_leave_nothing_behind(self):
        pathlib.Path("run.txt").write_text("Payload size: 0\nReceived HST info on Sub :0\nhst\n")
        pathlib.Path("good.textproto").write_text("steps { at: 0 cells { } }")
        said = "run.txt:3: expected 'hst info-LTE ', found 'hst'\n"
        for command in (("report", "run.txt", "-o", "out"), ("plot", "run.txt", "-o", "out.svg")):
            self.assertEqual((1, "", said), self.hub_command(*command))
        without = subprocess.run([os.path.abspath(HUB), "plot", "good.textproto", "-o", "out.svg"], env={"PATH": "/nowhere"},
                                 capture_output=True, text=True, check=False)
        self.assertEqual((1, "plot: expected gnuplot in PATH, found none; the package gnuplot-nox has it\n"),
                         (without.returncode, without.stderr))
        self.assertEqual(["good.textproto", "output", "run.txt"], sorted(os.listdir()))

    def test_run_that_is_cut_off(self):
        pathlib.Path("run.txt").write_text("Payload size: 2\nerror info: 0\nPayload size: 2\nerror in")
        self.assertEqual((0, '{"event":"signal_strength_config_status","line":1,"payload_size":2,"error":0}\n',
                          "run.txt:3: the report that begins here is cut off, and left out\n"),
                         self.hub_command("report", "run.txt"))
