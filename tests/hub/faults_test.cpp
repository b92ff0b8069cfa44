// What comes through when things go wrong on purpose, on a clock of the test's own.

#include "hub/testbench/faults.h"

#include <gtest/gtest.h>

#include <sstream>

#include "hub/base/input_error.h"
#include "hub/messages/catalogue.h"
#include "hub/scenario/scenario_file.h"
#include "hub/testbench/explainer.h"
#include "hub/testbench/laggard.h"
#include "hub/testbench/performance.h"
#include "tests/golden.h"

namespace kelvane_hub {
namespace {

constexpr suid sensor{1, 2};
const suid lookup{sns_suid_sensor().suid_low(), sns_suid_sensor().suid_high()};

/// Errors 1 to `count`, a second apart, with `faults`.
std::string errors(int count, const std::string& faults) {
  std::string text = "sensors { data_type: 'wwan' suid { suid_low: 1 suid_high: 2 } }" + faults;
  for (int i = 1; i <= count; ++i) {
    text += "steps { at: " + std::to_string(i) + " error { error: " + std::to_string(i) + " } }";
  }
  return text;
}

/// "130:8 3" for event 130 with these bytes.
std::string text_of(const sns_client_event_msg::sns_client_event& event) {
  std::string text = std::to_string(event.msg_id());
  if (event.payload().size() > 1000) return text + " long";
  char separator = ':';
  for (const char byte : event.payload()) {
    text += std::exchange(separator, ' ') + std::to_string(static_cast<unsigned char>(byte));
  }
  return text;
}

/// A hub to which sessions come and of which all is noted: "1 130:8 3, ", the session in front.
class Bench final : Delivery, Sessions {
 public:
  explicit Bench(const std::string& scenario, std::optional<std::uint64_t> seed = {})
      : performance_(parse_scenario(scenario, "test"), {}, *this, [](const TestPoint&) {}, {seed, this}) {
    performance_.faults().watch(explainer_);
  }

  void ask(std::uint32_t msg_id, SessionId session = 1, suid of = sensor, const std::string& payload = "") {
    sns_client_request_msg request;
    request.set_msg_id(msg_id);
    request.mutable_request()->set_payload(payload);
    performance_.handle_request({session, of}, request.SerializeAsString(), now_);
  }

  /// Moment for moment, or all at once as on a busy machine.
  void advance(double seconds, bool is_busy = false) {
    now_ += std::chrono::round<Time>(std::chrono::duration<double>(seconds));
    for (auto due = performance_.next_due(); due && *due <= now_; due = performance_.next_due()) {
      performance_.advance(is_busy ? now_ : *due);
    }
  }

  void restart() { performance_.restart(now_); }

  std::string received(SessionId session = 1) { return std::exchange(received_[session], ""); }
  const std::string& explained() const { return explained_; }
  Performance& performance() { return performance_; }

 private:
  void deliver(const Link& to, const std::string& bytes) override {
    sns_client_event_msg message;
    ASSERT_TRUE(message.ParseFromString(bytes));
    received_[to.session] += text_of(message.events(0)) + ", ";
  }
  void cut(SessionId session) override { received_[session] += "cut"; }
  void cut_all() override { received_[1] += "all cut"; }

