#include "hub/scenario/plausibility.h"

#include "hub/base/concat.h"
#include "hub/messages/measurements.h"
#include "hub/messages/technologies.h"

namespace kelvane_hub {
namespace {

using Cell = mox_wwan_cell_info;

// Beyond what thresholds may be set to, in dB: modems differ.
constexpr std::int32_t margin = 20;

/// What is odd about the cell's technology; empty: nothing.
std::string odd_technology(const Cell& cell) {
  const Technology* const parts = technology_of(cell);
  const Technology* const named = find_technology(cell.cell_type());
  if (named == nullptr) {
    return concat("cell_type is ", cell.has_cell_type() ? std::to_string(cell.cell_type()) : "absent",
                  ", expected 1 to 6: clients print nothing of such a cell but its head");
  }
  if (parts == named || parts == nullptr) return "";
  return concat("cell_type is ", cell.cell_type(), " (", named->name, "), but the cell's values are those of ",
                parts->name, ": clients print 0 in their place");
}

/// Where each cell of a step with cells stands.
std::vector<TextMessage> cells_in(const TextPart& step) {
  return messages_in(messages_in(step, "cells").front().body, "cells");
}

}  // namespace

std::vector<std::string> oddities_of(const Cell& cell) {
  std::vector<std::string> odd;
  if (const auto technology = odd_technology(cell); !technology.empty()) odd.push_back(technology);
  for (const Measurement& measurement : measurements()) {
    const Value value = measurement.read(cell);
    const auto [lowest, highest] = measurement.thresholds;
    if (!value || (*value >= lowest - margin && *value <= highest + margin)) continue;
    odd.push_back(concat(SignalMeasurementType_Name(measurement.type), " is ", *value, ", expected about ", lowest,
                         " to ", highest));
  }
  return odd;
}

void check_plausibility(const scenario_step& step, const TextPart& body, Mistakes& warnings) {
  std::vector<TextMessage> places;
  const auto& cells = step.cells().cells();
  for (int i = 0; i < cells.size(); ++i) {
    for (const auto& odd : oddities_of(cells[i])) {
      if (places.empty()) places = cells_in(body);
      warnings.add(places[static_cast<std::size_t>(i)].place, "warning: " + odd);
    }
  }
}

}  // namespace kelvane_hub
