// Each request: its envelope to the byte, its announcement, its error line.

#include "requests/sensor_requests.h"
#include "requests/wwan_requests.h"
#include "tests/client/fixture.h"
#include "thresholds/signal_strength_requests.h"

namespace cellscope::test {
namespace {

struct RequestCase {
  const char* name;
  void (*send)();
  const char* request;       // after the fields that all requests share
  const char* announcement;  // on standard error
  const char* error;         // on standard error, after a failed send
};

void PrintTo(const RequestCase& request, std::ostream* out) { *out << request.name; }

// The two fixed entries, as their bytes.
#define FIXED_THRESHOLDS   \
  "308dffffffffffffffff01" \
  "30a1ffffffffffffffff01" \
  "30abffffffffffffffff01" \
  "30d8ffffffffffffffff01"

const RequestCase cases[] = {
    {"attributes", [] { send_attr_request(sensor_suid); }, "1", "", "send_attr_request:887"},
    {"on change", [] { send_onchange_config_req(sensor_suid); }, "514",
     "send_onchange_config_req:814, sending on change config request\n", "send_onchange_config_req:829"},
    {"rate -1", [] { sample_rate = -1, send_selftest_req(sensor_suid); }, "515 payload 0800",
     "send_selftest_req:772, sending self test request\n", "send_selftest_req:799"},
    {"rate -4", [] { sample_rate = -4, send_selftest_req(sensor_suid); }, "515 payload 0803",
     "send_selftest_req:772, sending self test request\n", "send_selftest_req:799"},
    {"no test", [] { sample_rate = -5, send_selftest_req(sensor_suid); }, "515 payload ",
     "send_selftest_req:772, sending self test request\n", "send_selftest_req:799"},
    {"rate 10", [] { sample_rate = 10, send_config_req(sensor_suid); }, "642 payload 080a",
     "send_config_req:845, sending on normal config request and sample rate 10\n", "send_config_req:866"},
    {"rate -5", [] { sample_rate = -5, send_config_req(sensor_suid); }, "642 payload 08fbffffffffffffffff01",
     "send_config_req:845, sending on normal config request and sample rate -5\n", "send_config_req:866"},
    {"query mode", [] { query_mode = true, send_config_req(sensor_suid); }, "642 payload 08001002",
     "send_config_req:845, sending on normal config request and sample rate 0\n", "send_config_req:866"},
    {"voice calls", [] { register_voice_call_status(sensor_suid); }, "641 payload 1001",
     "register_voice_call_status:1490, sending set_report_voice_calls request\n", "register_voice_call_status:1510"},
    {"RRC states", [] { register_rrc_state_indication(sensor_suid); }, "641 payload 1801",
     "register_rrc_state_indication:1521, sending set_report_rrc_state_info request\n",
     "register_rrc_state_indication:1541"},
    {"cell location", [] { query_cell_location_info(sensor_suid); }, "643",
     "query_cell_location_info:1608, sending query_cell_info request\n", "query_cell_location_info:1627"},
    // Payloads in diagnostics end at their first zero byte.
    {"empty, sub 0", [] { send_empty_sig_info(sensor_suid, 0); }, "640 payload 0800",
     "send_empty_sig_info:1017, sending empty config request\n"
     "send_empty_sig_info:1022, sending empty config request \x08\n",
     "send_empty_sig_info:1039"},
    {"empty, sub 1", [] { send_empty_sig_info(sensor_suid, 1); }, "640 payload 0801",
     "send_empty_sig_info:1017, sending empty config request\n"
     "send_empty_sig_info:1022, sending empty config request \x08\x01\n",
     "send_empty_sig_info:1039"},
    {"GERAN", [] { send_geran_sig_info(sensor_suid, 1); },
     "640 payload 0801"
     "1236"
     "0801"
     "1001"
     "1801"
     "2000"
     "2800" FIXED_THRESHOLDS "1236"
     "0804"
     "1001"
     "1801"
     "2000"
     "2800" FIXED_THRESHOLDS,
     "send_geran_sig_info:1553, sending geran config request\n"
     "send_geran_sig_info:1580, sending geran config request "
     "\x08\x01\x12\x36\x08\x01\x10\x01\x18\x01\x20\n",
     "send_geran_sig_info:1597"},
};

std::string whole_request(const std::string& end) {
  const auto id_end = end.find(' ');
  return end.substr(0, id_end) + " suid 7 9 susp 0 1 client 5 body" +
         (id_end == std::string::npos ? "" : end.substr(id_end)) + "\n";
}

class Requests : public ClientTest, public testing::WithParamInterface<RequestCase> {};

TEST_P(Requests, AreSentAndAnnounced) {
  connect();
  GetParam().send();
  EXPECT_EQ(requests(), whole_request(GetParam().request));
  EXPECT_EQ(diagnosed(), GetParam().announcement);
  EXPECT_EQ(printed(), "");
}

TEST_P(Requests, ReportAFailedSendOnce) {
  const std::string error = std::string(GetParam().announcement) + GetParam().error + ", Error in sending request\n";
  for (const int result : {-1, 1}) {
    connect();
    platform().send_result = result;
    GetParam().send();
    EXPECT_EQ(diagnosed(), error) << "send result " << result;
  }
  session.reset();
  GetParam().send();
  EXPECT_EQ(diagnosed(), error) << "no session";
}

INSTANTIATE_TEST_SUITE_P(All, Requests, testing::ValuesIn(cases),
                         [](const auto& param_info) { return std::to_string(param_info.index); });

TEST_F(ClientTest, ASuidOfZerosIsWritten) {
  connect();
  send_attr_request({0, 0});
  EXPECT_EQ(requests(), "1 suid 0 0 susp 0 1 client 5 body\n");
}

}  // namespace
}  // namespace cellscope::test
