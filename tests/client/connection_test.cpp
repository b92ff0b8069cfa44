// Discovery, connecting, reconnecting.

#include "session/connection.h"

#include "session/suid_discovery.h"
#include "tests/client/fixture.h"

namespace cellscope::test {
namespace {

constexpr const char* lookup_suid_text = "7813586385833569585 7738710790402630961";

std::string lookup_calls() { return std::string("open 1\nregister 1: ") + lookup_suid_text + "\nsend 1: 512\n"; }

const std::string one_sensor_found =
    "get Suid\nReceived SUIDs for wwan, number of suids received = 1\n"
    "\nSUID received - suid_low=7 suid_high=9";

constexpr const char* list_created = "\nSensor suid list created\n";

// The request after the attributes and the pause, by stream type and sample rate.
struct StartCase {
  std::int64_t stream_type;
  std::int32_t sample_rate;
  const char* first_requests;
  const char* diagnostics;
};

void PrintTo(const StartCase& start, std::ostream* out) {
  *out << "stream type " << start.stream_type << ", rate " << start.sample_rate;
}

class Start : public ClientTest, public testing::WithParamInterface<StartCase> {};

TEST_P(Start, SendsWhatTheSensorNeeds) {
  platform().attributes = stream_type_attribute(GetParam().stream_type);
  sample_rate = GetParam().sample_rate;
  EXPECT_EQ(getSuid("wwan"), 1);
  EXPECT_EQ(calls(), lookup_calls() + "open 2\nregister 2: 7 9\nregister 2: 7 9\n" + GetParam().first_requests +
                         "close 1\ndelete 1\n");
  EXPECT_EQ(printed(), one_sensor_found + list_created);
  EXPECT_EQ(diagnosed(), GetParam().diagnostics);
  EXPECT_EQ(sensor_suid.suid_low, 7U);
  EXPECT_EQ(sensor_suid.suid_high, 9U);
}

INSTANTIATE_TEST_SUITE_P(
    All, Start,
    testing::Values(StartCase{1, 0, "send 2: 1\nsleep 3\nsend 2: 514\n",
                              "event_cb:666, attribute ID :16\n"
                              "send_onchange_config_req:814, sending on change config request\n"},
                    StartCase{0, -5, "send 2: 1\nsleep 3\nsend 2: 642\n",
                              "event_cb:666, attribute ID :16\n"
                              "send_config_req:845, sending on normal config request and sample rate -5\n"},
                    StartCase{2, 0, "send 2: 1\nsleep 3\n",
                              "event_cb:666, attribute ID :16\nsuid_cb:953, not supported format\n"},
                    StartCase{1, -1, "send 2: 515\n", "send_selftest_req:772, sending self test request\n"},
                    StartCase{1, -4, "send 2: 515\n", "send_selftest_req:772, sending self test request\n"}));

TEST_F(ClientTest, ADataTypeThatIsNoTextPrintsAsItCame) {
  sns_suid_event answer;
  answer.set_data_type("\xff\xfe");
  platform().lookup_answers = {buffer_of({{768, answer.SerializeAsString()}}), suid_answer({{7, 9}})};
  getSuid("wwan");
  EXPECT_TRUE(printed().starts_with("get Suid\nReceived SUIDs for \xff\xfe, number of suids received = 0\n"));
}

TEST_F(ClientTest, TheLookupNamesItsDataType) {
  getSuid("wwan_stream");
  const std::string all = requests();
  EXPECT_EQ(all.substr(0, all.find('\n')), std::string("512 suid ") + lookup_suid_text +
                                               " susp 0 1 client 5 body payload "
                                               "0a0b7777616e5f73747265616d10011801");
}

// A failure of the lookup session ends getSuid without a wait.
struct LookupFailure {
  const char* name;
  void (*script)();
  const char* calls_after;  // "open 1" is common to all but the first
  const char* printed;
};

TEST_F(ClientTest, LookupFailuresArePrinted) {
  const LookupFailure failures[] = {
      {"no session", [] { platform().no_session = true; }, "", "get Suidfailed to create session for suid discovery"},
      {"open", [] { platform().open_result = -1; }, "open 1\ndelete 1\n",
       "get Suidfailed to open ISession for suid discovery"},
      {"send", [] { platform().send_result = 5; },
       "open 1\nregister 1: 7813586385833569585 7738710790402630961\nsend 1: 512\ndelete 1\n",
       "get SuidError in sending suid discovery request"},
  };
  for (const auto& failure : failures) {
    TearDown();
    SetUp();
    failure.script();
    EXPECT_EQ(getSuid("wwan"), 0) << failure.name;
    EXPECT_EQ(calls(), failure.calls_after) << failure.name;
    EXPECT_EQ(printed(), failure.printed) << failure.name;
    EXPECT_EQ(diagnosed(), "") << failure.name;
  }
}

TEST_F(ClientTest, SensorSessionFailuresAreDiagnosed) {
  const struct {
    void (*script)();
    const char* diagnosed;
  } failures[] = {
      {[] { platform().no_session = true; }, "suid_cb:910, failed to create session for suid discovery\n"},
      {[] { platform().open_result = -1; }, "suid_cb:917, failed to open ISession for suid discovery\n"},
      {[] { platform().register_result = 1, sample_rate = -2; },
       "suid_cb:923, all callbacks are null, no need to register it\n"
       "send_selftest_req:772, sending self test request\n"},
  };
  for (const auto& failure : failures) {
    TearDown();
    SetUp();
    platform().affected = 2;
    failure.script();
    EXPECT_EQ(getSuid("wwan"), 1);
    EXPECT_EQ(diagnosed(), failure.diagnosed);
  }
}

TEST_F(ClientTest, OtherOpenResultsAndAFailedRegistrationDoNotStopTheLookup) {
  platform().affected = 1;
  platform().open_result = 42;
  platform().register_result = 1;
  EXPECT_EQ(getSuid("wwan"), 1);
  const std::string out = printed();
  EXPECT_EQ(out.substr(0, out.find('\n')), "get Suidall callbacks are null, no need to register it");
}

TEST_F(ClientTest, TheFirstOfSeveralSensorsIsConnected) {
  platform().lookup_answers = {suid_answer({{1, 2}, {3, 18446744073709551615U}})};
  getSuid("wwan");
  EXPECT_EQ(printed(), std::string("get Suid\nReceived SUIDs for wwan, number of suids received = 2\n"
                                   "\nSUID received - suid_low=1 suid_high=2"
                                   "\nSUID received - suid_low=3 suid_high=18446744073709551615") +
                           list_created);
  EXPECT_EQ(suid_list.size(), 2U);
  EXPECT_EQ(sensor_suid.suid_low, 1U);
}

TEST_F(ClientTest, OtherEventsAndEmptyAnswersAreNoAnswer) {
  platform().lookup_answers = {buffer_of({{128, ""}}), "\xff garbage", suid_answer({}), suid_answer({{7, 9}})};
  getSuid("wwan");
  EXPECT_EQ(printed(), std::string("get Suid\ninvalid event msg_id = 128"
                                   "\nReceived SUIDs for wwan, number of suids received = 0\n") +
                           one_sensor_found.substr(8) + list_created);
}

TEST_F(ClientTest, ASecondAnswerDoesNotBlockTheEnd) {
  platform().lookup_answers = {
      buffer_of({{768, sns_suid_event().SerializeAsString()}}),
      [] {
        sns_client_event_msg both;
        for (int i = 0; i < 2; ++i) both.MergeFromString(suid_answer({{7, 9}}));
        return both.SerializeAsString();
      }(),
  };
  EXPECT_EQ(getSuid("wwan"), 1);
}

TEST_F(ClientTest, WithoutSensorsNothingIsConnected) {
  suid_cb("wwan");
  EXPECT_EQ(diagnosed(), "suid_cb:958, FAILED suid not found for given sensor\n");
  EXPECT_EQ(calls(), "");
}

TEST_F(ClientTest, ANewConnectionReplacesTheSessionWithoutClosingIt) {
  connect();
  getSuid("wwan");
  const std::string all = calls();
  EXPECT_NE(all.find("delete 1\nopen 2"), std::string::npos) << all;
  EXPECT_EQ(all.find("close 2"), std::string::npos) << all;
}

struct ReconnectCase {
  const char* data_type;
  bool query_mode;
  std::int32_t rate_after;
  const char* request;  // the configuration, if any
};

TEST_F(ClientTest, ReconnectsToTheSensorOfTheDataType) {
  const ReconnectCase reconnects[] = {
      {"wwan", false, 5, "send 2: 514\n"},
      {"wwan_stream", false, 5, "send 2: 642\n"},
      {"wwan_stream", true, 0, "send 2: 642\n"},
      {"WWAN", false, 5, ""},
  };
  for (const auto& reconnect : reconnects) {
    TearDown();
    SetUp();
    data_type = reconnect.data_type;
    query_mode = reconnect.query_mode;
    sample_rate = 5;
    platform().attributes = stream_type_attribute(data_type == "wwan" ? 1 : 0);
    reconnect_to_sensor();
    const std::string out = printed();
    EXPECT_EQ(out.substr(0, out.find('\n') + 1), std::string("sensor name is ") + reconnect.data_type + " \n");
    EXPECT_EQ(sample_rate, reconnect.rate_after) << reconnect.data_type;
    EXPECT_EQ(query_mode, reconnect.query_mode) << reconnect.data_type;
    const std::string all = calls();
    EXPECT_TRUE(*reconnect.request == '\0' ? all.empty() : all.find(reconnect.request) != std::string::npos) << all;
  }
}

TEST_F(ClientTest, ClosingKeepsTheSensor) {
  connect();
  close_session();
  close_session();
  EXPECT_EQ(calls(), "close 1\ndelete 1\n");
  EXPECT_EQ(sensor_suid.suid_low, 7U);
}

}  // namespace
}  // namespace cellscope::test
