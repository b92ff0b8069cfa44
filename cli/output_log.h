// Where an automation run leaves its traces, and how it is stopped. Main thread.
#pragma once

#include <cstdint>
#include <string>

namespace cellscope {

/// Writes the pid file of the run `request_id`. That it cannot be written is not reported.
void write_pid_file(std::int64_t request_id);

/// Points std::cout at the output file `name` ("-1": the standard name), which it creates anew. If that fails, all that
/// follows on std::cout is lost until SIGINT.
void redirect_output(const std::string& name);

/// Clears stop_requested and installs singal_handler for SIGINT.
void install_signal_handler();

/// Closes the session and the output file, gives std::cout its own buffer back and sets stop_requested. Runs on the
/// main thread, the only one that does not block signals.
void singal_handler(int signum);

}  // namespace cellscope
