// Messages on their way to where they are kept or shown.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "hub/capture/listener.h"

namespace kelvane_hub {

/// Takes a message, and may take its time. Throws InputError, "name: reason", if it takes no more.
using Sink = std::function<void(const CaptureRecord& record)>;

/// Hands what it hears to a sink, on a thread of its own. Whoever says something never waits for the sink: what there
/// is no room for, 64 MiB, is left out, and how much that was is said. When the sink takes no more, that is said once,
/// and nothing goes there any more.
///
/// The thread blocks all signals.
class RecordQueue final : public WireListener {
 public:
  using Say = std::function<void(const std::string& line)>;

  /// `name` is that of the sink, for what there is to say of it; `say` is called by any thread while this object lives.
  RecordQueue(std::string name, Sink sink, Say say);

  /// Returns when all has been taken, or when for a second nothing has been; then the rest is lost.
  ~RecordQueue() override;
  RecordQueue(const RecordQueue&) = delete;
  RecordQueue& operator=(const RecordQueue&) = delete;

  /// Nothing more will be heard. Returns, at the latest after `time`, whether all has been taken and the sink is
  /// destroyed; if not, that goes on without whoever asks.
  bool end_within(std::chrono::milliseconds time);

  void hear(const Heard& message) override;

  /// How many messages it was told of.
  std::uint64_t heard() const { return heard_; }

 private:
  class Taker;

  // Shared with the thread, which outlives this object if the sink hangs.
  std::shared_ptr<Taker> taker_;
  std::thread thread_;
  std::uint64_t heard_ = 0;
};

}  // namespace kelvane_hub
