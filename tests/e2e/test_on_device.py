"""scripts/on-device, with a stand-in adb whose phone is a folder and a shell of this machine."""

import os
import pathlib
import signal

from support import CLIENT, LISTENING, ON_CHANGE, SENSORS, STOPPED, EndToEndTest, Program, found, read, until
from test_capture_library import EVENT, LIBRARY, REQUEST, records

HERE = pathlib.Path(__file__).resolve().parent
SCRIPT = str(HERE.parents[1] / "scripts/on-device")
RUN = "phone/data/local/tmp/cellscope-run-7"


class OnDeviceTest(EndToEndTest):
    def setUp(self):
        super().setUp()
        os.makedirs("phone/data/local/tmp")
        self.attach("one\tdevice")

    def attach(self, *lines):
        pathlib.Path("phone/devices").write_text("".join(line + "\n" for line in lines))

    def on_device(self, *arguments, program=CLIENT, scenario=SENSORS):
        """Starts a run whose output directory is where the client under test writes: below its working directory."""
        return Program(self, [SCRIPT, "--program", program, "--device-output", f"/{RUN.partition('/')[2]}/output",
                              "request_id=7", *arguments],
                       {**self.playing(scenario), "ADB": str(HERE / "adb"), "PHONE": os.path.abspath("phone"),
                        "KELVANE_HUB_SCENARIO": os.path.abspath("scenario.textproto")})

    def phone_is_as_before(self):
        left = [os.path.join(folder, name) for folder, _, names in os.walk("phone/data") for name in names]
        running = [pid for pid in filter(str.isdigit, os.listdir("/proc")) if os.path.abspath(RUN) in read(f"/proc/{pid}/cmdline")]
        self.assertEqual(([], []), (left, running))

    def test_run_until_interrupted(self):
        self.attach("one\tdevice", "two\tdevice")
        name = "it's a drive; $(x).txt"
        run = self.on_device("--serial", "two", "operation=1", f"filename={name}")
        until(lambda: LISTENING in read(f"{RUN}/output/{name}"), "the client to listen")
        pid = read(f"{RUN}/pid").strip()
        self.stop(run)
        self.assertEqual("cellscope-run-7\n", run.out)
        pulled = {path.name: read(path) for path in pathlib.Path("cellscope-run-7").iterdir()}
        self.assertEqual({name, "terminal.txt", "errors.txt", "wwan_test_output_pid_7.txt"}, set(pulled))
        self.assertTrue(pulled[name].startswith("Input given 1\n") and pulled[name].endswith(STOPPED), pulled[name])
        self.assertIn(f"Key: filename, Value: {name}\n", pulled["terminal.txt"])
        self.assertTrue(pulled["terminal.txt"].endswith(found("wwan")))
        self.assertEqual(f"Request_7 : {pid}\n", pulled["wwan_test_output_pid_7.txt"])
        self.phone_is_as_before()

    def test_capture(self):
        os.mkdir("built")
        os.symlink(CLIENT, "built/cellscope")
        os.symlink(LIBRARY, "built/libkelvanecapture.so")
        run = self.on_device("--capture", "operation=1", program="built/cellscope")
        until(lambda: LISTENING in read(f"{RUN}/output/wwan_test_output.txt"), "the client to listen")
        self.stop(run)
        self.assertEqual({(1, REQUEST), (1, EVENT), (2, REQUEST), (2, EVENT)}, set(records("cellscope-run-7/capture.pcap")))
        self.assertEqual((found("wwan"), ON_CHANGE),
                         (read("cellscope-run-7/terminal.txt")[-len(found("wwan")):], read("cellscope-run-7/errors.txt")))
        self.phone_is_as_before()

    def test_hang_up_while_it_starts(self):
        run = self.on_device("operation=1")
        until(lambda: read(f"{RUN}/pid"), "the client to start")
        run.process.send_signal(signal.SIGHUP)
        self.assertIn(run.wait(), (0, 130))  # if the client was ready already, the files are pulled
        self.phone_is_as_before()

    def test_runs_that_come_to_nothing(self):
        pathlib.Path("breaks").write_text("#!/bin/sh\necho no library >&2\nexit 3\n")
        os.mkdir("taken")
        # Lines of `adb devices`, arguments, program, what is said.
        cases = (
            ((), ["operation=1"], CLIENT, "no phone is ready; 'adb devices' shows what adb sees"),
            (("one\toffline",), ["operation=1"], CLIENT, "no phone is ready; 'adb devices' shows what adb sees"),
            (("one\tdevice", "two\tdevice"), ["operation=1"], CLIENT, "several phones: one two; --serial names one"),
            (("one\tdevice",), ["--serial", "two", "operation=1"], CLIENT,
             "no phone two is ready; 'adb devices' shows: one"),
            (("one\tdevice",), ["operation=1"], "breaks", "the client ended at once, exit status 3"),
            (("one\tdevice",), ["operation=1"], "none", "there is no none; docs/device.md tells how to build it"),
            (("one\tdevice",), ["--capture", "operation=1"], "breaks",
             "there is no ./libkelvanecapture.so; docs/device.md tells how to build it"),
            (("one\tdevice",), ["--output", "taken", "operation=1"], CLIENT,
             "taken is there already; --output names another directory"),
            (("one\tdevice",), ["request_id=x"], CLIENT, "request_id: expected a whole number, got 'x'"),
            (("one\tdevice",), ["--seconds"], CLIENT, "--seconds: expected a value, there is none"),
        )
        for phones, arguments, program, said in cases:
            with self.subTest(said):
                self.attach(*phones)
                run = self.on_device(*arguments, program=program)
                own = "no library\n" if "exit status" in said else ""
                self.assertEqual((1, "", f"{own}on-device: {said}\n"), (run.wait(), run.out, run.err))
                self.phone_is_as_before()

    def test_client_that_finds_no_sensor_is_killed(self):
        run = self.on_device("--seconds", "1", "operation=1", scenario='sensors { data_type: "other" suid {} }')
        self.assertEqual(1, run.wait())
        self.assertIn("no end 20 s after kill -2; killing the client\n", run.err)
        self.assertIn("the client ended with exit status 137; see cellscope-run-7/errors.txt\n", run.err)
        self.phone_is_as_before()
