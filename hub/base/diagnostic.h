// What this house says on standard error.
#pragma once

#include <string_view>

namespace kelvane_hub {

/// Who speaks, in front of each line.
inline constexpr std::string_view hub_speaker = "kelvane-hub";
inline constexpr std::string_view library_speaker = "libkelvanesession";

/// Writes "SPEAKER: LINE" and a newline on standard error, in one piece. Any thread.
void diagnose(std::string_view speaker, std::string_view line);

}  // namespace kelvane_hub
