#include "hub/server/clients.h"

#include <sys/resource.h>

#include <algorithm>
#include <system_error>

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

}  // namespace

Clients::Clients(Loop& loop, std::unique_ptr<ConnectionSource> source, SessionHandler& handler)
    : loop_(loop), source_(std::move(source)), handler_(handler), most_connections_(find_most_connections()) {
  open_door();
  loop_.at_end_of_turn([this] { settle(); });
}

void Clients::open_door() {
  door_ = loop_.add(source_->descriptor(), [this](bool, bool, Time now) { take_connection(now); });
}

void Clients::take_connection(Time now) {
  auto socket = source_->accept();
  if (!socket) return loop_.stop(Outcome::no_clients);
  if (!*socket) return;
  if (!let_in(std::move(*socket), now)) return;
  if (clients_.size() < most_connections_) return;
  // Who comes while there is no room waits outside.
  loop_.remove(*std::exchange(door_, std::nullopt));
  diagnose(hub_speaker, concat(most_connections_, " connections are open; others have to wait"));
}

/// Returns whether it can be waited for: whoever hands connections over may send anything.
bool Clients::let_in(UniqueFd socket, Time now) try {
  const SessionId session = last_session_ + 1;
  const auto entry = loop_.add(socket.get(), [this, session](bool readable, bool writable, Time time) {
    serve(session, readable, writable, time);
  });
  clients_.try_emplace(session, Client{Connection(std::move(socket)), entry});
  hello_due_.emplace_back(now + hello_time, session);
  last_session_ = session;
  return true;
} catch (const std::system_error& error) {
  diagnose(hub_speaker, concat("a connection was refused: ", error.what()));
  return false;
}

void Clients::serve(SessionId session, bool readable, bool writable, Time now) {
  touched_.push_back(session);
  Connection& connection = clients_.at(session).connection;
  if (writable) connection.write();
  if (!readable || connection.ended()) return;
  connection.read([&](suid sensor, const std::string& envelope) {
    handler_.on_request({session, sensor}, envelope, now);
  });
}

void Clients::deliver(const Link& to, const std::string& message) {
  touched_.push_back(to.session);
  clients_.at(to.session).connection.send_event(to.sensor, message);
}

std::optional<Time> Clients::next_due() const {
  return hello_due_.empty() ? std::nullopt : std::optional(hello_due_.front().first);
}

void Clients::advance(Time now) {
  for (; !hello_due_.empty() && hello_due_.front().first <= now; hello_due_.pop_front()) {
    const SessionId session = hello_due_.front().second;
    if (clients_.contains(session)) silent_.push_back(session);
  }
}

/// At the end of the turn: what has come by now has been read.
void Clients::end_silent() {
  for (const SessionId session : silent_) {
    Connection& connection = clients_.at(session).connection;
    if (connection.said_hello()) continue;
    connection.end("it did not say hello");
    touched_.push_back(session);
  }
  silent_.clear();
}

void Clients::settle() {
  end_silent();
  std::ranges::sort(touched_);
  touched_.erase(std::unique(touched_.begin(), touched_.end()), touched_.end());
  for (const SessionId session : touched_) {
    Client& client = clients_.at(session);
    client.connection.write();
    if (client.connection.ended()) {
      drop(session);
    } else if (client.wants_to_write != client.connection.wants_to_write()) {
      client.wants_to_write = client.connection.wants_to_write();
      loop_.want_to_write(client.entry, client.wants_to_write);
    }
  }
  touched_.clear();
  if (!door_ && clients_.size() < most_connections_) open_door();
}

void Clients::drop(SessionId session) {
  const auto client = clients_.find(session);
  if (const std::string& complaint = client->second.connection.complaint(); !complaint.empty()) {
    diagnose(hub_speaker, concat("session ", session, " ended: ", complaint));
  }
  handler_.on_end(session);
  loop_.remove(client->second.entry);
  clients_.erase(client);
}

}  // namespace kelvane_hub
