#include "hub/server/connection.h"

#include <fcntl.h>
#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include "hub/base/concat.h"

namespace kelvane_hub {
namespace {

// Of a client with more than this waiting no request is taken: well above what is between the two anyway.
constexpr std::size_t deaf_from = std::size_t{256} << 10;

// In one turn, so that others get theirs.
constexpr int most_requests = 16;
constexpr std::size_t most_written = std::size_t{1} << 20;

// A buffer that has grown beyond this is given back when it is empty.
constexpr std::size_t kept_room = std::size_t{1} << 20;

}  // namespace

Connection::Connection(UniqueFd socket, bool held) : socket_(std::move(socket)), held_(held) {
  (void)fcntl(socket_.get(), F_SETFL, fcntl(socket_.get(), F_GETFL) | O_NONBLOCK);
}

bool Connection::is_deaf() const { return unsent() >= deaf_from || (held_ && said_hello_); }

Interest Connection::interest() const { return {.read = !is_deaf(), .write = unsent() > 0}; }

void Connection::read(const HandleRequest& handle) {
  if (has_more_ || is_deaf()) return;
  std::array<char, 65536> buffer;
  const ssize_t received = recv(socket_.get(), buffer.data(), buffer.size(), 0);
  if (received == -1 && (errno == EAGAIN || errno == EINTR)) return;
  if (received <= 0) return end(reader_.in_frame() ? "it ended the connection in the middle of a frame" : "");
  reader_.append({buffer.data(), static_cast<std::size_t>(received)});
  has_more_ = true;
  take(handle);
}

void Connection::take(const HandleRequest& handle) try {
  for (int taken = 0; taken < most_requests && has_more(); ++taken) {
    if (const auto frame = reader_.next()) {
      take_frame(*frame, handle);
    } else {
      has_more_ = false;
    }
  }
} catch (const WireError& error) {
  end(error.what());
}

void Connection::take_frame(const Frame& frame, const HandleRequest& handle) {
  if (!said_hello_) {
    expect_hello(frame);
    said_hello_ = true;
    reader_.set_limit(max_request);
    unsent_ += encode_hello();
  } else if (frame.kind == FrameKind::request) {
    handle(frame.sensor, frame.payload);
  } else {
    throw WireError("expected a request, found a frame of another kind");
  }
}

void Connection::send_event(suid sensor, const std::string& message) {
  if (ended_) return;
  if (message.size() > max_payload) return end("an event for it was too large to send");
  if (unsent() + message.size() > most_unsent) {
    return give_up(concat("it left ", unsent(), " bytes of events waiting"));
  }
  append_frame(unsent_, FrameKind::event, sensor, message);
}

void Connection::write() {
  const std::size_t end_of_turn = std::min(written_ + most_written, unsent_.size());
  while (written_ < end_of_turn) {
    const ssize_t sent = ::send(socket_.get(), unsent_.data() + written_, end_of_turn - written_, MSG_NOSIGNAL);
    if (sent == -1 && errno == EINTR) continue;
    if (sent == -1 && errno == EAGAIN) break;
    if (sent == -1) return give_up(std::move(complaint_));
    written_ += static_cast<std::size_t>(sent);
  }
  if (written_ == unsent_.size() && unsent_.capacity() > kept_room) {
    std::string().swap(unsent_);
    written_ = 0;
  } else if (written_ > unsent_.size() / 2) {
    unsent_.erase(0, written_);
    written_ = 0;
  }
}

bool Connection::is_all_taken() const {
  int unread = 0;
  return unsent() == 0 && (ioctl(socket_.get(), SIOCOUTQ, &unread) != 0 || unread == 0);
}

void Connection::end(std::string complaint) {
  ended_ = true;
  complaint_ = std::move(complaint);
}

void Connection::give_up(std::string complaint) {
  end(std::move(complaint));
  std::string().swap(unsent_);
  written_ = 0;
}

}  // namespace kelvane_hub
