// What has curves in a picture.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "mox_wwan_test.pb.h"

namespace kelvane_hub {

/// The panels of a picture, from above; values of one unit that are of one size share a panel.
enum class PanelKind : std::uint8_t { strength, quality, noise };

/// A value of a serving cell.
struct Quantity {
  std::int32_t cell_type;  // of its technology
  PanelKind panel;
  std::string_view name;   // "RSRP"
  std::string_view field;  // of the technology's signal_part
  double unit;             // how many dBm, or dB, 1 of the field is
  double lowest;           // dBm or dB; what is not in this range is no measurement
  double highest;

  /// The value of `cell`, of this technology, in dBm or dB; none if it is not known. `zero_is_known`: whether a ratio
  /// of 0 is one, and does not stand for what was left out.
  std::optional<double> read(const mox_wwan_cell_info& cell, bool zero_is_known) const;
};

/// All of them, those of a panel together.
std::span<const Quantity> quantities();

/// "dBm" or "dB".
std::string_view unit_of(PanelKind panel);

}  // namespace kelvane_hub
