// Discovery, connecting, reconnecting.

#include "session/connection.h"

#include "session/suid_discovery.h"
#include "tests/client/fixture.h"

namespace cellscope::test {
namespace {

TEST_F(ClientTest, ALookupConnectsAndAsksForWhatTheSensorNeeds) {
  // Stream type and sample rate.
  const std::pair<int, int> starts[] = {{1, 0}, {0, -5}, {2, 0}, {1, -1}, {1, -4}};
  for (const auto& [type, rate] : starts) {
    start_anew();
    platform().attributes = stream_type_attribute(type);
    sample_rate = rate;
    EXPECT_EQ(getSuid("wwan_stream"), 1);
    EXPECT_EQ(sensor_suid.suid_low, 7U);
    EXPECT_EQ(sensor_suid.suid_high, 9U);
    record("stream type " + std::to_string(type) + ", rate " + std::to_string(rate));
  }
}

/// What goes wrong, and what getSuid returns.
struct LookupFailure {
  const char* name;
  int result;
  void (*script)();
};

TEST_F(ClientTest, FailuresOfALookupArePrintedThoseOfTheSensorsSessionDiagnosed) {
  const LookupFailure failures[] = {
      {"no session", 0, [] { platform().no_session = true; }},
      {"open", 0, [] { platform().open_result = -1; }},
      {"send", 0, [] { platform().send_result = 5; }},
      {"other results of open, registration", 1,
       [] { platform().affected = 1, platform().open_result = 42, platform().register_result = 1; }},
      {"no session for the sensor", 1, [] { platform().affected = 2, platform().no_session = true; }},
      {"open of the sensor's session", 1, [] { platform().affected = 2, platform().open_result = -1; }},
      {"registration with the sensor", 1,
       [] { platform().affected = 2, platform().register_result = 1, sample_rate = -2; }},
  };
  for (const auto& failure : failures) {
    start_anew();
    failure.script();
    EXPECT_EQ(getSuid("wwan"), failure.result) << failure.name;
    record(std::string(failure.name) + ": sensor " + std::to_string(sensor_suid.suid_low));
  }
}

TEST_F(ClientTest, AnswersToALookup) {
  sns_suid_event no_text;
  no_text.set_data_type("\xff\xfe");
  const std::pair<const char*, std::vector<std::string>> answers[] = {
      {"two sensors", {suid_answer({{1, 2}, {3, 18446744073709551615U}})}},
      {"other events and empty answers before",
       {buffer_of({{128, ""}}), "\xff garbage", suid_answer({}), suid_answer({{7, 9}})}},
      {"a data type that is no text", {buffer_of({{768, no_text.SerializeAsString()}}), suid_answer({{7, 9}})}},
      {"nothing, then a sensor", {buffer_of({{768, sns_suid_event().SerializeAsString()}}), suid_answer({{7, 9}})}},
  };
  for (const auto& [name, buffers] : answers) {
    start_anew();
    sample_rate = -1;
    platform().lookup_answers = buffers;
    EXPECT_EQ(getSuid("wwan"), 1);
    note("suids: " + std::to_string(suid_list.size()) + ", first " + std::to_string(sensor_suid.suid_low));
    record(name);
  }
}

TEST_F(ClientTest, ASecondAnswerDoesNotBlockTheEnd) {
  sns_client_event_msg twice;
  for (int i = 0; i < 2; ++i) twice.MergeFromString(suid_answer({{7, 9}}));
  platform().lookup_answers = {twice.SerializeAsString()};
  EXPECT_EQ(getSuid("wwan"), 1);
}

TEST_F(ClientTest, WithoutSensorsNothingIsConnected) {
  suid_cb("wwan");
  record();
}

TEST_F(ClientTest, ReconnectsToTheSensorOfTheDataType) {
  const std::pair<const char*, bool> reconnects[] = {
      {"wwan", false}, {"wwan_stream", false}, {"wwan_stream", true}, {"WWAN", false}};
  for (const auto& [type, queries] : reconnects) {
    start_anew();
    data_type = type;
    query_mode = queries;
    sample_rate = 5;
    platform().attributes = stream_type_attribute(data_type == "wwan" ? 1 : 0);
    reconnect_to_sensor();
    EXPECT_EQ(query_mode, queries);
    record(std::string(type) + (queries ? ", query mode" : "") + ": rate " + std::to_string(sample_rate));
  }
}

}  // namespace
}  // namespace cellscope::test
