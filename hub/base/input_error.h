// The one exception for input that a person wrote: a scenario, a trace, an option.
#pragma once

#include <stdexcept>

namespace kelvane_hub {

/// what() is the whole message for the user, place first: "drive.csv:17: expected …, found …".
class InputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace kelvane_hub
