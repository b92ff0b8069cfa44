// What the WWAN sensor reports only when asked.
//
// Each sends on the global session, on the thread that calls it, and reports failure on standard error only.
#pragma once

#include "common/suid.h"

namespace cellscope {

/// Registers for voice-call events. There is no way back: a registration sets its flag and clears none.
void register_voice_call_status(suid target);

/// Registers for events on the state of the radio resource control (RRC).
void register_rrc_state_indication(suid target);

/// Asks once for the cells of every subscription; the answer comes as an event.
void query_cell_location_info(suid target);

}  // namespace cellscope
