"""Recorded drives, imported and played fast: every report compared with what the recording itself says."""

import csv
import datetime
import decimal
import itertools
import os
import pathlib
import subprocess
import typing

from support import LOG_TIME, EndToEndTest, field, is_interleaving, pieces, read, until
from test_console import ARRAY, ASK_SIG_INFO, DETAILS, ENABLE, MENU, asked, verdict

TRACES = pathlib.Path(os.environ.get("CELLSCOPE_TRACES", "no traces"))
SPEED = "400"

GSM, LTE, WCDMA, NR = 1, 3, 4, 6
CELL_TYPES = {"5G": NR, "LTE": LTE, "UMTS": WCDMA, "HSPA": WCDMA, "HSPA+": WCDMA, "HSDPA": WCDMA, "HSUPA": WCDMA,
              "GSM": GSM, "GPRS": GSM, "EDGE": GSM}


class Technology(typing.NamedTuple):
    """What a cell consists of. Fields have their labels in print order, in which they are numbered from 1, too."""

    name: str
    member: int
    identity: tuple
    signal: tuple
    columns: dict


TECHNOLOGIES = {
    GSM: Technology("GSM", 5, ("MCC", "MNC", "LAC", "CID", "ARFCN", "BSIC"),
                    ("Signal Strength", "Bit Error Rate", "Timing Advance"), {"Signal Strength": "RSRP"}),
    LTE: Technology("LTE", 7, ("MCC", "MNC", "CI", "PCI", "TAC", "EARFCN"),
                    ("Signal Strength", "RSRP", "RSRQ", "RSSNR", "CQI", "Timing Advance"),
                    {"Signal Strength": "RSSI", "RSRP": "RSRP", "RSRQ": "RSRQ", "RSSNR": "SNR", "CQI": "CQI"}),
    WCDMA: Technology("WCDMA", 8, ("MCC", "MNC", "LAC", "CID", "PSC", "UARFCN"),
                      ("Signal Strength", "Bit Error Rate", "RSCP", "ECNO"),
                      {"Signal Strength": "RSSI", "RSCP": "RSRP", "ECNO": "RSRQ"}),
    NR: Technology("NR", 10, ("MCC", "MNC", "CI", "PCI", "TAC", "EARFCN"), ("RSRP", "RSRQ", "RSSNR", "CQI"),
                   {"RSRP": "RSRP", "RSRQ": "RSRQ", "RSSNR": "SNR", "CQI": "CQI"}),
}


class Cell(typing.NamedTuple):
    """A cell with the values that are present, by label."""

    type: int
    registered: bool
    identity: dict
    signal: dict


def present(values):
    return {label: value for label, value in values.items() if value is not None}


def measured(text):
    if text in ("", "-"):
        return None
    return int(decimal.Decimal(text).to_integral_value(decimal.ROUND_HALF_UP))


def cells_of(row, plmn):
    cell_type = CELL_TYPES[row["NetworkMode"]]
    technology = TECHNOLOGIES[cell_type]
    area = None if row["LACHEX"] in ("", "-") else int(row["LACHEX"], 16)
    area_label, id_label = ("TAC", "CI") if "CI" in technology.identity else ("LAC", "CID")
    identity = present({**plmn, area_label: area, id_label: measured(row["RAWCELLID"])})
    signal = present({label: measured(row[column]) for label, column in technology.columns.items()})
    cells = [Cell(cell_type, True, identity, signal)]
    if measured(row["NRxRSRP"]) is not None:
        neighbour = present({label: measured(row.get("NRx" + column, "-"))
                             for label, column in technology.columns.items()})
        cells.append(Cell(cell_type, False, {}, neighbour))
    return cells


def changes_in(trace, plmn):
    """The changes of the cells: seconds since the first row, cells."""
    changes = []
    with open(trace, newline="", encoding="utf-8") as file:
        for row in csv.DictReader(file):
            time = datetime.datetime.strptime(row["Timestamp"], "%Y.%m.%d_%H.%M.%S")
            first = time if not changes else first
            cells = cells_of(row, plmn)
            if not changes or changes[-1][1] != cells:
                changes.append((int((time - first).total_seconds()), cells))
    return changes


def message(labels, values):
    return b"".join(field(number, values[label]) for number, label in enumerate(labels, 1) if label in values)


def encoded(cell, timestamp):
    technology = TECHNOLOGIES[cell.type]
    parts = (message(technology.identity, cell.identity), message(technology.signal, cell.signal))
    info = b"".join(field(number, part) for number, part in enumerate(parts, 1) if part)
    return b"".join((field(1, timestamp), field(2, 1), field(3, cell.registered), field(4, cell.type),
                     field(technology.member, info)))


def block(name, labels, values):
    return f"\n== {name} == {{" + ",".join(f"{label}: {values.get(label, 0)}" for label in labels) + "}\n"


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


# An event after the last row shows that all has been played.
AFTER_LAST = "Payload size: 0\nReceived HST info on Sub :0\nhst info-LTE 0\nhst info-NR5G 0\n"

# What choice 4 asks for, in order, and the entries made: enabled, hysteresis in ms and in dB, thresholds.
MEASUREMENTS = ((GSM, "Signal Strength"), (WCDMA, "RSCP"), (LTE, "RSRP"), (LTE, "RSRQ"), (LTE, "RSSNR"), (NR, "RSRP"),
                (NR, "RSRQ"), (NR, "RSSNR"), (2, "DBM"))
