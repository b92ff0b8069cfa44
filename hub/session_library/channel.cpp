#include "hub/session_library/channel.h"

#include <sys/socket.h>

#include <chrono>
#include <span>
#include <string>
#include <vector>

#include "hub/base/diagnostic.h"
#include "hub/base/signals_blocked.h"
#include "hub/base/unix_socket.h"
#include "hub/session_library/private_hub.h"

namespace kelvane_hub {
namespace {

/// What the calling thread is the thread of.
thread_local const void* own = nullptr;

void complain(std::string_view what) { diagnose(library_speaker, what); }

/// Appends what comes next to the reader. Returns false at the end of the connection.
bool append_next(HubConnection& hub, std::span<char> buffer) {
  const ssize_t received = receive_some(hub.socket.get(), buffer);
  if (received <= 0) return false;
  hub.reader.append({buffer.data(), static_cast<std::size_t>(received)});
  return true;
}

/// Of a hub that has hung up. One of the process's own has ended, too, and is reaped then, unless it hung up on this
/// session only.
std::string how_connection_ended(const HubConnection& hub) {
  std::string text = "the hub ended the connection";
  if (hub.reader.in_frame()) text += " in the middle of a frame";
  if (hub.hub && hub.hub->wait_for_end(std::chrono::seconds(1))) text += ": " + hub.hub->how_it_ended();
  return text;
}

}  // namespace

void Callbacks::set(suid sensor, event_callback callback) {
  auto shared = std::make_shared<const event_callback>(std::move(callback));
  const SignalsBlocked signals_blocked;
  const std::lock_guard lock(mutex_);
  by_sensor_[{sensor.suid_low, sensor.suid_high}].swap(shared);
}

std::shared_ptr<const event_callback> Callbacks::find(suid sensor) const {
  const std::lock_guard lock(mutex_);
  const auto found = by_sensor_.find({sensor.suid_low, sensor.suid_high});
  return found == by_sensor_.end() ? nullptr : found->second;
}

Channel::Channel(HubConnection hub, std::shared_ptr<Callbacks> callbacks) : shared_(std::make_shared<Shared>()) {
  shared_->hub = std::move(hub);
  shared_->callbacks = std::move(callbacks);
}

void Channel::begin() {
  const SignalsBlocked signals_blocked;
  const auto shared = shared_;
  const std::lock_guard lock(shared->starting);
  thread_ = std::thread([shared] {
    // By then thread_ is set.
    { const std::lock_guard started(shared->starting); }
    own = shared.get();
    run(*shared);
  });
}

Channel::~Channel() {
  if (is_forked()) {
    // There is no such thread here: its handle can be neither joined nor detached nor destroyed, and it will not let go
    // of its share.
    shared_->hub.socket.reset();
    ::new (static_cast<void*>(&thread_)) std::thread();
    return;
  }
  stop();
  {
    // A request that another thread is sending fails now; it must not lose its channel meanwhile.
    const SignalsBlocked signals_blocked;
    const std::lock_guard lock(send_mutex_);
  }
  if (thread_.joinable()) thread_.detach();
}

bool Channel::send(suid sensor, std::string_view request) {
  const SignalsBlocked signals_blocked;
  if (is_forked()) return false;
  const std::lock_guard lock(send_mutex_);
  if (shared_->stopped || request.size() > max_request) return false;
  const int socket = shared_->hub.socket.get();
  if (send_all(socket, encode_frame(FrameKind::request, sensor, request), send_patience)) return true;
  // Part of a frame may be on its way: nothing can follow it.
  (void)shutdown(socket, SHUT_RDWR);
  return false;
}

void Channel::stop() {
  const SignalsBlocked signals_blocked;
  if (is_forked()) return;
  shared_->stopped = true;
  (void)shutdown(shared_->hub.socket.get(), SHUT_RDWR);
  if (own == shared_.get()) return;
  const std::lock_guard lock(join_mutex_);
  if (thread_.joinable()) thread_.join();
}

void Channel::run(Shared& shared) try {
  std::vector<char> buffer(std::size_t{64} << 10);
  while (deliver_frames(shared) && append_next(shared.hub, buffer)) {
  }
  // A process that ends stops its hub first.
  if (shared.stopped || is_process_ending()) return;
  complain(how_connection_ended(shared.hub));
  end(shared);
} catch (const std::exception& error) {
  complain(std::string("the hub broke the connection's rules: ") + error.what() + "; session ended");
  end(shared);
}

void Channel::end(Shared& shared) {
  shared.stopped = true;
  (void)shutdown(shared.hub.socket.get(), SHUT_RDWR);
}

bool Channel::deliver_frames(Shared& shared) {
  while (!shared.stopped) {
    const auto frame = shared.hub.reader.next();
    if (!frame) return true;
    if (frame->kind != FrameKind::event) throw WireError("expected an event, found a frame of another kind");
    deliver(*shared.callbacks, *frame);
  }
  return false;
}

void Channel::deliver(const Callbacks& callbacks, const Frame& frame) {
  const auto callback = callbacks.find(frame.sensor);
  if (!callback) return;
  try {
    (*callback)(reinterpret_cast<const std::uint8_t*>(frame.payload.data()), frame.payload.size(), 0);
  } catch (...) {
    complain("an event callback threw an exception; the event is lost");
  }
}

}  // namespace kelvane_hub
