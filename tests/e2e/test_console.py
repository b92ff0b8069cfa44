"""The console on a pseudo-terminal: whole transcripts, piece by piece, and what is said on standard error."""

import signal

from support import (ARRAY, ASK_SIG_INFO, ASK_SUB, ATTRIBUTES, DETAILS, DIALOGS, EMPTY_CONFIG, ENABLE, LOG_TIME, NOTE,
                     ON_CHANGE, QUERY, RECONNECTING, SENSORS, SENT_EMPTY, SENT_QUERY, SENT_VOICE, VOICE_CALLS,
                     EndToEndTest, asked, found, is_running, no_cells, not_sent, until, verdict)

GSM_CONFIG = NOTE + "send geran sig_info\n" + ASK_SUB
RRC_STATES = ("Please note this request will only work once option 1 has been selected\n prior to this. \n"
              "register for rrc state indication \n")
QUERY_MODE = "connecting to streaming sensor(Query Mode)\n"
STREAMING = "connecting to streaming sensor\nEnter the duration: \n"

# Said on standard error.
SENT_ALL = "send_all_ran_info:1462, sending all_ran config request \n"
SENT_RRC = "register_rrc_state_indication:1521, sending set_report_rrc_state_info request\n"
SELF_TEST = "send_selftest_req:772, sending self test request\n"
# The payload up to its first zero, the hysteresis.
SENT_GSM = ("send_geran_sig_info:1553, sending geran config request\nsend_geran_sig_info:1580, sending geran config "
            "request \x08\x01\x12\x36\x08\x01\x10\x01\x18\x01\x20\n")

ACTIVITY = SENSORS + """
steps { at: 0 voice_calls { sub: 0 calls { call_id: 1 call_state: 3 } calls { call_id: 2 call_state: 5 } } }
steps { at: 0 rrc_states { sub: 1 wcdma_rrc_state: 1 nr5g_rrc_state: 2 } }
"""
CALLS_REPORT = (f"{LOG_TIME}, Received voice call info on Sub:0, voice call info-Number of calls: 2: "
                "[{ Call: 1, CallID: 1, CallState: 3}{ Call: 2, CallID: 2, CallState: 5}]\n")
RRC_REPORT = (f"{LOG_TIME}, Received rrc state info on Sub:1, \n{{ WCDMA RRC STATE: 1 }}\n{{ NR5G RRC STATE: 2 }}\n\n")


def location(*subs):
    payload = "".join(f"10 2 16 {sub} " for sub in subs) + "16 0 "
    return (f"Payload size: {payload.count(' ')}\n{payload}\n"
            "Received serving neighboring cell info with status :0\n"
            f"serving neighboring cell info. Number of cells: {len(subs)}\n"
            + "".join(no_cells(sub).split(" \n")[1] for sub in subs))


def streaming(rate):
    return ATTRIBUTES + f"send_config_req:845, sending on normal config request and sample rate {rate}\n"


