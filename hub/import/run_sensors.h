// What a run tells of its sensors.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string_view>
#include <vector>

#include "hub/report/run.h"
#include "hub/report/run_notes.h"

namespace kelvane_hub {

struct RunRefusal {
  RunNote::Kind asked;
  std::string_view data_type;  // of the sensor
  std::uint32_t msg_id;        // of the request
  std::int32_t error;
  std::size_t line;  // that tells of the error event
};

/// The sensors that a client configures otherwise than by their names, and how: the stream type, which makes it do so.
std::map<std::string_view, std::int64_t> stream_types_in(const Run& run);

/// The error events that come right after a request which nothing else answers in the whole run. Takes back in
/// `conduct` what has been asked for in vain.
std::vector<RunRefusal> refusals_in(const Run& run, Conduct& conduct);

}  // namespace kelvane_hub
