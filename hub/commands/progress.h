// How far a long run has come, for whoever watches it on a terminal.
#pragma once

#include <optional>

#include "hub/testbench/performance.h"

namespace kelvane_hub {

/// Keeps one line on standard error up to date, once a second, and wipes it away at the end. Where standard output, the
/// program's, is a terminal, too, it is a line of its own every five seconds instead, which nothing runs into. If
/// standard error is no terminal, nothing is said.
class Progress final : public Party {
 public:
  /// Of `shown`, which outlives this object.
  Progress(const Performance& shown, bool is_quiet);
  ~Progress() override;
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// Makes room for another line until it is due anew.
  void wipe() const;

  std::optional<Time> next_due() const override;
  void advance(Time now) override;

 private:
  const Performance& shown_;
  const bool is_shown_;
  const bool is_in_place_;
  std::optional<Time> started_;  // when scenario time began
  std::optional<Time> next_;
};

}  // namespace kelvane_hub
