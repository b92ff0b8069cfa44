// What the simulated hub answers and when, on a clock of the test's own.

#include "hub/simulator/simulator.h"

#include <gtest/gtest.h>

#include "hub/messages/catalogue.h"
#include "hub/scenario/scenario_file.h"
#include "hub/scenario/timeline.h"
#include "hub/testbench/explainer.h"
#include "hub/testbench/laggard.h"
#include "kelvane_api.pb.h"

namespace kelvane_hub {
namespace {

constexpr suid on_change{1, 2};
constexpr suid stream{3, 4};
const suid lookup{sns_suid_sensor().suid_low(), sns_suid_sensor().suid_high()};

const std::string sensors =
    "sensors { data_type: 'wwan' suid { suid_low: 1 suid_high: 2 } attributes { attr_id: 16 } }"
    "sensors { data_type: 'wwan_stream' suid { suid_low: 3 suid_high: 4 } }";

std::string lte(int at, int rsrp, const std::string& more = "sub: 0") {
  return "steps { at: " + std::to_string(at) + " cells { cells { timestamp: " + std::to_string(at) +
         " cell_type: 3 lte { signal_strength { rsrp: " + std::to_string(rsrp) + " } } } " + more + " } }";
}

/// A report as text: "1281 sub 0 -90", "130 error 1", "1280 verdict 2", …; "#2" in front if it is for session 2.
std::string describe(const sns_client_event_msg::sns_client_event& event) {
  const auto parsed = [&event](auto message) {
    EXPECT_TRUE(message.ParseFromString(event.payload()));
    return message;
  };
  const std::string id = std::to_string(event.msg_id()) + " ";
  switch (event.msg_id()) {
    case lookup_event:
      return id + std::to_string(parsed(sns_suid_event()).suids_size()) + " suids";
    case error_event:
      return id + "error " + std::to_string(parsed(sns_std_error_event()).error());
    case signal_strength_config_status:
      return id + "verdict " + std::to_string(parsed(mox_wwan_signal_strength_config_status()).error());
    case cells_event: {
      const auto info = parsed(Cells());
      const auto signal =
          info.cells_size() == 0 ? "none" : std::to_string(info.cells(0).lte().signal_strength().rsrp());
      return id + "sub " + std::to_string(info.sub()) + " " + signal;
    }
    case cell_location_event:
      return id + std::to_string(parsed(mox_wwan_get_cell_location_info_response()).cells_size()) + " subs";
    case voice_calls_event:
      return id + std::to_string(parsed(mox_wwan_event_voice_calls()).calls_size()) + " calls";
    default:
      return id + std::to_string(event.payload().size()) + " bytes";
  }
}

class SimulatorTest : public testing::Test, public Delivery {
 protected:
  void play(const std::string& steps, double speed = 1) {
    played_ = parse_scenario(sensors + steps, "test");
    timeline_.emplace(played_, Pace{speed, {}});
    simulator_.emplace(played_, *timeline_, *this);
    simulator_->watch(explainer_);
  }

  void deliver(const Link& to, const std::string& message) override {
    sns_client_event_msg parsed;
    ASSERT_TRUE(parsed.ParseFromString(message));
    EXPECT_EQ(std::pair(to.sensor.suid_low, to.sensor.suid_high),
              std::pair(parsed.suid().suid_low(), parsed.suid().suid_high()));
    received_ += (to.session == 1 ? "" : "#" + std::to_string(to.session) + " ") + describe(parsed.events(0)) + "\n";
  }

  void ask(suid sensor, std::uint32_t msg_id, const google::protobuf::Message& payload, SessionId session = 1) {
    sns_client_request_msg request;
    request.set_msg_id(msg_id);
    request.mutable_request()->set_payload(payload.SerializeAsString());
    simulator_->handle_request({session, sensor}, request.SerializeAsString(), now_);
  }

  void start(SessionId session = 1) { ask(on_change, on_change_config, sns_std_sensor_config(), session); }

