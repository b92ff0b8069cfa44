"""Automation runs with a private hub: what reaches the terminal, the files, and what SIGINT does."""

import os
import pathlib
import signal
import time

from support import (ATTRIBUTES, LISTENING, SENSORS, STOPPED, EndToEndTest, difference, found, no_cells, pieces, read,
                     until)

LISTENING_STREAM = "Listening For streaming sensor\n"

EVENTS = SENSORS + """
steps { at: 0 cells { sub: 1 } }
steps { at: 0.1 error { error: 4 } }
steps { at: 0.2 raw { msg_id: 1286 payload: "?" } }
steps { at: 0.3 cells { sub: 0 } }
"""



def whole_run(test, **environment):
    """All that comes of a run that hears EVENTS."""
    run = test.automation("operation=1", "request_id=7", "filename=drive.txt", "file_name=unused.txt",
                          scenario=EVENTS, **environment)
    test.wait_for_output(LISTENING, "drive.txt")
    test.stop(run)
    files = "".join(f"---- {path}\n" + read(path).replace(str(run.pid), "PID")
                    for path in sorted(pathlib.Path("output").iterdir()))
    return f"---- standard output\n{run.out}---- standard error\n{run.err}{files}"


class AutomationTest(EndToEndTest):

    def test_on_change_whole_run(self):
        self.expect_golden("automation", whole_run(self))

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
        self.assertEqual(ATTRIBUTES + "send_config_req:845, sending on normal config request and sample rate 5\n",
                         run.err)

    def test_voice_calls(self):
        # Between the two there is nothing to hear for longer than the session library waits for a hub's hello.
        run = self.automation("operation=3", "request_id=9", scenario=SENSORS + """
            steps { at: 1 voice_calls { sub: 0 calls { call_id: 1 call_state: 5 } } }
            steps { at: 23 voice_calls { sub: 0 calls { call_id: 1 call_state: 2 } calls { call_id: 2 } } }""")
        self.wait_for_output("CallID: 2")
        self.stop(run)
        output = read("output/wwan_test_output.txt").replace("Listening For Voice Call status indication\n", "")
        self.expect_golden("automation_voice_calls", f"{output}---- standard error\n{run.err}")

    def test_a_number_that_is_none_aborts(self):
        run = self.automation("operation=1", "request_id=abc")
        self.assertEqual((-signal.SIGABRT, "terminate called after throwing an instance of 'std::invalid_argument'\n"
                          "  what():  stol\n"), (run.wait(), run.err))

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
        self.assertTrue(run.out.endswith(found("wwan") + LISTENING), run.out)
        self.assertFalse(os.path.exists("output"))
