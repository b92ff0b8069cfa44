// How the simulated hub answers requests.

#include <algorithm>

#include "hub/scenario/scenario_file.h"
#include "hub/simulator/simulator.h"
#include "hub/thresholds/threshold_check.h"

namespace kelvane_hub {
namespace {

// A real hub takes time, and its clients count on it: they begin to wait only after they have sent.
constexpr Time lookup_time = std::chrono::milliseconds(100);

constexpr std::int32_t query_mode = 2;
constexpr std::int32_t highest_rate = 10'000;

// Of a session. Clients have one at a time.
constexpr std::ptrdiff_t most_lookups = 100;

Modem make_modem(const std::set<std::uint32_t>& subscriptions) {
  Modem modem;
  for (const auto sub : subscriptions) modem[sub];
  return modem;
}

}  // namespace

Simulator::Simulator(scenario played, double speed, Deliver deliver, Explain explain)
    : scenario_(std::move(played)),
      subscriptions_(subscriptions_of(scenario_)),
      deliver_(std::move(deliver)),
      explain_(std::move(explain)),
      timeline_(scenario_, speed),
      modem_(make_modem(subscriptions_)) {}

Simulator::RequestFunction Simulator::find_request(std::uint32_t msg_id) {
  static const std::map<std::uint32_t, RequestFunction> requests{
      {attribute_request, &Simulator::send_attributes},      {on_change_config, &Simulator::configure_on_change},
      {self_test_config, &Simulator::run_self_test},         {signal_strength_config, &Simulator::configure_thresholds},
      {report_registration, &Simulator::register_reports},   {streaming_config, &Simulator::configure_streaming},
      {cell_location_query, &Simulator::send_cell_location},
  };
  const auto found = requests.find(msg_id);
  return found == requests.end() ? nullptr : found->second;
}

void Simulator::handle_request(SessionId session, suid sensor, const std::string& envelope, Time now) {
  const Asked asked{session, sensor, now};
  sns_client_request_msg request;
  if (!request.ParseFromString(envelope)) return send_error(asked, HubError::malformed);
  const std::string& payload = request.request().payload();
  const sns_suid_sensor lookup;
  if (sensor.suid_low == lookup.suid_low() && sensor.suid_high == lookup.suid_high()) {
    if (request.msg_id() != lookup_request) return send_error(asked, HubError::not_supported);
    return look_up(asked, payload);
  }
  const scenario_sensor* const known = find_sensor(sensor);
  if (known == nullptr) return send_error(asked, HubError::no_such_sensor);
  const auto refusal = std::ranges::find(known->refusals(), request.msg_id(), &scenario_refusal::msg_id);
  if (refusal != known->refusals().end()) return send_error(asked, static_cast<HubError>(refusal->error()));
  const auto function = find_request(request.msg_id());
  if (function == nullptr) return send_error(asked, HubError::not_supported);
  (this->*function)(asked, payload);
}

void Simulator::end_session(SessionId session) {
  sessions_.erase(session);
  std::erase_if(lookups_, [session](const PendingLookup& lookup) { return lookup.asked.session == session; });
}

void Simulator::look_up(const Asked& asked, const std::string& payload) {
  sns_suid_req request;
  if (!request.ParseFromString(payload)) return send_error(asked, HubError::malformed);
  const auto pending =
      std::ranges::count(lookups_, asked.session, [](const auto& lookup) { return lookup.asked.session; });
  if (pending == most_lookups) return send_error(asked, HubError::busy);
  lookups_.push_back({asked.now + lookup_time, asked, request.data_type()});
}

void Simulator::send_attributes(const Asked& asked, const std::string&) {
  sns_std_attr_event event;
  *event.mutable_attributes() = find_sensor(asked.sensor)->attributes();
  send(asked, attribute_event, event.SerializeAsString());
}

void Simulator::configure_on_change(const Asked& asked, const std::string&) {
  SensorUse& use = use_of(asked);
  report_all(asked, use);
  use.reporting = Reporting::on_change;
  start_scenario(asked.now);
}

void Simulator::configure_streaming(const Asked& asked, const std::string& payload) {
  mox_wwan_streaming_sensor_config config;
  if (!config.ParseFromString(payload)) return send_error(asked, HubError::malformed);
  const std::int32_t rate = config.sample_rate();
  if (rate < 0 || rate > highest_rate) return send_error(asked, HubError::invalid_value);
  SensorUse& use = use_of(asked);
  if (static_cast<std::int32_t>(config.report_mode()) == query_mode) {
    // The scenario's first cells are to be there for the answer.
    use.reporting = Reporting::when_asked;
    start_scenario(asked.now);
    return report_all(asked, use);
  }
  use.reporting = rate == 0 ? Reporting::on_change : Reporting::periodic;
  use.rate = rate;
  use.first_tick = asked.now;
  use.ticks = 0;
  start_scenario(asked.now);
}

void Simulator::run_self_test(const Asked& asked, const std::string& payload) {
  sns_physical_sensor_test_config config;
  if (!config.ParseFromString(payload)) return send_error(asked, HubError::malformed);
  sns_std_sensor_event passed;
  passed.set_status(0);
  send(asked, self_test_event, passed.SerializeAsString());
}

void Simulator::configure_thresholds(const Asked& asked, const std::string& payload) {
  mox_wwan_signal_strength_config config;
  auto verdict = ThresholdVerdict::malformed;
  std::string explanation = "the bytes are no configuration";
  if (config.ParseFromString(payload)) verdict = check_thresholds(config, subscriptions_, explanation);
  if (verdict == ThresholdVerdict::accepted) {
    use_of(asked).filters[static_cast<std::uint32_t>(config.sub_id())].configure(config);
  } else if (explain_) {
    explain_("session " + std::to_string(asked.session) + ": configuration refused: " + explanation);
  }
  mox_wwan_signal_strength_config_status status;
  status.set_error(static_cast<std::int32_t>(verdict));
  send(asked, signal_strength_config_status, status.SerializeAsString());
}

void Simulator::register_reports(const Asked& asked, const std::string& payload) {
  mox_wwan_sensor_config config;
  if (!config.ParseFromString(payload)) return send_error(asked, HubError::malformed);
  SensorUse& use = use_of(asked);
  use.voice_calls |= config.report_voice_calls();
  use.rrc_states |= config.report_rrc_state_info();
  for (const auto& [sub, state] : modem_) {
    if (config.report_voice_calls() && state.voice_calls) {
      send(asked, voice_calls_event, state.voice_calls->SerializeAsString());
    }
    if (config.report_rrc_state_info() && state.rrc_states) {
      send(asked, rrc_states_event, state.rrc_states->SerializeAsString());
    }
  }
}

void Simulator::send_cell_location(const Asked& asked, const std::string&) {
  mox_wwan_get_cell_location_info_response response;
  for (const auto& [sub, state] : modem_) {
    Cells& cells = *response.add_cells();
    if (state.cells) cells = *state.cells;
    cells.set_sub(sub);
  }
  response.set_status(0);
  send(asked, cell_location_event, response.SerializeAsString());
}

const scenario_sensor* Simulator::find_sensor(suid sensor) const {
  for (const auto& known : scenario_.sensors()) {
    if (known.suid().suid_low() == sensor.suid_low && known.suid().suid_high() == sensor.suid_high) return &known;
  }
  return nullptr;
}

SensorUse& Simulator::use_of(const Asked& asked) {
  SensorUse& use = sessions_[asked.session][{asked.sensor.suid_low, asked.sensor.suid_high}];
  use.sensor = asked.sensor;
  return use;
}

void Simulator::send(const Asked& to, std::uint32_t msg_id, const std::string& payload) {
  sns_client_event_msg message;
  message.mutable_suid()->set_suid_low(to.sensor.suid_low);
  message.mutable_suid()->set_suid_high(to.sensor.suid_high);
  auto& event = *message.add_events();
  event.set_msg_id(msg_id);
  event.set_timestamp(static_cast<std::uint64_t>(to.now.count()));
  event.set_payload(payload);
  deliver_(to.session, to.sensor, message.SerializeAsString());
}

void Simulator::send_error(const Asked& to, HubError error) {
  sns_std_error_event event;
  event.set_error(static_cast<std::int32_t>(error));
  send(to, error_event, event.SerializeAsString());
}

void Simulator::report(const Asked& to, SensorUse& use, const Cells& cells) {
  use.filters[cells.sub()].note_reported(cells, timeline_.at(to.now));
  send(to, cells_event, cells.SerializeAsString());
}

void Simulator::report_all(const Asked& to, SensorUse& use) {
  for (const auto& [sub, state] : modem_) {
    if (state.cells) report(to, use, *state.cells);
  }
}

}  // namespace kelvane_hub
