// What can be measured of a cell, and have thresholds.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

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
  /// Where a technology has it, looked up once: a decision is made at each change for each client.
  struct Place {
    const google::protobuf::FieldDescriptor* info;
    const google::protobuf::FieldDescriptor* signal;
    const google::protobuf::FieldDescriptor* value;
  };

  RadioAccessNetwork ran;
  SignalMeasurementType type;
  Range thresholds;           // dBm, or dB for the ratios: RSRQ, RSSNR, SSRSRQ, SSSINR
  std::vector<Place> places;  // one for each technology of `ran`

  /// The value of `cell`; a cell of another technology has none.
  Value read(const mox_wwan_cell_info& cell) const;
};

/// All of them, those of a `ran` together.
std::span<const Measurement> measurements();

/// The one that `entry` is for; null if it names nothing that is measured.
const Measurement* measurement_of(const mox_wwan_signal_threshold_info& entry);

}  // namespace kelvane_hub
