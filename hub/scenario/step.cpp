#include "hub/scenario/step.h"

#include <google/protobuf/message.h>

#include "hub/messages/catalogue.h"

namespace kelvane_hub {

const google::protobuf::Message* event_in(const scenario_step& step) {
  const auto* const field = scenario_step::descriptor()->FindFieldByNumber(step.what_case());
  if (field == nullptr || find_event_kind(*field->message_type()) == nullptr) return nullptr;
  return &scenario_step::GetReflection()->GetMessage(step, field);
}

const std::string& kind_of(const scenario_step& step) {
  return scenario_step::descriptor()->FindFieldByNumber(step.what_case())->name();
}

bool is_shorthand(const scenario_step& step) { return step.has_change() || step.has_ramp() || step.has_vary(); }

std::optional<std::uint32_t> subscription_of(const scenario_step& step) {
  const auto* const event = event_in(step);
  const auto* const sub = event == nullptr ? nullptr : event->GetDescriptor()->FindFieldByName("sub");
  if (sub == nullptr) return std::nullopt;
  return event->GetReflection()->GetUInt32(*event, sub);
}

void fill_timestamps(mox_wwan_event_serving_neighboring_cell_info& cells, ScenarioTime time) {
  constexpr std::int32_t type = 1;
  for (auto& cell : *cells.mutable_cells()) {
    if (cell.has_timestamp()) continue;
    cell.set_timestamp(static_cast<std::uint64_t>(std::chrono::round<std::chrono::nanoseconds>(time).count()));
    if (!cell.has_timestamp_type()) cell.set_timestamp_type(type);
  }
}

}  // namespace kelvane_hub
