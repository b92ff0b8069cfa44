// Where the program of a private hub is found.
#pragma once

#include <string>

namespace kelvane_hub {

struct HubProgram {
  /// A file, or a bare name to look for in PATH.
  std::string path;
  /// For whom the start fails: the places that were looked at in vain, as the end of an error's line. Empty if the
  /// program was named or found.
  std::string looked_in;
};

/// The program that KELVANE_HUB_PROGRAM names; or else the kelvane-hub beside this library, the one that was installed
/// with it, or the one in PATH. Any thread.
HubProgram find_hub_program();

}  // namespace kelvane_hub
