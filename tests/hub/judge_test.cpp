// What is said of a scenario's expectations, on a clock of the test's own.

#include "hub/testbench/judge.h"

#include <google/protobuf/text_format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <regex>

#include "hub/base/concat.h"
#include "hub/messages/catalogue.h"
#include "hub/scenario/scenario_file.h"
#include "hub/testbench/performance.h"
#include "hub/testbench/test_report.h"
#include "kelvane_api.pb.h"
#include "tests/golden.h"

namespace kelvane_hub {
namespace {

const std::string sensors =
    "sensors { data_type: 'wwan' suid { suid_low: 1 suid_high: 2 } }"
    "sensors { data_type: 'wwan_stream' suid { suid_low: 3 suid_high: 4 } }";

struct Asked {
  double at;  // seconds
  SessionId session;
  const char* request;  // a scenario_request
};

// The third begins scenario time.
constexpr Asked all_asked[] = {
    {0, 1, "suid_req { data_type: 'wwan' }"},
    {0, 1, "sensor: 'wwan' attr_req {}"},
    {0, 1, "sensor: 'wwan' on_change_config {}"},
    {5, 1, "sensor: 'wwan' sensor_config { report_voice_calls: true }"},
    {10, 1,
     "sensor: 'wwan' signal_strength_config { sub_id: 0 threshold_infos {"
     " ran: EUTRAN measurement_type: RSRP thresholds: [-110, -90] } }"},
    {12, 1, "sensor: 'wwan' sensor_config { report_voice_calls: true report_rrc_state_info: true }"},
    {15, 2, "sensor: 'wwan_stream' streaming_config { sample_rate: 5 }"},
};

class JudgeTest : public testing::Test, public Delivery {
 protected:
  void play(const std::string& steps, double speed = 1) {
    now_ = std::chrono::hours(1);
    begun_.reset();
    performance_.emplace(parse_scenario(sensors + steps, "test"), Pace{speed, {}}, *this,
                         [this](const TestPoint& point) {
                           told_ += concat(begun_ ? static_cast<double>((now_ - *begun_).count()) / 1e9 : 0, " ",
                                           point.name, ": ", point.unmet.empty() ? "met" : point.unmet, "\n");
                         });
  }

  void deliver(const Link&, const std::string&) override {}

  void send(SessionId session, suid sensor, std::uint32_t msg_id, const std::string& payload) {
    sns_client_request_msg envelope;
    envelope.set_msg_id(msg_id);
    envelope.mutable_request()->set_payload(payload);
    if (!begun_ && msg_id == on_change_config) begun_ = now_;
    performance_->simulator().handle_request({session, sensor}, envelope.SerializeAsString(), now_);
  }

  void ask(const Asked& asked) {
    advance_to(asked.at);
    scenario_request request;
    ASSERT_TRUE(google::protobuf::TextFormat::ParseFromString(asked.request, &request)) << asked.request;
    const auto& field = *scenario_request::descriptor()->FindFieldByNumber(request.what_case());
    const auto kind = std::ranges::find(request_kinds(), field.name(), &MessageKind::name);
    ASSERT_NE(kind, request_kinds().end()) << "every request that can be expected is one of the catalogue";
    const sns_suid_sensor lookup;
    suid sensor{lookup.suid_low(), lookup.suid_high()};
    if (request.has_sensor()) sensor = request.sensor() == "wwan" ? suid{1, 2} : suid{3, 4};
    send(asked.session, sensor, kind->id,
         scenario_request::GetReflection()->GetMessage(request, &field).SerializeAsString());
  }

  /// Seconds since the start of the scenario or, before that, of the hub.
  void advance_to(double seconds) {
    const Time end = begun_.value_or(Time::zero()) + std::chrono::round<Time>(ScenarioTime(seconds));
    for (auto due = performance_->next_due(); due && *due <= end; due = performance_->next_due()) {
      now_ = std::max(now_, *due);
      performance_->advance(now_);
    }
    now_ = std::max(now_, end);
  }

  std::string told() { return std::exchange(told_, ""); }

  std::optional<Performance> performance_;
  Time now_ = std::chrono::hours(1);

