#include "hub/server/loop.h"

#include <poll.h>
#include <sys/epoll.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

namespace kelvane_hub {
namespace {

timespec to_timespec(Time time) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
  return {seconds.count(), (time - seconds).count()};
}

}  // namespace

Loop::Loop() : epoll_(epoll_create1(EPOLL_CLOEXEC)) {
  if (!epoll_) throw std::system_error(errno, std::generic_category(), "epoll");
}

Loop::Entry Loop::add(int descriptor, Ready ready) {
  control(EPOLL_CTL_ADD, descriptor, ++last_entry_, EPOLLIN);
  registered_.try_emplace(last_entry_, Registered{descriptor, std::move(ready)});
  return last_entry_;
}

void Loop::want(Entry entry, Interest interest) {
  const std::uint32_t events = (interest.read ? EPOLLIN : 0U) | (interest.write ? EPOLLOUT : 0U);
  control(EPOLL_CTL_MOD, registered_.at(entry).descriptor, entry, events);
}

void Loop::remove(Entry entry) {
  control(EPOLL_CTL_DEL, registered_.at(entry).descriptor, entry, 0);
  registered_.erase(entry);
}

void Loop::control(int operation, int descriptor, Entry entry, std::uint32_t events) {
  epoll_event event{};
  event.events = events;
  event.data.u64 = entry;
  if (epoll_ctl(epoll_.get(), operation, descriptor, &event) != 0) {
    throw std::system_error(errno, std::generic_category(), "cannot wait for a descriptor");
  }
}

void Loop::stop(Outcome outcome) {
  if (!outcome_) outcome_ = outcome;
}

Outcome Loop::run() {
  while (!outcome_) {
    const auto ready = wait();
    const Time time = now();
    for (Party* const party : parties_) party->advance(time);
    for (const Happened& happened : ready) {
      if (!outcome_) serve(happened, time);
    }
    for (const auto& action : ends_of_turn_) action();
  }
  return *outcome_;
}

/// Returns at once if somebody is overdue. Whether a descriptor may be ready.
bool Loop::wait_until_due() const {
  std::optional<Time> due;
  for (const Party* const party : parties_) due = earlier(due, party->next_due());
  timespec timeout{};
  if (due) {
    const Time left = *due - now();
    if (left <= Time::zero()) return true;
    timeout = to_timespec(left);
  }
  // To the nanosecond, which not every kernel's epoll offers.
  pollfd any{epoll_.get(), POLLIN, 0};
  return ppoll(&any, 1, due ? &timeout : nullptr, nullptr) > 0;
}

/// What has happened, in the order in which the descriptors were added.
std::vector<Loop::Happened> Loop::wait() {
  if (!wait_until_due()) return {};
  // Of all at once: whoever has been silent for too long is told from those who have something to say.
  if (events_.size() < registered_.size()) events_.resize(registered_.size());
  const int count = epoll_wait(epoll_.get(), events_.data(), static_cast<int>(events_.size()), 0);
  std::vector<Happened> happened;
  happened.reserve(static_cast<std::size_t>(std::max(count, 0)));
  for (int i = 0; i < count; ++i) {
    const epoll_event& event = events_[static_cast<std::size_t>(i)];
    happened.push_back({event.data.u64, event.events});
  }
  std::ranges::sort(happened, {}, &Happened::entry);
  return happened;
}

void Loop::serve(const Happened& happened, Time now) {
  const auto entry = registered_.find(happened.entry);
  if (entry == registered_.end()) return;  // removed by one that was served before it
  // It may be removed while it is served.
  const Ready ready = entry->second.ready;
  ready((happened.events & (EPOLLIN | EPOLLHUP | EPOLLERR)) != 0, (happened.events & EPOLLOUT) != 0, now);
}

Time Loop::now() { return std::chrono::steady_clock::now().time_since_epoch(); }

}  // namespace kelvane_hub
