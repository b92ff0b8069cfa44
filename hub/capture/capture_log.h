// A capture on its way to a file.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "hub/capture/listener.h"

namespace kelvane_hub {

/// Writes what it hears, by a thread of its own. Whoever says something never waits for the disk: what there is no room
/// for, 64 MiB, is left out, and how much that was is said. When the file takes no more, that is said once, and the
/// capture ends there.
///
/// The thread blocks all signals.
class CaptureLog final : public WireListener {
 public:
  using Say = std::function<void(const std::string& line)>;

  /// Begins a capture at `path`, in place of what stands there, that only the user can read. A pipe has to have a
  /// reader. `say` is called by any thread while this object lives. Throws InputError, "path: reason": another one may
  /// be writing there, too.
  CaptureLog(const std::string& path, Say say);

  /// Returns when all is written, or when for a second nothing has been; then the rest is lost.
  ~CaptureLog() override;
  CaptureLog(const CaptureLog&) = delete;
  CaptureLog& operator=(const CaptureLog&) = delete;

  void hear(const Heard& message) override;

  /// How many messages it was told of.
  std::uint64_t heard() const { return heard_; }

 private:
  class Writer;

  // Shared with the thread, which outlives this object if it can write no more.
  std::shared_ptr<Writer> writer_;
  std::thread thread_;
  std::uint64_t heard_ = 0;
};

}  // namespace kelvane_hub
