"""Each of scenarios/ played to the client as a test: it is met, and all that the client says is that of golden/NAME.txt."""

import re
import subprocess

from support import CLIENT, HUB, LISTENING, MENU, ROOT, EndToEndTest, Program, read, until

# What the main thread says while reports come: nobody can tell where.
BETWEEN_REPORTS = re.compile(r"SUID received - suid_low=\d+ suid_high=\d+|" + "|".join(
    map(re.escape, (LISTENING, "\nSensor suid list created\n", *MENU.splitlines(keepends=True)))))


class ScenarioTest(EndToEndTest):

    def play(self, name, typed):
        """To an automation run; or to the console, with what is typed there and what has to come before more is."""
        client = [CLIENT] if typed else [CLIENT, "operation=1"]
        run = Program(self, [HUB, "run", ROOT / "scenarios" / f"{name}.textproto", "--speed", "max", "--", *client], {},
                      stdin=subprocess.PIPE)
        for choice, awaited in typed:
            run.process.stdin.write(f"{choice}\n".encode())
            run.process.stdin.flush()
            until(lambda text=awaited: text in run.out + run.err, awaited)
        self.assertEqual(0, run.wait(), run.err)
        said = run.out if typed else read("output/wwan_test_output.txt")
        self.expect_golden(name, BETWEEN_REPORTS.sub("", said) + "---- standard error ----\n" + run.err)


# What is typed, and what has to come before more is (of a report its last line); nothing: an automation run.
SESSIONS = {
    "idle_camping": (),
    "drive_with_handovers": (),
    "voice_call": ((1, "Timing Advance"), (7, "set_report_voice_calls"), (10, "LTE RRC STATE: 1")),
    "two_subscriptions": ((1, "Timing Advance: 11"), (7, "set_report_voice_calls"), (9, "with status :0")),
    "high_speed_rail": (),
    "coverage_loss": (),
    "hub_errors": (("2\n5", "error event 5"), (1, "Timing Advance"), (9, "error event 1"), (7, "error event 2")),
}
for _name in SESSIONS:
    setattr(ScenarioTest, f"test_{_name}", lambda self, name=_name: self.play(name, SESSIONS[name]))