  Time now_ = std::chrono::hours(1);
  std::map<SessionId, std::string> received_;
  std::string explained_;
  Explainer explainer_{[this](const std::string& line) { explained_ += line + "\n"; }};
  Performance performance_;
};

TEST(Faults, StrikeWhatTheySayAndNothingElse) {
  const std::string all = "130:8 1, 130:8 2, 130:8 3, 130:8 4, ";
  const std::pair<const char*, std::string> cases[] = {
      {"", all},
      {"faults { msg_id: 130 drop {} }", ""},
      {"faults { msg_id: 130 sensor: 'wwan' after: 1 count: 2 drop {} }", "130:8 1, 130:8 4, "},
      {"faults { msg_id: 1283 drop {} } faults { direction: REQUEST msg_id: 641 drop {} }", all},
      {"faults { session: 2 drop {} }", all},
      {"faults { msg_id: 130 probability: 0 drop {} }", all},
      {"faults { msg_id: 130 after: 1 count: 1 delay: 1.5 }", "130:8 1, 130:8 3, 130:8 2, 130:8 4, "},
      {"faults { msg_id: 130 count: 1 duplicate {} }", "130:8 1, 130:8 1, 130:8 2, 130:8 3, 130:8 4, "},
      {"faults { msg_id: 130 reorder {} }", "130:8 2, 130:8 1, 130:8 4, 130:8 3, "},
      {"faults { msg_id: 130 after: 3 reorder {} }", "130:8 1, 130:8 2, 130:8 3, "},
      {"faults { msg_id: 130 truncate: 1 }", "130:8, 130:8, 130:8, 130:8, "},
      {"faults { msg_id: 130 count: 1 truncate: 3 }", "130, 130:8 2, 130:8 3, 130:8 4, "},
      {"faults { msg_id: 130 count: 1 unknown_id: 9 }", "9:8 1, 130:8 2, 130:8 3, 130:8 4, "},
      {"faults { msg_id: 130 after: 2 cut {} }", "130:8 1, 130:8 2, cutcut"},
      {"faults { msg_id: 130 after: 3 hub_restart {} }", "130:8 1, 130:8 2, 130:8 3, all cut"},
      {"faults { msg_id: 130 count: 1 duplicate {} } faults { msg_id: 130 count: 1 delay: 1.5 }",
       "130:8 2, 130:8 1, 130:8 1, 130:8 3, 130:8 4, "},
  };
  for (const auto& [faults, expected] : cases) {
    for (const bool is_busy : {false, true}) {
      Bench bench(errors(4, faults));
      bench.ask(on_change_config);
      EXPECT_EQ(bench.received(), "1281:16 0, ");
      bench.advance(5, is_busy);
      EXPECT_EQ(bench.received(), expected) << faults << (is_busy ? ", busy" : "");
    }
  }
}

TEST(Faults, StrikeRequests) {
  struct Case {
    const char* faults;
    const char* received;
  };
  const Case cases[] = {
      {"", "1025:16 0, 128, 1281:16 0, "},
      {"faults { direction: REQUEST msg_id: 515 drop {} }", "128, 1281:16 0, "},
      {"faults { direction: REQUEST msg_id: 515 delay: 2 }", "128, 1281:16 0, 1025:16 0, "},
      {"faults { direction: REQUEST count: 1 reorder {} }", "128, 1025:16 0, 1281:16 0, "},
      {"faults { direction: REQUEST msg_id: 1 duplicate {} }", "1025:16 0, 128, 128, 1281:16 0, "},
      {"faults { direction: REQUEST msg_id: 515 unknown_id: 3 }", "130:8 1, 128, 1281:16 0, "},
      {"faults { direction: REQUEST msg_id: 515 unknown_field: 9 }", "1025:16 0, 128, 1281:16 0, "},
      {"faults { msg_id: 515 refusal: 9 }", "130:8 9, 128, 1281:16 0, "},
      {"faults { late_attributes: 2 }", "1025:16 0, 1281:16 0, 128, "},
      {"faults { direction: REQUEST msg_id: 1 sensor_gone {} }", "1025:16 0, 130:8 3, 130:8 3, "},
      {"faults { direction: REQUEST msg_id: 1 sensor_gone { back_after: 1 } }", "1025:16 0, 130:8 3, 1281:16 0, "},
  };
  for (const auto& [faults, received] : cases) {
    Bench bench(errors(0, faults));
    bench.ask(self_test_config);
    bench.ask(attribute_request);
    bench.advance(1);
    bench.ask(on_change_config);
    bench.advance(5);
    EXPECT_EQ(bench.received(), received) << faults;
  }
}

TEST(Faults, StrikeLookups) {
  const std::string wwan = "\x0a\x04wwan";
  const std::string name = "10 4 119 119 97 110";
  const std::pair<const char*, std::string> cases[] = {
      {"", "768:" + name + " 18 4 8 1 16 2, "},
      {"faults { no_answer {} }", ""},
      {"faults { no_answer {} sensor: 'wwan' count: 1 after: 1 }", "768:" + name + " 18 4 8 1 16 2, "},
      {"faults { msg_id: 768 sensor_gone { back_after: 9 } }", "768:" + name + ", "},
      {"faults { msg_id: 768 sensor: 'wwan' drop {} }", ""},
  };
  for (const auto& [faults, received] : cases) {
    Bench bench(errors(0, faults));
    bench.ask(lookup_request, 1, lookup, wwan);
    bench.advance(1);
    EXPECT_EQ(bench.received(), received) << faults;
  }
}

constexpr const char* chance =
    "faults { msg_id: 130 probability: 0.4 drop {} }"
    "faults { msg_id: 130 probability: 0.5 corrupt: 1 }"
    "faults { msg_id: 130 probability: 0.3 delay: 2.5 }"
    "faults { msg_id: 130 probability: 0.2 unknown_field: 99 }"
    "faults { direction: REQUEST msg_id: 515 delay: 70.2 }";

/// What comes to session 1, beside `others`; of so many steps not all are played in one turn.
std::string play(std::optional<std::uint64_t> seed, SessionId others = 0, bool is_busy = false) {
  Bench bench(errors(80, chance), seed);
  for (SessionId session = 1; session <= 1 + others; ++session) bench.ask(on_change_config, session);
  bench.ask(self_test_config);
  bench.advance(90, is_busy);
  return bench.received();
}

TEST(Faults, TheSameSeedDoesTheSameWhateverTheLoad) {
  const std::string once = play(7);
  EXPECT_EQ(play(7), once);
  EXPECT_EQ(play(7, 3), once);
  EXPECT_EQ(play(7, 0, true), once);
  EXPECT_NE(play(8), once);
  EXPECT_EQ(play({}), play(0));
  Bench own(errors(80, std::string(chance) + " seed: 7 "));
  own.ask(on_change_config);
  own.ask(self_test_config);
  own.advance(90);
  EXPECT_EQ(own.received(), once);
}

TEST(Faults, OtherSessionsAreUntouched) {
  const std::string faults = "faults { session: 1 msg_id: 130 delay: 1.5 } faults { session: 3 msg_id: 130 cut {} }";
  Bench bench(errors(3, faults));
  for (SessionId session = 1; session <= 3; ++session) bench.ask(on_change_config, session);
  bench.advance(9);
  EXPECT_EQ(bench.received(2), "1281:16 0, 130:8 1, 130:8 2, 130:8 3, ");
}

TEST(Faults, ASessionThatEndsGetsNothingThatIsLate) {
  Bench bench(errors(2, "faults { msg_id: 130 delay: 5 } faults { direction: REQUEST msg_id: 1 delay: 5 }"));
  bench.ask(on_change_config);
  bench.ask(attribute_request);
  bench.advance(3);
  EXPECT_FALSE(bench.performance().is_over());
  bench.performance().end_session(1);
  bench.advance(9);
  EXPECT_EQ(bench.received(), "1281:16 0, ");
  EXPECT_TRUE(bench.performance().is_over());
}

TEST(Faults, CanBeAddedAndEndAndAreExplained) {
  Bench bench(errors(5, ""));
  bench.ask(on_change_config);
  bench.advance(1);
  scenario_fault fault;
  fault.set_delay(1.5);
  bench.performance().faults().add(fault);
  bench.advance(1);
  bench.performance().faults().clear();
  bench.advance(1);
  fault.mutable_sensor_gone();
  bench.performance().faults().add(fault);
  bench.advance(1);
  EXPECT_EQ(bench.received(), "1281:16 0, 130:8 1, 130:8 3, 130:8 2, 130:8 4, ");
  EXPECT_EQ(bench.explained(),
            "session 1, event 3 (error_event): fault 1: 1.5 s late\n"
            "session 1, event 5 (error_event): fault 2: the sensor wwan is gone\n");
  bench.ask(attribute_request);
  EXPECT_EQ(bench.received(), "130:8 3, ");
  bench.performance().faults().clear();
  bench.ask(attribute_request);
  EXPECT_EQ(bench.received(), "128, ");
}

TEST(Faults, WhatWaitsHasItsBoundsAndTheRestComesAtOnce) {
  const std::string event =
      "steps { at: 1 raw { msg_id: 9 payload: '" + std::string(std::size_t{20} << 20, 'x') + "' } }";
  for (const std::string fault : {"delay: 9", "reorder {}"}) {
    Bench bench(errors(0, "faults { msg_id: 9 " + fault + " }" + event));
    std::string said;
    Laggard laggard([&said](const std::string& line) { said += line + "\n"; });
    bench.performance().faults().watch(laggard);
    for (SessionId session = 1; session <= 5; ++session) bench.ask(on_change_config, session);
    bench.advance(1);
    for (SessionId session = 1; session <= 5; ++session) {
      EXPECT_EQ(bench.received(session), session <= 3 ? "1281:16 0, " : "1281:16 0, 9 long, ") << fault << session;
    }
    EXPECT_EQ(said, "64 MiB of messages that faults delay wait already: the next ones come at once\n");
  }
}

TEST(Faults, MistakesAreNamedWithTheirPlace) {
  const char* const faults[] = {
      "",
      "probability: 1.5 drop {}",
      "probability: nan drop {}",
      "count: 0 drop {}",
      "session: 0 drop {}",
      "msg_id: 515 drop {}",
      "msg_id: 9 drop {}",
      "direction: REQUEST msg_id: 130 drop {}",
      "sensor: 'none' drop {}",
      "direction: EVENT refusal: 1",
      "no_answer {} msg_id: 514",
      "late_attributes: 1 msg_id: 130",
      "late_attributes: 0",
      "delay: -1",
      "sensor_gone { back_after: 0 }",
      "truncate: 0",
      "corrupt: 0",
      "unknown_id: 1281",
      "msg_id: 130 unknown_field: 1",
      "unknown_field: 536870912",
  };
  std::string mistakes;
  for (const std::string fault : faults) {
    mistakes += fault + "\n  ";
    try {
      (void)parse_scenario("faults: [{ drop {} },\n { " + fault + " }] steps { at: 0 raw { msg_id: 5 } }", "x");
    } catch (const InputError& error) {
      mistakes += error.what();
    }
    mistakes += "\n";
  }
  cellscope::test::expect_golden("FaultMistakes", mistakes);
  EXPECT_NE(describe(parse_scenario("faults { drop {} msg_id: 5 } steps { at: 0 raw { msg_id: 5 } }", "x"))
                .find("\nfaults: 1, drop 1\n"),
            std::string::npos);
}

TEST(Faults, SensorsThatAreGoneComeBackThoughMoreIsLost) {
  std::string events;
  for (const char* const second : {"1", "2", "3"})
    events += std::string("steps { at: ") + second + " raw { msg_id: 9 } }";
  Bench bench(errors(0, "faults { msg_id: 9 sensor_gone { back_after: 1.5 } }" + events));
  bench.ask(on_change_config);
  bench.advance(2.7);
  bench.ask(attribute_request);
  bench.advance(1);
  bench.ask(attribute_request);
  EXPECT_EQ(bench.received(), "1281:16 0, 128, 130:8 3, ") << "the third event strikes again";
}

TEST(Faults, SoManyBytesAreOthersAsIsSaid) {
  const std::pair<const char*, std::size_t> cases[] = {{"3", 997}, {"999", 1}, {"1000", 0}, {"4294967295", 0}};
  const std::string event = "steps { at: 1 raw { msg_id: 9 payload: '" + std::string(1000, 'x') + "' } }";
  for (const auto& [count, as_before] : cases) {
    Bench bench(errors(0, std::string("faults { msg_id: 9 corrupt: ") + count + " }" + event));
    bench.ask(on_change_config);
    bench.advance(1);
    std::istringstream received(bench.received());
    const std::string before = std::to_string(int{'x'});
    std::size_t same = 0;
    for (std::string byte; received >> byte;) same += byte.find(before) != std::string::npos ? 1 : 0;
    EXPECT_EQ(same, as_before) << count;
  }
}

TEST(Faults, AScenarioThatBeginsAnewHasItsSensorsBackAndNothingLate) {
  Bench bench(
      errors(3, "faults { msg_id: 130 count: 1 delay: 9 } faults { msg_id: 130 after: 1 count: 1 sensor_gone {} }"));
  bench.ask(on_change_config);
  bench.advance(2.5);
  (void)bench.received();
  bench.ask(attribute_request);
  EXPECT_EQ(bench.received(), "130:8 3, ") << "there is no such sensor";
  bench.restart();
  bench.ask(attribute_request);
  EXPECT_EQ(bench.received().substr(0, 3), "128");
  bench.advance(3);
  EXPECT_EQ(bench.received(), "130:8 1, 130:8 2, 130:8 3, ");
}

}  // namespace
}  // namespace kelvane_hub