class ConsoleTest(EndToEndTest):

    def test_ways_out(self):
        for typed in ("-1\n", "0\n", "12\n", "-7\n", "exit\n", "\x04"):
            with self.subTest(typed):
                console = self.console()
                console.type(typed)
                console.ends()
        with self.subTest("no number where a sub id is asked for"):
            console = self.console()
            console.ask("5\nnone\n", EMPTY_CONFIG)
            console.ends()

    def test_on_change_sensor(self):
        console = self.console(ACTIVITY)
        console.ask("1\n", "connecting to on-change sensor\n" + found("wwan"), no_cells(0), no_cells(1))
        # The prompt comes before the answer is typed.
        console.type("5\n")
        console.shows(EMPTY_CONFIG)
        console.ask("0\n", "", verdict(0))
        console.ask("6\n1\n", GSM_CONFIG, verdict(0))
        console.ask("5\n2\n", EMPTY_CONFIG, verdict(1))
        console.ask("7\n", VOICE_CALLS, CALLS_REPORT)
        console.ask("10\n", RRC_STATES, RRC_REPORT)
        console.ask("9\n", QUERY, location(0, 1))
        console.ask("3\n", "diconnect client\n")
        console.ask("3\n", "diconnect client\n")
        console.ask("9\n", QUERY)
        console.ask("11\n", RECONNECTING + "wwan \n" + found("wwan"), no_cells(0), no_cells(1))
        console.leave(ON_CHANGE + SENT_EMPTY + SENT_GSM + SENT_EMPTY.replace("\x08", "\x08\x02") + SENT_VOICE + SENT_RRC
                      + SENT_QUERY + SENT_QUERY + not_sent("query_cell_location_info", 1627) + ON_CHANGE)

    def test_streaming_sensor_and_query_mode(self):
        console = self.console(SENSORS)
        stream = found("wwan_stream")
        console.type("2\n")
        console.shows(STREAMING)
        console.ask("-4\n", stream)
        console.ask("8\n", QUERY_MODE + stream, no_cells())
        console.ask("11\n", RECONNECTING + "wwan_stream \n" + stream, no_cells())
        # Once in query mode, always in query mode: one report at this rate, too.
        console.ask("2\n50\n", STREAMING + stream, no_cells())
        console.ask("9\n", QUERY, location(0))
        console.leave(SELF_TEST + streaming(0) + streaming(0) + streaming(50) + SENT_QUERY)

    def test_thresholds(self):
        console = self.console(SENSORS)
        # A self-test connects without a pause.
        console.ask("2\n-1\n", STREAMING + found("wwan_stream"))
        # Every dialog, the values on a line each or together.
        details, array = ENABLE + DETAILS, ENABLE + DETAILS + ARRAY
        dialogs = {name: ENABLE for name, _ in DIALOGS}
        dialogs.update({"GERAN": array, "UTRAN": details, "EUTRAN(type=RSRP)": array})
        console.ask("4\n0\n" + "1\n1\n500\n2\n4\n-115 -95 -85 -40\n" + "1 1 0 0 0\n" + "1 1 9 1 1 -100\n" + "1 2\n" * 6,
                    ASK_SIG_INFO + asked(dialogs), verdict(0))
        console.ask("4 0  0 0 1 1 0 0 2 -90 -100  0 2 0 0 0 0\n",
                    ASK_SIG_INFO + asked({"EUTRAN(type=RSRP)": array}), verdict(6))
        console.ask("4 0  1 1 0 -1 -5  0 0 0 0 0 0 0 0\n", ASK_SIG_INFO + asked({"GERAN": details}), verdict(4))
        console.ask("4 3  0 0 0 0 0 0 0 0 0\n", ASK_SIG_INFO + asked({}), verdict(1))
        console.leave(SELF_TEST + SENT_ALL * 4)

    def test_reports_come_while_a_prompt_waits(self):
        console = self.console(SENSORS + "steps { at: 3 cells { sub: 1 cells { cell_type: 7 } } }")
        console.ask("2\n0\n", STREAMING + found("wwan_stream"), no_cells(1))
        console.type("6\n")
        console.shows(GSM_CONFIG)
        console.shows("Payload size: 6\n10 2 32 7 16 1 \nReceived serving neighboring cell info on Sub :1\n"
                      "serving neighboring cell info. Number of cells: 1\n\n"
                      f"=== Cell 1 === {{{LOG_TIME},Cell Type: 7,Timestamp: 0,Timestamp Type: 0,Registered: 0}}\n")
        console.ask("1\n", "", verdict(0))
        console.leave(streaming(0) + SENT_GSM)

    def test_no_number_where_a_rate_is_asked_for(self):
        # The client leaves at once: the sensor is one that it cannot configure, lest a report comes or not.
        console = self.console(SENSORS.replace("integer: 0", "integer: 2"))
        console.ask("2\nfast\n", STREAMING + found("wwan_stream"))
        console.ends()
        self.assertEqual(ATTRIBUTES + "suid_cb:953, not supported format\n", console.err)

    def test_interrupt_ends_the_client_and_its_private_hub_only(self):
        shared_hub = self.serve(SENSORS)
        joined = self.console(KELVANE_HUB_SOCKET="hub.sock")
        private = self.console(SENSORS)
        for console in (joined, private):
            console.ask("2\n-1\n", STREAMING + found("wwan_stream"))
        private_hub = private.hub()
        for console in (joined, private):
            console.type("\x03")
            console.ends(-signal.SIGINT)
        until(lambda: not is_running(private_hub), "the private hub to end")
        self.assertTrue(is_running(shared_hub.pid))
        self.console(KELVANE_HUB_SOCKET="hub.sock").ask("2\n-1\n", STREAMING + found("wwan_stream"))
