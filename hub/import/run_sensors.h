// What a run tells of its sensors.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "hub/report/run.h"
#include "hub/report/run_notes.h"
#include "scenario.pb.h"

namespace kelvane_hub {

using Sensors = google::protobuf::RepeatedPtrField<scenario_sensor>;

/// The attribute that makes a client configure a sensor as on-change (1) or streaming (0).
inline constexpr std::int32_t stream_type_attribute = 16;

struct RunRefusal {
  RunNote::Kind asked;
  std::string_view data_type;  // of the sensor
  std::uint32_t msg_id;        // of the request
  std::int32_t error;
  std::size_t line;  // that tells of the error event
};

/// The error events that come right after a request which nothing else answers in the whole run. Takes back in
/// `conduct` what has been asked for in vain.
std::vector<RunRefusal> refusals_in(const Run& run, Conduct& conduct);

/// The sensors that the run speaks to, which refuse that, and are of another stream type than the built-in ones where
/// the client configures them so. None: they are those of the built-in scenario.
Sensors sensors_in(const Run& run, const std::vector<RunRefusal>& refusals);

/// The refusal, unless `sensor` refuses such requests already.
void add_refusal(scenario_sensor& sensor, const RunRefusal& told);

}  // namespace kelvane_hub
