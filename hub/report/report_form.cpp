#include "hub/report/report_form.h"

#include <algorithm>
#include <stdexcept>

namespace kelvane_hub {
namespace {

using google::protobuf::Descriptor;

constexpr PrintedField cells[] = {{"sub", "Received serving neighboring cell info on Sub :"}};
constexpr PrintedField locations[] = {{"status", "Received serving neighboring cell info with status :"}};
constexpr PrintedField cell_fields[] = {{"cell_type", "Cell Type: "},
                                        {"timestamp", "Timestamp: "},
                                        {"timestamp_type", "Timestamp Type: "},
                                        {"registered", "Registered: "}};
constexpr PrintedField highspeed_rail[] = {
    {"sub", "Received HST info on Sub :"}, {"lte", "hst info-LTE "}, {"nr5g", "hst info-NR5G "}};
constexpr PrintedField config_status[] = {{"error", "error info: "}};
constexpr PrintedField voice_calls[] = {{"sub", ", Received voice call info on Sub:"}};
constexpr PrintedField voice_call[] = {{"call_id", ", CallID: "}, {"call_state", ", CallState: "}};
constexpr PrintedField rrc_states[] = {{"sub", ", Received rrc state info on Sub:"},
                                       {"wcdma_rrc_state", "{ WCDMA RRC STATE: "},
                                       {"lte_rrc_state", "{ LTE RRC STATE: "},
                                       {"nr5g_rrc_state", "{ NR5G RRC STATE: "}};

struct Form {
  const Descriptor* (*type)();
  std::span<const PrintedField> fields;
};

constexpr Form forms[] = {
    {mox_wwan_event_serving_neighboring_cell_info::descriptor, cells},
    {mox_wwan_get_cell_location_info_response::descriptor, locations},
    {mox_wwan_cell_info::descriptor, cell_fields},
    {mox_wwan_event_highspeed_rail_network_info::descriptor, highspeed_rail},
    {mox_wwan_signal_strength_config_status::descriptor, config_status},
    {mox_wwan_event_voice_calls::descriptor, voice_calls},
    {mox_wwan_event_voice_calls::voice_call::descriptor, voice_call},
    {mox_wwan_event_rrc_states_info::descriptor, rrc_states},
};

}  // namespace

std::span<const PrintedField> printed_fields(const Descriptor& type) {
  const auto* const found = std::ranges::find_if(forms, [&type](const Form& form) { return form.type() == &type; });
  if (found == std::end(forms)) throw std::logic_error(type.full_name() + " is not reported");
  return found->fields;
}

bool is_reported(const google::protobuf::Message& message) {
  return std::ranges::any_of(forms, [&](const Form& form) { return form.type() == message.GetDescriptor(); });
}

const google::protobuf::Message& part_of(const mox_wwan_cell_info& cell, const Technology& technology,
                                         std::string_view part) {
  const auto* const found = find_part(cell, technology, part);
  const auto* const type = part_field(technology, part).message_type();
  return found != nullptr ? *found : *google::protobuf::MessageFactory::generated_factory()->GetPrototype(type);
}

}  // namespace kelvane_hub
