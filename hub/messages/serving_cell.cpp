#include "hub/messages/serving_cell.h"

#include <algorithm>
#include <utility>

namespace kelvane_hub {

using Cells = mox_wwan_event_serving_neighboring_cell_info;

std::optional<ServingCell> serving_cell_of(const Cells& info) {
  const auto cell = std::ranges::find_if(info.cells(), &mox_wwan_cell_info::registered);
  if (cell == info.cells().end()) return {};
  const Technology* const technology = find_technology(cell->cell_type());
  if (technology == nullptr) return {};
  const auto* const identity = find_part(*cell, *technology, identity_part);
  return ServingCell{&*cell, technology, identity == nullptr ? "" : identity->SerializeAsString()};
}

bool is_without_service(const Cells& info) {
  return std::ranges::none_of(info.cells(), &mox_wwan_cell_info::registered);
}

CellChange ServingCellWatch::take(const std::optional<ServingCell>& serving) {
  const Technology* const technology = serving ? serving->technology : nullptr;
  const std::string identity = serving ? serving->identity : "";
  const Technology* const before = std::exchange(technology_, technology);
  const bool is_same_technology = technology != nullptr && technology == before;
  if (is_same_technology && identity.empty()) return CellChange::none;
  const std::string identity_before = std::exchange(identity_, identity);
  if (is_same_technology) {
    return identity != identity_before && !identity_before.empty() ? CellChange::cell : CellChange::none;
  }
  return technology != nullptr && before != nullptr ? CellChange::technology : CellChange::none;
}

}  // namespace kelvane_hub
