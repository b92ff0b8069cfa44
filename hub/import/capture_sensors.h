// What a capture tells of sensors.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "hub/import/run_sensors.h"
#include "hub/report/run_notes.h"
#include "hub/wire/capture_file.h"

namespace kelvane_hub {

/// The sessions that configure a sensor, in their order; those that are refused it only if all are.
std::vector<std::uint32_t> configuring_sessions(const Capture& capture);

struct CaptureSensors {
  Sensors sensors;
  std::vector<std::string> remarks;
};

/// The sensors that lookups, of any session, were answered with, and that which `session` has configured, with the
/// attributes that they told. Requests that such a sensor answered with nothing but errors are refused.
CaptureSensors sensors_in(const Capture& capture, std::uint32_t session);

/// What `session` was refused, each at the error event that says so. Takes back in `conduct` what it has asked for in
/// vain.
std::vector<RunRefusal> refusals_in(const Capture& capture, std::uint32_t session, Conduct& conduct);

}  // namespace kelvane_hub
