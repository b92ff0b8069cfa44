#include "hub/testbench/faults.h"

#include <algorithm>

#include "hub/messages/catalogue.h"
#include "hub/scenario/fault_scope.h"

namespace kelvane_hub {

Faults::Faults(const PackedScenario& played, std::optional<std::uint64_t> seed, RequestTaker& taker, Delivery& delivery,
               Sessions* sessions)
    : played_(played),
      seed_(seed.value_or(played.head().seed())),
      taker_(taker),
      delivery_(delivery),
      sessions_(sessions) {
  for (const auto& fault : played.head().faults()) add(fault);
}

void Faults::add(scenario_fault fault) { known_.push_back({++last_, std::move(fault)}); }

void Faults::clear() {
  known_.clear();
  gone_.clear();
  for (auto& [key, stream] : streams_) stream.tallies.clear();
}

double Faults::longest_delay() const {
  // A lookup, the attributes and a configuration are sent and answered one after the other; then comes the last report.
  constexpr std::uint32_t most_in_a_row = 4;
  double seconds = 0;
  for (const Known& known : known_) {
    const auto times = known.fault.has_count() ? std::min(known.fault.count(), most_in_a_row) : most_in_a_row;
    seconds += times * seconds_of(known.fault);
  }
  return seconds;
}

void Faults::begin_anew() {
  late_.clear();
  gone_.clear();
  for (auto& [key, stream] : streams_) stream.swapped.clear();
}

void Faults::handle_request(const Link& from, const std::string& envelope, Time now) {
  sns_client_request_msg request;
  // What is no request has nothing that a fault could be about.
  if (!request.ParseFromString(envelope)) return taker_.take_request(from, envelope, now);
  const std::uint64_t number = ++stream_of(from.session, scenario_fault::REQUEST).messages;
  if (is_idle()) return taker_.take_request(from, envelope, now);
  Message message{.direction = scenario_fault::REQUEST, .link = from, .now = now, .number = number};
  message.msg_id = request.msg_id();
  message.payload = request.request().payload();
  strike_all(message);
  if (message.msg_id != request.msg_id()) request.set_msg_id(message.msg_id);
  if (message.payload != request.request().payload()) request.mutable_request()->set_payload(message.payload);
  settle(message, request.SerializeAsString());
}

void Faults::deliver(const Link& to, const std::string& bytes) {
  sns_client_event_msg envelope;
  const std::uint64_t number = ++stream_of(to.session, scenario_fault::EVENT).messages;
  if (is_idle() || !envelope.ParseFromString(bytes) || envelope.events().empty()) return delivery_.deliver(to, bytes);
  auto& event = *envelope.mutable_events(0);
  Message message{.direction = scenario_fault::EVENT, .link = to, .now = Time(event.timestamp()), .number = number};
  // Steps are played late on a busy machine, at their own time all the same: so is what was to come before.
  release(scenario_fault::EVENT, message.now);
  message.msg_id = event.msg_id();
  message.payload = event.payload();
  strike_all(message);
  event.set_msg_id(message.msg_id);
  event.set_payload(message.payload);
  settle(message, envelope.SerializeAsString());
}

std::string Faults::data_type_of(const Message& message) const {
  const sns_suid_sensor lookup;
  const suid sensor = message.link.sensor;
  if (sensor.suid_low != lookup.suid_low() || sensor.suid_high != lookup.suid_high()) {
    return played_.data_type_of(sensor);
  }
  sns_suid_req request;
  sns_suid_event answer;
  if (message.direction == scenario_fault::REQUEST) {
    return request.ParseFromString(message.payload) ? request.data_type() : "";
  }
  return answer.ParseFromString(message.payload) ? answer.data_type() : "";
}

bool Faults::matches(const scenario_fault& fault, const Message& message) {
  return direction_of(fault) == message.direction && msg_id_of(fault).value_or(message.msg_id) == message.msg_id &&
         (!fault.has_session() || fault.session() == message.link.session) &&
         (!fault.has_sensor() || fault.sensor() == message.data_type);
}

bool Faults::is_struck(const Known& known, const Message& message, Chance& chance) {
  const scenario_fault& fault = known.fault;
  if (!matches(fault, message)) return false;
  Tally& tally = stream_of(message.link.session, message.direction).tallies[known.number];
  if (tally.matched++ < fault.after()) return false;
  // Else what is lost would put off the sensors' return again and again.
  if (fault.has_sensor_gone() && is_gone(message.data_type, message.now)) return false;
  if (fault.has_count() && tally.struck == fault.count()) return false;
  if (fault.has_probability() && !chance.is_so(fault.probability())) return false;
  ++tally.struck;
  return true;
}

/// Faults are about the message as it was sent, whatever others have made of it.
void Faults::strike_all(Message& message) {
  message.data_type = data_type_of(message);
  const Message sent = message;
  for (Known& known : known_) {
    Chance chance(seed_, known.number - 1, sent.link.session, sent.number);
    if (!is_struck(known, sent, chance)) continue;
    const std::string what = strike(known.fault, message, chance);
    if (what.empty()) continue;
    ++known.struck;
    watchers_.on_fault(
        {sent.link, sent.direction == scenario_fault::REQUEST, sent.msg_id, sent.number, known.number, what});
  }
  lose_sensors(message);
}

/// Nothing comes from sensors that are gone but errors, and nobody finds them.
void Faults::lose_sensors(Message& message) {
  if (message.gone_until && has_sensors(message.data_type)) gone_[message.data_type] = *message.gone_until;
  if (!is_gone(message.data_type, message.now)) return;
  sns_suid_event answer;
  if (message.msg_id == lookup_event && answer.ParseFromString(message.payload)) {
    answer.clear_suids();
    message.payload = answer.SerializeAsString();
  } else if (message.direction == scenario_fault::REQUEST && message.msg_id != lookup_request) {
    message.refusal = HubError::no_such_sensor;
  } else if (message.direction == scenario_fault::EVENT && message.msg_id != error_event) {
    message.is_lost = true;
  }
}

/// Clients may look for anything.
bool Faults::has_sensors(const std::string& data_type) const {
  return std::ranges::any_of(played_.head().sensors(),
                             [&](const auto& sensor) { return sensor.data_type() == data_type; });
}

bool Faults::is_gone(const std::string& data_type, Time now) const {
  const auto gone = gone_.find(data_type);
  return gone != gone_.end() && now < gone->second;
}

/// Returns whether the message's own has ended.
bool Faults::end_connections(const Message& message) {
  if (message.is_restart) restart();
  if (message.is_cut && sessions_ != nullptr) sessions_->cut(message.link.session);
  return message.is_restart || message.is_cut;
}

void Faults::restart() {
  for (auto& [direction, late] : late_) late.clear();
  gone_.clear();
  for (auto& [key, stream] : streams_) stream.swapped.clear();
  if (sessions_ != nullptr) sessions_->cut_all();
}

void Faults::settle(const Message& message, const std::string& bytes) {
  if (end_connections(message) || message.is_lost) return;
  if (message.refusal) return taker_.refuse(message.link, *message.refusal, message.now);
  auto& swapped = stream_of(message.link.session, message.direction).swapped;
  const bool is_late = message.delay > Time::zero();
  const bool waits = is_late || (message.is_swapped && swapped.empty());
  if (!waits || !has_room(message.copies * (bytes.size() + sizeof(OnItsWay)))) {
    return pass(message.direction, message.link, bytes, message.copies, message.now);
  }
  for (std::size_t i = 0; i < message.copies; ++i) {
    if (is_late) {
      late_[message.direction].emplace(message.now + message.delay, on_its_way(message.link, bytes));
    } else {
      swapped.push_back(on_its_way(message.link, bytes));
    }
  }
}

/// For so many bytes more, to wait.
bool Faults::has_room(std::size_t bytes) {
  constexpr std::size_t most = std::size_t{64} << 20;
  if (waiting_ == 0) is_full_ = false;
  if (waiting_ + bytes <= most) return true;
  if (!std::exchange(is_full_, true)) watchers_.on_full(most);
  return false;
}

Faults::OnItsWay Faults::on_its_way(const Link& link, const std::string& bytes) {
  return {link, bytes, Weight(bytes.size() + sizeof(OnItsWay), waiting_)};
}

/// And what has waited for that.
void Faults::pass(Direction direction, const Link& link, const std::string& bytes, std::size_t copies, Time now) {
  for (std::size_t i = 0; i < copies; ++i) hand_on(direction, link, bytes, now);
  const auto swapped = std::exchange(stream_of(link.session, direction).swapped, {});
  for (const OnItsWay& message : swapped) hand_on(direction, message.link, message.bytes, now);
}

void Faults::hand_on(Direction direction, const Link& link, const std::string& bytes, Time now) {
  if (direction == scenario_fault::REQUEST) return taker_.take_request(link, bytes, now);
  delivery_.deliver(link, bytes);
}

/// What is late up to `now`. What it brings about may end everything.
void Faults::release(Direction direction, Time now) {
  auto& late = late_[direction];
  while (!late.empty() && late.begin()->first <= now) {
    const auto due = late.extract(late.begin());
    pass(direction, due.mapped().link, due.mapped().bytes, 1, due.key());
  }
}

void Faults::end_session(SessionId session) {
  for (auto& [direction, late] : late_) {
    std::erase_if(late, [session](const auto& entry) { return entry.second.link.session == session; });
  }
  std::erase_if(streams_, [session](const auto& entry) { return entry.first.first == session; });
}

std::optional<Time> Faults::next_due() const {
  std::optional<Time> due;
  for (const auto& [direction, late] : late_) {
    if (!late.empty()) due = earlier(due, late.begin()->first);
  }
  return due;
}

void Faults::advance(Time now) {
  release(scenario_fault::EVENT, now);
  release(scenario_fault::REQUEST, now);
}

}  // namespace kelvane_hub
