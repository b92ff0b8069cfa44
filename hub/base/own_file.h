// A file that one process alone writes.
#pragma once

namespace kelvane_hub {

/// Whether a file was taken; why not is in errno.
enum class Taken { yes, no, another_has_it };

/// Takes the open regular file `file` until all descriptors that are copies of it are closed: no other process, and
/// nobody else in this one, gets it meanwhile. Then only its owner can read or write it, and it is empty. What is no
/// regular file stays as it is. Any thread.
Taken take_own_file(int file);

}  // namespace kelvane_hub
