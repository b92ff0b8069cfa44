// Files as a whole.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace kelvane_hub {

/// All that stands in the file, or comes from the pipe, at `path`, up to the end of the block in which its first NUL
/// stands: an endless device is no text. Throws InputError, "file: cannot read it: reason".
std::string read_file(const std::filesystem::path& path);

/// Writes `text` to `path`. A file appears whole or not at all: on failure it throws InputError ("file: reason") and a
/// file that stood there before is untouched. Into what is no file (a pipe, /dev/stdout) it writes directly.
void write_file(std::string_view text, const std::filesystem::path& path);

}  // namespace kelvane_hub
