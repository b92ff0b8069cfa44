// Times as recordings write them.
#pragma once

#include <chrono>
#include <optional>
#include <string_view>

namespace kelvane_hub {

using Moment = std::chrono::sys_time<std::chrono::nanoseconds>;

/// The time in "2019.12.02_09.39.35", in ISO 8601 ("2019-12-02T09:39:35+01:00", with a blank for the T, with Z, with
/// "+01" or "+0100", or without an offset) or in Unix time (seconds; from 100,000,000,000 on, milliseconds). Each may
/// have a fraction, after a point or comma, whose digits beyond the ninth are cut off. Empty if the text is none of
/// these, or not of the years 1970 to 2200. What has no offset is taken for UTC.
std::optional<Moment> parse_moment(std::string_view text);

}  // namespace kelvane_hub
