// The envelope that every request travels in.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "common/suid.h"

namespace cellscope {

/// Serialises the request envelope for the sensor `target`. Without `payload` the envelope still holds a request body,
/// an empty one: the hub tells the two apart.
std::string make_envelope(suid target, std::uint32_t msg_id, std::optional<std::string> payload);

/// Puts `payload` in the envelope and sends it on the global session. A failure, or no session at all, prints
/// "FUNCTION:ERROR_LINE, Error in sending request" on standard error and has no other effect.
void send_request(suid target, std::uint32_t msg_id, std::optional<std::string> payload, std::string_view function,
                  int error_line);

}  // namespace cellscope
