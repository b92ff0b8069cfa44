// Captures as scenarios.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "hub/import/run_import.h"
#include "hub/wire/capture_file.h"

namespace kelvane_hub {

/// Turns what one session of `capture` was told into the scenario that makes a client report the same again, as
/// to_scenario() of a run does, with its sensors and at the times of its records. Without `session` it is the first
/// of configuring_sessions(). `name` stands for the capture in errors and in the summary. Throws InputError, "name:
/// expected …, found …".
ImportedRun to_scenario(const Capture& capture, const std::string& name, std::optional<std::uint32_t> session);

}  // namespace kelvane_hub
