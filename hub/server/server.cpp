#include "hub/server/server.h"

#include <sys/resource.h>
#include <sys/signalfd.h>

#include <algorithm>
#include <csignal>

#include "hub/base/concat.h"
#include "hub/base/diagnostic.h"

namespace kelvane_hub {
namespace {

// As long as the session library waits for the hub's.
constexpr Time hello_time = std::chrono::seconds(10);

/// As many as there are descriptors, less some for the hub itself.
std::size_t find_most_connections() {
  constexpr rlim_t own = 32;
  constexpr rlim_t enough = 4096;
  rlimit limit{};
  (void)getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = std::max(limit.rlim_cur, std::min(limit.rlim_max, enough + own));
  (void)setrlimit(RLIMIT_NOFILE, &limit);
  (void)getrlimit(RLIMIT_NOFILE, &limit);
  return std::min(limit.rlim_cur > own ? limit.rlim_cur - own : 1, enough);
}

Simulator::Explain explain_on_stderr(bool wanted) {
  if (!wanted) return {};
  return [](const std::string& line) { diagnose(hub_speaker, line); };
}

timespec to_timespec(Time time) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
  return {seconds.count(), (time - seconds).count()};
}

}  // namespace

UniqueFd take_over_signals() {
  // Nobody may be left to read what the hub says on standard error.
  (void)std::signal(SIGPIPE, SIG_IGN);
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&signals, signal);
  sigprocmask(SIG_BLOCK, &signals, nullptr);
  return UniqueFd(signalfd(-1, &signals, SFD_CLOEXEC));
}

Server::Server(ServerSettings settings, UniqueFd signals, std::unique_ptr<ConnectionSource> source)
    : source_(std::move(source)),
      most_connections_(find_most_connections()),
      simulator_(
          std::move(settings.played), settings.speed,
          [this](SessionId session, suid sensor, const std::string& message) {
            connections_.at(session).send_event(sensor, message);
          },
          explain_on_stderr(settings.explain)),
      signals_(std::move(signals)) {}

void Server::run() {
  while (true) {
    wait();
    if (take_signal() || !take_connection()) return;
    // All requests of a round come at one time, after what was due by then.
    const Time time = now();
    simulator_.advance(time);
    serve_connections(time);
    end_silent();
    drop_ended();
  }
}

void Server::wait() {
  polled_.clear();
  polled_.push_back({signals_.get(), POLLIN, 0});
  // Who comes while there is no room waits outside.
  polled_.push_back({connections_.size() < most_connections_ ? source_->descriptor() : -1, POLLIN, 0});
  for (const auto& [session, connection] : connections_) {
    const int events = POLLIN | (connection.wants_to_write() ? POLLOUT : 0);
    polled_.push_back({connection.descriptor(), static_cast<short>(events), 0});
  }
  auto due = simulator_.next_due();
  if (!hello_due_.empty()) due = std::min(due.value_or(Time::max()), hello_due_.front().first);
  timespec timeout{};
  if (due) timeout = to_timespec(std::max(*due - now(), Time::zero()));
  (void)ppoll(polled_.data(), polled_.size(), due ? &timeout : nullptr, nullptr);
}

bool Server::take_signal() { return (polled_[0].revents & POLLIN) != 0; }

bool Server::take_connection() {
  if (polled_[1].revents == 0) return true;
  auto socket = source_->accept();
  if (!socket) return false;
  if (!*socket) return true;
  connections_.try_emplace(++last_session_, std::move(*socket));
  hello_due_.emplace_back(now() + hello_time, last_session_);
  if (connections_.size() == most_connections_) {
    diagnose(hub_speaker, concat(most_connections_, " connections are open; others have to wait"));
  }
  return true;
}

void Server::serve_connections(Time time) {
  // A connection accepted since the wait comes last and was not polled.
  auto polled = polled_.begin() + 2;
  for (auto& [session, connection] : connections_) {
    if (polled == polled_.end()) return;
    const short events = (polled++)->revents;
    if ((events & POLLOUT) != 0) connection.write();
    if ((events & (POLLIN | POLLHUP | POLLERR)) == 0) continue;
    connection.read([this, time, id = session](suid sensor, const std::string& envelope) {
      simulator_.handle_request(id, sensor, envelope, time);
    });
  }
}

void Server::end_silent() {
  for (; !hello_due_.empty() && hello_due_.front().first <= now(); hello_due_.pop_front()) {
    const auto found = connections_.find(hello_due_.front().second);
    if (found != connections_.end() && !found->second.said_hello()) found->second.end("it did not say hello");
  }
}

void Server::drop_ended() {
  for (auto entry = connections_.begin(); entry != connections_.end();) {
    const auto& [session, connection] = *entry;
    if (!connection.ended()) {
      ++entry;
      continue;
    }
    if (!connection.complaint().empty()) {
      diagnose(hub_speaker, concat("session ", session, " ended: ", connection.complaint()));
    }
    simulator_.end_session(session);
    entry = connections_.erase(entry);
  }
}

Time Server::now() const { return std::chrono::steady_clock::now().time_since_epoch(); }

}  // namespace kelvane_hub
