// What the simulated modem is in at the moment.
#pragma once

#include <cstdint>
#include <map>
#include <optional>

#include "mox_wwan_test.pb.h"

namespace kelvane_hub {

using Cells = mox_wwan_event_serving_neighboring_cell_info;

/// The state of one subscription; what the scenario has not spoken of yet is absent.
struct Subscription {
  std::optional<Cells> cells;
  std::optional<mox_wwan_event_voice_calls> voice_calls;
  std::optional<mox_wwan_event_rrc_states_info> rrc_states;
};

/// The subscriptions by their sub id, every one that the scenario has.
using Modem = std::map<std::uint32_t, Subscription>;

}  // namespace kelvane_hub
