#include "hub/commands/progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>

namespace kelvane_hub {
namespace {

constexpr Time period = std::chrono::seconds(1);
constexpr Time period_of_lines = std::chrono::seconds(5);

}  // namespace

Progress::Progress(const Performance& shown, Voice& voice, bool is_quiet)
    : shown_(shown),
      voice_(voice),
      is_shown_(!is_quiet && isatty(STDERR_FILENO) == 1),
      is_in_place_(isatty(STDOUT_FILENO) == 0) {}

Progress::~Progress() { voice_.show(""); }

std::optional<Time> Progress::next_due() const {
  if (!is_shown_ || !shown_.timeline().started()) return std::nullopt;
  return next_.value_or(Time::zero());
}

void Progress::advance(Time now) {
  const auto due = next_due();
  if (!due || *due > now) return;
  next_ = now + (is_in_place_ ? period : period_of_lines);
  if (!started_) {
    started_ = now;
  } else if (is_in_place_) {
    voice_.show(text(now));
  } else {
    voice_.say(About::progress, text(now));
  }
}

std::string Progress::text(Time now) const {
  const Timeline& timeline = shown_.timeline();
  const double at = timeline.at(now).count();
  const double all = timeline.length();
  const double took = std::chrono::duration<double>(now - *started_).count();
  std::array<char, 160> text{};
  (void)std::snprintf(text.data(), text.size(), "%.1f s of %.1f s, step %zu of %zu, %.0f %%, %.3g times as fast%s",
                      std::min(at, all), all, timeline.taken(), timeline.steps(),
                      all > 0 ? std::min(at / all, 1.0) * 100 : 100, took > 0 ? at / took : 0,
                      timeline.is_held() ? ", waiting for clients" : "");
  winsize terminal{};
  // What is longer than a line could not be wiped away.
  const bool is_known = is_in_place_ && ioctl(STDERR_FILENO, TIOCGWINSZ, &terminal) == 0 && terminal.ws_col > 1;
  return std::string(text.data()).substr(0, is_known ? terminal.ws_col - 1U : text.size());
}

}  // namespace kelvane_hub
