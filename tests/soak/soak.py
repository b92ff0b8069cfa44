"""Endurance: soak.py SECONDS [SEED]

Seven things in turn, each for as much of the time, with a client whose sleep() is a hundred times shorter:

  signals   SIGINT at a random moment of an automation run under full event load
  cycles    one console that connects, registers, sets thresholds, disconnects and reconnects over and over
  kills     the hub killed at a random moment
  stalled   a client killed that leaves its hub with a standard error that nobody reads, and more to say
  loading   a client killed while its hub loads a scenario
  breakers  a shared hub with such a standard error, and a thousand peers that break the rules
  flood     a client that asks for much as fast as it can, and reads it all, beside one that asks for little

Environment: CELLSCOPE_HASTY, the client; the hub is in the folder above it. What it prints first is the seed that repeats
the run.
"""

import contextlib
import os
import random
import re
import select
import shutil
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import time

CLIENT = os.environ["CELLSCOPE_HASTY"]
HUB = os.path.join(os.path.dirname(os.path.dirname(CLIENT)), "kelvane-hub")
DEADLINE = 60
SOON = 10

LINE = re.compile(
    r"|Input given \d+|connecting to on-change sensor|Streaming sensor rate : \d+|Listening For .*"
    r"|Payload size: \d+|(\d+ )+|Received serving neighboring cell info on Sub :\d+"
    r"|serving neighboring cell info\. Number of cells: \d+|=== Cell \d+ === \{.*\}|== .* == \{.*\}"
    r"|Got the  signal for 2")


def check(condition, text):
    if not condition:
        raise AssertionError(text)


def wait_for(condition, what, seconds=DEADLINE):
    deadline = time.monotonic() + seconds
    while not condition():
        check(time.monotonic() < deadline, "gave up waiting for " + what)
        time.sleep(0.001)


def read(path):
    try:
        with open(path, encoding="ascii") as file:
            return file.read()
    except FileNotFoundError:
        return ""


def children(process):
    return [int(pid) for pid in read(f"/proc/{process.pid}/task/{process.pid}/children").split()]


def is_running(pid):
    return re.search(r"^State:\s+[^ZX]", read(f"/proc/{pid}/status"), re.MULTILINE) is not None


def write_load(folder):
    """A scenario that changes the cells 5,000 times a second."""
    with open(folder + "/load.textproto", "w", encoding="ascii") as file:
        cell = "cells {{ cells {{ cell_type: 3 lte {{ cell_identity {{ ci: {} }} }} }} }}"
        for step in range(500):
            file.write(f"steps {{ at: {step / 5000} {cell.format(step)} }}\n")
        file.write("repeat_after: 0.1\n")


def start(arguments, folder, scenario="load.textproto", errors=subprocess.PIPE, **environment):
    environment = dict(os.environ, KELVANE_HUB_SCENARIO=f"{folder}/{scenario}", **environment)
    return subprocess.Popen([CLIENT, *arguments], cwd=folder, env=environment, stdin=subprocess.PIPE,
                            stdout=subprocess.PIPE, stderr=errors)


def clear_output(folder):
    shutil.rmtree(folder + "/output", ignore_errors=True)
    os.mkdir(folder + "/output")


def start_automation(folder):
    clear_output(folder)
    arguments = random.choice((["operation=1"], ["operation=2", "rate=5000"]))
    process = start(arguments, folder)
    report = folder + "/output/wwan_test_output.txt"
    wait_for(lambda: "Input given" in read(report), "the first line")
    return process, report


def finish(process, report):
    """SIGINT; the run's standard error once it has ended as it should."""
    hubs = children(process)
    process.send_signal(signal.SIGINT)
    _, errors = process.communicate(timeout=DEADLINE)
    text = read(report)
    check(process.returncode == 0, f"exit status {process.returncode}\n{errors.decode()}")
    # A report that was being printed when the signal came goes on below the handler's line.
    check("\nGot the  signal for 2\n" in text and text.endswith("\n"), "the report ends with " + repr(text[-200:]))
    for line in text.splitlines():
        check(LINE.fullmatch(line), "not a whole line: " + repr(line))
    check(not any(map(is_running, hubs)), f"a hub of {hubs} outlived its client")
    return errors.decode()


def signals(folder):
    process, report = start_automation(folder)
    time.sleep(random.uniform(0, 0.4))
    finish(process, report)


