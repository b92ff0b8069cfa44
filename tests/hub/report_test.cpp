// Output files of cellscope as JSON and CSV.

#include <google/protobuf/text_format.h>
#include <gtest/gtest.h>

#include <sstream>

#include "hub/base/concat.h"
#include "hub/base/input_error.h"
#include "hub/messages/reflection.h"
#include "hub/messages/technologies.h"
#include "hub/report/payload_truth.h"
#include "hub/report/run_reader.h"
#include "hub/report/run_times.h"
#include "hub/report/run_writer.h"

namespace kelvane_hub {
namespace {

using namespace std::string_literals;

const std::string cell_report = R"(Payload size: 2
10 0 
Received serving neighboring cell info on Sub :1
serving neighboring cell info. Number of cells: 1

=== Cell 1 === {Log Time: 17,Cell Type: 6,Timestamp: 18446744073709551615,Timestamp Type: 1,Registered: 1}

== NR Cell Identity == {MCC: 1,MNC: 2,CI: 68719476741,PCI: 3,TAC: 4,EARFCN: 5}

== NR Signal Strength == {RSRP: -90,RSRQ: -11,RSSNR: 6,CQI: 7}
)";

const std::string cell_json =
    R"("sub":1,"cells":[{"log_time":17,"cell_type":6,"timestamp":18446744073709551615,"timestamp_type":1,)"
    R"("registered":true,"technology":"NR","cell_identity":{"mcc":1,"mnc":2,"ci":68719476741,"pci":3,"tac":4,"earfcn":5},)"
    R"("signal_strength":{"rsrp":-90,"rsrq":-11,"rssnr":6,"cqi":7}}])";

std::string json_of(const std::string& text) {
  Run run = read_run(text, "run.txt");
  (void)believe_payloads(run);
  return to_json(run, times_of(run));
}

TEST(ReportTest, EachEventIsAnObject) {
  const struct {
    std::string report;
    std::string json;
  } cases[] = {
      {cell_report,
       R"({"event":"serving_neighboring_cell_info","line":1,"time":17.5,"earliest":17.0,"latest":18.0,"payload_size":2,"payload":"0a00",)" +
           cell_json + "}"},
      {"Payload size: 0\n\nReceived serving neighboring cell info with status :-1\n"
       "serving neighboring cell info. Number of cells: 1\n" +
           cell_report.substr(cell_report.find("Received")),
       R"({"event":"get_cell_location_info_response","line":1,"time":17.5,"earliest":17.0,"latest":18.0,"payload_size":0,"payload":"","status":-1,)"
       R"("subscriptions":[{)" +
           cell_json + "}]}"},
      {"Log Time: 9, Received voice call info on Sub:0, voice call info-Number of calls: 1: "
       "[{ Call: 1, CallID: 4294967295, CallState: -5}]\n",
       R"({"event":"voice_calls","line":1,"time":9.5,"earliest":9.0,"latest":10.0,"log_time":9,"sub":0,"calls":[{"call_id":4294967295,"call_state":-5}]})"},
      {"Log Time: 9, Received rrc state info on Sub:0, \n{ WCDMA RRC STATE: 3 }\n{ LTE RRC STATE: 1 }\n"
       "{ NR5G RRC STATE: -2 }\n\n",
       R"({"event":"rrc_states_info","line":1,"time":9.5,"earliest":9.0,"latest":10.0,"log_time":9,"sub":0,"wcdma_rrc_state":3,"lte_rrc_state":1,)"
       R"("nr5g_rrc_state":-2})"},
      {"Payload size: 4\nReceived HST info on Sub :1\nhst info-LTE 0\nhst info-NR5G 1\n",
       R"({"event":"highspeed_rail_network_info","line":1,"time":null,"earliest":null,"latest":null,"payload_size":4,"sub":1,"lte":false,"nr5g":true})"},
      {"Payload size: 2\nListening For streaming sensor\nerror info: -7\nGot the  signal for 2\n",
       R"({"event":"signal_strength_config_status","line":1,"time":null,"earliest":null,"latest":null,"payload_size":2,"error":-7})"},
      {"Input given 2\nStreaming sensor rate : 5\nLog Time: 9, Received rrc state info on Sub:0, \n\n",
       R"({"event":"rrc_states_info","line":3,"time":9.5,"earliest":9.0,"latest":10.0,"log_time":9,"sub":0})"},
  };
  for (const auto& [report, json] : cases) EXPECT_EQ(json_of(report), json + "\n");
}

TEST(ReportTest, WhatIsNoReportIsNamed) {
  const auto changed = [](const std::string& was, const std::string& is) {
    std::string report = cell_report;
    return report.replace(report.find(was), was.size(), is);
  };
  const std::pair<std::string, const char*> cases[] = {
      {"Hello\n", "run.txt:1: expected the beginning of a report (Payload size: … or Log Time: …), found 'Hello'"},
      {"Payload size: 0\r\n", "run.txt:1: expected the end of the line, found '\\x0d'"},
      {changed("10 0 ", "10 256 "), "run.txt:2: expected a byte, found '256 '"},
      {changed("10 0 ", "10 "), "run.txt:2: expected a whole number of 32 bits, found the end of the line"},
      {changed("10 0 ", "10 0 1 "), "run.txt:2: expected the end of the line, found '1 '"},
      {changed("Cell 1", "Cell 2"),
       "run.txt:6: expected '=== Cell 1 === {', found '=== Cell 2 === {Log Time: 17,Cell Type: ...'"},
      {changed("Registered: 1", "Registered: 2"), "run.txt:6: expected 0 or 1, found '2}'"},
      {changed("NR Cell", "LTE Cell"),
       "run.txt:8: expected '== NR Cell Identity == {', found '== LTE Cell Identity == {MCC: 1,MNC: 2,C...'"},
      {changed("TAC: 4,", "TAC: 2147483648,"),
       "run.txt:8: expected a whole number of 32 bits, found '2147483648,EARFCN: 5}'"},
      {changed("PCI: 3,", ""), "run.txt:8: expected ',PCI: ', found ',TAC: 4,EARFCN: 5}'"},
  };
  for (const auto& [report, message] : cases) {
    try {
      (void)read_run(report, "run.txt", Reading::strict);
      ADD_FAILURE() << message;
    } catch (const InputError& error) {
      EXPECT_STREQ(error.what(), message);
    }
  }
}

TEST(ReportTest, AReportThatIsCutOffIsLeftOut) {
  for (std::size_t size = 1; size < cell_report.size(); ++size) {
    const auto run = read_run(cell_report + cell_report.substr(0, size), "run.txt");
    EXPECT_EQ(run.events.size(), 1U) << size;
    EXPECT_EQ(run.cut_off, 11U) << size;
  }
  EXPECT_EQ(read_run(cell_report, "run.txt").cut_off, 0U);
}

/// `payload`, in the text format, as a report whose cells are printed like `cells`.
std::string report_of(const std::string& payload, const std::string& cells) {
  mox_wwan_event_serving_neighboring_cell_info info;
  EXPECT_TRUE(google::protobuf::TextFormat::ParseFromString(payload, &info)) << payload;
  std::string text = concat("Payload size: ", info.ByteSizeLong(), "\n");
  for (const char byte : info.SerializeAsString()) text += concat(int{static_cast<unsigned char>(byte)}, " ");
  return text + concat("\nReceived serving neighboring cell info on Sub :", info.sub(),
                       "\nserving neighboring cell info. Number of cells: ", info.cells_size(), "\n", cells);
}

TEST(ReportTest, WhatThePayloadDoesNotHaveIsNull) {
  const std::string neighbour =
      "\n=== Cell 1 === {Log Time: 17,Cell Type: 6,Timestamp: 0,Timestamp Type: 0,Registered: 0}\n"
      "\n== NR Cell Identity == {MCC: 0,MNC: 0,CI: 0,PCI: 3,TAC: 0,EARFCN: 0}\n"
      "\n== NR Signal Strength == {RSRP: -90,RSRQ: 0,RSSNR: 0,CQI: 0}\n";
  const std::string nr =
      "cells { cell_type: 6 nr { cell_identity { pci: 3 } signal_strength { rsrp: -90 rssnr: 0 } } }";
  const auto json_with = [](const char* sub, const char* flags, const char* identity, const char* signal) {
    return concat(R"("sub":)", sub, R"(,"cells":[{"log_time":17,"cell_type":6,)", flags, R"(,"technology":"NR",)",
                  R"("cell_identity":)", identity, R"(,"signal_strength":)", signal, "}]}\n");
  };
  const char* const no_flags = R"("timestamp":null,"timestamp_type":null,"registered":null)";
  const char* const no_identity = R"({"mcc":null,"mnc":null,"ci":null,"pci":null,"tac":null,"earfcn":null})";
  const std::string as_printed =
      json_with("0", R"("timestamp":0,"timestamp_type":0,"registered":false)",
                R"({"mcc":0,"mnc":0,"ci":0,"pci":3,"tac":0,"earfcn":0})", R"({"rsrp":-90,"rsrq":0,"rssnr":0,"cqi":0})");
  const std::string silent =
      std::string(neighbour).replace(neighbour.find("-90"), 3, "0").replace(neighbour.find("PCI: 3"), 6, "PCI: 0");
  const struct {
    std::string report;
    std::string json;
    std::size_t others;
  } cases[] = {
      {report_of(nr, neighbour),
       json_with("null", no_flags, R"({"mcc":null,"mnc":null,"ci":null,"pci":3,"tac":null,"earfcn":null})",
                 R"({"rsrp":-90,"rsrq":null,"rssnr":0,"cqi":null})"),
       0},
      // The cell's type says what is printed, whatever it holds.
      {report_of("sub: 0 cells { cell_type: 6 gsm { cell_identity { mcc: 1 } } }", silent),
       json_with("0", no_flags, no_identity, R"({"rsrp":null,"rsrq":null,"rssnr":null,"cqi":null})"), 0},
      {report_of("cells { cell_type: 6 nr { cell_identity { pci: 4 } signal_strength { rsrp: -90 } } }", neighbour),
       as_printed, 1},
      {"Payload size: 1\n255 " + report_of("cells { }", neighbour).substr(std::size("Payload size: 2\n10 0 ") - 1),
       as_printed, 1},
      // Field 15 is none of ours.
      {"Payload size: 2\n120 1 \nReceived serving neighboring cell info on Sub :0\n"
       "serving neighboring cell info. Number of cells: 0\n",
       "\"sub\":0,\"cells\":[]}\n", 1},
  };
  for (const auto& [report, json, others] : cases) {
    const std::string all = json_of(report);
    EXPECT_EQ(all.substr(std::min(all.find(R"("sub")"), all.size())), json);
    auto run = read_run(report, "run.txt");
    EXPECT_EQ(believe_payloads(run).count, others) << report;
  }
}

std::string text_of(const Oddity& oddity) {
  return oddity.count == 0 ? "" : concat(oddity.count, "@", oddity.line, " ", oddity.first);
}

TEST(ReportTest, WhatIsNoReportIsPassedOver) {
  const std::string status = "Payload size: 2\nerror info: 0\n";
  const std::string call = "Log Time: 9, Received voice call info on Sub:0, voice call info-Number of calls: 0: []\n";
  std::string windows;
  for (const char character : "Enter 1 for On-change sensor \n" + cell_report) {
    windows += character == '\n' ? "\r\n" : std::string(1, character);
  }
  const auto with = [](const std::string& before, const std::string& inserted) {
    return std::string(cell_report).insert(cell_report.find(before), inserted);
  };
  const struct {
    std::string text;
    std::vector<std::size_t> lines;  // of the events
    const char* strays = "";
    const char* broken = "";
    const char* glued = "";
    std::size_t cut_off = 0;
  } cases[] = {
      {windows, {2}, "1@1 'Enter 1 for On-change sensor '"},
      {"\n" + status + "\nI wwan : up\n\n== NR\n" + status, {2, 8}, "2@5 'I wwan : up'"},
      {"SUID received - suid_high=7" + cell_report + "x: " + call,
       {1, 11},
       "",
       "",
       "2@1 'SUID received - suid_high=7'"},
      // Lines of others, and empty ones, do not break a report.
      {with("== NR Signal", "send:84, sending\n\n1\n") + with("Received", "\n"), {1, 14}, "2@10 'send:84, sending'"},
      {with("== NR Signal", "== garbage\n") + status,
       {12},
       "",
       "1@1 run.txt:10: expected '== NR Signal Strength == {', found '== garbage'"},
      // A report in place of the rest of another one.
      {"Payload size: 2\n" + status + "Payload size: x\n" + status,
       {2, 5},
       "",
       "2@1 run.txt:2: expected a whole number of 32 bits, found 'Payload size: 2'"},
      {status + "Listening For str", {1}},
      {status + "Enter", {1}, "1@3 'Enter'"},
      {status + "SUID received - suid_low=1Payload size: 1", {1}, "", "", "", 3},
  };
  for (const auto& [text, lines, strays, broken, glued, cut_off] : cases) {
    const auto run = read_run(text, "run.txt");
    std::vector<std::size_t> found;
    for (const RunEvent& event : run.events) found.push_back(event.line);
    EXPECT_EQ(found, lines) << text;
    EXPECT_EQ(text_of(run.strays), strays) << text;
    EXPECT_EQ(text_of(run.broken), broken) << text;
    EXPECT_EQ(text_of(run.glued), glued) << text;
    EXPECT_EQ(run.cut_off, cut_off) << text;
  }
}

/// A run in short: L a line of listening, o a report without cells, kT a call at the log time T, cT@S one of a cell
/// with the timestamp S (seconds), dT@S of another cell, s that it is a streaming sensor.
Run run_of(const std::string& brief) {
  std::string text;
  std::istringstream words(brief);
  for (std::string word; words >> word;) {
    const auto log_time = word.substr(1, word.find('@') - 1);
    if (word == "s") text += "connecting to streaming sensor\n";
    if (word == "L") text += "Listening For streaming sensor\n";
    if (word == "o") text += report_of("", "");
    if (word[0] == 'k') {
      text += "Log Time: " + log_time + ", Received voice call info on Sub:0, voice call info-Number of calls: 0: []\n";
    }
    if (word[0] != 'c' && word[0] != 'd') continue;
    const double timestamp = 1e9 * std::stod(word.substr(word.find('@') + 1));
    text +=
        report_of("cells { }",
                  concat("\n=== Cell 1 === {Log Time: ", log_time, ",Cell Type: ", word[0] == 'd' ? 9 : 0,
                         ",Timestamp: ", static_cast<std::uint64_t>(timestamp), ",Timestamp Type: 1,Registered: 1}\n"));
  }
  return read_run(text, "run.txt");
}

std::string text_of(const std::vector<RunTime>& times) {
  std::string text;
  for (const auto& [seconds, earliest, latest] : times) {
    text += (text.empty() ? "" : " ") +
            (earliest == latest ? concat(seconds) : concat(seconds, "[", earliest, ",", latest, "]"));
  }
  return text;
}

TEST(ReportTest, EachEventHasATime) {
  const struct {
    const char* run;
    RunClock clock;
    const char* axis;
    const char* log;
  } cases[] = {
      {"o", RunClock::none, "0[-inf,inf]", "0[-inf,inf]"},
      {"k100 o k103", RunClock::log, "0[-0.5,0.5] 1.5[-0.5,3.5] 3[2.5,3.5]", "0.5[0,1] 2[0,4] 3.5[3,4]"},
      {"o k100 k50 o", RunClock::log, "0[-inf,0.5] 0[-0.5,0.5] -50[-50.5,-49.5] -50[-50.5,inf]",
       "0.5[-inf,1] 0.5[0,1] -49.5[-50,-49] -49.5[-50,inf]"},
      {"c100@7.5 c101@9", RunClock::sensor, "0 1.5", "0.25[0,0.5] 1.75[1.5,2]"},
      {"c100@0 o c110@10", RunClock::sensor, "0 5[0,10] 10", "0.5[0,1] 5.5[0,11] 10.5[10,11]"},
      {"c100@0 L L o L k110 c110@10", RunClock::sensor, "0 6.5[2,10] 10[9,10] 10",
       "0.5[0,1] 7[3,11] 10.5[10,11] 10.5[10,11]"},
      {"k100 L L o L k107", RunClock::log, "0[-0.5,0.5] 5[2.5,7.5] 7[6.5,7.5]", "0.5[0,1] 5.5[3,8] 7.5[7,8]"},
      {"k100 L k101 L o L k110", RunClock::log, "0[-0.5,0.5] 1[0.5,1.5] 5.1[2.5,7.7] 10[9.5,10.5]",
       "0.5[0,1] 1.5[1,2] 5.6[3,8.2] 10.5[10,11]"},
      {"k100 L L o L k103", RunClock::log, "0[-0.5,0.5] 1.5[-0.5,3.5] 3[2.5,3.5]", "0.5[0,1] 2[0,4] 3.5[3,4]"},
      {"c100@0 c100@5 c101@10 o c101@15 c102@20 c102@25 k102", RunClock::sensor,
       "0 5 10 12.5[10,15] 15 20 25 25[25,30.9375]",
       "0.357143[0,1] 0.814286[0,1] 1.27143[1,2] 1.5[1,2] 1.72857[1,2] 2.18571[2,3] 2.64286[2,3] 2.64286[2,3]"},
      {"c100@0 c103@10 c104@11 c105@12 c106@13 c110@13", RunClock::sensor, "0 10 11 12 13 17[16,18]",
       "-6.5[-7,1] 3.5[3,4] 4.5[4,5] 5.5[5,6] 6.5[6,7] 10.5[10,11]"},
      {"c100@1 c101@2 c102@1 c103@2", RunClock::log, "0[-0.5,0.5] 1[0.5,1.5] 2[1.5,2.5] 3[2.5,3.5]",
       "0.5[0,1] 1.5[1,2] 2.5[2,3] 3.5[3,4]"},
      {"c100@5 c103@5", RunClock::log, "0[-0.5,0.5] 3[2.5,3.5]", "0.5[0,1] 3.5[3,4]"},
      {"c100@5 c103@6 c120@7", RunClock::sensor, "0 1 2", "0.5[0,1] 3.5[3,4] 20.5[20,21]"},
      // The phone's clock is set back, with and without timestamps; by less than goes by meanwhile; forward.
      {"c100@0 c101@1 c102@2 o c43@3 c44@4 k45 o", RunClock::sensor, "0 1 2 2.5[2,3] 3 4 5[4,6] 5[4,inf]",
       "0.5[0,1] 1.5[1,2] 2.5[2,3] 2.5[-58,4] -56.5[-57,-56] -55.5[-56,-55] -54.5[-55,-54] -54.5[-55,inf]"},
      {"k100 o k40 o k41", RunClock::log,
       "0[-0.5,0.5] 0[-inf,inf] -60[-60.5,-59.5] -59.5[-60.5,-58.5] -59[-59.5,-58.5]",
       "0.5[0,1] 0.5[-inf,inf] -59.5[-60,-59] -59[-60,-58] -58.5[-59,-58]"},
      {"c100@0 c101@1 c109@9 o c140@70 c141@71", RunClock::sensor, "0 1 9 39.5[9,70] 70 71",
       "0.5[0,1] 1.5[1,2] 9.5[9,10] 25[-21,71] 40.5[40,41] 41.5[41,42]"},
      {"c100@0 c101@1 o c162@2 c163@3", RunClock::sensor, "0 1 1.5[1,2] 2 3",
       "0.5[0,1] 1.5[1,2] 32[1,63] 62.5[62,63] 63.5[63,64]"},
      // It is set early in the run, so that what follows outvotes what was before.
      {"c100@0 c102@2 c45@5 c46@6 c47@7 c48@8 c49@9 c50@10", RunClock::sensor, "0 2 5 6 7 8 9 10",
       "0.5[0,1] 2.5[2,3] -54.5[-55,-54] -53.5[-54,-53] -52.5[-53,-52] -51.5[-52,-51] -50.5[-51,-50] -49.5[-50,-49]"},
      // It is wrong for a moment.
      {"c100@0 c101@1 k162 o c103@3 c104@4", RunClock::sensor, "0 1 2[1,3] 2[1,3] 3 4",
       "0.5[0,1] 1.5[1,2] 62.5[62,63] 2.5[1,4] 3.5[3,4] 4.5[4,5]"},
      {"c100@0 c101@1 o c162@2 o c103@3", RunClock::sensor, "0 1 2[1,2] 2 2.5[2,3] 3",
       "0.5[0,1] 1.5[1,2] 2.5[1,4] 2.5[2,63] 3[2,4] 3.5[3,4]"},
      // Reports come out late, all at once.
      {"c100@0 c101@1 c102@2 c103@3 c104@4 c105@5 k108 c109@6 c109@7 o c109@9", RunClock::sensor,
       "0 1 2 3 4 5 5.5[5,6] 6 7 8.5[7,9] 9",
       "0.5[0,1] 1.5[1,2] 2.5[2,3] 3.5[3,4] 4.5[4,5] 5.5[5,6] 8.5[8,9] 6.5[6,10] 7.5[7,10] 9[8,10] 9.5[9,10]"},
      // What is played 10000 times as fast fits 10500 times; or is over in one second.
      {"c100@0 c100@5000 c101@10000 c101@15000 c102@20000 c102@25000 c103@30000 c103@35000 k104", RunClock::sensor,
       "0 5000 10000 15000 20000 25000 30000 35000 43750[36500,51000]",
       "0.333333[0,1] 0.809524[0,1] 1.28571[1,2] 1.7619[1,2] 2.2381[2,3] 2.71429[2,3] 3.19048[3,4] 3.66667[3,4] "
       "4.5[4,5]"},
      // Cells change once more at a timestamp; or a modem keeps it for long; or a streaming sensor tells later.
      {"c100@0 c100@49 o d100@49 c100@51", RunClock::sensor, "0 49 49 49 51",
       "0.5[0,1] 0.5[0,1] 0.5[0,1] 0.5[0,1] 0.5[0,1]"},
      {"c100@0 c101@1 c102@2 d102@2 d103@3 c120@3 c121@21", RunClock::sensor, "0 1 2 2 3 20[19,21] 21",
       "0.5[0,1] 1.5[1,2] 2.5[2,3] 2.5[2,3] 3.5[3,4] 20.5[20,21] 21.5[21,22]"},
      {"c100@0 c101@1 c102@2 c103@3 c104@4 c105@5 c109@6 d109@6 c120@6 c120@20", RunClock::sensor,
       "0 1 2 3 4 5 6 6 20[19,20] 20",
       "0.5[0,1] 1.5[1,2] 2.5[2,3] 3.5[3,4] 4.5[4,5] 5.5[5,6] 6.5[6,10] 6.5[6,10] 20.5[20,21] 20.5[20,21]"},
      {"c100@0 c101@1 d41@1 c42@3 c43@4", RunClock::sensor, "0 1 2[1,3] 3 4",
       "0.5[0,1] 1.5[1,2] -58.5[-59,-58] -57.5[-58,-57] -56.5[-57,-56]"},
      {"s c100@0 c101@1 d101@1 c102@2", RunClock::sensor, "0 1 1[1,2] 2", "0.5[0,1] 1.5[1,2] 1.5[1,2] 2.5[2,3]"},
      {"c100@5 d103@5", RunClock::log, "0[-0.5,0.5] 3[2.5,3.5]", "0.5[0,1] 3.5[3,4]"},
      {"c100@0 o c100@1000 c100@3000", RunClock::sensor, "0 500[0,1000] 1000 3000",
       "0.5[0,1] 0.5[0,1] 0.5[0,1] 0.5[0,1]"},
  };
  for (const auto& [run, clock, axis, log] : cases) {
    const RunTimes times = times_of(run_of(run));
    EXPECT_EQ(times.clock, clock) << run;
    EXPECT_EQ(text_of(times.axis), axis) << run;
    EXPECT_EQ(text_of(times.log), log) << run;
  }
}

TEST(ReportTest, CsvHasARowForEachCellOrCall) {
  const auto run = read_run(cell_report +
                                "Log Time: 9, Received voice call info on Sub:0, voice call info-Number of calls: 2: "
                                "[{ Call: 1, CallID: 1, CallState: 3}{ Call: 2, CallID: 2, CallState: 5}]\n",
                            "run.txt");
  EXPECT_EQ(
      to_csv(run, times_of(run)),
      "line,event,payload_size,sub,status,error,log_time,cell,cell_type,timestamp,timestamp_type,"
      "registered,"
      "technology,mcc,mnc,lac,cid,arfcn,bsic,signal_strength,bit_error_rate,timing_advance,network_id,system_id,"
      "base_station_id,longitude,latitude,dbm,ecio,evdo_dbm,evdo_ecio,evdo_snr,ci,pci,tac,earfcn,rsrp,rsrq,rssnr,"
      "cqi,psc,uarfcn,rscp,ecno,cpid,call,call_id,call_state,wcdma_rrc_state,lte_rrc_state,nr5g_rrc_state,lte,nr5g,"
      "time,earliest,latest\n"
      "1,serving_neighboring_cell_info,2,1,,,17,1,6,18446744073709551615,1,true,NR,1,2,,,,,,,,,,,,,,,,,,"
      "68719476741,"
      "3,4,5,-90,-11,6,7,,,,,,,,,,,,,,17.5,17.0,18.0\n"
      "11,voice_calls,,0,,,9,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,1,1,3,,,,,,9.5,9.0,10.0\n"
      "11,voice_calls,,0,,,9,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,2,2,5,,,,,,9.5,9.0,10.0\n");
}

TEST(ReportTest, EachTechnologyPrintsFieldsThatItHas) {
  for (const Technology& technology : technologies()) {
    const auto& signal = *part_field(technology, signal_part).message_type();
    EXPECT_NO_THROW(field_of(signal, technology.strength)) << technology.name;
    for (const PrintedPart& part : technology.parts) {
      const auto& type = *part_field(technology, part.name).message_type();
      for (const PrintedField& field : part.fields) EXPECT_NO_THROW(field_of(type, field.name)) << part.title;
    }
  }
}

}  // namespace
}  // namespace kelvane_hub
