// Output files of cellscope, read while they grow.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "hub/report/run.h"

namespace kelvane_hub {

/// A report that grows takes no more memory; none that a sensor sends comes near.
inline constexpr std::size_t most_unfinished = std::size_t{64} << 20;

/// Reads a run piece by piece, tolerantly. Keeps the report that is not whole yet, and nothing else. However small the
/// pieces are, the time that all of them take grows with their size alone, or little more.
class RunFollower {
 public:
  /// `name` takes the file's place in messages.
  explicit RunFollower(std::string name) : name_(std::move(name)) {}

  /// Takes the bytes that come next. Returns what is whole with them: never a report that is cut off, or a line.
  /// Throws InputError, "name:line: expected …, found …", when more than most_unfinished bytes are not whole.
  Run take(std::string_view bytes);

  /// The line at which a report begins that is not whole yet; 0: there is none.
  std::size_t unfinished() const { return unfinished_; }

 private:
  bool may_be_whole();
  Run read();

  std::string name_;
  std::string pending_;
  std::size_t line_ = 1;  // that `pending_` begins with
  std::size_t unfinished_ = 0;
  // Since `pending_` was read last.
  std::size_t unseen_ = 0;       // where in it the lines begin that have not been looked at
  std::size_t missing_ = 1;      // lines without which nothing more is whole
  std::size_t read_size_ = 0;    // its size then
  bool is_after_empty_ = false;  // whether an empty line was the last that may be of a report
};

}  // namespace kelvane_hub
