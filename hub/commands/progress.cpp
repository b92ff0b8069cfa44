#include "hub/commands/progress.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace kelvane_hub {
namespace {

constexpr Time period = std::chrono::seconds(1);
constexpr Time period_of_lines = std::chrono::seconds(5);

}  // namespace

Progress::Progress(const Performance& shown, bool is_quiet)
    : shown_(shown), is_shown_(!is_quiet && isatty(STDERR_FILENO) == 1), is_in_place_(isatty(STDOUT_FILENO) == 0) {}

Progress::~Progress() { wipe(); }

void Progress::wipe() const {
  if (next_ && is_in_place_) (void)std::fputs("\r\033[K", stderr);
}

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
    return;
  }
  const Timeline& timeline = shown_.timeline();
  const double at = timeline.at(now).count();
  const double all = timeline.length();
  const double took = std::chrono::duration<double>(now - *started_).count();
  (void)std::fprintf(stderr, "%s%.1f s of %.1f s, step %zu of %zu, %.0f %%, %.3g times as fast%s%s",
                     is_in_place_ ? "\r\033[K" : "", std::min(at, all), all, timeline.taken(), timeline.steps(),
                     all > 0 ? std::min(at / all, 1.0) * 100 : 100, took > 0 ? at / took : 0,
                     timeline.is_held() ? ", waiting for clients" : "", is_in_place_ ? "" : "\n");
}

}  // namespace kelvane_hub
