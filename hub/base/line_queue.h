// Lines that are written by a thread of their own.
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <thread>

namespace kelvane_hub {

/// A reason to say something: lines of one do not take the room of another's.
struct LineCause {
  /// What its lines are about, for "3 lines about NAME were dropped".
  const char* name;
  /// How many of them may be said within a second; more are dropped.
  std::size_t most_a_second;
};

/// Lines on their way to a descriptor. Whoever says one never waits, whether anybody reads them or not: what there is
/// no room for, 256 KiB a cause, is dropped, and how much that was is said.
///
/// The thread that writes blocks all signals; in the background of a terminal it may write whatever `stty tostop` says.
class LineQueue {
 public:
  /// Each line begins with `speaker` and ": ", unless that is empty. `descriptor` stays open, and `causes` and
  /// `speaker` outlive the process.
  LineQueue(int descriptor, std::string_view speaker, std::span<const LineCause> causes);

  /// Returns when all is written, or when for a second nobody has read anything; then the rest is lost.
  ~LineQueue();
  LineQueue(const LineQueue&) = delete;
  LineQueue& operator=(const LineQueue&) = delete;

  /// Queues `line`, without newline, for the cause of that number. Any thread.
  void say(std::size_t cause, std::string_view line);

  /// Of a terminal: `text`, as it is, stands below all lines until one is said or something else is shown. It is left
  /// out if one before still waits to be written, unless it is empty. Any thread.
  void show(std::size_t cause, std::string_view text);

 private:
  class Writer;

  // Shared with the thread, which outlives this object if it can write no more.
  std::shared_ptr<Writer> writer_;
  std::thread thread_;
};

}  // namespace kelvane_hub
