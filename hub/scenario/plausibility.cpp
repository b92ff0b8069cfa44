#include "hub/scenario/plausibility.h"

#include "hub/base/concat.h"
#include "hub/messages/measurements.h"
#include "hub/messages/technologies.h"

namespace kelvane_hub {
namespace {

using google::protobuf::TextFormat;
using Cell = mox_wwan_cell_info;

// Beyond what thresholds may be set to, in dB: modems differ.
constexpr std::int32_t margin = 20;

/// Where a cell of a step stands.
class CellPlace {
 public:
  CellPlace(const TextFormat::ParseInfoTree& scenario_places, int step, int cell) {
    const auto* const steps = scenario::descriptor()->FindFieldByNumber(scenario::kStepsFieldNumber);
    const auto* const cells = scenario_step::descriptor()->FindFieldByNumber(scenario_step::kCellsFieldNumber);
    const auto* const tree = scenario_places.GetTreeForNested(steps, step);
    const auto* const event = tree == nullptr ? nullptr : tree->GetTreeForNested(cells, -1);
    location_ = event == nullptr ? scenario_places.GetLocation(steps, step)
                                 : event->GetLocation(cells->message_type()->FindFieldByName("cells"), cell);
  }

  int line() const { return location_.line; }
  int column() const { return location_.column; }

 private:
  TextFormat::ParseLocation location_;
};

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

void warn(Mistakes& warnings, const CellPlace& place, const std::string& of) {
  warnings.AddError(place.line(), place.column(), "warning: " + of);
}

void check_cell(const Cell& cell, const CellPlace& place, Mistakes& warnings) {
  if (const auto odd = odd_technology(cell); !odd.empty()) warn(warnings, place, odd);
  for (const Measurement& measurement : measurements()) {
    const Value value = measurement.read(cell);
    const auto [lowest, highest] = measurement.thresholds;
    if (!value || (*value >= lowest - margin && *value <= highest + margin)) continue;
    warn(warnings, place,
         concat(SignalMeasurementType_Name(measurement.type), " is ", *value, ", expected about ", lowest, " to ",
                highest));
  }
}

}  // namespace

void check_plausibility(const scenario& checked, const TextFormat::ParseInfoTree& places, Mistakes& warnings) {
  for (int step = 0; step < checked.steps_size(); ++step) {
    const auto& cells = checked.steps(step).cells().cells();
    for (int cell = 0; cell < cells.size(); ++cell) check_cell(cells[cell], CellPlace(places, step, cell), warnings);
  }
}

}  // namespace kelvane_hub
