// What can be measured of a cell, and have thresholds.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "mox_wwan_test.pb.h"

namespace kelvane_hub {

/// A value that may be absent.
using Value = std::optional<std::int32_t>;

/// The number, or "absent".
std::string shown(const Value& value);

struct Range {
  std::int32_t lowest;
  std::int32_t highest;
};

struct Measurement {
  RadioAccessNetwork ran;
  SignalMeasurementType type;
  Range thresholds;                          // dBm, or dB for the ratios: RSRQ, RSSNR, SSRSRQ, SSSINR
  Value (*read)(const mox_wwan_cell_info&);  // a cell of another technology has none
};

/// All of them, those of a technology together.
std::span<const Measurement> measurements();

/// The one that `entry` is for; null if it names nothing that is measured.
const Measurement* measurement_of(const mox_wwan_signal_threshold_info& entry);

}  // namespace kelvane_hub
