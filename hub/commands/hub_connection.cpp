#include "hub/commands/hub_connection.h"

#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <utility>

#include "hub/base/concat.h"
#include "hub/base/input_error.h"
#include "hub/base/unix_socket.h"
#include "hub/commands/outputs.h"
#include "hub/server/listener.h"

namespace kelvane_hub {
namespace {

constexpr std::chrono::seconds patience(10);

}  // namespace

HubConnection::HubConnection(const std::string& given, std::string subcommand)
    : path_(find(given)), subcommand_(std::move(subcommand)), socket_(new_stream_socket()) {
  if (path_.empty() || path_.size() > UnixAddress::longest_path) {
    fail(concat("expected a path of 1 to ", UnixAddress::longest_path, " bytes, found one of ", path_.size()));
  }
  if (const int error = connect_at_once(socket_.get(), UnixAddress(path_)); error != 0) fail(strerror(error));
  ucred hub{};
  socklen_t size = sizeof hub;
  (void)getsockopt(socket_.get(), SOL_SOCKET, SO_PEERCRED, &hub, &size);
  if (hub.uid != geteuid() && hub.uid != 0) {
    fail(concat("it belongs to user ", hub.uid, ", expected user ", geteuid(), geteuid() == 0 ? "" : " or 0"));
  }
}

HubAnswer HubConnection::ask(const std::string& command) {
  if (!send_all(socket_.get(), command + "\n", patience)) fail("it ended the connection");
  HubAnswer answer;
  for (answer.last = awaited_line(); answer.last.starts_with("| "); answer.last = awaited_line()) {
    answer.lines += answer.last.substr(2) + "\n";
  }
  return answer;
}

std::optional<std::string> HubConnection::next_line(int output) {
  for (;;) {
    if (auto line = take_line()) return line;
    std::array<pollfd, 2> waited{{{socket_.get(), POLLIN, 0}, {output, 0, 0}}};
    (void)poll(waited.data(), waited.size(), -1);
    if (waited[0].revents == 0 && waited[1].revents != 0) tell_unread_output();
    if (!receive()) return std::nullopt;
  }
}

/// The control socket that belongs to a socket of clients, or else the socket itself.
std::string HubConnection::find(const std::string& given) {
  struct stat found {};
  const std::string beside = control_path_of(given);
  return lstat(beside.c_str(), &found) == 0 && S_ISSOCK(found.st_mode) ? beside : given;
}

void HubConnection::fail(const std::string& why) const {
  throw InputError(concat("kelvane-hub ", subcommand_, ": no answer from the hub at ", path_, ": ", why));
}

std::string HubConnection::awaited_line() {
  for (;;) {
    if (auto line = take_line()) return *line;
    pollfd come{socket_.get(), POLLIN, 0};
    if (poll(&come, 1, static_cast<int>(std::chrono::milliseconds(patience).count())) == 0) fail("it hangs");
    if (!receive()) fail("it ended the connection");
  }
}

std::optional<std::string> HubConnection::take_line() {
  if (const auto end = unread_.find('\n', taken_); end != std::string::npos) {
    std::string line = unread_.substr(taken_, end - taken_);
    taken_ = end + 1;
    return line;
  }
  unread_.erase(0, std::exchange(taken_, 0));
  return std::nullopt;
}

/// Returns whether something came.
bool HubConnection::receive() {
  std::array<char, 65536> buffer;
  const ssize_t received = receive_some(socket_.get(), buffer);
  if (received <= 0) return false;
  unread_.append(buffer.data(), static_cast<std::size_t>(received));
  return true;
}

}  // namespace kelvane_hub
