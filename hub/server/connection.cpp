#include "hub/server/connection.h"

#include <fcntl.h>
#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/uio.h>

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
constexpr std::size_t most_read = std::size_t{16} << 10;
constexpr std::size_t most_events_written = 128;
constexpr std::size_t most_written = std::size_t{256} << 10;

}  // namespace

Connection::Connection(UniqueFd socket) : socket_(std::move(socket)) {
  (void)fcntl(socket_.get(), F_SETFL, fcntl(socket_.get(), F_GETFL) | O_NONBLOCK);
}

bool Connection::is_deaf() const { return unsent_ >= deaf_from; }

Interest Connection::interest() const { return {.read = !is_deaf() && !has_more_, .write = unsent_ > 0}; }

void Connection::read() {
  if (has_more_ || is_deaf()) return;
  std::array<char, most_read> buffer;
  const ssize_t received = recv(socket_.get(), buffer.data(), buffer.size(), 0);
  if (received == -1 && (errno == EAGAIN || errno == EINTR)) return;
  if (received <= 0) return end(reader_.in_frame() ? "it ended the connection in the middle of a frame" : "");
  reader_.append({buffer.data(), static_cast<std::size_t>(received)});
  has_more_ = true;
}

int Connection::take(const SharedOutgoing& hello, const HandleRequest& handle, Time now) {
  int requests = 0;
  try {
    while (requests < most_requests && has_more()) {
      const auto frame = reader_.next();
      has_more_ = frame.has_value();
      if (!frame) break;
      if (!std::exchange(said_hello_, true)) {
        expect_hello(*frame);
        reader_.set_limit(max_request);
        send(hello, now);
        break;  // requests may have to wait for longer
      }
      if (frame->kind != FrameKind::request) throw WireError("expected a request, found a frame of another kind");
      handle(frame->sensor, frame->payload);
      ++requests;
    }
  } catch (const WireError& error) {
    end(error.what());
  }
  return requests;
}

void Connection::send(SharedOutgoing event, Time now) {
  if (ended_ || !writes_) return;
  const std::size_t size = event->bytes().size();
  if (unsent_ + size > most_unsent) return give_up(concat("it left ", unsent_, " bytes of events waiting"));
  unsent_ += size;
  waiting_.push_back({std::move(event), now});
}

std::size_t Connection::write() {
  std::array<iovec, most_events_written> parts;
  std::size_t count = 0;
  std::size_t bytes = 0;
  for (const Waiting& waiting : waiting_) {
    if (count == parts.size() || bytes >= most_written) break;
    const std::string& frame = waiting.event->bytes();
    const std::size_t begin = count == 0 ? written_ : 0;
    parts[count++] = {const_cast<char*>(frame.data() + begin), frame.size() - begin};
    bytes += frame.size() - begin;
  }
  if (count == 0) return 0;
  msghdr message{};
  message.msg_iov = parts.data();
  message.msg_iovlen = count;
  const ssize_t sent = sendmsg(socket_.get(), &message, MSG_NOSIGNAL);
  if (sent == -1 && (errno == EAGAIN || errno == EINTR)) return 0;
  if (sent == -1) {
    stop_writing();
    return 0;
  }
  drop_written(static_cast<std::size_t>(sent));
  return static_cast<std::size_t>(sent);
}

void Connection::drop_written(std::size_t written) {
  unsent_ -= written;
  written_ += written;
  while (!waiting_.empty() && written_ >= waiting_.front().event->bytes().size()) {
    written_ -= waiting_.front().event->bytes().size();
    waiting_.pop_front();
  }
}

std::optional<Time> Connection::waiting_since() const {
  return waiting_.empty() ? std::nullopt : std::optional(waiting_.front().since);
}

bool Connection::is_all_taken() const {
  int unread = 0;
  return unsent() == 0 && (ioctl(socket_.get(), SIOCOUTQ, &unread) != 0 || unread == 0);
}

bool Connection::is_all_heard() const {
  int unread = 0;
  return ended_ || (!has_more_ && (ioctl(socket_.get(), FIONREAD, &unread) != 0 || unread == 0));
}

void Connection::stop_writing() {
  writes_ = false;
  drop_waiting();
}

void Connection::end(std::string complaint) {
  ended_ = true;
  complaint_ = std::move(complaint);
}

void Connection::give_up(std::string complaint) {
  end(std::move(complaint));
  drop_waiting();
}

void Connection::drop_waiting() {
  waiting_.clear();
  written_ = 0;
  unsent_ = 0;
}

}  // namespace kelvane_hub