 private:
  std::optional<Time> begun_;  // when scenario time did
  std::string told_;
};

/// What a step is to be, and when (in seconds of the clock) what was said of it.
TEST_F(JudgeTest, WhatIsSaidOfEach) {
  const std::string thresholds =
      "signal_strength_config { sub_id: 0 threshold_infos { measurement_type: RSRP thresholds";
  const std::string steps[] = {
      // When: before the start, by the step, within seconds after it; at once, or when the time is up.
      "at: 0 expect { requests { suid_req { data_type: 'wwan' } } requests { attr_req {} } }",
      "at: 5 expect { requests { sensor_config {} } within: 2 }",
      "at: 4 expect { requests { sensor_config {} } }",
      "at: 4 expect { requests { sensor_config {} } within: 0.5 }",
      "at: 20 expect { name: 'a\\nb' requests { self_test_config { test_type: 1 } } }",
      "at: 0 expect { requests { get_cell_location_info {} } within: 7.5 }",
      // What: the fields that are given, what lists have among others, the sensor.
      "at: 20 expect { requests { sensor_config { report_rrc_state_info: true } } }",
      "at: 20 expect { requests { sensor_config { report_rrc_state_info: false } } }",
      "at: 20 expect { requests { " + thresholds + ": -90 } } } }",
      "at: 20 expect { requests { " + thresholds + ": -100 } } } }",
      "at: 20 expect { requests { sensor: 'wwan_stream' streaming_config {} } }",
      "at: 20 expect { requests { sensor: 'wwan_stream' sensor_config {} } }",
      // How often, which is known when the time is up; never; in which order.
      "at: 1 expect { requests { sensor_config {} } count: 2 within: 18 }",
      "at: 20 expect { requests { sensor_config { report_rrc_state_info: true } } count: 2 }",
      "at: 1 expect { requests { get_cell_location_info {} } never: true within: 2 }",
      "at: 1 expect { requests { get_cell_location_info {} } requests { sensor_config {} } never: true within: 9 }",
      "at: 20 expect { requests { attr_req {} } never: true }",
      "at: 20 expect { requests { attr_req {} } requests { streaming_config {} } in_order: true }",
      "at: 20 expect { requests { streaming_config {} } requests { attr_req {} } in_order: true }",
      "at: 20 expect { name: '' requests { attr_req {} } requests { attr_req {} } in_order: true }",
      // Scenario time stands still: at once, until it has come, or in vain.
      "at: 6 wait_for { requests { sensor_config {} } }",
      "at: 2 wait_for { name: 'both' clients: 2 requests { sensor_config { report_rrc_state_info: true } } }",
      "at: 2 wait_for { clients: 3 within: 20 }",
      "at: 2 wait_for { requests { get_cell_location_info {} } within: 4 }",
      // The scenario is not played so far.
      "at: 40 expect { requests { attr_req {} } }",
      "at: 40 wait_for { clients: 1 }",
  };
  std::string said;
  for (const std::string& step : steps) {
    play("steps { " + step + " }");
    for (const Asked& asked : all_asked) ask(asked);
    advance_to(30);
    performance_->judge().close();
    said += step + "\n  " + told();
  }
  cellscope::test::expect_golden("Expectations", said);
}

/// Orders lead to steps anew, or past them.
TEST_F(JudgeTest, EachIsToldOnce) {
  const std::string a = "attr_req {}: met\n", on = "on_change_config {}: met\n", calls = "sensor_config {}: expected ";
  const std::string skipped = "the scenario to come to 5.000 s, a seek has skipped it\n";
  const std::string ended = "the scenario to come to 5.000 s, it ended before\n";
  constexpr int next = -1, restart = -2, other_client = -3;  // or where to seek
  const std::pair<std::vector<int>, std::string> cases[] = {
      {{next, next}, a + on + calls + ended},
      {{next, next, 0, next, 9}, a + on + calls + skipped},
      {{next, 6},
       a + "on_change_config {}: expected the scenario to come to 2.000 s, a seek has skipped it\n" + calls + skipped},
      {{next, next, restart, next, next}, a + on + calls + ended},
      {{next, next, next, restart, next, next, next},
       a + on + calls +
           "sensor_config {} by 8.000 s, found none; the last request was on_change_config {} to wwan at 0.000 s by "
           "session 1\n"},
      {{next, other_client, next, next},
       a +
           "attr_req {}: expected attr_req {} by 1.000 s, found none; the last request was on_change_config {} to wwan "
           "at 0.000 s by session 1\n" +
           on + calls + ended},
  };
  for (const auto& [orders, expected] : cases) {
    play(
        "steps { at: 1 expect { requests { attr_req {} } } } steps { at: 2 wait_for { requests { on_change_config {} } "
        "} }"
        "steps { at: 5 expect { requests { sensor_config {} } within: 3 } } steps { at: 20 error { error: 4 } }");
    ask(all_asked[1]);
    ask(all_asked[2]);
    for (const int order : orders) {
      if (order == restart) performance_->restart(now_);
      if (order == other_client) {
        performance_->await_first_client(now_);
        ask(all_asked[2]);
      }
      if (order == next) performance_->timeline().skip(now_);
      if (order >= 0) performance_->seek(order, now_);
      advance_to(0);
    }
    performance_->judge().close();
    EXPECT_EQ(std::regex_replace(told(), std::regex("(^|\n)0 "), "$1"), expected);
  }
}

TEST_F(JudgeTest, ScenarioTimeStandsStillUntilWhatIsWaitedForHasCome) {
  play("steps { at: 2 wait_for { requests { sensor_config {} } } } steps { at: 4 expect { requests { attr_req {} } } }",
       2);
  ask(all_asked[2]);
  advance_to(4.5);
  EXPECT_EQ(performance_->timeline().at(now_).count(), 2);
  ask({4.5, 1, "sensor: 'wwan' sensor_config {}"});
  advance_to(5.25);
  EXPECT_EQ(performance_->timeline().at(now_).count(), 3.5);
  EXPECT_FALSE(performance_->is_over());
  EXPECT_EQ(told(), "4.5 sensor_config {}: met\n");
  advance_to(5.5);
  EXPECT_TRUE(performance_->is_over());
  EXPECT_EQ(told(),
            "5.5 attr_req {}: expected attr_req {} by 4.000 s, found none; the last request was "
            "sensor_config {} to wwan at 2.000 s by session 1\n");
}

TEST_F(JudgeTest, AsFastAsCanBeSecondsAreThoseOfTheClock) {
  play(
      "steps { at: 1000 wait_for { clients: 2 within: 3 } } steps { at: 9000 expect { requests { attr_req {} } within: "
      "2 } }",
      Pace::at_once);
  ask(all_asked[2]);
  advance_to(10);
  EXPECT_EQ(told(),
            "3 2 clients: expected 2 clients that have configured a sensor within 3 s at 1000.000 s, found 1\n"
            "5 attr_req {}: expected attr_req {} by 9002.000 s, found none; the last request was "
            "on_change_config {} to wwan at 0.000 s by session 1\n");
}

TEST_F(JudgeTest, ItIsKnownHowLongItMayTake) {
  const std::string steps =
      "steps { at: 1 wait_for { clients: 1 } } steps { at: 2 wait_for { clients: 2 within: 5 } }"
      "steps { at: 3 expect { requests { attr_req {} } within: 100 } }"
      "faults { delay: 3 } faults { late_attributes: 2 count: 2 } faults { sensor_gone { back_after: 7 } count: 1 }";
  for (const auto& [speed, seconds] : {std::pair(4.0, 113), {Pace::at_once, 188}}) {
    play(steps, speed);
    EXPECT_EQ(performance_->longest_wait(), seconds);
  }
}

TEST_F(JudgeTest, WhatNobodyKnowsIsARequestToo) {
  const std::pair<std::uint32_t, const char*> cases[] = {{999, "request 999 of 1 bytes"},
                                                         {report_registration, "request 641 of 1 bytes"}};
  for (const auto& [id, found] : cases) {
    play("steps { at: 1 expect { requests { sensor_config {} } } }");
    ask(all_asked[2]);
    send(3, {1, 2}, id, "\xff");
    advance_to(1);
    EXPECT_EQ(told(), std::string("1 sensor_config {}: expected sensor_config {} by 1.000 s, found ") +
                          (id == 999 ? "none; the last request was " : "") + found + " at 0.000 s by session 3\n");
  }
}

TEST_F(JudgeTest, AFloodIsJudgedAsFarAsThereIsRoom) {
  play("steps { at: 0 expect { requests { get_cell_location_info {} } never: true within: 1 } }");
  ask(all_asked[2]);
  for (int i = 0; i < 70; ++i) send(1, {1, 2}, 999, std::string(1 << 20, static_cast<char>(i)));
  EXPECT_EQ(told(),
            "0 all requests are judged: expected less than 64 MiB of them, found more at 0.000 s, the rest was "
            "not looked at\n");
}

const std::vector<TestPoint> points = {
    {"plain", ""},
    {"# <a> & \"b\"\\\xff\x01", "expected 'ü' < 2\n, found \"\xfe\xef\xbf\xbf\""},
};

TEST(TestReport, Tap) {
  EXPECT_EQ(to_tap(points),
            "TAP version 13\n"
            "1..2\n"
            "ok 1 - plain\n"
            "not ok 2 - \\# <a> & \"b\"\\\\\ufffd\x01\n"
            "  ---\n"
            "  message: \"expected '\\u00fc' < 2\\n, found \\\"\\ufffd\\uffff\\\"\"\n"
            "  ...\n");
}

TEST(TestReport, JUnit) {
  EXPECT_EQ(to_junit(points, "a&b", 1.5),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<testsuite name=\"a&amp;b\" tests=\"2\" failures=\"1\" time=\"1.500\">\n"
            "  <testcase name=\"plain\" classname=\"a&amp;b\"/>\n"
            "  <testcase name=\"# &lt;a> &amp; &quot;b&quot;\\\ufffd \" classname=\"a&amp;b\">\n"
            "    <failure message=\"expected 'ü' &lt; 2 , found &quot;\ufffd\ufffd&quot;\"/>\n"
            "  </testcase>\n"
            "</testsuite>\n");
}

}  // namespace
}  // namespace kelvane_hub
