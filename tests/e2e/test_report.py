"""kelvane-hub report and plot on runs and scenarios."""

import csv
import io
import json
import os
import pathlib
import re
import signal
import subprocess
import unittest.mock
import xml.etree.ElementTree

from support import CLIENT, HUB, EndToEndTest, Program, children, is_running, read, until

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
        # In the dark, each colour is another one.
        _, style, body = re.split("</?style>", pathlib.Path("two.svg").read_text())
        colours = set(re.findall(r"""\b(?:fill|stroke) ?= ?["']([^"']+)""", body.partition("</defs>")[2]))
        self.assertEqual(set(), colours - set(re.findall('"([^"]+)"', style)) - {"none", "currentColor"})
        status, picture, said = self.hub_command("plot", odd_name, "-o", "-", "--sub", "1", "--from", "1", "--to", "2.5")
        self.assertEqual((0, "", pathlib.Path("two.svg").read_text()[:40]), (status, said, picture[:40]))
        for name in ("''a'b''.textproto", '"`touch ran`$(touch ran)@HOME\\n\\{}%d^_;#.textproto', "<!--.textproto"):
            os.symlink(scenario, name)
            self.assertEqual((0, "", ""), self.hub_command("plot", name, "-o", f"{name}.svg"))
            self.assertIn(name, self.texts(f"{name}.svg"))
        self.assertFalse(os.path.exists("ran"))
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
            ("x.jpg", 2, "kelvane-hub plot: expected a picture whose name ends with .svg, .png or .pdf, found 'x.jpg'"),
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
        pathlib.Path("gnuplot").write_text("#!/bin/sh\nsleep 1000 &\necho $! > started\n[ -z $HANGS ] || wait\n")
        os.chmod("gnuplot", 0o755)
        path = f"{os.getcwd()}:{os.environ['PATH']}"
        for number in (0, signal.SIGHUP, signal.SIGINT, signal.SIGTERM):
            with self.subTest(number):
                hub = Program(self, [HUB, "plot", "a.textproto", "-o", "a.svg"], {"PATH": path, "HANGS": str(number or "")})
                started = int(until(lambda: read("started").strip(), "what gnuplot starts"))
                gnuplots = children(hub.pid)
                if number:
                    hub.process.send_signal(number)
                self.assertEqual(-number or 1, hub.wait())
                for process in (started, *gnuplots):
                    until(lambda pid=process: not is_running(pid), "gnuplot to end")
                os.remove("started")

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

    def test_what_is_odd_is_said(self):
        report = "Payload size: 2\nerror info: 0\n"

        def event(line):
            return (f'{{"event":"signal_strength_config_status","line":{line},"time":null,"earliest":null,'
                    '"latest":null,"payload_size":2,"error":0}\n')

        cells = ("Payload size: 2\n8 1 \nReceived serving neighboring cell info on Sub :0\n"
                 "serving neighboring cell info. Number of cells: 0\n")
        beginning = "the beginning of a report (Payload size: … or Log Time: …)"

        def torn(line):
            return (f":{line}: the file ends in the middle of this line, as on a full disk; "
                    "what was printed after that is missing")

        cases = (
            (report + report[:16], 0, event(1), ":3: the report that begins here is cut off, and left out"),
            (report + report[:-5], 0, event(1), ":3: the report that begins here is cut off, and left out\nrun.txt" + torn(4)),
            (report + "Listening For str", 0, event(1), torn(3)),
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
        for text in (report + "1\n", report + "1"):
            pathlib.Path("run.txt").write_text(text)
            self.assertEqual((1, "", f"run.txt:3: expected {beginning}, found '1'\n"),
                             self.hub_command("report", "run.txt", "--strict"))

    def test_output_file_that_is_truncated_meanwhile(self):
        run = self.automation("operation=1", KELVANE_HUB_SPEED="50")
        self.wait_for_output("=== Cell 1")
        os.truncate("output/wwan_test_output.txt", 0)
        self.wait_for_output("=== Cell 1")
        self.stop(run)
        self.assertNotIn("\0", read("output/wwan_test_output.txt"))

    def test_full_disk(self):
        run = Program(self, ["bash", "-c", "trap '' XFSZ; ulimit -f 4; exec \"$0\" operation=1", CLIENT],
                      {"KELVANE_HUB_SPEED": "50"}, stdout=subprocess.DEVNULL)
        output = "output/wwan_test_output.txt"
        until(lambda: len(read(output)) > 0 and os.path.getsize(output) == 4096, "a full disk")
        self.stop(run)
        self.assertEqual(4096, os.path.getsize(output))
        status, events, said = self.hub_command("report", output)
        self.assertEqual(0, status)
        self.assertIn("serving_neighboring_cell_info", events)
        line = read(output).count("\n") + 1
        self.assertRegex(said, f"^({output}:\\d+: the report that begins here is cut off, and left out\n)?"
                               f"{output}:{line}: the file ends in the middle of this line, ")

    def test_inputs_that_are_no_text(self):
        report = "Payload size: 2\nerror info: 0\n"
        pathlib.Path("hole").write_text(report + "\0" * 100000 + report * 2000)
        pathlib.Path("nul.csv").write_text("Timestamp,NetworkMode\n1,L\0TE\n")
        nul = "expected text, found a NUL byte\n"
        cases = (("report hole", f"hole:3:1: {nul}"), ("report - < hole", f"standard input:3:1: {nul}"),
                 ("cat hole | $HUB plot - -o -", f"standard input:3:1: {nul}"), ("check hole", f"hole:3:1: {nul}"),
                 ("report - < /dev/zero", f"standard input:1:1: {nul}"), ("import nul.csv -o out", f"nul.csv:2:4: {nul}"),
                 ("(read line; $HUB import - -o -) < nul.csv", f"standard input:1:4: {nul}"),
                 *((command, f"standard input: {reason}\n")
                   for redirected, reason in (("<&-", "cannot read it: Bad file descriptor"),
                                              ("< .", "expected a file, found a folder"))
                   for command in (f"report - {redirected}", f"import - -o - {redirected}")))
        for command, said in cases:
            with self.subTest(command):
                self.assertEqual((1, said), self.shell(command))

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
        for closed, reason in (("> /dev/full", "No space left on device"), (">&-", "Bad file descriptor")):
            for command in ("report run.txt", "--help", "plot --help", "--version"):
                self.assertEqual((1, f"standard output: {reason}\n"), self.shell(f"{command} {closed}"))
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
