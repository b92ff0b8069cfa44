// The console: menu, dialogs, and what a failed read leaves behind.

#include "cli/menu.h"
#include "session/connection.h"
#include "tests/client/fixture.h"
#include "thresholds/signal_strength_requests.h"
#include "thresholds/threshold_dialogs.h"

namespace cellscope::test {
namespace {

// An entry as text: "RAN/MEASUREMENT ENABLED MS DB [THRESHOLDS]", "-" for what is absent.
std::string describe(const mox_wwan_signal_threshold_info& entry) {
  const auto flag = [](bool present, int value) { return present ? std::to_string(value) : std::string("-"); };
  std::string text =
      flag(entry.has_ran(), entry.ran()) + "/" + flag(entry.has_measurement_type(), entry.measurement_type()) + " " +
      flag(entry.has_enabled(), entry.enabled()) + " " + flag(entry.has_hysteresis_ms(), entry.hysteresis_ms()) + " " +
      flag(entry.has_hysteresis_db(), entry.hysteresis_db()) + " [";
  for (const auto threshold : entry.thresholds()) text += std::to_string(threshold) + " ";
  return text + "]";
}

const std::string enable = "Enable Measurement type (1 to Enable/0 to Disable) \n";
const std::string milliseconds = "enter hysteresis millisec \n";
const std::string decibels = "enter hysteresis dB \n";
const std::string size = "enter thresholds size \n";
const std::string array = "enter thresholds array \n";

TEST_F(ClientTest, EachDialogPresetsItsPairing) {
  const struct {
    void (*fill)(mox_wwan_signal_threshold_info*);
    const char* pairing;
    const char* announcement;
  } dialogs[] = {
      {fillGeran, "1/1", "Mesaument type is set as RSSI for GERAN\n"},
      {fillUtran, "2/2", "Mesaument type is set as RSCP for UTRAN\n"},
      {fillEUtranRsrp, "3/3", "Selected Mesaument type is RSRP for EUTRAN\n"},
      {fillEUtranRsrq, "3/4", "Selected Mesaument type is RSRQ for EUTRAN\n"},
      {fillEUtranRssnr, "3/5", "Selected Mesaument type is RSSNR for EUTRAN\n"},
      {fillNrRsrp, "6/6", "Selected Mesaument type is SSRSRP for NGRAN\n"},
      {fillNrRsrq, "6/7", "Selected Mesaument type is SSRSRQ for NGRAN\n"},
      {fillNrRssnr, "6/8", "Selected Mesaument type is SSSINR for NGRAN\n"},
      {fillCdma2000, "4/1", " Mesaument type is RSSI for CDMA2000\n"},
  };
  for (const auto& dialog : dialogs) {
    mox_wwan_signal_threshold_info entry;
    type("0");
    dialog.fill(&entry);
    EXPECT_EQ(printed(), dialog.announcement + enable);
    EXPECT_EQ(describe(entry), std::string(dialog.pairing) + " 0 0 0 []");
  }
}

TEST_F(ClientTest, ADialogTakesWhatIsTyped) {
  const struct {
    const char* typed;
    const char* entry;
    std::string asked;
  } cases[] = {
      {"1 500 2 4 -115 -95 -85 -40", "1 500 2 [-115 -95 -85 -40 ]", milliseconds + decibels + size + array},
      {"1\n500\n2\n2\n-115\n-95\n", "1 500 2 [-115 -95 ]", milliseconds + decibels + size + array},
      {"1 500 2 0", "1 500 2 []", milliseconds + decibels + size},
      {"1 500 2 -3", "1 500 2 []", milliseconds + decibels + size},
      {"1 -1 -2 1 7", "1 -1 -2 [7 ]", milliseconds + decibels + size + array},
      {"2", "0 0 0 []", ""},
      {"-1", "0 0 0 []", ""},
      {"", "0 0 0 []", ""},
      {"yes 500", "0 0 0 []", ""},
      {"1", "1 0 0 []", milliseconds + decibels + size},
      {"1 x 2 1 7", "1 0 0 []", milliseconds + decibels + size},
      {"1 500 x", "1 500 0 []", milliseconds + decibels + size},
      {"1 500 99999999999", "1 500 2147483647 []", milliseconds + decibels + size},
      {"1 500 2 x", "1 500 2 []", milliseconds + decibels + size},
      {"1 500 2 4 1 2 x 4", "1 500 2 [1 2 0 0 ]", milliseconds + decibels + size + array},
      {"1 500 2 3 1 -99999999999 5", "1 500 2 [1 -2147483648 0 ]", milliseconds + decibels + size + array},
      {"1 500 2 2 8", "1 500 2 [8 0 ]", milliseconds + decibels + size + array},
      {"1.5", "1 0 0 []", milliseconds + decibels + size},
  };
  for (const auto& [typed, entry, asked] : cases) {
    mox_wwan_signal_threshold_info filled;
    type(typed);
    fillNrRsrp(&filled);
    EXPECT_EQ(describe(filled), std::string("6/6 ") + entry) << typed;
    EXPECT_EQ(printed(), "Selected Mesaument type is SSRSRP for NGRAN\n" + enable + asked) << typed;
  }
}

// What the all-technology request sends, an entry a line.
std::string sent_config() {
  const std::string request = platform().requests.back();
  const std::string hex = request.substr(request.rfind(' ') + 1);
  std::string bytes;
  for (std::size_t i = 0; i < hex.size(); i += 2)
    bytes.push_back(static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16)));
  mox_wwan_signal_strength_config config;
  EXPECT_TRUE(config.ParseFromString(bytes));
  std::string text = "sub " + std::to_string(config.sub_id()) + "\n";
  for (const auto& entry : config.threshold_infos()) text += describe(entry) + "\n";
  return text;
}