  void start_stream(int rate, int mode = 0) {
    mox_wwan_streaming_sensor_config config;
    config.set_sample_rate(rate);
    if (mode != 0) config.set_report_mode(mode);
    ask(stream, streaming_config, config);
  }

  void set_thresholds(const std::vector<int>& thresholds, int sub = 0, SessionId session = 1) {
    mox_wwan_signal_strength_config config;
    config.set_sub_id(sub);
    auto& entry = *config.add_threshold_infos();
    entry.set_ran(EUTRAN);
    entry.set_measurement_type(RSRP);
    entry.set_enabled(true);
    for (const int threshold : thresholds) entry.add_thresholds(threshold);
    ask(on_change, signal_strength_config, config, session);
  }

  void register_for(bool voice, bool rrc, SessionId session = 1) {
    mox_wwan_sensor_config config;
    config.set_report_voice_calls(voice);
    config.set_report_rrc_state_info(rrc);
    ask(on_change, report_registration, config, session);
  }

  void advance_to(double seconds) {
    now_ = std::chrono::round<Time>(ScenarioTime(seconds));
    for (auto due = simulator_->next_due(); due && *due <= now_; due = simulator_->next_due())
      simulator_->advance(*due);
  }

  std::string received() { return std::exchange(received_, ""); }

  PackedScenario played_;
  std::optional<Timeline> timeline_;
  std::optional<Simulator> simulator_;
  std::string explained_;
  Explainer explainer_{[this](const std::string& line) { explained_ += line + "\n"; }};

