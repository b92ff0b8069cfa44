#include "requests/sensor_requests.h"

#include "common/line.h"
#include "common/state.h"
#include "kelvane_api.pb.h"
#include "mox_wwan_test.pb.h"
#include "requests/envelope.h"
#include "requests/message_ids.h"
#include "requests/set_enumeration.h"

namespace cellscope {

void send_attr_request(suid target) { send_request(target, MSGID_ATTR_REQ, std::nullopt, "send_attr_request", 887); }

void send_selftest_req(suid target) {
  diagnostic("send_selftest_req", 772, "sending self test request");
  sns_physical_sensor_test_config config;
  if (sample_rate >= -4 && sample_rate <= -1) {
    set_enumeration(config, &sns_physical_sensor_test_config::set_test_type, -1 - sample_rate);
  }
  send_request(target, MSGID_SELF_TEST_CONFIG, config.SerializeAsString(), "send_selftest_req", 799);
}

void send_config_req(suid target) {
  constexpr std::int32_t report_when_asked = 2;
  diagnostic("send_config_req", 845, "sending on normal config request and sample rate ", sample_rate);
  mox_wwan_streaming_sensor_config config;
  config.set_sample_rate(sample_rate);
  if (query_mode) set_enumeration(config, &mox_wwan_streaming_sensor_config::set_report_mode, report_when_asked);
  send_request(target, MSGID_WWAN_STREAMING_CONFIG, config.SerializeAsString(), "send_config_req", 866);
}

void send_onchange_config_req(suid target) {
  diagnostic("send_onchange_config_req", 814, "sending on change config request");
  send_request(target, MSGID_ON_CHANGE_CONFIG, std::nullopt, "send_onchange_config_req", 829);
}

}  // namespace cellscope
