// Drive-test recordings (CSV exports of a phone app) as scenarios.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "hub/import/drive.h"
#include "scenario.pb.h"

namespace kelvane_hub {

/// The network a phone was in, as in "272-01".
struct Plmn {
  std::int32_t mcc;  // 0 to 999
  std::int32_t mnc;  // 0 to 999
};

/// Reads "MCC-MNC": three digits, a dash, two or three digits. Throws InputError that shows `text`.
Plmn parse_plmn(std::string_view text);

/// Turns a recording into a scenario, a step a row: the cells of subscription 0, none of a row without service. What
/// was not measured stays absent. `plmn` fills mcc and mnc of every serving cell; without it they stay absent, too.
scenario to_scenario(const Drive& drive, std::optional<Plmn> plmn);

}  // namespace kelvane_hub
