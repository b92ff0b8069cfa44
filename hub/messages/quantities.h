// What is measured of a serving cell: its name, its unit, and what can be measured at all.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "mox_wwan_test.pb.h"

namespace kelvane_hub {

/// The panels of a picture, from above; values of one unit that are of one size share a panel. What is `undrawn` has
/// no curve.
enum class PanelKind : std::uint8_t { strength, quality, noise, undrawn };

/// A value of a serving cell.
struct Quantity {
  std::int32_t cell_type;  // of its technology
  PanelKind panel;
  std::string_view name;       // "RSRP"
  std::string_view part;       // of the technology
  std::string_view field;      // of that part
  std::string_view unit_name;  // "dBm", "dB", or nothing
  double unit;                 // how many of it 1 of the field is
  double lowest;               // in that unit; what is not in this range is no measurement
  double highest;

  /// The value of `cell`, of this technology, in its unit; none if it is not known. `zero_is_known`: whether a 0 is
  /// one, and does not stand for what was left out.
  std::optional<double> read(const mox_wwan_cell_info& cell, bool zero_is_known) const;
};

/// All that have curves, those of a panel together.
std::span<const Quantity> quantities();

/// One for each value that reports have of a signal, technology by technology, in the order in which they are printed.
std::span<const Quantity> all_quantities();

/// "dBm" or "dB", of a panel with curves.
std::string_view unit_of(PanelKind panel);

}  // namespace kelvane_hub
