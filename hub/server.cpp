#include "hub/server.h"

#include <sys/signalfd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>

namespace kelvane_hub {
namespace {

UniqueFd descriptor_of_signals() {
  // Nobody may be left to read what the hub says on standard error.
  (void)std::signal(SIGPIPE, SIG_IGN);
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  sigprocmask(SIG_BLOCK, &signals, nullptr);
  return UniqueFd(signalfd(-1, &signals, SFD_CLOEXEC));
}

Simulator::Explain explain_on_stderr(bool wanted) {
  if (!wanted) return {};
  return [](const std::string& line) { (void)std::fprintf(stderr, "kelvane-hub: %s\n", line.c_str()); };
}

timespec to_timespec(Time time) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
  return {seconds.count(), (time - seconds).count()};
}

}  // namespace

Server::Server(ServerSettings settings, std::unique_ptr<ConnectionSource> source)
    : source_(std::move(source)),
      simulator_(
          std::move(settings.played), settings.speed,
          [this](SessionId session, suid sensor, const std::string& message) {
            connections_.at(session).send_event(sensor, message);
          },
          explain_on_stderr(settings.explain)),
      signals_(descriptor_of_signals()) {}

void Server::run() {
  while (true) {
    wait();
    if (take_signal() || !take_connection()) return;
    serve_connections();
    simulator_.advance(now());
    drop_ended();
  }
}

void Server::wait() {
  polled_.clear();
  polled_.push_back({signals_.get(), POLLIN, 0});
  polled_.push_back({source_->descriptor(), POLLIN, 0});
  for (const auto& [session, connection] : connections_) {
    const int events = POLLIN | (connection.wants_to_write() ? POLLOUT : 0);
    polled_.push_back({connection.descriptor(), static_cast<short>(events), 0});
  }
  const auto due = simulator_.next_due();
  timespec timeout{};
  if (due) timeout = to_timespec(std::max(*due - now(), Time::zero()));
  (void)ppoll(polled_.data(), polled_.size(), due ? &timeout : nullptr, nullptr);
}

bool Server::take_signal() { return (polled_[0].revents & POLLIN) != 0; }

bool Server::take_connection() {
  if (polled_[1].revents == 0) return true;
  auto socket = source_->accept();
  if (!socket) return false;
  if (*socket) connections_.try_emplace(++last_session_, std::move(*socket));
  return true;
}

void Server::serve_connections() {
  // A connection accepted since the wait comes last and was not polled.
  auto polled = polled_.begin() + 2;
  for (auto& [session, connection] : connections_) {
    if (polled == polled_.end()) return;
    const short events = (polled++)->revents;
    if ((events & POLLOUT) != 0) connection.write();
    if ((events & (POLLIN | POLLHUP | POLLERR)) == 0) continue;
    connection.read([this, id = session](suid sensor, const std::string& envelope) {
      simulator_.handle_request(id, sensor, envelope, now());
    });
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
      (void)std::fprintf(stderr, "kelvane-hub: session %llu ended: %s\n", static_cast<unsigned long long>(session),
                         connection.complaint().c_str());
    }
    simulator_.end_session(session);
    entry = connections_.erase(entry);
  }
}

Time Server::now() const { return std::chrono::steady_clock::now().time_since_epoch(); }

}  // namespace kelvane_hub
