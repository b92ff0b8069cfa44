// What the tests of files do instead of the system. The program's own calls come here.
#pragma once

#include <functional>

namespace kelvane_hub {

/// What the next fsync() does, given the descriptor; empty: as always.
extern std::function<int(int)> at_fsync;

/// Whether open() fails for files without a name, as on file systems that know none.
extern bool has_no_unnamed_files;

}  // namespace kelvane_hub
