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
/// file that stood there before is untouched. Into what is no file (a pipe, a device) it writes directly, and into what
/// is open here already (/dev/stdout, /dev/fd/N) through that descriptor, from where it stands.
void write_file(std::string_view text, const std::filesystem::path& path);

/// Writes all of `text` to an open descriptor. Throws InputError, "name: reason"; a pipe that nobody reads is no
/// signal.
void write_to_descriptor(std::string_view text, int descriptor, const std::string& name);

}  // namespace kelvane_hub
