"""Endurance: soak.py SECONDS [SEED]

Three things in turn, each for a third of the time, with a client whose sleep() is a hundred times shorter:

  signals   SIGINT at a random moment of an automation run under full event load
  cycles    one console that connects, registers, sets thresholds, disconnects and reconnects over and over
  kills     the hub killed at a random moment

Environment: CELLSCOPE_HASTY, the client. What it prints first is the seed that repeats the run.
"""

import os
import random
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time

CLIENT = os.environ["CELLSCOPE_HASTY"]
DEADLINE = 60

LINE = re.compile(
    r"|Input given \d+|connecting to on-change sensor|Streaming sensor rate : \d+|Listening For .*"
    r"|Payload size: \d+|(\d+ )+|Received serving neighboring cell info on Sub :\d+"
    r"|serving neighboring cell info\. Number of cells: \d+|=== Cell \d+ === \{.*\}|== .* == \{.*\}"
    r"|Got the  signal for 2")


def check(condition, text):
    if not condition:
        raise AssertionError(text)


def wait_for(condition, what):
    deadline = time.monotonic() + DEADLINE
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


def start(arguments, folder):
    environment = dict(os.environ, KELVANE_HUB_SCENARIO=folder + "/load.textproto")
    return subprocess.Popen([CLIENT, *arguments], cwd=folder, env=environment, stdin=subprocess.PIPE,
                            stdout=subprocess.PIPE, stderr=subprocess.PIPE)


def start_automation(folder):
    shutil.rmtree(folder + "/output", ignore_errors=True)
    os.mkdir(folder + "/output")
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
        repeat("signals", signals, folder, seconds / 3)
        cycles = Cycles(folder)
        try:
            repeat("cycles", cycles, folder, seconds / 3)
        finally:
            cycles.close()
        repeat("kills", kills, folder, seconds / 3)


main()
