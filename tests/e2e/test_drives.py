"""Recorded drives, imported and played fast: every report compared with what the recording itself says."""

import csv
import datetime
import decimal
import itertools
import json
import os
import pathlib
import subprocess
import typing

from support import (ARRAY, ASK_SIG_INFO, CLIENT, DETAILS, DIALOGS, ENABLE, LISTENING, LOG_TIME, MENU, SENSORS, STOPPED,
                     EndToEndTest, Program, asked, difference, field, found, pieces, read, until, verdict)

TRACES = pathlib.Path(os.environ.get("CELLSCOPE_TRACES", "traces"))
# At an odd speed no step is at a whole number of milliseconds.
PLAYED_FAST = {"KELVANE_HUB_SCENARIO": "drive.textproto", "KELVANE_HUB_SPEED": "700"}
# An event after the last row shows that all has been played.
AFTER_LAST = "Payload size: 0\nReceived HST info on Sub :0\nhst info-LTE 0\nhst info-NR5G 0\n"

GSM, CDMA, LTE, WCDMA, NR = 1, 2, 3, 4, 6
CELL_TYPES = {"5G": NR, "LTE": LTE, "UMTS": WCDMA, "HSPA": WCDMA, "HSPA+": WCDMA, "HSDPA": WCDMA, "HSUPA": WCDMA,
              "GSM": GSM, "GPRS": GSM, "EDGE": GSM}


class Technology(typing.NamedTuple):
    """Labels, in print order and numbered from 1 as fields, of a cell's parts, with the column of each value."""

    name: str
    member: int
    identity: dict
    signal: dict


BY_TRACKING_AREA = {"MCC": "MCC", "MNC": "MNC", "CI": "RAWCELLID", "PCI": "", "TAC": "LACHEX", "EARFCN": ""}
BY_LOCATION_AREA = {"MCC": "MCC", "MNC": "MNC", "LAC": "LACHEX", "CID": "RAWCELLID"}
TECHNOLOGIES = {
    GSM: Technology("GSM", 5, {**BY_LOCATION_AREA, "ARFCN": "", "BSIC": ""},
                    {"Signal Strength": "RSRP", "Bit Error Rate": "", "Timing Advance": ""}),
    LTE: Technology("LTE", 7, BY_TRACKING_AREA, {"Signal Strength": "RSSI", "RSRP": "RSRP", "RSRQ": "RSRQ",
                                                 "RSSNR": "SNR", "CQI": "CQI", "Timing Advance": ""}),
    WCDMA: Technology("WCDMA", 8, {**BY_LOCATION_AREA, "PSC": "", "UARFCN": ""},
                      {"Signal Strength": "RSSI", "Bit Error Rate": "", "RSCP": "RSRP", "ECNO": "RSRQ"}),
    NR: Technology("NR", 10, BY_TRACKING_AREA, {"RSRP": "RSRP", "RSRQ": "RSRQ", "RSSNR": "SNR", "CQI": "CQI"}),
}


class Cell(typing.NamedTuple):
    """A cell with the values that are present, by label."""

    type: int
    registered: bool
    identity: dict
    signal: dict


def is_present(column, text):
    """Whether it is a value, not a code for "not measured"."""
    return text not in ("", "-") and (column in ("LACHEX", "RAWCELLID", "MCC", "MNC") or abs(float(text)) < 200)


def values(row, columns, prefix=""):
    """The values that the row has in these columns, by label."""
    texts = {label: (column, row.get(prefix + column, "-")) for label, column in columns.items()}
    return {label: int(text, 16) if column == "LACHEX" else
            int(decimal.Decimal(text).to_integral_value(decimal.ROUND_HALF_UP))
            for label, (column, text) in texts.items() if is_present(column, text)}


def cells_of(row):
    cell_type = CELL_TYPES[row["NetworkMode"]]
    technology = TECHNOLOGIES[cell_type]
    cells = [Cell(cell_type, True, values(row, technology.identity), values(row, technology.signal))]
    if is_present("RSRP", row["NRxRSRP"]):
        cells.append(Cell(cell_type, False, {}, values(row, technology.signal, "NRx")))
    return cells


