// The console: menu, dialogs, and what a failed read leaves behind.

#include "cli/menu.h"
#include "session/connection.h"
#include "tests/client/fixture.h"
#include "thresholds/signal_strength_requests.h"
#include "thresholds/threshold_dialogs.h"

namespace cellscope::test {
namespace {

TEST_F(ClientTest, EachDialogPresetsItsPairing) {
  for (const auto fill : {fillGeran, fillUtran, fillEUtranRsrp, fillEUtranRsrq, fillEUtranRssnr, fillNrRsrp, fillNrRsrq,
                          fillNrRssnr, fillCdma2000}) {
    mox_wwan_signal_threshold_info entry;
    type("0");
    fill(&entry);
    record(fields_of(entry.SerializeAsString()));
  }
}

TEST_F(ClientTest, ADialogTakesWhatIsTyped) {
  for (const char* typed : {"1 500 2 4 -115 -95 -85 -40", "1\n500\n2\n2\n-115\n-95\n", "1 500 2 0", "1 500 2 -3",
                            "1 -1 -2 1 7", "2", "-1", "", "yes 500", "1", "1 x 2 1 7", "1 500 x", "1 500 99999999999",
                            "1 500 2 x", "1 500 2 4 1 2 x 4", "1 500 2 3 1 -99999999999 5", "1 500 2 2 8", "1.5"}) {
    mox_wwan_signal_threshold_info entry;
    type(typed);
    fillNrRsrp(&entry);
    record(std::string(typed) + ": " + fields_of(entry.SerializeAsString()));
  }
}

TEST_F(ClientTest, TheAllTechnologyRequestKeepsItsAnswerBetweenQuestions) {
  const std::pair<const char*, const char*> cases[] = {
      {"nothing entered", "0 0 0 0 0 0 0 0 0"},
      {"numbers that are not 1", "2 0 -1 0 0 0 0 0 0"},
      {"two entries", "1 1 0 0 1 -5 0 0 0 1 1 0 0 1 -7 0 0 0 0"},
      {"the last one", "0 0 0 0 0 0 0 0 1 0"},
      {"a word is answered with 0 from there on", "1 0 x"},
      {"at the end of input the last answer holds: nothing", ""},
      {"at the end of input the last answer holds: 0", "0 0"},
      {"at the end of input the last answer holds: 1", "1 0 1 0\n"},
      {"the same in the middle", "0 0 0 1"},
      {"a failure inside a dialog leaves the answer at 1", "1 x"},
      {"the same after an entry", "0 1 1 500 2 2 8 x"},
  };
  for (const auto& [name, typed] : cases) {
    connect();
    type(typed);
    send_all_ran_info(sensor_suid, 1);
    note("==== " + std::string(name) + ": " + typed + "\n" + requests());
    EXPECT_EQ(diagnosed(), "send_all_ran_info:1462, sending all_ran config request \n") << typed;
    (void)printed();
  }
}

TEST_F(ClientTest, TheAllTechnologyRequestAsksNineQuestionsAndReportsAFailedSend) {
  connect();
  platform().send_result = 1;
  type("0 0 0 0 0 0 0 0 0");
  send_all_ran_info(sensor_suid, -7);
  record();
}

// ---- menu ----

TEST_F(ClientTest, EverythingElseEndsTheMenuAndTheSession) {
  for (const char* typed : {"-1", "0", "12", "-7", "", "x", "99999999999"}) {
    connect();
    type(typed);
    run_menu();
    expect_golden("Menu", printed());
    EXPECT_FALSE(session) << typed;
    EXPECT_EQ(calls(), "close 1\ndelete 1\n") << typed;
  }
}

TEST_F(ClientTest, AFailedAnswerIsTheLast) {
  connect();
  // The sub id: 0 from a word, -1 from the end of input.
  type("5 x 9");
  run_menu();
  record("a word");
  connect();
  type("5");
  run_menu();
  record("the end of input");
  sample_rate = 44;
  platform().attributes = stream_type_attribute(0);
  type("2");
  run_menu();
  record("the same for a rate");
}

TEST_F(ClientTest, QueryModeStaysForLaterStreaming) {
  platform().attributes = stream_type_attribute(0);
  type("8 2 6 -1");
  run_menu();
  record(data_type);
}

TEST_F(ClientTest, RequestsAfterADisconnectGoToTheOldSensor) {
  connect();
  type("3 9 -1");
  run_menu();
  record();
}

}  // namespace
}  // namespace cellscope::test
