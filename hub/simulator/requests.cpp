#include "hub/simulator/requests.h"

#include <algorithm>
#include <map>
#include <utility>

#include "hub/messages/catalogue.h"
#include "hub/simulator/registrations.h"
#include "hub/thresholds/threshold_check.h"
#include "kelvane_api.pb.h"

namespace kelvane_hub {
namespace {

// A real hub takes time, and its clients count on it: they begin to wait only after they have sent.
constexpr Time lookup_time = std::chrono::milliseconds(100);

constexpr std::int32_t query_mode = 2;
constexpr std::int32_t highest_rate = 10'000;

// In bytes. Clients ask for names of a few letters.
constexpr std::size_t longest_data_type = 1000;

// Of a session. Clients have one at a time.
constexpr int most_lookups = 100;

// Then others get their turn.
constexpr int most_answers = 200;

bool is_lookup_sensor(suid sensor) {
  const sns_suid_sensor lookup;
  return sensor.suid_low == lookup.suid_low() && sensor.suid_high == lookup.suid_high();
}

}  // namespace

Requests::Requests(const PackedScenario& played, Playback& playback, Outbox& outbox)
    : scenario_(played.head()), subscriptions_(played.subscriptions()), playback_(playback), outbox_(outbox) {}

Requests::Function Requests::find_function(std::uint32_t msg_id) {
  static const std::map<std::uint32_t, Function> functions{
      {attribute_request, &Requests::send_attributes},      {on_change_config, &Requests::configure_on_change},
      {self_test_config, &Requests::run_self_test},         {signal_strength_config, &Requests::configure_thresholds},
      {report_registration, &Requests::register_events},    {streaming_config, &Requests::configure_streaming},
      {cell_location_query, &Requests::send_cell_location},
  };
  const auto found = functions.find(msg_id);
  return found == functions.end() ? nullptr : found->second;
}

void Requests::handle(const Link& from, const std::string& envelope, Time now) {
  sns_client_request_msg request;
  if (!request.ParseFromString(envelope)) return outbox_.send_error(from, HubError::malformed, now);
  const std::string& payload = request.request().payload();
  if (is_lookup_sensor(from.sensor)) {
    if (request.msg_id() != lookup_request) return outbox_.send_error(from, HubError::not_supported, now);
    return look_up(from, payload, now);
  }
  const scenario_sensor* const known = find_sensor(from.sensor);
  if (known == nullptr) return outbox_.send_error(from, HubError::no_such_sensor, now);
  const auto refusal = std::ranges::find(known->refusals(), request.msg_id(), &scenario_refusal::msg_id);
  if (refusal != known->refusals().end()) {
    return outbox_.send_error(from, static_cast<HubError>(refusal->error()), now);
  }
  const auto function = find_function(request.msg_id());
  if (function == nullptr) return outbox_.send_error(from, HubError::not_supported, now);
  (this->*function)(from, payload, now);
}

void Requests::end_session(SessionId session) { pending_.erase(session); }

std::optional<Time> Requests::next_due() const {
  return lookups_.empty() ? std::nullopt : std::optional(lookups_.front().due);
}

void Requests::advance(Time now) {
  for (int answered = 0; answered < most_answers && !lookups_.empty() && lookups_.front().due <= now; ++answered) {
    const PendingLookup lookup = std::move(lookups_.front());
    lookups_.pop_front();
    const auto pending = pending_.find(lookup.from.session);
    if (pending == pending_.end()) continue;
    if (--pending->second == 0) pending_.erase(pending);
    answer(lookup);
  }
}

void Requests::look_up(const Link& from, const std::string& payload, Time now) {
  sns_suid_req request;
  if (!request.ParseFromString(payload)) return outbox_.send_error(from, HubError::malformed, now);
  if (request.data_type().size() > longest_data_type) {
    return outbox_.send_error(from, HubError::invalid_value, now);
  }
  int& pending = pending_[from.session];
  if (pending == most_lookups) return outbox_.send_error(from, HubError::busy, now);
  ++pending;
  lookups_.push_back({now + lookup_time, from, request.data_type()});
}

void Requests::answer(const PendingLookup& lookup) {
  sns_suid_event answer;
  answer.set_data_type(lookup.data_type);
  for (const auto& sensor : scenario_.sensors()) {
    if (sensor.data_type() == lookup.data_type) *answer.add_suids() = sensor.suid();
  }
  outbox_.send(lookup.from, lookup_event, answer.SerializeAsString(), lookup.due);
}

void Requests::send_attributes(const Link& from, const std::string&, Time now) {
  sns_std_attr_event event;
  *event.mutable_attributes() = find_sensor(from.sensor)->attributes();
  outbox_.send(from, attribute_event, event.SerializeAsString(), now);
}

void Requests::configure_on_change(const Link& from, const std::string&, Time now) {
  playback_.send_all_cells(from, now);
  playback_.configure(from, Configuration::on_change, 0, now);
  playback_.start(now);
}

void Requests::configure_streaming(const Link& from, const std::string& payload, Time now) {
  mox_wwan_streaming_sensor_config config;
  if (!config.ParseFromString(payload)) return outbox_.send_error(from, HubError::malformed, now);
  const std::int32_t rate = config.sample_rate();
  if (rate < 0 || rate > highest_rate) return outbox_.send_error(from, HubError::invalid_value, now);
  if (static_cast<std::int32_t>(config.report_mode()) == query_mode) {
    playback_.configure(from, Configuration::when_asked, rate, now);
    // The scenario's first cells are to be there for the answer.
    playback_.start(now);
    return playback_.send_all_cells(from, now);
  }
  playback_.configure(from, rate == 0 ? Configuration::on_change : Configuration::periodic, rate, now);
  playback_.start(now);
}

void Requests::run_self_test(const Link& from, const std::string& payload, Time now) {
  sns_physical_sensor_test_config config;
  if (!config.ParseFromString(payload)) return outbox_.send_error(from, HubError::malformed, now);
  sns_std_sensor_event passed;
  passed.set_status(0);
  outbox_.send(from, self_test_event, passed.SerializeAsString(), now);
}

void Requests::configure_thresholds(const Link& from, const std::string& payload, Time now) {
  mox_wwan_signal_strength_config config;
  auto verdict = ThresholdVerdict::malformed;
  std::string explanation = "the bytes are no configuration";
  if (config.ParseFromString(payload)) verdict = check_thresholds(config, subscriptions_, explanation);
  if (verdict == ThresholdVerdict::accepted) {
    // What nobody here knows would be kept at many times its size.
    config.DiscardUnknownFields();
    playback_.set_thresholds(from, std::move(config));
  } else {
    outbox_.watchers().on_refusal(from, explanation);
  }
  mox_wwan_signal_strength_config_status status;
  status.set_error(static_cast<std::int32_t>(verdict));
  outbox_.send(from, signal_strength_config_status, status.SerializeAsString(), now);
}

void Requests::register_events(const Link& from, const std::string& payload, Time now) {
  mox_wwan_sensor_config config;
  if (!config.ParseFromString(payload)) return outbox_.send_error(from, HubError::malformed, now);
  for (const Registration& known : registrations) {
    if ((config.*known.wanted)()) playback_.register_for(from, known.event);
  }
  for (const auto& [sub, state] : playback_.modem()) {
    for (const auto& [msg_id, current] : state.states) {
      const auto* const known = std::ranges::find(registrations, msg_id, &Registration::event);
      if ((config.*known->wanted)()) outbox_.send(from, msg_id, current, now);
    }
  }
}

void Requests::send_cell_location(const Link& from, const std::string&, Time now) {
  mox_wwan_get_cell_location_info_response response;
  for (const auto& [sub, state] : playback_.modem()) {
    Cells& cells = *response.add_cells();
    if (state.cells) (void)cells.ParseFromString(state.cells->payload);
    cells.set_sub(sub);
  }
  response.set_status(0);
  outbox_.send(from, cell_location_event, response.SerializeAsString(), now);
}

const scenario_sensor* Requests::find_sensor(suid sensor) const {
  for (const auto& known : scenario_.sensors()) {
    if (known.suid().suid_low() == sensor.suid_low && known.suid().suid_high() == sensor.suid_high) return &known;
  }
  return nullptr;
}

}  // namespace kelvane_hub
