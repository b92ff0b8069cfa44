// Where commands write.
#pragma once

#include <string>
#include <string_view>

namespace kelvane_hub {

/// Refuses an output that is the file to be read, by whatever name and over whatever links. `input` may be "-",
/// standard input, `output` empty or "-", standard output. `what` the input is, for the message. Throws InputError,
/// "output: expected another file than the recording, found the same".
void refuse_same_file(const std::string& input, const std::string& output, std::string_view what);

/// Standard output, to be polled for whether anybody still reads it; -1 if it is no pipe or socket.
int watched_output();

/// What to say of a watched output that nobody reads any more.
[[noreturn]] void tell_unread_output();

/// Writes `text` to the file `output` as write_file() does, or to standard output if it is empty or "-". Throws
/// InputError, "file: reason", also if standard output does not take all of it.
void write_output(std::string_view text, const std::string& output);

}  // namespace kelvane_hub
