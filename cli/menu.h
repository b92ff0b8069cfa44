#pragma once

namespace cellscope {

/// Interactive mode: prints the menu, reads a choice from std::cin and carries it out, until a number that is no choice
/// or the end of input; then closes the session. Main thread; events are reported in between on the callback thread.
void run_menu();

}  // namespace cellscope
