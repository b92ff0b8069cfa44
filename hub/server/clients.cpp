#include "hub/server/clients.h"

#include <sys/resource.h>

#include <algorithm>
#include <ranges>
#include <system_error>

#include "hub/base/concat.h"

namespace kelvane_hub {
namespace {

// As long as the session library waits for the hub's.
constexpr Time hello_time = std::chrono::seconds(10);

// How long whoever comes has to wait when there are no descriptors left, unless somebody goes.
constexpr Time door_time = std::chrono::seconds(1);

// Of all clients together.
constexpr std::size_t most_unsent = std::size_t{512} << 20;

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

Clients::Clients(Loop& loop, std::unique_ptr<ConnectionSource> source, SessionHandler& handler, Voice& voice)
    : loop_(loop),
      source_(std::move(source)),
      handler_(handler),
      voice_(voice),
      most_connections_(find_most_connections()) {
  open_door();
  loop_.at_end_of_turn([this] { settle(); });
}

void Clients::release() {
  held_ = false;
  for (auto& [session, client] : clients_) {
    client.connection.release();
    (void)touch(session);
  }
}

void Clients::open_door() {
  door_due_.reset();
  door_ = loop_.add(source_->descriptor(), [this](bool, bool, Time now) { take_connection(now); });
}

/// Who comes while there is no room waits outside.
void Clients::close_door(const std::string& why) {
  loop_.remove(*std::exchange(door_, std::nullopt));
  voice_.say(About::clients, why + "; others have to wait");
}

void Clients::take_connection(Time now) {
  Arrival came = source_->accept();
  if (came.is_last) return loop_.stop(Outcome::no_clients);
  if (!came.complaint.empty()) voice_.say(About::clients, came.complaint);
  if (came.no_room) {
    door_due_ = now + door_time;
    return close_door("no more files can be opened");
  }
  if (!came.connection || !let_in(std::move(came.connection), now)) return;
  if (clients_.size() < most_connections_) return;
  close_door(concat(most_connections_, " connections are open"));
}

/// Returns whether it can be waited for: whoever hands connections over may send anything.
bool Clients::let_in(UniqueFd socket, Time now) try {
  const SessionId session = last_session_ + 1;
  const auto entry = loop_.add(socket.get(), [this, session](bool readable, bool writable, Time time) {
    serve(session, readable, writable, time);
  });
  clients_.try_emplace(session, Client{Connection(std::move(socket), held_), entry});
  hello_due_.emplace_back(now + hello_time, session);
  last_session_ = session;
  return true;
} catch (const std::system_error& error) {
  voice_.say(About::clients, concat("a connection was refused: ", error.what()));
  return false;
}

void Clients::serve(SessionId session, bool readable, bool writable, Time now) {
  Client& client = touch(session);
  if (writable) client.connection.write();
  count_unsent(client);
  if (!readable || client.connection.ended()) return;
  // What can be read though nobody waits for that is the end.
  if (!client.interest.read) return client.connection.end("");
  take_requests(session, client, now, &Connection::read);
}

void Clients::take_requests(SessionId session, Client& client, Time now,
                            void (Connection::*step)(const Connection::HandleRequest&)) {
  (client.connection.*step)([&](suid sensor, const std::string& envelope) {
    handler_.on_request({session, sensor}, envelope, now);
  });
}

Clients::Client& Clients::touch(SessionId session) {
  Client& client = clients_.at(session);
  if (!client.is_touched) touched_.push_back(session);
  client.is_touched = true;
  return client;
}

void Clients::deliver(const Link& to, const std::string& message) {
  Client& client = touch(to.session);
  client.connection.send_event(to.sensor, message);
  count_unsent(client);
  while (unsent_ > most_unsent) {
    const auto worst = std::ranges::max_element(clients_, {}, [](const auto& entry) { return entry.second.counted; });
    worst->second.connection.give_up(
        concat("it left ", worst->second.counted, " bytes of events waiting, the most of all who leave ", unsent_));
    count_unsent(touch(worst->first));
  }
}

void Clients::cut(SessionId session) {
  if (clients_.contains(session)) touch(session).connection.end("");
}

void Clients::cut_all() {
  for (const auto& [session, client] : clients_) cut(session);
}

void Clients::send_mark() {
  for (const auto& [session, client] : clients_) deliver({session, {}}, "");
}

bool Clients::is_all_taken() const {
  return std::ranges::all_of(clients_, [](const auto& entry) { return entry.second.connection.is_all_taken(); });
}

void Clients::count_unsent(Client& client) {
  unsent_ -= client.counted;
  client.counted = client.connection.unsent();
  unsent_ += client.counted;
}

std::optional<Time> Clients::next_due() const {
  if (!waiting_.empty()) return Time::zero();
  return earlier(door_due_, hello_due_.empty() ? std::nullopt : std::optional(hello_due_.front().first));
}

void Clients::advance(Time now) {
  for (; !hello_due_.empty() && hello_due_.front().first <= now; hello_due_.pop_front()) {
    const SessionId session = hello_due_.front().second;
    if (clients_.contains(session)) silent_.push_back(session);
  }
  if (door_due_ && *door_due_ <= now) open_door();
  for (const SessionId session : std::exchange(waiting_, {})) {
    if (clients_.contains(session)) take_requests(session, touch(session), now, &Connection::take);
  }
}

/// At the end of the turn: what has come by now has been read.
void Clients::end_silent() {
  for (const SessionId session : silent_) {
    Connection& connection = clients_.at(session).connection;
    if (connection.said_hello()) continue;
    connection.end("it did not say hello");
    (void)touch(session);
  }
  silent_.clear();
}

void Clients::settle() {
  end_silent();
  std::ranges::sort(touched_);
  for (const SessionId session : std::exchange(touched_, {})) {
    if (!settle(session, clients_.at(session))) drop(session);
  }
}

/// Returns whether it goes on.
bool Clients::settle(SessionId session, Client& client) {
  client.is_touched = false;
  Connection& connection = client.connection;
  // Whoever is waited for to take more is not tried in between.
  if (!client.interest.write || connection.ended()) connection.write();
  count_unsent(client);
  if (connection.ended()) return false;
  if (connection.has_more()) waiting_.push_back(session);
  if (const Interest interest = connection.interest(); interest != client.interest) {
    client.interest = interest;
    loop_.want(client.entry, interest);
  }
  return true;
}

void Clients::drop(SessionId session) {
  const auto client = clients_.find(session);
  if (const std::string& complaint = client->second.connection.complaint(); !complaint.empty()) {
    voice_.say(About::clients, concat("session ", session, " ended: ", complaint));
  }
  handler_.on_end(session);
  loop_.remove(client->second.entry);
  unsent_ -= client->second.counted;
  clients_.erase(client);
  if (!door_) open_door();
}

}  // namespace kelvane_hub
