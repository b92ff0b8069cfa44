"""Runs cellscope and kelvane-hub for the end-to-end tests; knows the texts that many of them expect."""

import fcntl
import os
import pathlib
import pty
import re
import select
import signal
import subprocess
import tempfile
import termios
import time
import unittest

CLIENT = os.path.abspath(os.environ["CELLSCOPE_CLIENT"])
HUB = os.path.abspath(os.environ["KELVANE_HUB"])

EMULATOR_ABORT = "qemu: uncaught target signal 6 (Aborted) - core dumped\n"

DEADLINE = 60  # seconds: enough for a sanitizer on a busy machine

# Sensors with short suids and few attributes.
SENSORS = """
sensors { data_type: "wwan" suid { suid_low: 1 suid_high: 2 }
          attributes { attr_id: 16 value { values { integer: 1 } } } }
sensors { data_type: "wwan_stream" suid { suid_low: 3 suid_high: 4 }
          attributes { attr_id: 16 value { values { integer: 0 } } } }
"""
SUIDS = {"wwan": "suid_low=1 suid_high=2", "wwan_stream": "suid_low=3 suid_high=4"}

LOG_TIME = "Log Time: ##########"
ATTRIBUTES = "event_cb:666, attribute ID :16\n"
ON_CHANGE = ATTRIBUTES + "send_onchange_config_req:814, sending on change config request\n"
SENT_EMPTY = ("send_empty_sig_info:1017, sending empty config request\n"
              "send_empty_sig_info:1022, sending empty config request \x08\n")
SENT_VOICE = "register_voice_call_status:1490, sending set_report_voice_calls request\n"
SENT_QUERY = "query_cell_location_info:1608, sending query_cell_info request\n"
NOT_OPENED = "get Suidfailed to open ISession for suid discovery"

LISTENING = "Listening For On Change Sensor indications\n"
STOPPED = "Got the  signal for 2\n"

MENU = """\
connect to WWAN sensor \n\
Enter 1 for On-change sensor \n\
Enter 2 for Streaming Sensor \n\
Enter 3 to Disconnect \n\
Enter 4 to send signal info \n\
Enter 5 to send empty signal_config \n\
Enter 6 to send GSM signal_config \n\
Enter 7 to register for voice_call_status \n\
Enter 8 to Connect to Streaming sensor(Query Mode) \n\
Enter 9 to Query cell-location-info \n\
Enter 10 to register for rrc state info \n\
Enter 11 to reconnect to sensor \n\
Enter -1 to Exit
"""
NOTE = "Please note this request will only work once option 1 or 2 \n is selected prior to this. \n"
ASK_SUB = "Enter sub id for this request (0 or 1)\n"
ASK_SIG_INFO = NOTE + "Enter the sig_info \n" + ASK_SUB
EMPTY_CONFIG = NOTE + "send empty sig_info\n" + ASK_SUB
VOICE_CALLS = NOTE + "register for voice_call_status indications \n"
QUERY = "Query Cell-location info\n"
RECONNECTING = "reconnect to sensor \nsensor name is "

ENABLE = "Enable Measurement type (1 to Enable/0 to Disable) \n"
DETAILS = "enter hysteresis millisec \nenter hysteresis dB \nenter thresholds size \n"
ARRAY = "enter thresholds array \n"
# Each technology and measurement that is asked for, and how its dialog begins.
DIALOGS = (
    ("GERAN", "Mesaument type is set as RSSI for GERAN\n"),
    ("UTRAN", "Mesaument type is set as RSCP for UTRAN\n"),
    ("EUTRAN(type=RSRP)", "Selected Mesaument type is RSRP for EUTRAN\n"),
    ("EUTRAN(type=RSRQ)", "Selected Mesaument type is RSRQ for EUTRAN\n"),
    ("EUTRAN(type=RSSNR)", "Selected Mesaument type is RSSNR for EUTRAN\n"),
    ("NGRAN(type=SSRSRP)", "Selected Mesaument type is SSRSRP for NGRAN\n"),
    ("NGRAN(type=SSRSRQ)", "Selected Mesaument type is SSRSRQ for NGRAN\n"),
    ("NGRAN(type=SSSINR)", "Selected Mesaument type is SSSINR for NGRAN\n"),
    ("CDMA2000", " Mesaument type is RSSI for CDMA2000\n"),
)


