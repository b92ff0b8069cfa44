#include "hub/server/wiretap.h"

#include <chrono>

#include "hub/base/concat.h"
#include "hub/base/input_error.h"
#include "hub/capture/sinks.h"

namespace kelvane_hub {
namespace {

// How long the hub stands still for the end of a capture: enough for a disk, and clients do not notice.
constexpr std::chrono::milliseconds grace(100);

}  // namespace

void Wiretap::note_request(const Link& from, const std::string& envelope) { tell(Direction::request, from, envelope); }

void Wiretap::deliver(const Link& to, const std::string& message) {
  tell(Direction::event, to, message);
  clients_.deliver(to, message);
}

void Wiretap::tell(Direction direction, const Link& link, const std::string& message) {
  // What is too large to be sent is not said.
  if (std::ranges::none_of(listeners_, &WireListener::is_listening) || message.size() > max_payload) return;
  const auto heard = std::make_shared<const CaptureRecord>(
      CaptureRecord{std::chrono::system_clock::now().time_since_epoch(), direction,
                    static_cast<std::uint32_t>(link.session), link.sensor, message});
  for (WireListener* const listener : listeners_) listener->hear(heard);
}

void Wiretap::trace() { add(trace_.emplace("standard output", lines_on_standard_output({}), say_)); }

void Wiretap::start_capture(const std::string& path) {
  if (capture_) throw InputError(concat("expected no capture under way, found ", path_, "; capture stop ends it"));
  forget_ended();
  capture_ = std::make_unique<RecordQueue>(path, capture_at(path), say_);
  add(*capture_);
  path_ = path;
}

std::uint64_t Wiretap::stop_capture() {
  if (!capture_) throw InputError("expected a capture under way, found none");
  const std::uint64_t heard = capture_->heard();
  remove(*capture_);
  forget_ended();
  if (!capture_->end_within(grace)) ended_.push_back(std::move(capture_));
  capture_.reset();
  return heard;
}

void Wiretap::forget_ended() {
  std::erase_if(ended_, [](const auto& queue) { return queue->end_within({}); });
}

}  // namespace kelvane_hub
