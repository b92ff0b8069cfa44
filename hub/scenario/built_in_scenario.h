#pragma once

namespace kelvane_hub {

/// The text of built_in_scenario.textproto, which the build puts into the program.
extern const char* const built_in_scenario_text;

/// What stands for its file name in messages.
inline constexpr const char* built_in_scenario_name = "built-in scenario";

}  // namespace kelvane_hub