 private:
  Time now_{};
  std::string received_;
};

TEST_F(SimulatorTest, ALookupIsAnsweredAfterATenthOfASecond) {
  play("");
  for (const char* type : {"wwan", "none such"}) {
    sns_suid_req request;
    request.set_data_type(type);
    ask(lookup, lookup_request, request);
  }
  advance_to(0.099);
  EXPECT_EQ(received(), "");
  advance_to(0.1);
  EXPECT_EQ(received(), "768 1 suids\n768 0 suids\n");
}

TEST_F(SimulatorTest, OtherRequestsAreAnsweredAtOnce) {
  play(lte(0, -90) + "steps { at: 9 cells { sub: 1 } }");
  ask(on_change, attribute_request, sns_std_request());
  ask(on_change, self_test_config, sns_physical_sensor_test_config());
  ask(on_change, cell_location_query, sns_std_request());
  ask(on_change, 999, sns_std_request());
  ask(lookup, attribute_request, sns_std_request());
  ask({5, 6}, attribute_request, sns_std_request());
  simulator_->handle_request({1, on_change}, "\xff", Time(0));
  EXPECT_EQ(received(), "128 4 bytes\n1025 2 bytes\n1285 2 subs\n130 error 1\n130 error 1\n130 error 3\n130 error 4\n");
}

TEST_F(SimulatorTest, OnChangeReportsEachChangeOnce) {
  play(lte(0, -90) + lte(0, -91) + lte(1, -91) + lte(2, -92) +
       "steps { at: 3 cells { cells { cell_type: 3 lte { } } } }" + "steps { at: 4 cells { cells { cell_type: 3 } } }" +
       lte(5, -80, "sub: 1"));
  advance_to(100);
  start();
  EXPECT_EQ(received(), "1281 sub 0 -90\n1281 sub 0 -91\n1281 sub 1 none\n");
  advance_to(101.5);
  EXPECT_EQ(received(), "") << "only the timestamp changed";
  start(2);
  EXPECT_EQ(received(), "#2 1281 sub 0 -91\n#2 1281 sub 1 none\n") << "a late joiner";
  simulator_->end_session(2);
  advance_to(200);
  EXPECT_EQ(received(), "1281 sub 0 -92\n1281 sub 0 0\n1281 sub 0 0\n1281 sub 1 -80\n");
}

TEST_F(SimulatorTest, StreamingHasItsRate) {
  const struct {
    int rate;
    int mode;
    const char* received;
  } cases[] = {
      {2, 0, "1281 sub 0 -90\n1281 sub 0 -90\n1281 sub 0 -91\n"},
      {0, 0, "1281 sub 0 -90\n1281 sub 0 -91\n"},
      {5, 2, "1281 sub 0 -90\n"},
      {-5, 0, "130 error 2\n"},
      {10001, 0, "130 error 2\n"},
  };
  for (const auto& [rate, mode, expected] : cases) {
    play(lte(0, -90) + lte(1, -91));
    advance_to(0);
    start_stream(rate, mode);
    advance_to(1.4);
    EXPECT_EQ(received(), expected) << rate << " in mode " << mode;
  }
}

TEST_F(SimulatorTest, StreamingAndOnChangeGoSideBySide) {
  play(lte(0, -90) + lte(1, -91));
  start(2);
  start_stream(1);
  advance_to(2);
  EXPECT_EQ(received(), "#2 1281 sub 0 -90\n1281 sub 0 -90\n#2 1281 sub 0 -91\n1281 sub 0 -91\n1281 sub 0 -91\n");
  start_stream(0);
  advance_to(9);
  EXPECT_EQ(received(), "") << "no longer so many times a second";
}

TEST_F(SimulatorTest, SpeedAndRepetition) {
  play(lte(0, -90) + lte(2, -91) + "repeat_after: 4", 2);
  start();
  advance_to(3.9);
  EXPECT_EQ(received(), "1281 sub 0 -90\n1281 sub 0 -91\n1281 sub 0 -90\n1281 sub 0 -91\n");
}

TEST_F(SimulatorTest, ItIsPlayedAsOftenAndAsLongAsItSays) {
  play(lte(1, -90) + lte(2, -91) + "start: 1.5 duration: 2 repeat_after: 4 repeat: 2");
  start();
  advance_to(5.9);
  EXPECT_EQ(received(), "1281 sub 0 -90\n1281 sub 0 -91\n1281 sub 0 -90\n1281 sub 0 -91\n");
  EXPECT_FALSE(timeline_->ended());
  advance_to(6);
  EXPECT_TRUE(timeline_->ended());
}

TEST_F(SimulatorTest, CellsWithoutATimestampAreGivenOne) {
  const std::string steps =
      "steps { at: 0.3 cells { cells {} cells { timestamp: 9 } cells { timestamp_type: 0 } } } repeat_after: 1 ";
  std::string timestamps;
  struct Notes final : Watcher {
    explicit Notes(std::string& to) : text(to) {}
    void on_step(const scenario_step& step, Time) override { text += step.cells().ShortDebugString() + "\n"; }
    std::string& text;
  } notes(timestamps);
  double end = 0;
  for (const char* fill : {"", "fill_timestamps: false"}) {
    play(steps + fill, 7);
    simulator_->watch(notes);
    start();
    advance_to(end += 0.25);
  }
  EXPECT_EQ(timestamps,
            "cells { timestamp: 300000000 timestamp_type: 1 } cells { timestamp: 9 } cells { timestamp: 300000000 "
            "timestamp_type: 0 }\n"
            "cells { timestamp: 1300000000 timestamp_type: 1 } cells { timestamp: 9 } cells { timestamp: 1300000000 "
            "timestamp_type: 0 }\n"
            "cells { } cells { timestamp: 9 } cells { timestamp_type: 0 }\n"
            "cells { } cells { timestamp: 9 } cells { timestamp_type: 0 }\n");
}

TEST_F(SimulatorTest, CallsAndRrcStatesGoToThoseWhoRegistered) {
  play(
      "steps { at: 0 voice_calls { } } steps { at: 1 voice_calls { calls { } } } steps { at: 1 rrc_states { sub: 0 } "
      "}");
  register_for(true, false);
  ask(stream, report_registration, [] {
    mox_wwan_sensor_config config;
    config.set_report_voice_calls(true);
    return config;
  }());
  EXPECT_EQ(received(), "");
  start();
  EXPECT_EQ(received(), "1283 0 calls\n1281 sub 0 none\n");
  advance_to(1);
  EXPECT_EQ(received(), "1283 1 calls\n");
  register_for(true, true, 2);
  EXPECT_EQ(received(), "#2 1283 1 calls\n#2 1284 2 bytes\n");
}

TEST_F(SimulatorTest, LookupsOfASessionAreBounded) {
  play("");
  for (int i = 0; i < 101; ++i) ask(lookup, lookup_request, sns_suid_req());
  EXPECT_EQ(received(), "130 error 5\n");
  sns_suid_req request;
  request.set_data_type(std::string(1001, 'x'));
  ask(lookup, lookup_request, request);
  EXPECT_EQ(received(), "130 error 2\n");
}

TEST_F(SimulatorTest, OthersGetTheirTurnHoweverMuchIsDue) {
  std::string steps;
  for (int i = 1; i <= 120; ++i) steps += lte(0, -i);
  play(steps + "steps { at: 1 cells { sub: 1 } }");
  start();
  const auto count = [this] { return std::ranges::count(received(), '\n'); };
  EXPECT_EQ(count(), 50);
  simulator_->advance({});
  EXPECT_EQ(count(), 50);
  simulator_->advance({});
  EXPECT_EQ(count(), 21) << "the other subscription's cells are known when all is done";
}

TEST_F(SimulatorTest, WhoCannotFollowSaysSoOnce) {
  std::vector<std::string> said;
  Laggard laggard([&said](const std::string& line) { said.push_back(line); });
  play(lte(0, -90) + lte(5, -91) + lte(5, -92) + lte(30, -93));
  simulator_->watch(laggard);
  start();
  for (const int second : {8, 33}) simulator_->advance(std::chrono::seconds(second));
  const std::string end = " s behind: steps are played late, none is left out; periodic reports that were missed are";
  EXPECT_EQ(said, (std::vector{"3" + end, "3" + end})) << "once at a time";
}

TEST_F(SimulatorTest, OtherEventsGoToEveryConfiguredSessionOnce) {
  play(
      "steps { at: 1 highspeed_rail { lte: true } } steps { at: 1 error { error: 7 } }"
      "steps { at: 1 raw { msg_id: 1286 payload: 'abc' } }");
  start();
  start_stream(0);
  start(2);
  register_for(true, true, 3);
  (void)received();
  advance_to(1);
  EXPECT_EQ(received(), "1282 2 bytes\n#2 1282 2 bytes\n130 error 7\n#2 130 error 7\n1286 3 bytes\n#2 1286 3 bytes\n");
}

TEST_F(SimulatorTest, ThresholdsAreASessionsOwn) {
  play(lte(0, -90) + lte(1, -94) + lte(2, -96) + lte(3, -97) + lte(3, -80, "sub: 1") + lte(4, -90));
  start();
  start(2);
  (void)received();
  set_thresholds({-95});
  set_thresholds({-95, -100}, 0);
  set_thresholds({-95}, 2);
  EXPECT_EQ(received(), "1280 verdict 0\n1280 verdict 6\n1280 verdict 1\n") << "a refused one changes nothing";
  advance_to(3);
  EXPECT_EQ(received(),
            "#2 1281 sub 0 -94\n1281 sub 0 -96\n#2 1281 sub 0 -96\n#2 1281 sub 0 -97\n"
            "1281 sub 1 -80\n#2 1281 sub 1 -80\n");
  mox_wwan_signal_strength_config empty;
  empty.set_sub_id(0);
  ask(on_change, signal_strength_config, empty);
  simulator_->end_session(2);
  advance_to(4);
  EXPECT_EQ(received(), "1280 verdict 0\n1281 sub 0 -90\n");
  EXPECT_NE(explained_.find("session 1: configuration refused: sub_id is 2, expected 0 or 1\n"), std::string::npos)
      << explained_;
  EXPECT_NE(explained_.find("session 1, sub 0, 1.000 s: not reported: cell 1 LTE RSRP -90 -> -94: crosses no threshold "
                            "(-95), hysteresis 0 dB\n"),
            std::string::npos)
      << explained_;
}

}  // namespace
}  // namespace kelvane_hub
