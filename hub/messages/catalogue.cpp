#include "hub/messages/catalogue.h"

#include <algorithm>

#include "kelvane_api.pb.h"
#include "mox_wwan_test.pb.h"

namespace kelvane_hub {
namespace {

template <class Payload>
const google::protobuf::Message* of() {
  return &Payload::default_instance();
}

constexpr MessageKind requests[] = {
    {attribute_request, "attr_req", nullptr},
    {lookup_request, "suid_req", of<sns_suid_req>},
    {on_change_config, "on_change_config", of<sns_std_sensor_config>},
    {self_test_config, "self_test_config", of<sns_physical_sensor_test_config>},
    {signal_strength_config, "signal_strength_config", of<mox_wwan_signal_strength_config>},
    {report_registration, "sensor_config", of<mox_wwan_sensor_config>},
    {streaming_config, "streaming_config", of<mox_wwan_streaming_sensor_config>},
    {cell_location_query, "get_cell_location_info", nullptr},
};

constexpr MessageKind events[] = {
    {attribute_event, "attr_event", of<sns_std_attr_event>},
    {error_event, "error_event", of<sns_std_error_event>},
    {lookup_event, "suid_event", of<sns_suid_event>},
    {motion_event, "amd_event", of<sns_amd_event>},
    {self_test_event, "sensor_event", of<sns_std_sensor_event>},
    {signal_strength_config_status, "signal_strength_config_status", of<mox_wwan_signal_strength_config_status>},
    {cells_event, "serving_neighboring_cell_info", of<mox_wwan_event_serving_neighboring_cell_info>},
    {highspeed_rail_event, "highspeed_rail_network_info", of<mox_wwan_event_highspeed_rail_network_info>},
    {voice_calls_event, "voice_calls", of<mox_wwan_event_voice_calls>},
    {rrc_states_event, "rrc_states_info", of<mox_wwan_event_rrc_states_info>},
    {cell_location_event, "get_cell_location_info_response", of<mox_wwan_get_cell_location_info_response>},
};

const MessageKind* find(std::span<const MessageKind> kinds, std::uint32_t id) {
  const auto found = std::ranges::find(kinds, id, &MessageKind::id);
  return found == kinds.end() ? nullptr : &*found;
}

}  // namespace

std::span<const MessageKind> request_kinds() { return requests; }
std::span<const MessageKind> event_kinds() { return events; }

const MessageKind* find_request_kind(std::uint32_t id) { return find(requests, id); }
const MessageKind* find_event_kind(std::uint32_t id) { return find(events, id); }

const MessageKind* find_event_kind(const google::protobuf::Descriptor& payload) {
  const auto* const found = std::ranges::find_if(events, [&payload](const MessageKind& kind) {
    return kind.payload != nullptr && kind.payload()->GetDescriptor() == &payload;
  });
  return found == std::end(events) ? nullptr : found;
}

}  // namespace kelvane_hub
