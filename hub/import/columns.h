// The columns of a drive-test recording, by their meaning.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "hub/import/csv.h"
#include "profile.pb.h"

namespace kelvane_hub {

enum Column : std::size_t {
  timestamp,
  network_mode,
  rsrp,
  rsrq,
  snr,
  cqi,
  rssi,
  area_code,
  cell_id,
  neighbour_rsrp,
  neighbour_rsrq,
  column_count
};

struct FoundColumn {
  std::string name;                     // as the recording has it
  std::optional<std::size_t> position;  // among the cells of a row; empty: there is no such column
};

struct Columns {
  std::array<FoundColumn, column_count> found;
  int area_base = 16;  // of the digits of an area code
};

/// Finds the columns in the header, the row at which `csv` stands. Names may differ in case if only one does so. Throws
/// InputError (see CsvReader) if there are two columns of a name, or none that is required: Timestamp, NetworkMode, and
/// what `profile` requires.
Columns find_columns(const CsvReader& csv, const import_profile& profile);

/// Whether both are the same but for the case of ASCII letters.
bool same_name(std::string_view one, std::string_view other);

}  // namespace kelvane_hub
