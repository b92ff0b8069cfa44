#include "hub/server/server.h"

#include <sys/signalfd.h>

#include <csignal>
#include <utility>

#include "hub/base/concat.h"

namespace kelvane_hub {
UniqueFd take_over_signals() {
  // Nobody may be left to read what the hub says on standard error, and a capture may grow too large: both are errors.
  for (const int signal : {SIGPIPE, SIGXFSZ}) (void)std::signal(signal, SIG_IGN);
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&signals, signal);
  sigprocmask(SIG_BLOCK, &signals, nullptr);
  return UniqueFd(signalfd(-1, &signals, SFD_CLOEXEC));
}

Server::Server(Talk talk, Voice& voice, const UniqueFd& signals, std::unique_ptr<ConnectionSource> source)
    : talk_(talk),
      voice_(voice),
      clients_(loop_, std::move(source), *this, voice),
      wiretap_(clients_, voice.teller(About::itself)),
      explainer_(voice.teller(About::explanations)),
      announcer_(voice.teller(About::scenario)),
      laggard_(voice.teller(About::itself)) {
  loop_.add(signals.get(), [this](bool, bool, Time) { loop_.stop(Outcome::signalled); });
  loop_.add(*this);
}

Performance& Server::play(PackedScenario played, Pace pace, Judge::Tell tell, std::optional<std::uint64_t> seed) {
  performance_.emplace(std::move(played), pace, wiretap_, std::move(tell), FaultPlay{seed, &clients_});
  Simulator& simulator = performance_->simulator();
  simulator.watch(laggard_);
  performance_->faults().watch(laggard_);
  if (talk_.explain) {
    simulator.watch(explainer_);
    explain_faults();
  }
  announcer_.follow(performance_->timeline());
  if (talk_.announce) simulator.watch(announcer_);
  greet_due_.reset();
  if (controllers_)
    control_.emplace(
        *performance_, [this] { loop_.stop(Outcome::signalled); }, &wiretap_);
  clients_.release();
  return *performance_;
}

void Server::explain_faults() {
  Faults& faults = performance_->faults();
  faults.watch(explainer_);
  if (performance_->played().head().faults().empty()) return;
  voice_.say(About::explanations, concat("faults are drawn with seed ", faults.seed()));
}

void Server::control_from(std::unique_ptr<ConnectionSource> source) {
  const auto answer = [this](const std::string& line, Time now) -> std::string {
    if (control_) return control_->answer(line, now);
    return "KO: expected a scenario that is loaded, found one that still is being loaded\n";
  };
  controllers_.emplace(loop_, std::move(source), answer, voice_);
  loop_.add(*controllers_);
  wiretap_.add(*controllers_);
}

/// Whether somebody has been there, and nobody is.
bool Server::is_deserted() const { return restarts_ && is_visited_ && clients_.is_empty(); }

std::optional<Time> Server::next_due() const {
  if (is_deserted()) return Time::zero();
  const auto next = earlier(clients_.next_due(), performance_ ? performance_->next_due() : std::nullopt);
  return earlier(greet_due_, next);
}

void Server::advance(Time now) {
  if (is_deserted()) {
    is_visited_ = false;
    performance_->await_first_client(now);
  }
  // What is overdue happens before whoever asks is answered.
  if (performance_) performance_->advance(now);
  if (greet_due_ && *greet_due_ <= now) {
    greet_due_.reset();
    clients_.greet();
  }
  clients_.advance(now);
}

void Server::once_readable(int descriptor, std::function<void()> action) {
  const auto entry = std::make_shared<Loop::Entry>();
  *entry = loop_.add(descriptor, [this, entry, action = std::move(action)](bool, bool, Time) {
    loop_.remove(*entry);
    action();
  });
}

void Server::on_request(const Link& from, const std::string& envelope, Time now) {
  is_visited_ = true;
  wiretap_.note_request(from, envelope);
  performance_->handle_request(from, envelope, now);
}

void Server::on_end(SessionId session) {
  if (performance_) performance_->end_session(session);
  if (control_) control_->end_session(session);
}

}  // namespace kelvane_hub
