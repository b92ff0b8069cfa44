// The rows of a drive-test recording: the CSV export of a phone app, made about once a second.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <vector>

#include "mox_wwan_test.pb.h"

namespace kelvane_hub {

/// What a row says of one cell. A value that was not measured is absent.
struct MeasuredCell {
  std::optional<std::uint64_t> id;    // at most INT32_MAX, unless the cell is NR
  std::optional<std::int32_t> area;   // location or tracking area code, 0 or more
  std::optional<std::int32_t> rsrp;   // dBm; the RSCP of a WCDMA cell, the RxLev of a GSM cell
  std::optional<std::int32_t> rsrq;   // dB; the Ec/No of a WCDMA cell
  std::optional<std::int32_t> rssnr;  // dB
  std::optional<std::int32_t> cqi;
  std::optional<std::int32_t> rssi;  // dBm
};

struct DriveRow {
  std::chrono::seconds time;                    // since the first row; 0 to 10,000,000; not less than in the row before
  mox_wwan_cell_info::CellInfoCase technology;  // of both cells
  MeasuredCell serving;
  std::optional<MeasuredCell> neighbour;  // the strongest one: its rsrp and, unless absent, its rsrq
};

/// Reads the recording at `path`: at least one row. Columns are found by their names, blank lines are skipped. Throws
/// InputError ("file:line: expected …, found …") at the first NUL, else at the first line that is malformed, and
/// ("file: reason") if the file cannot be read.
std::vector<DriveRow> read_drive_csv(const std::filesystem::path& path);

}  // namespace kelvane_hub
