#include "hub/server/server.h"

#include <sys/signalfd.h>

#include <csignal>
#include <utility>

#include "hub/base/diagnostic.h"

namespace kelvane_hub {
namespace {

void say(const std::string& line) { diagnose(hub_speaker, line); }

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
    : signals_(std::move(signals)),
      clients_(loop_, std::move(source), *this),
      simulator_(std::move(settings.played), settings.speed, clients_),
      explainer_(say),
      announcer_(say) {
  loop_.add(signals_.get(), [this](bool, bool, Time) { loop_.stop(Outcome::signalled); });
  loop_.add(simulator_);
  loop_.add(clients_);
  if (settings.explain) simulator_.watch(explainer_);
  if (settings.announce) simulator_.watch(announcer_);
}

void Server::on_request(const Link& from, const std::string& envelope, Time now) {
  simulator_.handle_request(from, envelope, now);
}

void Server::on_end(SessionId session) { simulator_.end_session(session); }

}  // namespace kelvane_hub
