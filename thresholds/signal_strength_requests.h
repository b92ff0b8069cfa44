// The requests that set the signal-strength thresholds of one subscription.
//
// Each sends on the global session, on the thread that calls it, and reports failure on standard error only. `sub_id`
// is sent as it is. The sensor's verdict comes later, as an event.
#pragma once

#include <cstdint>

#include "common/suid.h"

namespace cellscope {

/// A configuration without entries.
void send_empty_sig_info(suid target, std::int32_t sub_id);

/// Asks on the console for each pairing of technology and measurement, and sends the entries made there. Main thread.
void send_all_ran_info(suid target, std::int32_t sub_id);

/// Four fixed thresholds for GERAN and, though the announcement does not say so, for CDMA2000.
void send_geran_sig_info(suid target, std::int32_t sub_id);

}  // namespace cellscope
