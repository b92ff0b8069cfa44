// The events that a session hears of only if it has registered for them (request 641).
#pragma once

#include <algorithm>

#include "hub/messages/catalogue.h"
#include "mox_wwan_test.pb.h"

namespace kelvane_hub {

struct Registration {
  EventId event;
  bool (mox_wwan_sensor_config::*wanted)() const;
};

inline constexpr Registration registrations[] = {
    {voice_calls_event, &mox_wwan_sensor_config::report_voice_calls},
    {rrc_states_event, &mox_wwan_sensor_config::report_rrc_state_info},
};

/// Whether this event takes a registration. The others go to every configured session.
inline bool is_registered_for(std::uint32_t msg_id) {
  return std::ranges::any_of(registrations, [msg_id](const Registration& known) { return known.event == msg_id; });
}

}  // namespace kelvane_hub
