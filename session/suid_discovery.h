// Finding a sensor by its data type and connecting to it.
#pragma once

#include <string>

namespace cellscope {

/// Looks up the sensors of the type `wanted` and blocks until the answer has been handled, that is, until suid_cb has
/// connected to the first of them. Returns 1 then, 0 if the lookup could not be sent. An answer without a sensor, or
/// none at all, blocks for ever. Progress and failures are printed with printf on standard output. Main thread.
int getSuid(std::string wanted);

/// Opens the global session to the first sensor of suid_list, registers event_cb and sends the first requests: the
/// self-test, or the attribute request and, 3 s later, the configuration that the sensor's stream type calls for.
/// Failures are reported on standard error. Runs on the session library's callback thread; the argument is not used.
void suid_cb(const std::string& wanted);

}  // namespace cellscope
