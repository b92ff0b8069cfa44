#include "hub/import/modes.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include "hub/base/concat.h"
#include "hub/import/columns.h"

namespace kelvane_hub {
namespace {

using Cell = mox_wwan_cell_info;

constexpr Mode modes[] = {
    {"5G", Cell::kNr},
    {"LTE", Cell::kLte},
    {"UMTS", Cell::kWcdma},
    {"HSPA", Cell::kWcdma},
    {"HSPA+", Cell::kWcdma},
    {"HSDPA", Cell::kWcdma},
    {"HSUPA", Cell::kWcdma},
    {"GSM", Cell::kGsm},
    {"GPRS", Cell::kGsm},
    {"EDGE", Cell::kGsm},
    {"UNKNOWN", Cell::CELL_INFO_NOT_SET},
    {"-", Cell::CELL_INFO_NOT_SET},
};

}  // namespace

const Mode* find_mode(std::string_view name) {
  const auto* const mode = std::ranges::find_if(modes, [name](const Mode& each) { return same_name(each.name, name); });
  return mode == std::end(modes) ? nullptr : mode;
}

const Mode* find_mode(std::string_view name, const import_profile& profile) {
  const auto& named = profile.modes();
  const auto last = std::find_if(named.rbegin(), named.rend(),
                                 [name](const import_mode& mode) { return same_name(mode.theirs(), name); });
  if (last != named.rend()) return find_mode(last->ours());
  return find_mode(name);
}

std::string mode_names() {
  std::vector<std::string_view> names;
  std::ranges::transform(modes, std::back_inserter(names), &Mode::name);
  return alternatives(names);
}

}  // namespace kelvane_hub
