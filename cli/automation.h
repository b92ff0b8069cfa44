#pragma once

namespace cellscope {

/// Automation mode: sets up pid file, output file and SIGINT handler, performs the one operation that the arguments
/// name, and listens until SIGINT. `argc` is at least 2. Throws what std::stol and std::stoi throw if a number is none.
void run_automation(int argc, char** argv);

}  // namespace cellscope
