// A program that the hub is told to run.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "hub/base/unique_fd.h"

namespace kelvane_hub {

/// A child of this process, on its standard streams and in its process group: a terminal's Ctrl-C reaches both. Killed
/// if it still runs when this object is destroyed.
class Program {
 public:
  /// Starts it. Throws InputError if that cannot be done.
  explicit Program(const std::vector<std::string>& words);
  ~Program();
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  /// Can be read from when it has ended.
  int descriptor() const { return end_.get(); }

  /// Without effect on one that has ended.
  void signal(int number) const;

  /// Waits for its end; returns "exit status 1" or "signal 9", or nothing if that was exit status 0.
  std::string wait();

  /// Whether this signal has ended it; to be called after wait().
  bool was_ended_by(int number) const;

 private:
  pid_t process_ = -1;
  UniqueFd end_;
  std::optional<int> status_;
};

}  // namespace kelvane_hub
