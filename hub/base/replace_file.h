#pragma once

#include <filesystem>
#include <string_view>

namespace kelvane_hub {

/// Puts a file with `text` at `target`, in place of the one that may be there, whose permissions (with its access
/// control list), owner and group it gets as far as the user may give them. It is on the disk before it has a name;
/// where the file system knows no files without one, it has another name until then, which no signal but SIGKILL leaves
/// behind. Throws std::system_error; then nothing is changed. To be called while there is one thread.
void replace_file(std::string_view text, const std::filesystem::path& target);

}  // namespace kelvane_hub
