// Orders to a hub at work, and what it answers, on a clock of the test's own.

#include "hub/testbench/control.h"

#include <gtest/gtest.h>

#include "hub/messages/catalogue.h"
#include "hub/scenario/scenario_file.h"
#include "hub/testbench/announcer.h"
#include "kelvane_api.pb.h"

namespace kelvane_hub {
namespace {

constexpr suid on_change{1, 2};

const std::string played =
    "sensors { data_type: 'wwan' suid { suid_low: 1 suid_high: 2 } }"
    "steps { at: 0 cells { cells { cell_type: 3 lte { signal_strength { rsrp: -90 } } }"
    "                      cells { cell_type: 2 registered: true cdma { signal_strength { dbm: -80 } } } } }"
    "steps { at: 10 voice_calls { calls { call_id: 1 call_state: 2 } } }"
    "steps { at: 20 cells { cells { cell_type: 3 lte { signal_strength { rsrp: -95 } } } } }"
    "steps { at: 30 raw { msg_id: 9 } }"
    "steps { at: 40 cells { sub: 1 } }";

class ControlTest : public testing::Test, public Delivery {
 protected:
  /// The id of each event, and the signal of the first cell.
  void deliver(const Link&, const std::string& message) override {
    sns_client_event_msg parsed;
    ASSERT_TRUE(parsed.ParseFromString(message));
    const auto& event = parsed.events(0);
    told_ += std::to_string(event.msg_id());
    Cells cells;
    if (event.msg_id() == cells_event && cells.ParseFromString(event.payload()) && !cells.cells().empty()) {
      told_ += "(" + std::to_string(cells.cells(0).lte().signal_strength().rsrp()) + ")";
    }
    told_ += " ";
  }

  void ask(std::uint32_t msg_id, const google::protobuf::Message& payload, Performance& asked) {
    sns_client_request_msg request;
    request.set_msg_id(msg_id);
    request.mutable_request()->set_payload(payload.SerializeAsString());
    asked.simulator().handle_request({1, on_change}, request.SerializeAsString(), now_);
  }

  void start(Performance& asked) {
    mox_wwan_sensor_config calls;
    calls.set_report_voice_calls(true);
    ask(report_registration, calls, asked);
    ask(on_change_config, sns_std_sensor_config(), asked);
  }

  void advance_to(int seconds, Performance& performed) {
    now_ = std::chrono::seconds(seconds);
    for (auto due = performed.next_due(); due && *due <= now_; due = performed.next_due()) performed.advance(*due);
  }

  std::string order(const std::string& line) { return control_.answer(line, now_); }
  std::string told() { return std::exchange(told_, ""); }

  /// Without sensors.
  std::string recorded() {
    const std::string text = order("record");
    return text.substr(text.find("| steps"));
  }

