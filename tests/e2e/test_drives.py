"""Drives, imported and played fast: what kelvane-hub reads out of the client's output against the recording itself."""

import csv
import datetime
import decimal
import json
import os
import pathlib
import random

from support import SENSORS, EndToEndTest

TRACES = pathlib.Path(os.environ.get("CELLSCOPE_TRACES", "traces"))
TIME = "%Y.%m.%d_%H.%M.%S"
PLMN = {"mcc": 272, "mnc": 1}

# Where the value of a column is reported.
NR = {"RAWCELLID": "ci", "LACHEX": "tac", "RSRP": "rsrp", "RSRQ": "rsrq", "SNR": "rssnr", "CQI": "cqi"}
LTE = {**NR, "RSSI": "signal_strength"}
WCDMA = {"RAWCELLID": "cid", "LACHEX": "lac", "RSRP": "rscp", "RSRQ": "ecno", "RSSI": "signal_strength"}
GSM = {"RAWCELLID": "cid", "LACHEX": "lac", "RSRP": "signal_strength"}
MODES = {"5G": ("NR", NR), "LTE": ("LTE", LTE),
         **dict.fromkeys(("UMTS", "HSPA", "HSPA+", "HSDPA", "HSUPA"), ("WCDMA", WCDMA)),
         **dict.fromkeys(("GSM", "GPRS", "EDGE"), ("GSM", GSM))}


def is_measured(column, text):
    """Whether it is a value, and none that stands for "not measured"."""
    return text not in ("", "-") and (column in ("LACHEX", "RAWCELLID") or abs(float(text)) < 200)


def number(column, text):
    if column == "LACHEX":
        return int(text, 16)
    return int(decimal.Decimal(text).to_integral_value(decimal.ROUND_HALF_UP))


def cells_of(row):
    """Technology, whether it is the serving cell, and the measured values of each cell of a row."""
    technology, fields = MODES[row["NetworkMode"]]
    serving, neighbour = ({field: number(column, row[prefix + column]) for column, field in fields.items()
                           if is_measured(column, row.get(prefix + column, "-"))} for prefix in ("", "NRx"))
    return [(technology, True, PLMN | serving)] + [(technology, False, neighbour)] * is_measured("RSRP", row["NRxRSRP"])


def made_up_drive():
    """All modes; values come and go; some rows say what the row before said; some have its time."""
    dice = random.Random(1)
    lines = ["Timestamp,NetworkMode,RSRP,RSRQ,SNR,CQI,RSSI,LACHEX,RAWCELLID,NRxRSRP,NRxRSRQ"]
    begin = datetime.datetime(2024, 2, 28, 23, 59)
    for second in range(300):
        if second == 0 or dice.random() < 0.7:
            values = [dice.choice(("-", f"{dice.uniform(-140, 30):.1f}")) for _ in range(9)]
            values[5:7] = f"{dice.getrandbits(31):X}", str(dice.getrandbits(31))
            mode = dice.choice(list(MODES))
        lines.append(",".join([(begin + datetime.timedelta(seconds=second - (second % 5 == 4))).strftime(TIME), mode, *values]))
    return "\n".join(lines)


class DriveTest(EndToEndTest):

    def play(self, drive):
        """Asserts that each change of the cells is reported, and nothing else."""
        if not drive.exists():
            self.skipTest(f"there is no recorded drive {drive}: set CELLSCOPE_TRACES to a folder that has it")
        imported = self.hub_command("import", str(drive), "-o", "drive.textproto", "--plmn", "272-01")
        self.assertEqual((0, ""), imported[:2])
        with open(drive, newline="", encoding="utf-8") as file:
            rows = [(datetime.datetime.strptime(row["Timestamp"], TIME), cells_of(row)) for row in csv.DictReader(file)]
        seconds = [(time - rows[0][0]).total_seconds() for time, _ in rows]
        with open("drive.textproto", "a", encoding="utf-8") as scenario:
            scenario.write(SENSORS + f"steps {{ at: {seconds[-1] + 1} highspeed_rail {{}} }}\n")
        # At an odd speed no step is at a whole number of milliseconds.
        run = self.automation("operation=1", KELVANE_HUB_SCENARIO="drive.textproto", KELVANE_HUB_SPEED="700")
        self.wait_for_output("hst info-NR5G")
        self.stop(run)
        status, moved, _ = self.hub_command("diff", "--times", "0", "drive.textproto", "output/wwan_test_output.txt")
        # Of the rail nothing tells the time.
        self.assertEqual((1, []), (status, [line for line in moved.splitlines()[2:] if "highspeed_rail" not in line]))
        events = map(json.loads, self.hub_command("report", "output/wwan_test_output.txt")[1].splitlines())
        reported = [[(cell["timestamp"] / 1e9, cell["technology"], cell["registered"],
                      {**cell["cell_identity"], **cell["signal_strength"]}) for cell in event["cells"]]
                    for event in events if "cells" in event]
        changes = [(second, cells) for second, (_, cells), (_, before) in zip(seconds, rows, [(None, None), *rows])
                   if cells != before]
        self.assertEqual(len(changes), len(reported))
        for (second, expected), shown in zip(changes, reported):
            # What was not measured is null.
            self.assertEqual([(second, technology, serving, dict.fromkeys(values) | measured)
                              for (technology, serving, measured), (*_, values) in zip(expected, shown)], shown)

    def test_made_up(self):
        drive = pathlib.Path("made_up.csv")
        drive.write_text(made_up_drive())
        self.play(drive)


for _name in ("city_ring", "2g_fallback", "all_modes"):
    setattr(DriveTest, f"test_{_name}",
            lambda self, name=_name: self.play(TRACES / f"drive-{name.replace('_', '-')}.csv"))