def kills(folder):
    process, report = start_automation(folder)
    wait_for(lambda: "Listening" in read(report), "the listening loop")
    time.sleep(random.uniform(0, 0.1))
    hubs = children(process)
    check(len(hubs) == 1, f"expected one hub, found {hubs}")
    os.kill(hubs[0], signal.SIGKILL)
    time.sleep(random.uniform(0, 0.02))
    errors = finish(process, report)
    check(errors.count("the hub ended the connection") <= 1, errors)


def hub_of(process):
    wait_for(lambda: children(process), "the hub")
    return children(process)[0]


def kill_and_expect_end(process, moment):
    """SIGKILL to a client once `moment` has come; its hub ends by itself. Neither is left, whatever happens."""
    hub = None
    try:
        hub = hub_of(process)
        moment()
        check(is_running(hub), "the hub has ended before its client")
        process.kill()
        wait_for(lambda: not is_running(hub), "the end of the hub of a client that was killed", SOON)
    finally:
        process.kill()
        if hub and is_running(hub):
            os.kill(hub, signal.SIGKILL)
        process.communicate()


class UnreadPipe:
    """A standard error that nobody reads."""

    def __enter__(self):
        self.unread, self.end = os.pipe()
        return self

    def __exit__(self, *_):
        os.close(self.unread)
        os.close(self.end)

    def fill(self):
        """To the last byte."""
        os.set_blocking(self.end, False)
        for some in (b"." * 4096, b"."):
            with contextlib.suppress(BlockingIOError):
                while True:
                    os.write(self.end, some)
        os.set_blocking(self.end, True)


def stalled(folder):
    clear_output(folder)
    report = folder + "/output/wwan_test_output.txt"
    with UnreadPipe() as pipe:
        process = start(["operation=1"], folder, errors=pipe.end, KELVANE_HUB_EXPLAIN="1")

        def moment():
            wait_for(lambda: "Listening" in read(report), "the listening loop")
            pipe.fill()
            time.sleep(random.uniform(0, 0.1))
        kill_and_expect_end(process, moment)


def loading(folder):
    """One that takes seconds, one that nobody opens to write it, and one that somebody opens and does not write."""
    scenarios = [f"{folder}/{name}" for name in ("long.textproto", "closed.fifo", "silent.fifo")]
    with open(scenarios[0], "w", encoding="ascii") as file:
        file.writelines(f"steps {{ at: {step} cells {{ cells {{ cell_type: 3 }} }} }}\n" for step in range(200000))
    for scenario in scenarios[1:]:
        os.mkfifo(scenario)
    writer = os.open(scenarios[2], os.O_RDWR)
    try:
        for scenario in scenarios:
            clear_output(folder)
            process = start(["operation=1"], folder, os.path.basename(scenario), subprocess.DEVNULL)
            kill_and_expect_end(process, lambda: time.sleep(random.uniform(0, 0.1)))
    finally:
        os.close(writer)
        for scenario in scenarios:
            os.unlink(scenario)


LITTLE = (1, 1)
MUCH = (2, 2)
ATTRIBUTE_REQUEST = b"\x20\x01"


def frame(kind, sensor, payload):
    return struct.pack("<4sIIQQ", b"KELV", kind, len(payload), *sensor) + payload


class SharedHub:
    """A hub that others connect to; ended with SIGTERM."""

    def __init__(self, folder, errors=subprocess.DEVNULL):
        self.path = folder + "/hub.sock"
        with open(folder + "/sensors.textproto", "w", encoding="ascii") as file:
            for suid, size in ((LITTLE, 10), (MUCH, 100000)):
                file.write(f"sensors {{ data_type: 'wwan' suid {{ suid_low: {suid[0]} suid_high: {suid[1]} }} "
                           f"attributes {{ attr_id: 1 value {{ values {{ text: '{'x' * size}' }} }} }} }}\n")
        self.process = subprocess.Popen([HUB, "serve", "--listen", self.path, "--scenario", file.name],
                                        stdout=subprocess.PIPE, stderr=errors)

    def __enter__(self):
        self.process.stdout.readline()
        return self

    def __exit__(self, failure, *_):
        try:
            if failure:
                return
            self.process.terminate()
            self.process.wait(SOON)
            check(self.process.returncode == 0, f"the hub's exit status {self.process.returncode}")
        finally:
            self.process.kill()
            self.process.communicate()

    def connect(self):
        peer = socket.socket(socket.AF_UNIX)
        peer.settimeout(SOON)
        peer.connect(self.path)
        return peer

    def join(self):
        peer = self.connect()
        peer.sendall(frame(1, (0, 0), b"kelvane wire 1"))
        check(peer.recv(42, socket.MSG_WAITALL).endswith(b"kelvane wire 1"), "expected the hub's hello")
        return peer


