#include "hub/base/line_queue.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "hub/base/concat.h"
#include "hub/base/signals_blocked.h"

namespace kelvane_hub {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t most_waiting = std::size_t{256} << 10;  // bytes of a cause
constexpr std::size_t most_at_once = std::size_t{4} << 10;    // bytes a write
constexpr std::chrono::seconds patience(1);
constexpr std::string_view wipe = "\r\033[K";  // the line of a terminal in which the cursor is

/// Returns how much was written; none if the descriptor takes no more for good.
std::optional<std::size_t> write_some(int descriptor, std::string_view text) {
  for (;;) {
    const ssize_t written = ::write(descriptor, text.data(), text.size());
    if (written > 0) return static_cast<std::size_t>(written);
    if (errno == EAGAIN) {
      pollfd ready{descriptor, POLLOUT, 0};
      (void)poll(&ready, 1, -1);
    } else if (errno != EINTR) {
      return std::nullopt;
    }
  }
}

}  // namespace

/// What whoever speaks and the thread share.
class LineQueue::Writer {
 public:
  Writer(int descriptor, std::string_view speaker, std::span<const LineCause> causes)
      : descriptor_(descriptor), speaker_(speaker) {
    for (const LineCause& cause : causes) topics_.push_back({&cause, 0, 0, 0, {}});
  }

  void say(std::size_t cause, std::string_view line) {
    const std::lock_guard lock(mutex_);
    Topic& topic = topics_[cause];
    if (!admits(topic, line.size())) {
      ++topic.dropped;
      return changed_.notify_all();
    }
    say_dropped(topic);
    add(topic, line);
  }

  void show(std::size_t cause, std::string_view text) {
    const std::lock_guard lock(mutex_);
    Topic& topic = topics_[cause];
    if (topic.waiting > 0 && !text.empty()) return;
    if (!std::exchange(is_shown_, !text.empty()) && text.empty()) return;
    queue(topic, concat(wipe, text));
  }

  /// On its thread, until end() and all is written.
  void run() {
    std::unique_lock lock(mutex_);
    while (wait_for_lines(lock)) write_first(lock);
    ended_ = true;
    changed_.notify_all();
  }

  /// Returns whether run() has come to its end.
  bool end() {
    std::unique_lock lock(mutex_);
    ending_ = true;
    changed_.notify_all();
    for (std::size_t seen = written_;; seen = written_) {
      (void)changed_.wait_for(lock, patience, [&] { return ended_ || written_ != seen; });
      if (ended_ || written_ == seen) return ended_;
    }
  }

 private:
  struct Topic {
    const LineCause* cause;
    std::size_t waiting;  // bytes
    std::size_t said;     // lines since `second`
    std::size_t dropped;
    Clock::time_point second;  // when it began
  };
  struct Line {
    std::string text;
    Topic* topic;
  };

  bool admits(Topic& topic, std::size_t size) const {
    if (const auto now = Clock::now(); now - topic.second >= std::chrono::seconds(1)) {
      topic.second = now;
      topic.said = 0;
    }
    return topic.said < topic.cause->most_a_second && topic.waiting + size <= most_waiting;
  }

  void add(Topic& topic, std::string_view line) {
    const bool takes_place = std::exchange(is_shown_, false);
    queue(topic, concat(takes_place ? wipe : "", speaker_, speaker_.empty() ? "" : ": ", line, "\n"));
    ++topic.said;
  }

  void queue(Topic& topic, std::string text) {
    topic.waiting += text.size();
    lines_.push_back({std::move(text), &topic});
    changed_.notify_all();
  }

  /// Before the next line of its kind.
  void say_dropped(Topic& topic) {
    if (topic.dropped == 0) return;
    const auto count = std::exchange(topic.dropped, 0);
    add(topic, concat(count, count == 1 ? " line about " : " lines about ", topic.cause->name,
                      count == 1 ? " was dropped" : " were dropped"));
  }

  /// Where none follows. Lines may be dropped because others wait, or because they come too fast.
  void say_all_dropped() {
    for (Topic& topic : topics_) {
      if (ending_ || admits(topic, 0)) say_dropped(topic);
    }
  }

  bool wait_for_lines(std::unique_lock<std::mutex>& lock) {
    while (lines_.empty()) {
      say_all_dropped();
      if (!lines_.empty()) break;
      if (ending_) return false;
      if (std::ranges::any_of(topics_, [](const Topic& topic) { return topic.dropped != 0; })) {
        (void)changed_.wait_for(lock, std::chrono::seconds(1));
      } else {
        changed_.wait(lock);
      }
    }
    return true;
  }

  void write_first(std::unique_lock<std::mutex>& lock) {
    // Only this thread takes any, so the first stays where it is.
    const std::string& text = lines_.front().text;
    const std::string_view rest = std::string_view(text).substr(begun_, most_at_once);
    lock.unlock();
    const auto written = write_some(descriptor_, rest);
    lock.lock();
    written_ += written.value_or(rest.size());
    begun_ += written.value_or(rest.size());
    if (begun_ == text.size()) drop_first();
    changed_.notify_all();
  }

  void drop_first() {
    lines_.front().topic->waiting -= lines_.front().text.size();
    lines_.pop_front();
    begun_ = 0;
  }

  const int descriptor_;
  const std::string_view speaker_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Topic> topics_;
  std::deque<Line> lines_;
  std::size_t begun_ = 0;    // bytes of the first line that are written
  std::size_t written_ = 0;  // bytes in all
  bool is_shown_ = false;    // something stands below all that was queued
  bool ending_ = false;
  bool ended_ = false;
};

LineQueue::LineQueue(int descriptor, std::string_view speaker, std::span<const LineCause> causes)
    : writer_(std::make_shared<Writer>(descriptor, speaker, causes)),
      thread_(thread_without_signals([writer = writer_] { writer->run(); })) {}

LineQueue::~LineQueue() {
  if (writer_->end()) {
    thread_.join();
  } else {
    thread_.detach();
  }
}

void LineQueue::say(std::size_t cause, std::string_view line) { writer_->say(cause, line); }

void LineQueue::show(std::size_t cause, std::string_view text) { writer_->show(cause, text); }

}  // namespace kelvane_hub