def changes_in(rows):
    """The changes of the cells: seconds since the first row, cells."""
    changes = []
    for time, row in rows:
        cells = cells_of(row)
        if not changes or changes[-1][1] != cells:
            changes.append((time, cells))
    return changes


def encoded(cell, timestamp):
    technology = TECHNOLOGIES[cell.type]
    info = b""
    parts = (technology.identity, cell.identity), (technology.signal, cell.signal)
    for part, (labels, present) in enumerate(parts, 1):
        if present:
            info += field(part, b"".join(field(number, present[label]) for number, label in enumerate(labels, 1)
                                         if label in present))
    return (field(1, timestamp) + field(2, 1) + field(3, cell.registered) + field(4, cell.type)
            + field(technology.member, info))


def block(opener, labels, present):
    return f"\n== {opener} == {{" + ",".join(f"{label}: {present.get(label, 0)}" for label in labels) + "}\n"


def report(time, cells):
    timestamp = time * 10**9
    payload = b"".join(field(1, encoded(cell, timestamp)) for cell in cells) + field(2, 0)
    text = (f"Payload size: {len(payload)}\n" + "".join(f"{byte} " for byte in payload)
            + "\nReceived serving neighboring cell info on Sub :0\n"
            f"serving neighboring cell info. Number of cells: {len(cells)}\n")
    for number, cell in enumerate(cells, 1):
        technology = TECHNOLOGIES[cell.type]
        text += (f"\n=== Cell {number} === {{{LOG_TIME},Cell Type: {cell.type},Timestamp: {timestamp},"
                 f"Timestamp Type: 1,Registered: {int(cell.registered)}}}\n"
                 + block(technology.name + " Cell Identity", technology.identity, cell.identity)
                 + block(technology.name + " Signal Strength", technology.signal, cell.signal))
    return text


# What choice 4 asks for, in order, and the entries made: enabled, hysteresis in ms and in dB, thresholds.
MEASUREMENTS = ((GSM, "Signal Strength"), (WCDMA, "RSCP"), (LTE, "RSRP"), (LTE, "RSRQ"), (LTE, "RSSNR"), (NR, "RSRP"),
                (NR, "RSRQ"), (NR, "RSSNR"), (CDMA, "DBM"))
ENTRIES = {
    (WCDMA, "RSCP"): (True, 0, 2, (-95, -80)),
    (LTE, "RSRP"): (True, 2000, 3, (-110, -100, -90)),
    (LTE, "RSSNR"): (False, 0, 0, ()),
    (NR, "RSRP"): (True, 5000, 0, (-105, -100, -95, -90, -85)),
    (NR, "RSRQ"): (True, 0, 1, (-15,)),
}


def answers(entry):
    """What is typed for an entry of choice 4."""
    if entry is None or not entry[0]:
        return "1 0" if entry else "0"
    _, hysteresis_ms, hysteresis_db, thresholds = entry
    return " ".join(map(str, (1, 1, hysteresis_ms, hysteresis_db, len(thresholds), *thresholds)))


def crosses(entry, was, value, milliseconds):
    enabled, hysteresis_ms, hysteresis_db, thresholds = entry
    if not enabled or value in (None, was) or milliseconds < hysteresis_ms:
        return False
    return was is None or any((was >= threshold) != (value >= threshold) and abs(value - threshold) >= hysteresis_db
                              for threshold in thresholds)


def is_cell_reported(was, cell, milliseconds):
    if was == cell or was[:3] != cell[:3]:
        return was != cell
    entries = {label: entry for (cell_type, label), entry in ENTRIES.items() if cell_type == cell.type}
    return not entries or any(crosses(entry, was.signal.get(label), cell.signal.get(label), milliseconds)
                              for label, entry in entries.items())


def passed(changes, last):
    """Of the changes those that pass the thresholds; the one reported before them is `last`."""
    reported = []
    for time, cells in changes:
        since = (time - last[0]) * 1000
        if len(cells) != len(last[1]) or any(is_cell_reported(*pair, since) for pair in zip(last[1], cells)):
            last = (time, cells)
            reported.append(last)
    return reported


