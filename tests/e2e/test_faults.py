"""What goes wrong on purpose, each kind once: what the hub says of it, and what the client makes of it."""

import contextlib
import pathlib

from support import CLIENT, HUB, ON_CHANGE, SENSORS, EndToEndTest, Program, until

# Four events, of which the second is struck unless the fault says otherwise.
EVENTS = "".join(f"steps {{ at: 0.{number} error {{ error: {number} }} }}\n" for number in range(1, 5))
SECOND = "msg_id: 130 after: 1 count: 1 "
UNCONFIGURED = "send_config_req:845, sending on normal config request and sample rate 0\n"
HUNG_UP = "libkelvanesession: the hub ended the connection\n"


def errors(*numbers):
    return "".join(f"event_cb:645, Received error event {number}\n" for number in numbers)


# By seed 3.
CORRUPTED = ON_CHANGE + errors(1, 24, 3, 4)

# The fault, what the hub says, what the client says.
CASES = (
    (SECOND + "drop {}", "session 2, event 4 (error_event): fault 1: lost", ON_CHANGE + errors(1, 3, 4)),
    (SECOND + "delay: 0.5", "session 2, event 4 (error_event): fault 1: 0.5 s late", ON_CHANGE + errors(1, 3, 4, 2)),
    (SECOND + "duplicate {}", "session 2, event 4 (error_event): fault 1: twice", ON_CHANGE + errors(1, 2, 2, 3, 4)),
    (SECOND + "reorder {}", "session 2, event 4 (error_event): fault 1: after the next one",
     ON_CHANGE + errors(1, 3, 2, 4)),
    (SECOND + "truncate: 1", "session 2, event 4 (error_event): fault 1: cut from 2 bytes to 1",
     ON_CHANGE + errors(1, 0, 3, 4)),
    (SECOND + "corrupt: 1", "session 2, event 4 (error_event): fault 1: 1 of its 2 bytes changed",
     CORRUPTED),
    (SECOND + "unknown_field: 99", "session 2, event 4 (error_event): fault 1: with a field 99",
     ON_CHANGE + errors(1, 2, 3, 4)),
    (SECOND + "unknown_id: 4000", "session 2, event 4 (error_event): fault 1: as 4000",
     ON_CHANGE + errors(1) + "event_cb:756, Received unknown message ID 4000\n" + errors(3, 4)),
    ("refusal: 7 msg_id: 514", "session 2, request 2 (on_change_config): fault 1: refused with error 7",
     ON_CHANGE + errors(7)),
    ("late_attributes: 3.5", "session 2, event 1 (attr_event): fault 1: 3.5 s late",
     UNCONFIGURED + errors(1, 2, 3, 4) + "event_cb:666, attribute ID :16\n"),
    ("sensor_gone { back_after: 1 } direction: REQUEST msg_id: 1",
     "session 2, request 1 (attr_req): fault 1: the sensor wwan is gone for 1 s",
     errors(3) + UNCONFIGURED + errors(1, 2, 3, 4)),
    (SECOND + "cut {}", "session 2, event 4 (error_event): fault 1: the connection ends", ON_CHANGE + errors(1) + HUNG_UP),
    (SECOND + "hub_restart {}", "session 2, event 4 (error_event): fault 1: the hub starts anew",
     ON_CHANGE + errors(1) + HUNG_UP),
    ("no_answer {}", "session 1, request 1 (suid_req): fault 1: not answered", ""),
)


class FaultsTest(EndToEndTest):
    def test_each_kind(self):
        runs = []
        for number, (fault, _, _) in enumerate(CASES):
            pathlib.Path(f"{number}.textproto").write_text(f"{SENSORS}{EVENTS}faults {{ {fault} }}\n")
            runs.append(self.automation("operation=1", f"request_id={number}", f"filename={number}.txt",
                                        KELVANE_HUB_SCENARIO=f"{number}.textproto", KELVANE_HUB_EXPLAIN="1", KELVANE_HUB_SEED="3"))

        def said(run):
            """Of faults by the hub, and by the client."""
            lines = run.err.splitlines(keepends=True)
            return ([line for line in lines if line.startswith("kelvane-hub: ") and ": fault " in line],
                    "".join(line for line in lines if not line.startswith("kelvane-hub: ")))

        expected = [([f"kelvane-hub: {explained}\n"], diagnostics) for _, explained, diagnostics in CASES]
        with contextlib.suppress(AssertionError):  # what is missing is shown below
            until(lambda: [said(run) for run in runs] == expected, "all that is said", seconds=20)
        self.assertEqual(expected, [said(run) for run in runs])
        self.assertIn("kelvane-hub: faults are drawn with seed 3\n", runs[0].err)

    def test_a_client_connects_anew_to_a_hub_that_starts_anew(self):
        console = self.console("hub_starts_anew")
        console.play()
        console.says(HUNG_UP.strip())
        console.play()

    def test_seed_as_an_option(self):
        pathlib.Path("corrupt.textproto").write_text(f"{SENSORS}{EVENTS}seed: 4 faults {{ {SECOND} corrupt: 1 }}\n")
        said = self.hub_command("run", "corrupt.textproto", "--seed", "3", "--", CLIENT, "operation=1")[2]
        self.assertIn(CORRUPTED, said)
        hub = Program(self, [HUB, "serve", "--listen", "hub.sock", "--scenario", "corrupt.textproto", "--explain"], {})
        hub.says("kelvane-hub: faults are drawn with seed 4")
        self.assertEqual((2, "kelvane-hub serve: --seed: expected a whole number, 0 to 18446744073709551615, found '-1'\n"),
                         self.hub_command("serve", "--listen", "hub.sock", "--seed", "-1")[::2])
