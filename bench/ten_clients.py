"""Ten clients on one shared hub, 1,000 events a second each, for a minute: is anything lost?

    ten_clients.py CLIENT HUB FOLDER [SECONDS]

CLIENT writes into "output/" below where it is started. FOLDER gets about 40 MB a client for a minute.
"""

import os
import re
import signal
import subprocess
import sys
import time

CLIENTS = 10
RATE = 1000
LEAD = 12  # seconds in which all clients get ready


def write_scenario(path, count):
    cell = "cells {{ cells {{ timestamp: {0} registered: true cell_type: 3 lte {{ cell_identity {{ ci: {0} }} }} }} }}"
    with open(path, "w", encoding="ascii") as file:
        file.write("steps { at: 0 " + cell.format(0) + " }\n")
        for number in range(1, count + 1):
            file.write(f"steps {{ at: {LEAD + number / RATE} " + cell.format(number) + " }\n")


def wait_for(condition, seconds, what):
    deadline = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > deadline:
            sys.exit("gave up waiting for " + what)
        time.sleep(0.05)


def start_client(client, folder, environment):
    os.makedirs(folder + "/output")
    return subprocess.Popen([client, "operation=1", "request_id=1"], cwd=folder, env=environment,
                            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def numbers_in(folder):
    with open(folder + "/output/wwan_test_output.txt", encoding="ascii") as file:
        return [int(found) for found in re.findall(r",CI: (\d+)", file.read())]


def main():
    client, hub, folder = map(os.path.abspath, sys.argv[1:4])
    seconds = int(sys.argv[4]) if len(sys.argv) > 4 else 60
    count = seconds * RATE
    socket = folder + "/hub.sock"
    write_scenario(folder + "/numbers.textproto", count)
    server = subprocess.Popen([hub, "serve", "--listen", socket, "--scenario", folder + "/numbers.textproto"],
                              stdout=subprocess.DEVNULL)
    wait_for(lambda: os.path.exists(socket), 30, "the hub")
    environment = dict(os.environ, KELVANE_HUB_SOCKET=socket)
    folders = [f"{folder}/{number}" for number in range(CLIENTS)]
    clients = [start_client(client, name, environment) for name in folders]
    start = time.monotonic()
    time.sleep(LEAD + seconds)
    wait_for(lambda: all(numbers_in(name)[-1:] == [count] for name in folders), 60, "the last event")
    late = time.monotonic() - start - LEAD - seconds
    for process in clients:
        process.send_signal(signal.SIGINT)
    statuses = [process.wait() for process in clients]
    server.terminate()
    whole = sum(numbers_in(name) == list(range(count + 1)) for name in folders)
    print(f"{CLIENTS} clients, {count} events each in {seconds} s: {whole} got every one in order; "
          f"all had the last one {late:.1f} s after the end; exit statuses {sorted(set(statuses))}")
    sys.exit(0 if whole == CLIENTS else 1)


main()
