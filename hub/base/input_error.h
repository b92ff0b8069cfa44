// The exceptions for input that a person wrote: a scenario, a trace, an option.
#pragma once

#include <exception>
#include <stdexcept>

namespace kelvane_hub {

/// what() is the whole message for the user, place first: "drive.csv:17: expected …, found …".
class InputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The command line was wrong, rather than what stands in a file.
class UsageError : public InputError {
 public:
  using InputError::InputError;
};

/// A command has failed and has said why: nothing is left to be said.
class AlreadyTold : public std::exception {};

}  // namespace kelvane_hub
