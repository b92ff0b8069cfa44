// How far a long run has come, for whoever watches it on a terminal.
#pragma once

#include <optional>
#include <string>

#include "hub/server/voice.h"
#include "hub/testbench/performance.h"

namespace kelvane_hub {

/// Keeps one line on standard error up to date, once a second, below all that the hub says there, and wipes it away at
/// the end. Where standard output, the program's, is a terminal, too, it is a line of its own every five seconds
/// instead, which nothing runs into. If standard error is no terminal, nothing is said.
class Progress final : public Party {
 public:
  /// Of `shown`; both outlive this object.
  Progress(const Performance& shown, Voice& voice, bool is_quiet);
  ~Progress() override;
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  std::optional<Time> next_due() const override;
  void advance(Time now) override;

 private:
  std::string text(Time now) const;

  const Performance& shown_;
  Voice& voice_;
  const bool is_shown_;
  const bool is_in_place_;
  std::optional<Time> started_;  // when scenario time began
  std::optional<Time> next_;
};

}  // namespace kelvane_hub