def found(data_type):
    """What standard output shows of finding one of SENSORS."""
    return (f"get Suid\nReceived SUIDs for {data_type}, number of suids received = 1\n"
            f"\nSUID received - {SUIDS[data_type]}\nSensor suid list created\n")


def no_cells(sub=0):
    return (f"Payload size: 2\n16 {sub} \nReceived serving neighboring cell info on Sub :{sub}\n"
            "serving neighboring cell info. Number of cells: 0\n")


def not_sent(function, line):
    return f"{function}:{line}, Error in sending request\n"


def verdict(error):
    return f"Payload size: 2\nerror info: {error}\n"


def asked(dialogs):
    """The questions of choice 4; of each dialog that is entered, by name, what follows its announcement."""
    return "".join(f"{name} Config: 1 to Enter : 0 to skip \n"
                   + (announcement + dialogs[name] if name in dialogs else "") for name, announcement in DIALOGS)


def varint(number):
    number %= 1 << 64
    encoded = []
    while number > 127:
        encoded.append(number & 127 | 128)
        number >>= 7
    return bytes(encoded + [number])


def field(number, value):
    """A protobuf field: a number as a varint, bytes with their length."""
    if isinstance(value, bytes):
        return varint(number << 3 | 2) + varint(len(value)) + value
    return varint(number << 3) + varint(value)


def until(condition, what, seconds=DEADLINE):
    """Waits until the condition holds, and returns what it returned."""
    end = time.monotonic() + seconds
    while not (result := condition()):
        if time.monotonic() > end:
            raise AssertionError(f"waited {seconds} s in vain for {what}")
        time.sleep(0.02)
    return result


def read(path):
    """All of a file, each byte a character, log times blotted out; empty if there is no such file."""
    try:
        return without_times(pathlib.Path(path).read_bytes())
    except (FileNotFoundError, ProcessLookupError):
        return ""


def without_times(output):
    return re.sub(r"Log Time: \d{10}", LOG_TIME, output.decode("latin-1"))


def process_state(pid):
    """State and parent of a process; of one that is gone: X and 0."""
    stat = read(f"/proc/{pid}/stat").rpartition(")")[2].split()
    return (stat[0], int(stat[1])) if stat else ("X", 0)


def is_running(pid):
    return process_state(pid)[0] not in "ZX"


def children(pid):
    return [int(name) for name in os.listdir("/proc") if name.isdigit() and process_state(name)[1] == pid]


def pieces(text):
    """What the client's main thread writes at a time."""
    return re.findall(r"SUID received.*|\nSensor.*\n|.*\n|.+", text)


def difference(text, first, second):
    """Nothing if text consists of the pieces of both lists, each list in its order; else where it ceases to."""
    reached = {(0, 0, 0)}
    while (len(text), len(first), len(second)) not in reached:
        furthest = reached
        reached = {(at + len(first[i]), i + 1, j) for at, i, j in furthest
                   if i < len(first) and text.startswith(first[i], at)}
        reached |= {(at + len(second[j]), i, j + 1) for at, i, j in furthest
                    if j < len(second) and text.startswith(second[j], at)}
        if not reached:
            at, i, j = max(furthest)
            return (f"after {text[max(0, at - 200):at]!r} came {text[at:at + 200]!r}, "
                    f"expected {first[i:i + 1]} or {second[j:j + 1]}")
    return None


class Program:
    """A program that runs until it ends or the test does. Standard output and standard error go to files."""

    count = 0

    def __init__(self, test, command, environment, **streams):
        Program.count += 1
        self.test = test
        self.name = f"{os.path.basename(command[0])}-{Program.count}"
        inherited = {name: value for name, value in os.environ.items()
                     if name == "KELVANE_HUB_PROGRAM" or not name.startswith("KELVANE_HUB")}
        streams.setdefault("stdin", subprocess.DEVNULL)
        with open(self.name + ".out", "wb") as out, open(self.name + ".err", "wb") as err:
            streams.setdefault("stdout", out)
            self.process = subprocess.Popen(command, env={**inherited, **environment}, stderr=err, **streams)
        self.pid = self.process.pid
        test.addCleanup(self.kill)

    out = property(lambda self: read(self.name + ".out"))
    err = property(lambda self: read(self.name + ".err").replace(EMULATOR_ABORT, ""))

    def interrupt(self):
        self.process.send_signal(signal.SIGINT)

    def wait(self):
        return self.process.wait(DEADLINE)

    def hub(self):
        """The private hub's process id."""
        return until(lambda: children(self.pid), "a private hub")[0]

    def says(self, line):
        """Waits for a line on standard error."""
        until(lambda: line + "\n" in self.err, f"{line!r} on standard error")

    def kill(self):
        hubs = children(self.pid)
        self.process.kill()
        self.process.wait()
        if self.process.stdin:
            self.process.stdin.close()
        for hub in hubs:
            until(lambda pid=hub: not is_running(pid), f"hub {hub} to end")


