"""The console on a pseudo-terminal: whole sessions, piece by piece, and what is said on standard error."""

import signal

from support import SENSORS, EndToEndTest, is_running, until


class ConsoleTest(EndToEndTest):

    def play(self, session):
        self.console(session).play()

    def test_end_of_input(self):
        console = self.console("self_test")
        console.type("\x04")
        console.ends()

    def test_interrupt_ends_the_client_and_its_private_hub_only(self):
        shared_hub = self.serve(SENSORS)
        joined = self.console("self_test", KELVANE_HUB_SOCKET="hub.sock")
        private = self.console("self_test")
        for console in (joined, private):
            console.play()
        private_hub = private.hub()
        for console in (joined, private):
            console.type("\x03")
            console.ends(-signal.SIGINT)
        until(lambda: not is_running(private_hub), "the private hub to end")
        self.assertTrue(is_running(shared_hub.pid))
        self.console("self_test", KELVANE_HUB_SOCKET="hub.sock").play()


for _session in ("no_number_for_a_rate", "on_change_sensor", "reports_while_a_prompt_waits", "streaming_and_query_mode",
                 "thresholds"):
    setattr(ConsoleTest, f"test_{_session}", lambda self, session=_session: self.play(session))
