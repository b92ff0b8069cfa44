// What a recording says of a cell, and where in a report it goes.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <variant>

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

using MeasuredValue =
    std::variant<std::optional<std::int32_t> MeasuredCell::*, std::optional<std::uint64_t> MeasuredCell::*>;

/// A value of a cell and the field that it goes into.
struct Destination {
  mox_wwan_cell_info::CellInfoCase technology;
  std::string_view part;
  std::string_view field;
  MeasuredValue value;
};

/// Every field that a recording fills, for all technologies.
std::span<const Destination> destinations();

/// Whether cells of that technology have a field for the value.
bool has_field(mox_wwan_cell_info::CellInfoCase technology, MeasuredValue value);

}  // namespace kelvane_hub