class DriveTest(EndToEndTest):

    def import_drive(self, name, **plmn):
        """Makes drive.textproto of a trace; returns the changes that the trace tells of."""
        trace = TRACES / name
        if not trace.exists():
            self.skipTest(f"there is no recorded drive {trace}: set CELLSCOPE_TRACES to a folder that has it")
        options = ["--plmn", "-".join(plmn.values())] if plmn else []
        self.assertEqual((0, ""), self.hub_command("import", str(trace), "-o", "drive.textproto", *options)[:2])
        with open(trace, newline="", encoding="utf-8") as file:
            rows = [{**row, **plmn} for row in csv.DictReader(file)]
        times = [datetime.datetime.strptime(row["Timestamp"], "%Y.%m.%d_%H.%M.%S") for row in rows]
        seconds = [int((time - times[0]).total_seconds()) for time in times]
        with open("drive.textproto", "a", encoding="utf-8") as scenario:
            scenario.write(SENSORS + f"steps {{ at: {seconds[-1] + 1} highspeed_rail {{}} }}\n")
        return changes_in(zip(seconds, rows))

    def play(self, name, **plmn):
        changes = self.import_drive(name, **plmn)
        run = self.automation("operation=1", **PLAYED_FAST)
        self.wait_for_output(AFTER_LAST)
        self.wait_for_output(LISTENING)
        self.stop(run)
        first, *reports = read("output/wwan_test_output.txt").replace(LISTENING, "").split("Payload size: ")
        self.assertEqual("Input given 1\nconnecting to on-change sensor\n", first)
        expected = [*(report(*change) for change in changes), AFTER_LAST + STOPPED]
        # One by one: the first difference is what one wants to see.
        for number, (wanted, shown) in enumerate(itertools.zip_longest(expected, reports), 1):
            self.assertEqual(wanted, f"Payload size: {shown}", f"report {number} of {len(expected)}")
        self.check_values(changes)

    def check_values(self, changes):
        """What kelvane-hub reads out of the output file."""
        events = [json.loads(line) for line in self.hub_command("report", "output/wwan_test_output.txt")[1].splitlines()]
        by_key = lambda labels, present: {label.lower().replace(" ", "_"): present.get(label, 0) for label in labels}
        self.assertEqual(
            [[(cell.type, cell.registered, by_key(TECHNOLOGIES[cell.type].identity, cell.identity),
               by_key(TECHNOLOGIES[cell.type].signal, cell.signal)) for cell in cells] for _, cells in changes],
            [[(cell["cell_type"], cell["registered"], cell["cell_identity"], cell["signal_strength"])
              for cell in event["cells"]] for event in events if "cells" in event])

    def test_city_ring(self):
        self.play("drive-city-ring.csv")

    def test_2g_fallback(self):
        self.play("drive-2g-fallback.csv", MCC="272", MNC="01")

    def test_all_modes(self):
        self.play("drive-all-modes.csv")

    def test_thresholds(self):
        changes = self.import_drive("drive-all-modes.csv")
        entries = [ENTRIES.get(measurement) for measurement in MEASUREMENTS]
        console = Program(self, [CLIENT], PLAYED_FAST, stdin=subprocess.PIPE)
        console.process.stdin.write(f"1\n4\n0\n{' '.join(map(answers, entries))}\n".encode())
        console.process.stdin.flush()
        until(lambda: AFTER_LAST in console.out, "the end of the drive")
        console.process.stdin.close()
        self.assertEqual(0, console.wait())

        # Until the verdict each change is reported; from then on what passes the thresholds.
        before = console.out.partition(verdict(0))[0].count("Number of cells")
        after = passed(changes[before:], changes[before - 1])
        self.assertLess(before + len(after), len(changes) / 2)
        reports = "".join((*(report(*change) for change in changes[:before]), verdict(0),
                           *(report(*change) for change in after), AFTER_LAST))
        dialogs = {name: ENABLE + (DETAILS + ARRAY if entry[0] else "")
                   for (name, _), entry in zip(DIALOGS, entries) if entry}
        conversation = (MENU + "connecting to on-change sensor\n" + found("wwan") + MENU
                        + ASK_SIG_INFO + asked(dialogs) + MENU)
        self.assertIsNone(difference(console.out, pieces(conversation), pieces(reports)))
