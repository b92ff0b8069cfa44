// The attribute cache: what the sensor has said of itself.
//
// All of it runs on the session library's callback thread. Diagnostics go to standard error.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "kelvane_api.pb.h"

namespace cellscope {

inline constexpr std::int32_t SNS_STD_SENSOR_ATTRID_RANGES = 11;
inline constexpr std::int32_t ATTRID_STREAM_TYPE = 16;

/// Copies every attribute of `event` into the cache and logs its id; ids that it does not carry keep their value.
void store_attributes(const sns_std_attr_event& event);

/// The cached attribute as floats or integers, one for each of its elements; none if it is not cached. An element of
/// another kind gives 0 and a diagnostic.
std::vector<float> get_floats(std::int32_t attribute_id);
std::vector<std::int64_t> get_ints(std::int32_t attribute_id);

/// The (minimum, maximum) pairs of attribute 11; a malformed one gives (0, 0) and a diagnostic.
std::vector<std::pair<float, float>> get_ranges();

/// Takes the global stream_type from the attributes; without that attribute it keeps its value. Reads the other known
/// attributes only for the diagnostics of the malformed ones. Prints no report.
void print_sensor_info();

}  // namespace cellscope
