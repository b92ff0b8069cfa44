#include "hub/session_library/channel.h"

#include <sys/socket.h>

#include <span>
#include <vector>

#include "hub/base/diagnostic.h"
#include "hub/base/unix_socket.h"
#include "hub/session_library/private_hub.h"
#include "hub/session_library/signals_blocked.h"

namespace kelvane_hub {
namespace {

void complain(std::string_view what) { diagnose(library_speaker, what); }

/// Appends what comes next to `reader`. Returns false at the end of the connection.
bool append_next(int socket, FrameReader& reader, std::span<char> buffer) {
  const ssize_t received = receive_some(socket, buffer);
  if (received <= 0) return false;
  reader.append({buffer.data(), static_cast<std::size_t>(received)});
  return true;
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
  shared_->socket = std::move(hub.socket);
  shared_->callbacks = std::move(callbacks);
  const SignalsBlocked signals_blocked;
  thread_ =
      std::thread([shared = shared_, reader = std::move(hub.reader)]() mutable { run(shared, std::move(reader)); });
  thread_id_ = thread_.get_id();
}

Channel::~Channel() {
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
  const std::lock_guard lock(send_mutex_);
  if (shared_->stopped || request.size() > max_request) return false;
  if (send_all(shared_->socket.get(), encode_frame(FrameKind::request, sensor, request))) return true;
  // Part of a frame may be on its way: nothing can follow it.
  (void)shutdown(shared_->socket.get(), SHUT_RDWR);
  return false;
}

void Channel::stop() {
  const SignalsBlocked signals_blocked;
  shared_->stopped = true;
  (void)shutdown(shared_->socket.get(), SHUT_RDWR);
  if (std::this_thread::get_id() == thread_id_) return;
  const std::lock_guard lock(join_mutex_);
  if (thread_.joinable()) thread_.join();
}

void Channel::run(const std::shared_ptr<Shared>& shared, FrameReader reader) {
  std::vector<char> buffer(std::size_t{64} << 10);
  try {
    while (deliver_frames(*shared, reader) && append_next(shared->socket.get(), reader, buffer)) {
    }
    // A process that ends stops its hub first.
    if (shared->stopped || is_process_ending()) return;
    complain(reader.in_frame() ? "the hub ended the connection in the middle of a frame"
                               : "the hub ended the connection");
  } catch (const std::exception& error) {
    complain(std::string("the hub broke the connection's rules: ") + error.what() + "; session ended");
  }
  shared->stopped = true;
  (void)shutdown(shared->socket.get(), SHUT_RDWR);
}

bool Channel::deliver_frames(Shared& shared, FrameReader& reader) {
  while (!shared.stopped) {
    const auto frame = reader.next();
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