TEST_F(ClientTest, TheAllTechnologyRequestKeepsItsAnswerBetweenQuestions) {
  const std::string all_disabled =
      "1/1 0 0 0 []\n2/2 0 0 0 []\n3/3 0 0 0 []\n3/4 0 0 0 []\n3/5 0 0 0 []\n"
      "6/6 0 0 0 []\n6/7 0 0 0 []\n6/8 0 0 0 []\n4/1 0 0 0 []\n";
  const auto from = [&all_disabled](const char* entry) { return all_disabled.substr(all_disabled.find(entry)); };
  const struct {
    const char* typed;
    std::string entries;
  } cases[] = {
      {"0 0 0 0 0 0 0 0 0", ""},
      {"2 0 -1 0 0 0 0 0 0", ""},
      {"1 1 0 0 1 -5 0 0 0 1 1 0 0 1 -7 0 0 0 0", "1/1 1 0 0 [-5 ]\n3/5 1 0 0 [-7 ]\n"},
      {"0 0 0 0 0 0 0 0 1 0", "4/1 0 0 0 []\n"},
      // A word is answered with 0 from there on.
      {"1 0 x", "1/1 0 0 0 []\n"},
      // At the end of input the last answer holds: nothing, or all that is left.
      {"", ""},
      {"0 0", ""},
      {"1 0 1 0\n", all_disabled},
      {"0 0 0 1", from("3/4")},
      // A failure inside a dialog leaves the answer at 1.
      {"1 x", all_disabled},
      {"0 1 1 500 2 2 8 x", "2/2 1 500 2 [8 0 ]\n" + from("3/3")},
  };
  for (const auto& [typed, entries] : cases) {
    connect();
    type(typed);
    send_all_ran_info(sensor_suid, 1);
    EXPECT_EQ(sent_config(), "sub 1\n" + entries) << typed;
    EXPECT_EQ(diagnosed(), "send_all_ran_info:1462, sending all_ran config request \n") << typed;
  }
}

TEST_F(ClientTest, TheAllTechnologyRequestAsksNineQuestionsAndReportsAFailedSend) {
  connect();
  platform().send_result = 1;
  type("0 0 0 0 0 0 0 0 0");
  send_all_ran_info(sensor_suid, -7);
  EXPECT_EQ(printed(),
            "GERAN Config: 1 to Enter : 0 to skip \n"
            "UTRAN Config: 1 to Enter : 0 to skip \n"
            "EUTRAN(type=RSRP) Config: 1 to Enter : 0 to skip \n"
            "EUTRAN(type=RSRQ) Config: 1 to Enter : 0 to skip \n"
            "EUTRAN(type=RSSNR) Config: 1 to Enter : 0 to skip \n"
            "NGRAN(type=SSRSRP) Config: 1 to Enter : 0 to skip \n"
            "NGRAN(type=SSRSRQ) Config: 1 to Enter : 0 to skip \n"
            "NGRAN(type=SSSINR) Config: 1 to Enter : 0 to skip \n"
            "CDMA2000 Config: 1 to Enter : 0 to skip \n");
  EXPECT_EQ(diagnosed(),
            "send_all_ran_info:1462, sending all_ran config request \n"
            "send_all_ran_info:1479, Error in sending request\n");
}

// ---- menu ----

TEST_F(ClientTest, EverythingElseEndsTheMenuAndTheSession) {
  for (const char* typed : {"-1", "0", "12", "-7", "", "x", "99999999999", "3 x"}) {
    connect();
    type(typed);
    run_menu();
    EXPECT_FALSE(session) << typed;
    EXPECT_EQ(calls(), "close 1\ndelete 1\n") << typed;
  }
}

TEST_F(ClientTest, AFailedAnswerIsTheLast) {
  connect();
  // The sub id: 0 from a word, -1 from the end of input.
  type("5 x 9");
  run_menu();
  EXPECT_EQ(requests(), "640 suid 7 9 susp 0 1 client 5 body payload 0800\n");
  connect();
  type("5");
  run_menu();
  EXPECT_EQ(requests(), "640 suid 7 9 susp 0 1 client 5 body payload 08ffffffffffffffffff01\n");
  sample_rate = 44;
  platform().attributes = stream_type_attribute(0);
  type("2");
  run_menu();
  EXPECT_EQ(sample_rate, 0);
}

TEST_F(ClientTest, QueryModeStaysForLaterStreaming) {
  platform().attributes = stream_type_attribute(0);
  type("8 2 6 -1");
  run_menu();
  EXPECT_EQ(platform().requests.back(), "642 suid 7 9 susp 0 1 client 5 body payload 08061002");
  EXPECT_EQ(data_type, "wwan_stream");
}

TEST_F(ClientTest, RequestsAfterADisconnectGoToTheOldSensor) {
  connect();
  type("3 9 -1");
  run_menu();
  EXPECT_EQ(diagnosed(),
            "query_cell_location_info:1608, sending query_cell_info request\n"
            "query_cell_location_info:1627, Error in sending request\n");
}

}  // namespace
}  // namespace cellscope::test
