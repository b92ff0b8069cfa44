// Scenarios as files.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "hub/scenario/packed_scenario.h"
#include "scenario.pb.h"

namespace kelvane_hub {

/// Reads the scenario at `path` (text format of scenario.proto) and checks it. Throws InputError, one line for each
/// mistake: "file:line:column: …". What varies in it does so by `seed`; absent: its own.
PackedScenario load_scenario(const std::filesystem::path& path, std::optional<std::uint64_t> seed = {});

/// A scenario, and what in it can hardly be meant: a line each with newlines between them, "file:line:column: warning:
/// …"; empty: nothing.
struct DoubtedScenario {
  PackedScenario content;
  std::string warnings;
};

/// The same, and says what is doubtful.
DoubtedScenario doubt_scenario(const std::filesystem::path& path);

/// The same for a scenario that stands in `text`; `name` takes the file's place in messages.
PackedScenario parse_scenario(const std::string& text, const std::string& name, std::optional<std::uint64_t> seed = {});

/// The scenario that a hub plays when none is named: every radio technology and every kind of event.
PackedScenario built_in_scenario();

/// What is in the scenario, as text of several lines for `kelvane-hub check`; and how long it takes at another `speed`
/// than 1.
std::string describe(const PackedScenario& checked, double speed = 1);

/// The scenario as text that parse_scenario() reads as the same: a step a line.
std::string text_of(const scenario& written);

}  // namespace kelvane_hub
