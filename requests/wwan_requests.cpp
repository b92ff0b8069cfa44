#include "requests/wwan_requests.h"

#include "common/line.h"
#include "mox_wwan_test.pb.h"
#include "requests/envelope.h"
#include "requests/message_ids.h"

namespace cellscope {

void register_voice_call_status(suid target) {
  diagnostic("register_voice_call_status", 1490, "sending set_report_voice_calls request");
  mox_wwan_sensor_config config;
  config.set_report_voice_calls(true);
  send_request(target, MSGID_WWAN_SENSOR_CONFIG, config.SerializeAsString(), "register_voice_call_status", 1510);
}

void register_rrc_state_indication(suid target) {
  diagnostic("register_rrc_state_indication", 1521, "sending set_report_rrc_state_info request");
  mox_wwan_sensor_config config;
  config.set_report_rrc_state_info(true);
  send_request(target, MSGID_WWAN_SENSOR_CONFIG, config.SerializeAsString(), "register_rrc_state_indication", 1541);
}

void query_cell_location_info(suid target) {
  diagnostic("query_cell_location_info", 1608, "sending query_cell_info request");
  send_request(target, MSGID_WWAN_GET_CELL_LOCATION_INFO, std::nullopt, "query_cell_location_info", 1627);
}

}  // namespace cellscope
