#include "hub/server/clients.h"

#include <poll.h>
#include <sys/resource.h>

#include <algorithm>
#include <system_error>

#include "hub/base/concat.h"

namespace kelvane_hub {
namespace {

// As long as the session library waits for the hub's.
constexpr Time hello_time = std::chrono::seconds(10);

// How long whoever comes has to wait when there are no descriptors left, unless somebody goes.
constexpr Time door_time = std::chrono::seconds(1);

// In one turn, of all clients together.
constexpr int most_requests = 256;
constexpr std::size_t most_answered = std::size_t{1} << 20;
constexpr std::size_t most_written = std::size_t{8} << 20;

// While a process leaves more than this, nothing is taken from it.
constexpr std::size_t most_of_process = std::size_t{64} << 20;

// While more than this waits to be taken, no requests are, and whoever has let events wait for so long has to go: those
// who have waited longest first. With twice as much the longest go at once.
constexpr std::size_t most_waiting = std::size_t{256} << 20;
constexpr Time most_patience = std::chrono::seconds(2);

/// As many as there are descriptors, less some for the hub itself.
std::size_t find_most_connections() {
  constexpr rlim_t own = 32;
  constexpr rlim_t enough = max_connections;
  rlimit limit{};
  (void)getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = std::max(limit.rlim_cur, std::min(limit.rlim_max, enough + own));
  (void)setrlimit(RLIMIT_NOFILE, &limit);
  (void)getrlimit(RLIMIT_NOFILE, &limit);
  return std::min(limit.rlim_cur > own ? limit.rlim_cur - own : 1, enough);
}

std::string count_of(std::size_t count, const std::string& one) {
  return concat(count, " ", one, count == 1 ? "" : "s");
}

}  // namespace

Clients::Clients(Loop& loop, std::unique_ptr<ConnectionSource> source, SessionHandler& handler, Voice& voice)
    : loop_(loop),
      source_(std::move(source)),
      handler_(handler),
      voice_(voice),
      most_connections_(find_most_connections()),
      hello_(std::make_shared<const Outgoing>(encode_hello(), waiting_bytes_)) {
  open_door();
  loop_.at_end_of_turn([this] { end_turn(); });
}

void Clients::greet() {
  greets_ = true;
  touch_all();
}

void Clients::release() {
  answers_ = true;
  greet();
}

void Clients::touch_all() {
  for (const auto& [session, client] : clients_) (void)touch(session);
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
  if (!came.connection || !let_in(std::move(came.connection), came.process, now)) return;
  if (clients_.size() < most_connections_) return;
  close_door(concat(count_of(most_connections_, "connection"), most_connections_ == 1 ? " is open" : " are open"));
}

/// Returns whether it stays: whoever hands connections over may send anything, and no process may take up all the room.
bool Clients::let_in(UniqueFd socket, pid_t process, Time now) try {
  constexpr std::size_t least_share = 8;
  const std::size_t share = std::max(most_connections_ / 4, least_share);
  const auto known = processes_.find(process);
  if (process != 0 && known != processes_.end() && known->second.connections == share) {
    voice_.say(About::clients, concat("process ", process, " has ", share, " connections open; one more was refused"));
    return false;
  }
  const SessionId session = last_session_ + 1;
  const auto entry = loop_.add(
      socket.get(), [this, session](bool readable, bool writable, Time) { serve(session, readable, writable); });
  clients_.try_emplace(session, Client{Connection(std::move(socket)), entry, process});
  ++processes_[process].connections;
  hello_due_.emplace_back(now + hello_time, session);
  last_session_ = session;
  return true;
} catch (const std::system_error& error) {
  voice_.say(About::clients, concat("a connection was refused: ", error.what()));
  return false;
}

void Clients::serve(SessionId session, bool readable, bool writable) {
  Client& client = touch(session);
  if (writable) (void)client.connection.write();
  if (!readable || client.connection.ended()) return;
  // What can be read though nobody waits for that is the end.
  if (!client.interest.read) return note_gone(client);
  client.connection.read();
  let_ask(session, client);
}

/// What it has sent before is still taken, as much in a turn as of the others.
void Clients::note_gone(Client& client) {
  client.connection.stop_writing();
  client.has_gone = true;
  loop_.remove(client.entry);
}

/// It is heard when it is its turn.
void Clients::let_ask(SessionId session, Client& client) {
  if (!may_take(client) || std::exchange(client.is_asking, true)) return;
  Process& process = processes_.at(client.process);
  process.asking.push_back(session);
  let_ask(client.process, process);
}

void Clients::let_ask(pid_t number, Process& process) {
  if (process.asking.empty() || process.unsent >= most_of_process || std::exchange(process.is_asking, true)) return;
  asking_.push_back(number);
}

Clients::Client& Clients::touch(SessionId session) {
  Client& client = clients_.at(session);
  if (!client.is_touched) touched_.push_back(session);
  client.is_touched = true;
  return client;
}

void Clients::deliver(const Link& to, const std::string& message) {
  Client& client = touch(to.session);
  if (message.size() > max_payload) return client.connection.end("an event for it was too large to send");
  client.connection.send(outgoing(to.sensor, message), now_);
  count_unsent(client);
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

bool Clients::is_all_heard() const {
  pollfd door{source_->descriptor(), POLLIN, 0};
  return poll(&door, 1, 0) == 0 &&
         std::ranges::all_of(clients_, [](const auto& entry) { return entry.second.connection.is_all_heard(); });
}

void Clients::count_unsent(Client& client) {
  Process& process = processes_.at(client.process);
  process.unsent -= client.counted;
  client.counted = client.connection.unsent();
  process.unsent += client.counted;
  let_ask(client.process, process);
}

/// The one that was made last, if it is the same.
SharedOutgoing Clients::outgoing(suid sensor, const std::string& message) {
  const bool is_from_same = last_from_.suid_low == sensor.suid_low && last_from_.suid_high == sensor.suid_high;
  if (!last_ || !is_from_same || payload_in(last_->bytes()) != message) {
    last_from_ = sensor;
    last_ = std::make_shared<const Outgoing>(encode_frame(FrameKind::event, sensor, message), waiting_bytes_);
  }
  return last_;
}

std::optional<Time> Clients::next_due() const {
  if (!touched_.empty() || (!asking_.empty() && waiting_bytes_ < most_waiting)) return Time::zero();
  const auto hello_due = hello_due_.empty() ? std::nullopt : std::optional(hello_due_.front().first);
  return earlier(room_due_, earlier(door_due_, hello_due));
}

void Clients::advance(Time now) {
  now_ = now;
  for (; !hello_due_.empty() && hello_due_.front().first <= now; hello_due_.pop_front()) {
    const SessionId session = hello_due_.front().second;
    if (clients_.contains(session)) silent_.push_back(session);
  }
  if (door_due_ && *door_due_ <= now) open_door();
}

void Clients::end_turn() {
  end_silent();
  take_requests();
  last_.reset();
  make_room();
  settle();
}

/// What has come by now has been read.
void Clients::end_silent() {
  for (const SessionId session : std::exchange(silent_, {})) {
    Client& client = clients_.at(session);
    if (client.connection.said_hello() || may_take(client)) continue;
    client.connection.end("it did not say hello");
    (void)touch(session);
  }
}

bool Clients::may_take(const Client& client) const {
  return client.connection.has_more() && (client.connection.said_hello() ? answers_ : greets_);
}

/// From one process after the other, and from one session of each after the other.
void Clients::take_requests() {
  const std::size_t enough = std::min(waiting_bytes_ + most_answered, most_waiting);
  for (int left = most_requests; left > 0 && waiting_bytes_ < enough && !asking_.empty();) {
    const pid_t number = asking_.front();
    asking_.pop_front();
    const auto found = processes_.find(number);
    if (found == processes_.end()) continue;
    Process& process = found->second;
    process.is_asking = false;
    if (process.asking.empty() || process.unsent >= most_of_process) continue;
    const SessionId session = process.asking.front();
    process.asking.pop_front();
    take_from(session, left);
    let_ask(number, process);
  }
}

void Clients::take_from(SessionId session, int& left) {
  const auto found = clients_.find(session);
  if (found == clients_.end()) return;
  Client& client = found->second;
  client.is_asking = false;
  if (!may_take(client)) return;
  const auto handle = [&](suid sensor, const std::string& envelope) {
    handler_.on_request({session, sensor}, envelope, now_);
  };
  // Those who only say hello count as one, too.
  left -= std::max(client.connection.take(hello_, handle, now_), 1);
  (void)touch(session);
}

/// Ends those who have let events wait longest, as long as there is too much that waits.
void Clients::make_room() {
  room_due_.reset();
  while (waiting_bytes_ > most_waiting) {
    const auto since = [](const auto& entry) { return entry.second.connection.waiting_since().value_or(Time::max()); };
    const auto worst = std::ranges::min_element(clients_, {}, since);
    if (!worst->second.connection.waiting_since()) return;
    const Time waited = now_ - since(*worst);
    if (waited < most_patience && waiting_bytes_ <= 2 * most_waiting) {
      room_due_ = now_ + (most_patience - waited);
      return;
    }
    Connection& connection = worst->second.connection;
    connection.give_up(
        concat("it left ", connection.unsent(), " bytes of events waiting while there was no more room"));
    count_unsent(touch(worst->first));
  }
}

void Clients::settle() {
  std::size_t left = most_written;
  for (auto count = touched_.size(); count > 0 && left > 0; --count) {
    const SessionId session = touched_.front();
    touched_.pop_front();
    if (!settle(clients_.at(session), left)) {
      drop(session);
    } else {
      let_ask(session, clients_.at(session));
    }
  }
}

/// Returns whether it goes on.
bool Clients::settle(Client& client, std::size_t& left) {
  client.is_touched = false;
  Connection& connection = client.connection;
  // Whoever is waited for to take more is not tried in between.
  if (!client.interest.write || connection.ended()) left -= std::min(left, connection.write());
  count_unsent(client);
  if (client.has_gone) connection.read();
  if (connection.ended()) return false;
  if (client.has_gone) return true;
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
  if (!client->second.has_gone) loop_.remove(client->second.entry);
  Process& process = processes_.at(client->second.process);
  process.unsent -= client->second.counted;
  if (--process.connections == 0) {
    processes_.erase(client->second.process);
  } else {
    let_ask(client->second.process, process);
  }
  clients_.erase(client);
  if (!door_) open_door();
}

}  // namespace kelvane_hub