ENTRIES = {
    (WCDMA, "RSCP"): (True, 0, 2, (-95, -80)),
    (LTE, "RSRP"): (True, 2000, 3, (-110, -100, -90)),
    (LTE, "RSSNR"): (False, 0, 0, ()),
    (NR, "RSRP"): (True, 5000, 0, (-105, -100, -95, -90, -85)),
    (NR, "RSRQ"): (True, 0, 1, (-15,)),
}


def crosses(entry, was, value, milliseconds):
    enabled, hysteresis_ms, hysteresis_db, thresholds = entry
    if not enabled or not thresholds or was == value or value is None or milliseconds < hysteresis_ms:
        return False
    return was is None or any((was >= threshold) != (value >= threshold) and abs(value - threshold) >= hysteresis_db
                              for threshold in thresholds)


def is_cell_reported(was, cell, milliseconds):
    if was == cell or was[:3] != cell[:3]:
        return was != cell
    entries = {label: entry for (cell_type, label), entry in ENTRIES.items() if cell_type == cell.type}
    return not entries or any(crosses(entry, was.signal.get(label), cell.signal.get(label), milliseconds)
                              for label, entry in entries.items())


def filtered(changes, last):
    """Of the changes those that are reported after `last` was."""
    reported = []
    for time, cells in changes:
        milliseconds = (time - last[0]) * 1000
        if len(cells) != len(last[1]) or any(is_cell_reported(*pair, milliseconds) for pair in zip(last[1], cells)):
            last = (time, cells)
            reported.append(last)
    return reported


class DriveTest(EndToEndTest):

    def import_drive(self, name, plmn=""):
        """Makes drive.textproto of a trace; returns the changes that the trace tells of."""
        trace = TRACES / name
        if not trace.exists():
            self.skipTest(f"there is no recorded drive {trace}: set CELLSCOPE_TRACES to a folder that has it")
        options = ["--plmn", plmn] if plmn else []
        self.assertEqual((0, "", ""), self.hub_command("import", str(trace), "-o", "drive.textproto", *options))
        with open("drive.textproto", "a", encoding="utf-8") as scenario:
            scenario.write("steps { at: 10000 highspeed_rail {} }\n".replace("10000", str(self.end_of(trace))))
        return changes_in(trace, dict(zip(("MCC", "MNC"), map(int, plmn.split("-")))) if plmn else {})

    def end_of(self, trace):
        times = [line.split(",")[0] for line in trace.read_text().splitlines()[1:]]
        first, last = (datetime.datetime.strptime(time, "%Y.%m.%d_%H.%M.%S") for time in (times[0], times[-1]))
        return int((last - first).total_seconds()) + 1

    def play(self, name, plmn=""):
        changes = self.import_drive(name, plmn)
        run = self.start("operation=1", KELVANE_HUB_SCENARIO="drive.textproto", KELVANE_HUB_SPEED=SPEED)
        self.wait_for_output(AFTER_LAST)
        self.wait_for_output("Listening")
        run.interrupt()
        self.assertEqual(0, run.wait())
        output = read("output/wwan_test_output.txt").replace("Listening For On Change Sensor indications\n", "")
        expected = ["Input given 1\nconnecting to on-change sensor\n", *(report(*change) for change in changes),
                    AFTER_LAST + "Got the  signal for 2\n"]
        # One by one: the first difference is what one wants to see.
        for number, (wanted, text) in enumerate(itertools.zip_longest(expected, self.split(output))):
            self.assertEqual(wanted, text, f"report {number} of {len(changes)}")

    def split(self, output):
        first, *rest = output.split("Payload size: ")
        return [first] + ["Payload size: " + text for text in rest]

    def test_city_ring(self):
        self.play("drive-city-ring.csv")

    def test_2g_fallback(self):
        self.play("drive-2g-fallback.csv", "272-01")

    def test_all_modes(self):
        self.play("drive-all-modes.csv")

    def test_thresholds(self):
        changes = self.import_drive("drive-all-modes.csv")
        hub_environment = {"KELVANE_HUB_SCENARIO": "drive.textproto", "KELVANE_HUB_SPEED": SPEED}
        console = self.start_scripted(hub_environment)
        entered = [ENTRIES.get(measurement) for measurement in MEASUREMENTS]
        answers = " ".join(self.answers(entry) for entry in entered)
        console.process.stdin.write(f"1\n4\n0\n{answers}\n".encode())
        console.process.stdin.flush()
        until(lambda: AFTER_LAST in console.out, "the end of the drive")
        console.process.stdin.close()
        self.assertEqual(0, console.wait())

        # Until the verdict each change is reported; from then on what the thresholds let pass.
        unfiltered = console.out.partition(verdict(0))[0].count("Number of cells")
        reported = filtered(changes[unfiltered:], changes[unfiltered - 1])
        self.assertLess(unfiltered, len(changes) / 2)
        self.assertLess(len(reported), (len(changes) - unfiltered) / 2)
        reports = "".join((*(report(*change) for change in changes[:unfiltered]), verdict(0),
                           *(report(*change) for change in reported), AFTER_LAST))
        self.assertTrue(is_interleaving(console.out, pieces(self.conversation(entered)), pieces(reports)),
                        "the console shows something else than the expected reports and dialogs")
