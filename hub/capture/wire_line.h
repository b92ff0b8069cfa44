// Messages as lines between a hub and whoever monitors it.
#pragma once

#include <string>
#include <string_view>

#include "hub/wire/capture_file.h"

namespace kelvane_hub {

/// "TIME DIRECTION SESSION SUID_LOW SUID_HIGH BYTES", numbers as in a record of a capture, bytes in hexadecimal; with
/// its newline.
std::string to_line(const CaptureRecord& record);

/// The same back, from a line without newline. Throws InputError, "expected …, found …".
CaptureRecord from_line(std::string_view line);

}  // namespace kelvane_hub
