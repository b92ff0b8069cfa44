#include "hub/scenario/change.h"

#include <cstdint>
#include <numeric>

#include "hub/base/concat.h"
#include "hub/scenario/fields.h"

namespace kelvane_hub {
namespace {

using Cells = mox_wwan_event_serving_neighboring_cell_info;

void clear_fields(const scenario_change& change, mox_wwan_cell_info& cell) try {
  for (const auto& name : change.clear()) set_field(cell, name, "");
} catch (const InputError& error) {
  throw ShorthandError("clear", concat("clear: ", error.what()));
}

}  // namespace

template <class Said>
std::vector<int> cells_meant(const Said& said, const std::string& kind, int count) {
  if (count == 0) {
    throw ShorthandError("sub",
                         concat("expected cells of subscription ", said.sub(), " before its ", kind, ", found none"));
  }
  if (said.has_cell() && said.all_cells()) {
    throw ShorthandError("all_cells", "expected cell or all_cells, found both");
  }
  if (said.cell() >= static_cast<std::uint32_t>(count)) {
    throw ShorthandError("cell", concat("expected a cell from 0 to ", count - 1, ", found ", said.cell()));
  }
  if (!said.all_cells()) return {static_cast<int>(said.cell())};
  std::vector<int> all(static_cast<std::size_t>(count));
  std::iota(all.begin(), all.end(), 0);
  return all;
}

template std::vector<int> cells_meant(const scenario_change& said, const std::string& kind, int count);
template std::vector<int> cells_meant(const scenario_ramp& said, const std::string& kind, int count);
template std::vector<int> cells_meant(const scenario_vary& said, const std::string& kind, int count);

void forget_timestamps(Cells& cells) {
  for (auto& cell : *cells.mutable_cells()) cell.clear_timestamp();
}

std::vector<int> apply_change(const scenario_change& change, Cells& cells) {
  if (!change.has_set() && change.clear().empty()) {
    throw ShorthandError("", "expected what is set or cleared (set, clear), found a change without it");
  }
  std::vector<int> meant = cells_meant(change, "change", cells.cells_size());
  forget_timestamps(cells);
  for (const int number : meant) {
    auto& cell = *cells.mutable_cells(number);
    clear_fields(change, cell);
    cell.MergeFrom(change.set());
  }
  return meant;
}

}  // namespace kelvane_hub
