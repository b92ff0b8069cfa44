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
};

const RequestCase cases[] = {
    {"attributes", [] { send_attr_request(sensor_suid); }},
    {"on change", [] { send_onchange_config_req(sensor_suid); }},
    {"self-test, rate -1", [] { sample_rate = -1, send_selftest_req(sensor_suid); }},
    {"self-test, rate -4", [] { sample_rate = -4, send_selftest_req(sensor_suid); }},
    {"no self-test, rate -5", [] { sample_rate = -5, send_selftest_req(sensor_suid); }},
    {"streaming, rate 10", [] { sample_rate = 10, send_config_req(sensor_suid); }},
    {"streaming, rate -5", [] { sample_rate = -5, send_config_req(sensor_suid); }},
    {"query mode", [] { query_mode = true, send_config_req(sensor_suid); }},
    {"voice calls", [] { register_voice_call_status(sensor_suid); }},
    {"RRC states", [] { register_rrc_state_indication(sensor_suid); }},
    {"cell location", [] { query_cell_location_info(sensor_suid); }},
    {"empty thresholds, sub 0", [] { send_empty_sig_info(sensor_suid, 0); }},
    {"empty thresholds, sub 1", [] { send_empty_sig_info(sensor_suid, 1); }},
    {"thresholds of GERAN", [] { send_geran_sig_info(sensor_suid, 1); }},
    {"a suid of zeros",
     [] {
       send_attr_request({0, 0});
     }},
};

TEST_F(ClientTest, RequestsAreAnnouncedAndSent) {
  for (const auto& request : cases) {
    start_anew();
    connect();
    request.send();
    record(request.name);
  }
}

TEST_F(ClientTest, RequestsReportAFailedSendOnce) {
  for (const auto& request : cases) {
    start_anew();
    request.send();
    record(request.name);
  }
  for (const int result : {-1, 1}) {
    connect();
    platform().send_result = result;
    cases[0].send();
    record("send result " + std::to_string(result));
  }
}

}  // namespace
}  // namespace cellscope::test
