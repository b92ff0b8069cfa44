// The requests that bring a sensor into operation right after discovery.
//
// Each sends on the global session, on the thread that calls it, and reports failure on standard error only.
#pragma once

#include "common/suid.h"

namespace cellscope {

/// Asks for the sensor's attributes.
void send_attr_request(suid target);

/// Starts the self-test that the global sample_rate selects: -1 to -4 give the test types 0 to 3.
void send_selftest_req(suid target);

/// Starts a streaming sensor at the global sample_rate (reports a second), in query mode if the global says so.
void send_config_req(suid target);

/// Starts an on-change sensor.
void send_onchange_config_req(suid target);

}  // namespace cellscope
