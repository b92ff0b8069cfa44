// Files as a whole.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

namespace kelvane_hub {

/// All that stands in the file, or comes from the pipe, at `path`. Throws InputError: "file: cannot read it: reason",
/// or "file:line:column: expected text, found a NUL byte". No more is read then, so that an endless device has an end.
std::string read_file(const std::filesystem::path& path);

/// Whether what begins so may have NUL bytes in it.
using IsBinary = std::function<bool(std::string_view beginning)>;

/// The same of what a command is given: "-" is standard input, from where it stands. Of what `is_binary` NUL bytes are
/// taken, too.
std::string read_input(const std::string& input, const IsBinary& is_binary = {});

/// What messages call it.
std::string name_of_input(const std::string& input);

/// Writes `text` to `path`. A file appears whole or not at all, whatever ends the program meanwhile, and is on the disk
/// when this returns; see replace_file(). On failure it throws InputError ("file: reason") and a file that stood there
/// before is untouched. Into what is no file (a pipe, a device) it writes directly, and into what
/// is open here already (/dev/stdout, /dev/fd/N) through that descriptor, from where it stands.
void write_file(std::string_view text, const std::filesystem::path& path);

/// Writes all of `text` to an open descriptor. Throws InputError, "name: reason"; a pipe that nobody reads is no
/// signal.
void write_to_descriptor(std::string_view text, int descriptor, const std::string& name);

}  // namespace kelvane_hub
