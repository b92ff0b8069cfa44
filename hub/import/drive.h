// The rows of a drive-test recording: the CSV export of a phone app, made about once a second.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "hub/import/measured_cell.h"
#include "hub/import/summary.h"
#include "profile.pb.h"

namespace kelvane_hub {

struct DriveRow {
  std::chrono::nanoseconds time{};  // since the first row; 0 to 10,000,000 s; not less than in the row before
  mox_wwan_cell_info::CellInfoCase technology{};  // of both cells; CELL_INFO_NOT_SET: there are none
  MeasuredCell serving;
  std::optional<MeasuredCell> neighbour;  // the strongest one: its rsrp and, unless absent, its rsrq
};

struct Drive {
  std::vector<DriveRow> rows;
  Summary summary;
};

/// Reads the recording `text`: at least one row. `name` stands for it in errors and in the summary. Cells have only
/// values for which their type has a field. Throws InputError ("name:line: expected …, found …") at the first NUL, else
/// at the first line that is malformed.
Drive read_drive(const std::string& name, std::string text, const import_profile& profile);

}  // namespace kelvane_hub
