#include "events/event_cb.h"

#include <algorithm>
#include <string>

#include "common/line.h"
#include "common/log_time.h"
#include "events/attributes.h"
#include "events/message_ids.h"
#include "events/parse.h"
#include "events/wwan_reports.h"
#include "kelvane_api.pb.h"

namespace cellscope {
namespace {

void report_error_event(const std::string& payload, std::int64_t) {
  const auto event = parse<sns_std_error_event>(payload);
  diagnostic("event_cb", 645, "Received error event ", event.error());
}

template <class Message>
void drop(const std::string& payload, std::int64_t) {
  (void)parse<Message>(payload);
}

void keep_attributes(const std::string& payload, std::int64_t) {
  store_attributes(parse<sns_std_attr_event>(payload));
  print_sensor_info();
}

struct Handler {
  std::uint32_t msg_id;
  void (*handle)(const std::string& payload, std::int64_t time);
};

constexpr Handler handlers[] = {
    {MSGID_ERROR_EVENT, report_error_event},
    {MSGID_SENSOR_EVENT, drop<sns_std_sensor_event>},
    {MSGID_AMD_EVENT, drop<sns_amd_event>},
    {MSGID_ATTR_EVENT, keep_attributes},
    {MSGID_WWAN_SERVING_NEIGHBORING_CELL_INFO, report_cells},
    {MSGID_WWAN_HIGHSPEED_RAIL_NETWORK_INFO, report_highspeed_rail},
    {MSGID_WWAN_SIGNAL_STRENGTH_CONFIG_STATUS, report_config_status},
    {MSGID_WWAN_VOICE_CALLS, report_voice_calls},
    {MSGID_WWAN_CELL_LOCATION_INFO_RESPONSE, report_cell_location},
    {MSGID_WWAN_RRC_STATES_INFO, report_rrc_states},
};

}  // namespace

void event_cb(const std::uint8_t* data, std::size_t size, std::size_t) {
  const std::int64_t time = log_time();
  sns_client_event_msg message;
  (void)message.ParseFromArray(data, static_cast<int>(size));
  for (const auto& event : message.events()) {
    const auto* handler = std::ranges::find(handlers, event.msg_id(), &Handler::msg_id);
    if (handler != std::end(handlers)) {
      handler->handle(event.payload(), time);
    } else {
      diagnostic("event_cb", 756, "Received unknown message ID ", static_cast<std::int32_t>(event.msg_id()));
    }
  }
}

}  // namespace cellscope
