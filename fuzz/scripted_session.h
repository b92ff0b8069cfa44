// The client with a session library that answers everything with the same bytes, on the client's own thread.
#pragma once

#include <string>

namespace cellscope::fuzz {

/// Fresh state for the client. `answer` answers a lookup as soon as the client waits for it, and comes as an event
/// during the pause after the attribute request.
void start_anew(std::string answer);

}  // namespace cellscope::fuzz
