// What can follow in an order to a running hub.
#pragma once

#include <string_view>

#include "hub/commands/hub_connection.h"
#include "hub/commands/prompt.h"

namespace kelvane_hub {

/// Orders and what they take, as the hub's own help says, and files. Throws InputError if the hub is gone.
Completions complete_order(HubConnection& hub, std::string_view before_cursor);

}  // namespace kelvane_hub
