// What a hub says when it cannot do what it was asked for.
#pragma once

#include <cstdint>

namespace kelvane_hub {

/// sns_std_error_event.error, as far as the hub makes it up itself.
enum class HubError : std::int32_t {
  not_supported = 1,  // a request that the sensor does not know
  invalid_value = 2,  // a request that it knows, with a value that it cannot take
  no_such_sensor = 3,
  malformed = 4,  // bytes that are no request
  busy = 5,       // more lookups at a time than anybody needs
};

/// mox_wwan_signal_strength_config_status.error.
enum class ThresholdVerdict : std::int32_t {
  accepted = 0,
  unknown_sub = 1,          // a sub id that is absent or that the scenario does not have
  unknown_measurement = 2,  // a technology or measurement that is missing, unknown, or not measured in that technology
  duplicate_entry = 3,      // two entries for one technology and measurement
  negative_hysteresis = 4,
  threshold_out_of_range = 5,
  thresholds_not_ascending = 6,
  malformed = 7,  // the bytes are no mox_wwan_signal_strength_config; for whoever parses them, not told by a check
};

}  // namespace kelvane_hub
