"""Automation runs with a private hub: what reaches the terminal, the files, and what SIGINT does."""

import os
import pathlib
import signal
import time

from support import (ATTRIBUTES, LISTENING, LOG_TIME, ON_CHANGE, SENSORS, STOPPED, EndToEndTest, difference, found,
                     no_cells, pieces, read, until)

LISTENING_STREAM = "Listening For streaming sensor\n"

EVENTS = SENSORS + """
steps { at: 0 cells { sub: 1 } }
steps { at: 0.1 error { error: 4 } }
steps { at: 0.2 raw { msg_id: 1286 payload: "?" } }
steps { at: 0.3 cells { sub: 0 } }
"""


def announced(*arguments):
    """What the terminal shows before the pid file is written."""
    values = dict(argument.split("=", 1) for argument in arguments)
    keys = "".join("Key: {}, Value: {}\n".format(*argument.split("=", 1)) for argument in arguments)
    return keys + f"""\
Connect to WWAN sensor pass 2 mandatory parameters and 1 option parameter
adb shell /vendor/bin/cellscope operation=<operation> request_id=<request_id> file_name=<file_name.txt>
<request_id> : Any long or integer or any string just for reference
<operation> :
        1. Connect to Voice Call Indications \n\
        2. Connect to Streaming sensor \n\
<file_name> : Name the file to dump the output <filename.txt>
pid will be saved in /data/local/tmp/wwan_test_output_pid.txt
To Exit adb shell kill -2 (pidof cellscope)
argstring {arguments[0]}
""" + (f"Request Id{values.get('request_id', -1)}\n" if values.get("request_id") != "abc" else "")


class AutomationTest(EndToEndTest):

    def test_on_change_whole_run(self):
        arguments = ("operation=1", "request_id=7", "filename=drive.txt", "file_name=unused.txt")
        run = self.automation(*arguments, scenario=EVENTS)
        self.wait_for_output(LISTENING, "drive.txt")
        self.stop(run)
        self.assertEqual(announced(*arguments) + found("wwan"), run.out)
        self.assertEqual(ON_CHANGE + "event_cb:645, Received error event 4\n"
                         "event_cb:756, Received unknown message ID 1286\n", run.err)
        self.assertEqual("Input given 1\nconnecting to on-change sensor\n" + no_cells(1) + no_cells(0) + LISTENING + STOPPED,
                         read("output/drive.txt"))
        self.assertEqual(f"Request_7 : {run.pid}\n", read("output/wwan_test_output_pid_7.txt"))
        self.assertEqual(["drive.txt", "wwan_test_output_pid_7.txt"], sorted(os.listdir("output")))

    def test_streaming(self):
        run = self.automation("operation=2", "request_id=1", "rate=5", scenario=SENSORS)
        count = lambda text: read("output/wwan_test_output.txt").count(text)
        until(lambda: count("Payload size") >= 1, "the first report")
        begin = time.monotonic()
        until(lambda: count("Payload size") >= 11, "ten reports more")
        self.assertGreater(time.monotonic() - begin, 1.5)
        self.stop(run)
        self.assertIsNone(difference(
            read("output/wwan_test_output.txt"),
            pieces("Input given 2\nStreaming sensor rate : 5\n" + LISTENING_STREAM * max(1, count(LISTENING_STREAM))
                   + STOPPED), pieces(no_cells() * count("Payload size"))))
        self.assertEqual(announced("operation=2", "request_id=1", "rate=5") + found("wwan_stream"), run.out)
        self.assertEqual(ATTRIBUTES + "send_config_req:845, sending on normal config request and sample rate 5\n",
                         run.err)

    def test_voice_calls(self):
        run = self.automation("operation=3", "request_id=9", scenario=SENSORS + """
            steps { at: 1 voice_calls { sub: 0 calls { call_id: 1 call_state: 5 } } }
            steps { at: 11.5 voice_calls { sub: 0 calls { call_id: 1 call_state: 2 } calls { call_id: 2 } } }""")
        self.wait_for_output("Listening For Voice Call status indication\n")
        self.stop(run)
        calls = f"{LOG_TIME}, Received voice call info on Sub:0, voice call info-Number of calls: "
        self.assertEqual("Input given 3\nconnecting to on-change sensor\n" + no_cells()
                         + calls + "1: [{ Call: 1, CallID: 1, CallState: 5}]\n"
                         + calls + "2: [{ Call: 1, CallID: 1, CallState: 2}{ Call: 2, CallID: 2, CallState: 0}]\n"
                         + "Listening For Voice Call status indication\n" + STOPPED,
                         read("output/wwan_test_output.txt"))
        self.assertEqual(ON_CHANGE + "register_voice_call_status:1490, sending set_report_voice_calls request\n",
                         run.err)

    def test_runs_that_end_at_once(self):
        no_number = "terminate called after throwing an instance of 'std::invalid_argument'\n  what():  {}\n"
        # Arguments, exit status, standard error, output file (none: there is none), whether there is a pid file.
        cases = (
            (("operation=7", "request_id=5"), 0, "", "Input given 7\n", True),
            (("operation=7z", "request_id=5", "filename=-1"), 0, "", "Input given 7\n", True),
            (("operation=1", "request_id=abc"), -signal.SIGABRT, no_number.format("stol"), None, False),
            (("operation=x", "request_id=5"), -signal.SIGABRT, no_number.format("stoi"), "", True),
        )
        output, pid_file = pathlib.Path("output/wwan_test_output.txt"), "output/wwan_test_output_pid_5.txt"
        for arguments, status, diagnostics, written, identified in cases:
            with self.subTest(arguments):
                run = self.automation(*arguments)
                self.assertEqual((status, diagnostics), (run.wait(), run.err))
                self.assertEqual(announced(*arguments), run.out)
                self.assertEqual(written, output.read_text() if output.exists() else None)
                self.assertEqual(f"Request_5 : {run.pid}\n" if identified else "", read(pid_file))
                output.unlink(missing_ok=True)
                pathlib.Path(pid_file).unlink(missing_ok=True)

    def test_old_output_file_is_replaced(self):
        old = pathlib.Path("output/old.txt")
        old.write_text("a line of an earlier run\n" * 10)
        os.link(old, "kept.txt")
        self.assertEqual(0, self.automation("operation=7", "filename=old.txt").wait())
        self.assertEqual("Input given 7\n", read(old))
        self.assertEqual("a line of an earlier run\n" * 10, read("kept.txt"))

    def test_missing_output_directory(self):
        os.rmdir("output")
        run = self.automation("operation=1", scenario=EVENTS)
        run.says("event_cb:756, Received unknown message ID 1286")
        self.stop(run)
        # Stopped while it settles: it says once more that it listens, on the terminal that it has got back.
        self.assertEqual(announced("operation=1") + found("wwan") + LISTENING, run.out)
        self.assertFalse(os.path.exists("output"))
