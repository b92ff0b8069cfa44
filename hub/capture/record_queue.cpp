#include "hub/capture/record_queue.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <utility>

#include "hub/base/concat.h"
#include "hub/base/input_error.h"
#include "hub/base/signals_blocked.h"

namespace kelvane_hub {
namespace {

constexpr std::size_t most_waiting = std::size_t{64} << 20;  // bytes
constexpr std::chrono::seconds patience(1);

/// Of small messages there may be many.
std::size_t room_of(const Heard& message) {
  constexpr std::size_t beside = 256;
  return message->message.size() + beside;
}

std::string are_missing(std::uint64_t count) {
  return concat(count, count == 1 ? " message was left out" : " messages were left out");
}

}  // namespace

/// What whoever is told and the thread share.
class RecordQueue::Taker {
 public:
  Taker(std::string name, Sink sink, Say say) : name_(std::move(name)), sink_(std::move(sink)), say_(std::move(say)) {}

  void add(const Heard& message) {
    const std::lock_guard lock(mutex_);
    if (has_failed_) return;
    if (waiting_ != 0 && waiting_ + room_of(message) > most_waiting) {
      ++left_out_;
      return;
    }
    waiting_ += room_of(message);
    queue_.push_back(message);
    changed_.notify_all();
  }

  /// On its thread, until it is to end and all is written. Then the sink is no more.
  void run() {
    std::unique_lock lock(mutex_);
    while (!has_failed_) {
      changed_.wait(lock, [this] { return !queue_.empty() || is_ending_; });
      if (queue_.empty()) break;
      hand_on_first(lock);
    }
    lock.unlock();
    sink_ = nullptr;
    lock.lock();
    has_ended_ = true;
    changed_.notify_all();
  }

  /// Returns whether run() has come to its end.
  bool end_within(std::chrono::milliseconds time) {
    std::unique_lock lock(mutex_);
    is_ending_ = true;
    changed_.notify_all();
    return changed_.wait_for(lock, time, [this] { return has_ended_; });
  }

  /// The same, as long as the sink takes any.
  bool end() {
    (void)end_within({});
    std::unique_lock lock(mutex_);
    for (std::uint64_t seen = taken_;; seen = taken_) {
      (void)changed_.wait_for(lock, patience, [&] { return has_ended_ || taken_ != seen; });
      if (has_ended_) return true;
      if (taken_ != seen) continue;
      say(concat(name_, ": nothing more is taken; ", are_missing(1 + queue_.size() + left_out_)));
      say_ = nullptr;  // whoever hears it may not be there any more
      return false;
    }
  }

 private:
  void say(const std::string& line) const {
    if (say_) say_(line);
  }

  void hand_on_first(std::unique_lock<std::mutex>& lock) {
    // Only this thread takes any.
    const Heard message = std::move(queue_.front());
    queue_.pop_front();
    lock.unlock();
    std::string error;
    try {
      sink_(*message);
    } catch (const InputError& thrown) {
      error = thrown.what();
    }
    lock.lock();
    ++taken_;
    waiting_ -= room_of(message);
    if (!error.empty()) {
      has_failed_ = true;
      queue_.clear();
      say(error + "; nothing more goes there");
    } else if (queue_.empty() && left_out_ != 0) {
      say(concat(name_, ": ", are_missing(std::exchange(left_out_, 0)), ": they were taken too slowly"));
    }
    changed_.notify_all();
  }

  const std::string name_;
  Sink sink_;  // run()'s
  Say say_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Heard> queue_;
  std::size_t waiting_ = 0;     // bytes
  std::uint64_t taken_ = 0;     // messages
  std::uint64_t left_out_ = 0;  // of which nothing has been said
  bool has_failed_ = false;
  bool is_ending_ = false;
  bool has_ended_ = false;
};

RecordQueue::RecordQueue(std::string name, Sink sink, Say say)
    : taker_(std::make_shared<Taker>(std::move(name), std::move(sink), std::move(say))),
      thread_(thread_without_signals([taker = taker_] { taker->run(); })) {}

RecordQueue::~RecordQueue() {
  if (taker_->end()) {
    thread_.join();
  } else {
    thread_.detach();
  }
}

bool RecordQueue::end_within(std::chrono::milliseconds time) { return taker_->end_within(time); }

void RecordQueue::hear(const Heard& message) {
  ++heard_;
  taker_->add(message);
}

}  // namespace kelvane_hub