  std::string told_;
  Time now_{};
  bool has_quit_ = false;
  Performance performance_{parse_scenario(played, "test"), {}, *this, [](const TestPoint&) {}};
  Control control_{performance_, [this] { has_quit_ = true; }};
};

TEST_F(ControlTest, OrdersAndAnswers) {
  const std::string fields = order("help set");
  EXPECT_NE(fields.find("| there are no cells yet; these are the fields that cells can have\n"), std::string::npos);
  EXPECT_NE(fields.find("| rscp=\n"), std::string::npos);
  EXPECT_EQ("KO: expected a scenario that is under way, found one that waits for a client to configure a sensor\n",
            order("next"));
  start(performance_);
  advance_to(2, performance_);
  (void)told();
  const struct {
    const char* line;
    const char* answer;
    const char* told;
  } cases[] = {
      {"set rsrp=-105 cell=1 timestamp=7", "OK at=2.000 sub=0 cell=1 rsrp=-105 timestamp=7", "1281(-105) "},
      {"set lte.signal_strength.rsrp= cell=1", "OK at=2.000 sub=0 cell=1 lte.signal_strength.rsrp=", "1281(0) "},
      {" set  signal_strength.dbm=-81\r", "OK at=2.000 sub=0 cell=2 signal_strength.dbm=-81", "1281(0) "},
      {"set dbm=-81", "KO: expected signal_strength.dbm or signal_strength_evdo.dbm, found 'dbm'", ""},
      {"set rsrp=-1 rsrq=x cell=1", "KO: rsrq: expected a number from -2147483648 to 2147483647, or nothing, found 'x'",
       ""},
      {"set registered=2", "KO: registered: expected true or false, or nothing, found '2'", ""},
      {"set", "KO: expected FIELD=VALUE, found none", ""},
      {"set rsrp=1 cell=3", "KO: cell: expected a number from 1 to 2, found 3", ""},
      {"set rsrp=1 sub=1", "KO: expected cells of subscription 1 to set, found none; a step can bring some", ""},
      {"set rsrp=1 sub=2", "KO: sub: expected 0 or 1, found 2", ""},
      {"set rsrp -1", "KO: expected FIELD=VALUE, found 'rsrp'", ""},
      {"step change { set { lte { signal_strength { rsrp: -97 } } } }", "OK at=2.000 what=change sub=0", "1281(-97) "},
      {"step change { cell: 2 set { } }", "KO: expected a cell from 0 to 1, found 2", ""},
      {"step change { sub: 1 set { } }",
       "KO: expected cells of subscription 1 to set, found none; a step can bring some", ""},
      {"step 'cells { }'", "OK at=2.000 what=cells sub=0", "1281 "},
      {"step cells { sub: 5 }", "KO: sub: expected 0 or 1, found 5", ""},
      {"step cells { cell {} }",
       "KO: step:1:14: Message type \"mox_wwan_event_serving_neighboring_cell_info\" has no field named \"cell\".", ""},
      {"step at: 3 raw {}",
       "KO: step:1:1: expected no time (at), since it happens now, found one;"
       "step:1:1: expected a msg_id, found a raw event without one",
       ""},
      {"step error {} raw { msg_id: 3 }",
       "KO: step:1:14: Field \"raw\" is specified along with field \"error\", another member of oneof \"what\".", ""},
      {"step expect {}",
       "KO: step:1:1: expected something that happens to the modem, found expect or wait_for, for scenarios only", ""},
      {"call 3 id=2", "OK at=2.000 sub=0 id=2 state=3", "1283 "},
      {"call none", "OK at=2.000 sub=0 state=none", "1283 "},
      {"call", "KO: expected a state or none, found none", ""},
      {"rrc lte=1", "OK at=2.000 sub=0 lte=1", ""},
      {"rrc gsm=1", "KO: expected wcdma, lte or nr5g, found 'gsm'", ""},
      {"rail nr5g=true sub=1", "OK at=2.000 sub=1 nr5g=true", "1282 "},
      {"error -5", "OK at=2.000 error=-5", "130 "},
      {"error x", "KO: error: expected a number from -2147483648 to 2147483647, found 'x'", ""},
      {"fault drop msg_id=130 count=1", "OK at=2.000 fault=1 what=drop seed=0", ""},
      {"error 4", "OK at=2.000 error=4", ""},
      {"fault 'sensor_gone { back_after: 2 } session: 3'", "OK at=2.000 fault=2 what=sensor_gone seed=0", ""},
      {"fault sensor=wwan probability=0.5 delay=1.5 direction=request", "OK at=2.000 fault=3 what=delay seed=0", ""},
      {"fault list",
       "| fault 1: msg_id: 130 count: 1 drop { }; has struck 1 message\n"
       "| fault 2: session: 3 sensor_gone { back_after: 2 }; has struck 0 messages\n"
       "| fault 3: direction: REQUEST sensor: \"wwan\" probability: 0.5 delay: 1.5; has struck 0 messages\n"
       "OK at=2.000 faults=3",
       ""},
      {"fault clear", "OK at=2.000 ended=3", ""},
      {"fault", "KO: expected what goes wrong (drop, delay, …), found none", ""},
      {"fault drop cut", "KO: expected one thing that goes wrong, found drop and cut", ""},
      {"fault drop delay=1", "KO: expected one thing that goes wrong, found delay and drop", ""},
      {"fault drop msg_id", "KO: expected nothing more, found 'msg_id'", ""},
      {"fault clear x", "KO: expected nothing more, found 'x'", ""},
      {"fault drop msg_id=1 msg_id=2", "KO: expected msg_id= once, found it again", ""},
      {"call 1 id=1 id=2", "KO: expected id= once, found it again", ""},
      {"fault nonsense",
       "KO: expected drop, delay, duplicate, reorder, truncate, corrupt, unknown_field, unknown_id, no_answer, "
       "refusal, late_attributes, sensor_gone, cut, hub_restart, clear or list, found 'nonsense'",
       ""},
      {"fault truncate=1 delay=1", "KO: expected one thing that goes wrong, found truncate and delay", ""},
      {"fault delay", "KO: delay: expected a number, found none", ""},
      {"fault drop=1", "KO: drop: expected no value, found '1'", ""},
      {"fault drop direction=up", "KO: direction: expected event or request, found 'up'", ""},
      {"fault refusal=-2147483649",
       "KO: refusal: expected a number from -2147483648 to 2147483647, found '-2147483649'", ""},
      {"fault drop msg=1",
       "KO: expected direction, msg_id, sensor, session, after, count, probability, drop, delay, duplicate, reorder, "
       "truncate, "
       "corrupt, unknown_field, unknown_id, no_answer, refusal, late_attributes, sensor_gone, cut or hub_restart, "
       "found 'msg'",
       ""},
      {"fault drop { } at: 1", "KO: fault:1:12: Message type \"scenario_fault\" has no field named \"at\".", ""},
      {"fault count=0 sensor=x unknown_id=9",
       "KO: expected the data_type of a sensor, wwan, found 'x'; expected a count of 1 or more, found 0; "
       "expected an unknown_id that no event has, found 9",
       ""},
      {"pause", "OK at=2.000 state=paused", ""},
      {"next", "OK at=10.000 steps=2 what=voice_calls", "1283 "},
      {"next", "OK at=20.000 steps=3 what=cells", "1281(-95) "},
      {"seek 5", "OK at=5.000", "1283 1281(-90) "},
      {"seek 35", "OK at=35.000", "1283 1281(-95) "},
      {"seek 1e9", "KO: seek: expected a number from 0 to 10000000, found '1e9'", ""},
      {"speed 10", "OK at=35.000 speed=10", ""},
      {"speed fast", "KO: speed: expected a number from 0.01 to 10000, found 'fast'", ""},
      {"restart", "OK at=0.000", "1281(-90) 1281 "},
      {"resume", "OK at=0.000 state=resumed", ""},
      {"help rail", "| rail lte=true|nr5g=true... [sub=N]: the network of a high-speed railway\nOK", ""},
      {"halt",
       "KO: expected set, step, call, rrc, rail, error, fault, pause, resume, next, seek, restart, speed, status, "
       "record, capture, quit or help, found 'halt'",
       ""},
      {"quit", "OK", ""},
  };
  for (const auto& [line, answer, expected] : cases) {
    EXPECT_EQ(answer + std::string("\n"), order(line)) << line;
    EXPECT_EQ(expected, told()) << line;
  }
  EXPECT_TRUE(has_quit_);
}

TEST_F(ControlTest, ScenarioTimeStandsStillAndHurries) {
  start(performance_);
  (void)order("pause");
  advance_to(100, performance_);
  EXPECT_EQ("OK at=0.000 state=resumed\n", order("resume"));
  EXPECT_EQ("OK at=0.000 speed=10\n", order("speed 10"));
  (void)told();
  advance_to(102, performance_);
  EXPECT_EQ("1283 1281(-95) ", told());
  advance_to(104, performance_);
  EXPECT_EQ(
      "| scenario time 40.000 s, over, speed 10, 5 steps\n"
      "| all sessions: 2 requests, 5 events\n"
      "| session 1: 2 requests, 5 events\n"
      "| session 1, wwan: configured for changes; registered for voice_calls\n"
      "OK at=40.000\n",
      order("status"));
}

TEST_F(ControlTest, TheEndIsToldWithTheStepsThatStatusCounts) {
  std::string said;
  Announcer announcer([&said](const std::string& line) { said += line; });
  announcer.follow(performance_.timeline());
  performance_.simulator().watch(announcer);
  start(performance_);
  advance_to(12, performance_);
  (void)order("error 1");
  (void)order("seek 100");
  EXPECT_EQ("the scenario is over: 2 steps in 100 s; its last state stays", said);
  EXPECT_NE(order("status").find(", 2 steps\n"), std::string::npos);
}

TEST_F(ControlTest, RampsAndVariationsGoOn) {
  start(performance_);
  (void)told();
  const struct {
    int at;
    const char* line;
    const char* answer;
    const char* told;  // until then, and at once
  } cases[] = {
      {2, "step ramp { field: 'rsrp' to: -94 over: 4 }", "OK at=2.000 what=ramp sub=0", ""},
      {4, "pause", "OK at=4.000 state=paused", "1281(-91) 1281(-92) "},
      {6, "next", "OK at=5.000 steps=1 what=cells", "1281(-93) "},
      {7, "resume", "OK at=5.000 state=resumed", ""},
      {7, "set rsrp=-80 cell=1", "OK at=5.000 sub=0 cell=1 rsrp=-80", "1281(-80) "},
      {9, "step ramp { field: 'rsrp' from: -60 to: -70 over: 8 every: 1.5 }", "OK at=7.000 what=ramp sub=0",
       "1281(-94) 1281(-60) "},
      {9, "step vary { field: 'rsrp' by: 9 }", "OK at=7.000 what=vary sub=0", ""},
      {11, "step ramp { field: 'lte.signal_strength.rsrp' to: -66 over: 2 }", "OK at=9.000 what=ramp sub=0",
       "1281(-56) 1281(-58) "},
      // What a change makes varies on, and is what is left.
      {13, "step change { set { lte { signal_strength { rsrp: -50 } } } }", "OK at=11.000 what=change sub=0",
       "1281(-59) 1283 1281(-74) 1281(-58) "},
      {13, "step vary { field: 'signal_strength.rsrp' }", "OK at=11.000 what=vary sub=0", "1281(-50) "},
      {13, "step vary { field: 'rsrp' }",
       "KO: expected a whole number (by), or a variation of 'rsrp' that ends, found neither", ""},
      {13, "step vary { field: 'rsrp' by: 1 over: 0.5 }", "KO: expected more seconds (over) than every's 1, found 0.5",
       ""},
      {13, "step ramp { field: 'rsrp' to: -60 over: 9 } ", "OK at=11.000 what=ramp sub=0", ""},
      {14, "step ramp { field: 'rsrp' }", "OK at=12.000 what=ramp sub=0", "1281(-51) "},
      {14, "step ramp { field: 'rsrp' }",
       "KO: expected a value to go to (to), or a ramp of 'rsrp' that ends, found neither", ""},
      {14, "step ramp { field: 'rsrp' to: -60 }",
       "KO: expected more than 0 seconds (over), up to 10000000 at the most, found none", ""},
      {14, "step ramp { field: 'rscp' to: -60 over: 1 }",
       "KO: field: expected timestamp, timestamp_type, registered, cell_type, mcc, mnc, ci, pci, tac, earfcn, "
       "signal_strength, rsrp, rsrq, rssnr, cqi or timing_advance, found 'rscp'",
       ""},
      {14, "step ramp { sub: 1 field: 'rsrp' to: -60 over: 1 }",
       "KO: expected cells of subscription 1 before its ramp, found none", ""},
      {14, "step ramp { field: 'rsrp' to: -60 over: 101 every: 0.001 }",
       "KO: expected at most 100000 steps of all ramps and variations, found 101000", ""},
      {14, "step vary { field: 'rsrp' by: 2 every: 0.001 }", "OK at=12.000 what=vary sub=0", ""},
      {14, "speed 51", "KO: expected at most 100000 cells a second of variations without an end, found 102000", ""},
      {14, "speed 40", "OK at=12.000 speed=40", ""},
      {14, "step vary { field: 'rsrp' by: 2 every: 0.001 }", "OK at=12.000 what=vary sub=0", ""},
      {14, "speed 1", "OK at=12.000 speed=1", ""},
      {14, "step ramp { field: 'rsrp' to: -60 over: 60 every: 0.001 }", "OK at=12.000 what=ramp sub=0", ""},
      {14, "step ramp { field: 'rsrp' to: -60 over: 70 every: 0.001 }", "OK at=12.000 what=ramp sub=0", ""},
      {14, "step ramp { field: 'rsrp' to: -60 over: 9 }", "OK at=12.000 what=ramp sub=0", ""},
      {14, "status",
       "| scenario time 12.000 s, running, speed 1, 2 steps\n"
       "| under way: vary { field: \"rsrp\" by: 2 every: 0.001 } since 12.000 s; "
       "ramp { field: \"rsrp\" to: -60 over: 9 } since 12.000 s\n"
       "| all sessions: 2 requests, 16 events\n"
       "| session 1: 2 requests, 16 events\n"
       "| session 1, wwan: configured for changes; registered for voice_calls\n"
       "OK at=12.000",
       ""},
      {14, "seek 11", "OK at=11.000", "1281(-90) 1283 "},
      {15, "step ramp { field: 'rsrp' to: -99 over: 9 }", "OK at=12.000 what=ramp sub=0", ""},
      {15, "restart", "OK at=0.000", "1281(-90) 1281 "},
      // Cells that are told otherwise are those that vary.
      {29, "step vary { field: 'rsrp' by: 9 over: 7 every: 3.5 }", "OK at=14.000 what=vary sub=0", "1283 "},
      {37, "step vary { field: 'rsrp' by: 9 over: 2.5 every: 2 }", "OK at=22.000 what=vary sub=0",
       "1281(-86) 1281(-95) "},
      {37, "step cells { cells { lte { signal_strength { rsrp: -100 } } } }", "OK at=22.000 what=cells sub=0",
       "1281(-100) "},
      {40, "step vary { all_cells: true field: 'cell_type' by: 1 }",
       "KO: expected a value of cell_type that can vary, found none", "1281(-92) 1281(-100) "},
  };
  for (const auto& [at, line, answer, expected] : cases) {
    advance_to(at, performance_);
    EXPECT_EQ(answer + std::string("\n"), order(line)) << line;
    EXPECT_EQ(expected, told()) << line;
  }
}

TEST_F(ControlTest, RampsAndVariationsTakeLittle) {
  std::string many = "step cells {";
  for (int i = 0; i < 1001; ++i) many += " cells { cell_type: 3 }";
  EXPECT_EQ("OK at=0.000 what=cells sub=0\n", order(many + " }"));
  EXPECT_EQ("KO: expected at most 1000 fields of cells on their way, found 1001\n",
            order("step vary { all_cells: true field: 'cell_type' by: 1 }"));
  performance_.timeline().set_speed(Pace::at_once, now_);
  EXPECT_EQ("KO: expected a scenario that is played at some speed, found one whose steps follow at once\n",
            order("step vary { field: 'cell_type' by: 1 }"));
}

TEST_F(ControlTest, ARecordPlaysTheSameAgain) {
  EXPECT_EQ("| steps { at: 0 cells { sub: 0 } }\n| steps { at: 0 cells { sub: 1 } }\nOK at=0.000 steps=0\n",
            recorded());
  start(performance_);
  for (int seconds = 1;
       const char* line : {"set rsrp=-100 cell=1", "call 4", "step vary { field: 'rsrp' by: 9 every: 0.25 }", "seek 25",
                           "error 2", "seek 1"}) {
    advance_to(seconds++, performance_);
    (void)order(line);
  }
  const std::string steps = recorded();
  const std::string noted = "| # Left out, it was live: at=1.000 faults { cut { } }\n";
  (void)order("fault cut");
  EXPECT_EQ(noted, order("record").substr(0, noted.size()));
  EXPECT_TRUE(order("record").ends_with(" live_faults_left_out=1\n"));
  (void)order("fault clear");
  EXPECT_EQ(
      "| steps { at: 0 cells { cells { timestamp: 0 timestamp_type: 1 cell_type: 3 lte { signal_strength { rsrp: -90 } "
      "} } "
      "cells { timestamp: 0 timestamp_type: 1 registered: true cell_type: 2 cdma { signal_strength { dbm: -80 } } } } "
      "}\n"
      "| steps { at: 0 cells { sub: 1 } }\n"
      "| steps { at: 1 cells { cells { timestamp: 1000000000 timestamp_type: 1 cell_type: 3 lte { signal_strength { "
      "rsrp: -100 } } } cells { timestamp: 1000000000 timestamp_type: 1 registered: true cell_type: 2 cdma { "
      "signal_strength { dbm: -80 } } } } }\n",
      steps.substr(0, steps.find("| steps { at: 2")));
  EXPECT_NE(steps.find("| steps { at: 3.25 cells { cells { timestamp: 3250000000 "), std::string::npos);
  EXPECT_EQ("| steps { at: 5 error { error: 2 } }", steps.substr(steps.find("| steps { at: 5"), 36));
  const std::string first = told();
  std::string text = order("record");
  text.resize(text.rfind("OK"));
  for (auto mark = text.find("| "); mark != std::string::npos; mark = text.find("\n| ")) {
    text.erase(mark == 0 ? 0 : mark + 1, 2);
  }
  Performance again(parse_scenario(text, "record"), {}, *this, [](const TestPoint&) {});
  now_ = Time::zero();
  start(again);
  advance_to(10, again);
  EXPECT_EQ(first, told());
}

}  // namespace
}  // namespace kelvane_hub