def ask_for_little(peer):
    peer.sendall(frame(2, LITTLE, ATTRIBUTE_REQUEST))
    header = peer.recv(28, socket.MSG_WAITALL)
    check(header[:8] == frame(3, LITTLE, b"")[:8], f"expected attributes, found {header}")
    peer.recv(struct.unpack("<I", header[8:12])[0], socket.MSG_WAITALL)


def breakers(folder):
    with UnreadPipe() as pipe, SharedHub(folder, pipe.end) as hub:
        pipe.fill()
        for number in range(1, 1001):
            with hub.connect() as peer:
                peer.sendall(b"This is no hello, but long enough for one.")
                try:
                    check(peer.recv(1) == b"", "expected the end of the connection")
                except ConnectionResetError:
                    pass
                except TimeoutError as error:
                    raise AssertionError(f"the hub leaves peer {number} as it is") from error
        with hub.join() as peer:
            ask_for_little(peer)


def flood(folder):
    requests = frame(2, MUCH, ATTRIBUTE_REQUEST) * 1000
    with SharedHub(folder) as hub, hub.join() as flooder, hub.join() as good:
        flooder.setblocking(False)
        received = sent = 0
        good.sendall(frame(2, LITTLE, ATTRIBUTE_REQUEST))
        while received < 1 << 29 or good not in select.select([good], [], [], 0)[0]:
            readable, writable, _ = select.select([flooder], [flooder], [], SOON)
            check(readable or writable, "the hub does nothing")
            try:
                if writable:
                    sent = (sent + flooder.send(requests[sent:])) % len(requests)
                some = len(flooder.recv(1 << 20)) if readable else 0
            except ConnectionError:
                some = 0
            check(some > 0 or not readable, f"the hub ended the connection of a client that had read {received} bytes")
            received += some
            check(received < 1 << 33, "the good client is not answered")


def usage(pid):
    """Descriptors, threads and resident KiB of a process."""
    status = read(f"/proc/{pid}/status")
    number = {name: int(re.search(name + r":\s+(\d+)", status).group(1)) for name in ("Threads", "VmRSS")}
    return len(os.listdir(f"/proc/{pid}/fd")), number["Threads"], number["VmRSS"]


class Cycles:
    """One console for the whole time; each call is a cycle of it."""

    CYCLE = b"1 7 10 6 0 9 4 1 0 0 1 1 0 1 2 -100 -90 0 0 0 0 0 0 5 0 3 8 9 11 3 2 -1 "

    def __init__(self, folder):
        self.log = open(folder + "/console.txt", "a+b")
        environment = dict(os.environ, KELVANE_HUB_SPEED="10")
        self.process = subprocess.Popen([CLIENT], cwd=folder, env=environment, stdin=subprocess.PIPE,
                                        stdout=self.log, stderr=subprocess.STDOUT)
        self.done = 0
        self.first = None
        self.wait_for_menus(1)

    def wait_for_menus(self, count):
        wait_for(lambda: os.pread(self.log.fileno(), 1 << 24, 0).count(b"Enter -1 to Exit\n") == count, "the menu")

    def __call__(self, _):
        self.log.truncate(0)
        self.process.stdin.write(self.CYCLE)
        self.process.stdin.flush()
        self.wait_for_menus(13)
        self.done += 1
        if self.done == 3:
            self.first = usage(self.process.pid)

    def close(self):
        last = usage(self.process.pid)
        self.process.communicate(b"-1 ", timeout=DEADLINE)
        self.log.close()
        check(self.process.returncode == 0, f"exit status {self.process.returncode}")
        if self.first:
            check(last[:2] == self.first[:2], f"descriptors and threads were {self.first[:2]}, are {last[:2]}")
            check(last[2] < self.first[2] + 2048, f"resident memory was {self.first[2]} KiB, is {last[2]} KiB")


def repeat(name, once, folder, seconds):
    end = time.monotonic() + seconds
    count = 0
    while time.monotonic() < end or count == 0:
        once(folder)
        count += 1
    print(f"{name}: {count} times", flush=True)


def main():
    seconds = float(sys.argv[1])
    seed = int(sys.argv[2]) if len(sys.argv) > 2 else random.randrange(1 << 32)
    random.seed(seed)
    print("seed", seed, flush=True)
    with tempfile.TemporaryDirectory() as folder:
        write_load(folder)
        things = (signals, kills, stalled, loading, breakers, flood)
        share = seconds / (len(things) + 1)
        for thing in things:
            repeat(thing.__name__, thing, folder, share)
        cycles = Cycles(folder)
        try:
            repeat("cycles", cycles, folder, share)
        finally:
            cycles.close()


main()
