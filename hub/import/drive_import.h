// Drive-test recordings (CSV exports of a phone app) as scenarios.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string_view>

#include "scenario.pb.h"

namespace kelvane_hub {

/// The network a phone was in, as in "272-01".
struct Plmn {
  std::int32_t mcc;  // 0 to 999
  std::int32_t mnc;  // 0 to 999
};

/// Reads "MCC-MNC": three digits, a dash, two or three digits. Throws InputError that shows `text`.
Plmn parse_plmn(std::string_view text);

/// Turns the recording at `csv` into a scenario, a step a row: the cells of subscription 0. What was not measured stays
/// absent. `plmn` fills mcc and mnc of every serving cell; without it they stay absent, too. Throws InputError,
/// "file:line: expected …, found …" at a line that is malformed or "file: reason" if the file cannot be read.
scenario import_drive(const std::filesystem::path& csv, std::optional<Plmn> plmn);

}  // namespace kelvane_hub
