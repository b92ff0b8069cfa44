#include "hub/messages/cell_change.h"

namespace kelvane_hub {
namespace {

std::string without_timestamps(mox_wwan_event_serving_neighboring_cell_info info) {
  for (auto& cell : *info.mutable_cells()) cell.clear_timestamp();
  return info.SerializeAsString();
}

}  // namespace

bool cells_differ(const mox_wwan_event_serving_neighboring_cell_info& before,
                  const mox_wwan_event_serving_neighboring_cell_info& after) {
  return without_timestamps(before) != without_timestamps(after);
}

}  // namespace kelvane_hub
