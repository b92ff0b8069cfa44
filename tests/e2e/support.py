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

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parents[1]
MENU = (ROOT / "tests/client/golden/Menu.txt").read_text()

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
LISTENING = "Listening For On Change Sensor indications\n"
STOPPED = "Got the  signal for 2\n"


def found(data_type):
    """What standard output shows of finding one of SENSORS."""
    return (f"get Suid\nReceived SUIDs for {data_type}, number of suids received = 1\n"
            f"\nSUID received - {SUIDS[data_type]}\nSensor suid list created\n")


def no_cells(sub=0):
    return (f"Payload size: 2\n16 {sub} \nReceived serving neighboring cell info on Sub :{sub}\n"
            "serving neighboring cell info. Number of cells: 0\n")


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
            streams = {"stdout": out, "stderr": err, **streams}
            self.process = subprocess.Popen(command, env={**inherited, **environment}, **streams)
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


class OnTerminal(Program):
    """A program on a pseudo-terminal that controls it. What it shows there, and not yet has been expected, is in `seen`."""

    def __init__(self, test, command, environment, prepare=lambda settings: None):
        """`prepare` may change the terminal's settings, those of termios."""
        self.terminal, slave = pty.openpty()
        test.addCleanup(os.close, self.terminal)
        settings = termios.tcgetattr(slave)
        prepare(settings)
        termios.tcsetattr(slave, termios.TCSANOW, settings)
        super().__init__(test, command, environment, stdin=slave, stdout=slave, start_new_session=True,
                         preexec_fn=lambda: fcntl.ioctl(0, termios.TIOCSCTTY, 0))
        os.close(slave)
        self.seen = b""

    def type(self, text):
        os.write(self.terminal, text.encode())

    def _read(self, enough):
        end = time.monotonic() + DEADLINE
        while not enough() and select.select([self.terminal], [], [], max(0, end - time.monotonic()))[0]:
            try:
                self.seen += os.read(self.terminal, 65536)
            except OSError:  # the other side is gone
                return


class Console(OnTerminal):
    """The client's console on a pseudo-terminal that neither echoes nor translates, and a session to play there.

    Of sessions/NAME.txt a line "$ …" is typed; then the main thread shows what follows, and reports ("| …") stand
    anywhere in between. "! …" is said on standard error. Dashes are a pause.
    """

    def __init__(self, test, session, environment):
        super().__init__(test, [CLIENT], environment, self._prepare)
        self.parts = session.replace("[the menu]\n", MENU).split("----\n")
        self.said = "".join(re.findall("^! (.*\n)", session, re.M))
        self._shows(MENU, "")

    @staticmethod
    def _prepare(settings):
        settings[1] &= ~termios.OPOST
        settings[3] &= ~termios.ECHO

    def play(self):
        """Plays the session up to the next pause, or to its end, which is the client's."""
        for step in re.split(r"^\$ ", self.parts.pop(0), flags=re.M)[1:]:
            typed, _, lines = step.partition("\n")
            self.type(typed + "\n")
            self._shows(re.sub(r"^[|!] .*\n", "", lines, flags=re.M), "".join(re.findall(r"^\| (.*\n)", lines, re.M)))
        if not self.parts:
            self.ends()
            self.test.assertEqual(self.said, re.sub(r"[^\n -~]", lambda match: f"\\x{ord(match[0]):02x}", self.err))

    def ends(self, status=0):
        """Asserts that the client ends with this status and has nothing more to say."""
        self._read(lambda: False)
        self.test.assertEqual((status, b""), (self.wait(), self.seen))

    def _shows(self, text, reports):
        size = len(text) + len(reports)
        self._read(lambda: len(self.seen) >= size)
        shown, self.seen = self.seen[:size], self.seen[size:]
        self.test.assertIsNone(difference(without_times(shown), pieces(text), pieces(reports)))


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

    def console(self, session, **environment):
        """A console that is to play sessions/`session`.txt, which begins with what happens to its sensors, SENSORS."""
        text = (HERE / "sessions" / f"{session}.txt").read_text()
        scenario = text.partition("\n\n")[0] + "\n"
        return Console(self, text, {**self.playing(scenario if "sensors {" in scenario else SENSORS + scenario), **environment})

    def playing(self, scenario):
        """The environment in which a private hub plays this text; without one, the built-in scenario."""
        if scenario is None:
            return {}
        pathlib.Path("scenario.textproto").write_text(scenario)
        return {"KELVANE_HUB_SCENARIO": "scenario.textproto"}

    def serve(self, scenario, **streams):
        """Starts a shared hub at hub.sock."""
        hub = Program(self, [HUB, "serve", "--listen", "hub.sock"], self.playing(scenario), **streams)
        until(lambda: hub.out == "kelvane-hub: listening on hub.sock\n", "the hub to listen")
        return hub

    def stop(self, run):
        run.interrupt()
        self.assertEqual(0, run.wait())

    def expect_golden(self, name, text):
        """golden/NAME.txt; with CELLSCOPE_WRITE_GOLDEN it is written anew: read the difference before you keep it."""
        golden = HERE / "golden" / f"{name}.txt"
        if "CELLSCOPE_WRITE_GOLDEN" in os.environ:
            golden.write_bytes(text.encode("latin-1"))
        self.assertEqual(golden.read_bytes().decode("latin-1"), text)

    def hub_command(self, *arguments):
        """Runs kelvane-hub to its end: exit status, standard output, standard error."""
        done = subprocess.run([HUB, *arguments], capture_output=True, text=True, timeout=DEADLINE, check=False)
        return done.returncode, done.stdout, done.stderr

    def wait_for_output(self, text, name="wwan_test_output.txt"):
        until(lambda: text in read(f"output/{name}"), f"{text!r} in {name}")
