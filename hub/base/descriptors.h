// Open descriptors, read and written as a whole.
#pragma once

#include <string>
#include <string_view>

namespace kelvane_hub {

/// Writes all of `text`; waits where the descriptor does not. Throws std::system_error: a pipe that nobody reads and
/// the limit of a file's size are no signals, but errors. To be called while there is one thread.
void write_all(std::string_view text, int descriptor);

/// Appends the next bytes to `text`; waits where the descriptor does not. Returns false if there are none any more.
/// Throws std::system_error.
bool read_more(std::string& text, int descriptor);

}  // namespace kelvane_hub