class Console(Program):
    """The client's console on a pseudo-terminal that neither echoes nor translates."""

    def __init__(self, test, environment):
        self.terminal, slave = pty.openpty()
        test.addCleanup(os.close, self.terminal)
        settings = termios.tcgetattr(slave)
        settings[1] &= ~termios.OPOST
        settings[3] &= ~termios.ECHO
        termios.tcsetattr(slave, termios.TCSANOW, settings)
        super().__init__(test, [CLIENT], environment, stdin=slave, stdout=slave, start_new_session=True,
                         preexec_fn=lambda: fcntl.ioctl(0, termios.TIOCSCTTY, 0))
        os.close(slave)
        self.seen = b""

    def type(self, text):
        os.write(self.terminal, text.encode())

    def shows(self, text, reports=""):
        """Asserts that exactly this comes next. Reports, of the callback thread, may stand anywhere in between."""
        size = len(text) + len(reports)
        self._read(lambda: len(self.seen) >= size)
        shown, self.seen = self.seen[:size], self.seen[size:]
        self.test.assertIsNone(difference(without_times(shown), pieces(text), pieces(reports)))

    def ask(self, typed, shown, *reports):
        """Types something and asserts that this comes, then the menu, and the reports anywhere in between."""
        self.type(typed)
        self.shows(shown + MENU, "".join(reports))

    def leave(self, diagnostics):
        """Leaves the menu; asserts that this, in all, was said on standard error."""
        self.type("-1\n")
        self.ends()
        self.test.assertEqual(diagnostics, self.err)

    def ends(self, status=0):
        """Asserts that the client ends with this status and has nothing more to say."""
        self._read(lambda: False)
        self.test.assertEqual((status, b""), (self.wait(), self.seen))

    def _read(self, enough):
        end = time.monotonic() + DEADLINE
        while not enough() and select.select([self.terminal], [], [], max(0, end - time.monotonic()))[0]:
            try:
                self.seen += os.read(self.terminal, 65536)
            except OSError:  # the other side is gone
                return


class EndToEndTest(unittest.TestCase):
    """A test in a folder of its own, with an output directory for the client in it."""

    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="cellscope-")
        self.addCleanup(folder.cleanup)
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(folder.name)
        os.mkdir("output")

    def automation(self, *arguments, scenario=None, **environment):
        return Program(self, [CLIENT, *arguments], {**self.playing(scenario), **environment})

    def console(self, scenario=None, **environment):
        console = Console(self, {**self.playing(scenario), **environment})
        console.shows(MENU)
        return console

    def playing(self, scenario):
        """The environment in which a private hub plays this text; without one, the built-in scenario."""
        if scenario is None:
            return {}
        pathlib.Path("scenario.textproto").write_text(scenario)
        return {"KELVANE_HUB_SCENARIO": "scenario.textproto"}

    def serve(self, scenario):
        """Starts a shared hub at hub.sock."""
        hub = Program(self, [HUB, "serve", "--listen", "hub.sock"], self.playing(scenario))
        until(lambda: hub.out == "kelvane-hub: listening on hub.sock\n", "the hub to listen")
        return hub

    def stop(self, run):
        run.interrupt()
        self.assertEqual(0, run.wait())

    def hub_command(self, *arguments):
        """Runs kelvane-hub to its end: exit status, standard output, standard error."""
        done = subprocess.run([HUB, *arguments], capture_output=True, text=True, timeout=DEADLINE, check=False)
        return done.returncode, done.stdout, done.stderr

    def wait_for_output(self, text, name="wwan_test_output.txt"):
        until(lambda: text in read(f"output/{name}"), f"{text!r} in {name}")
