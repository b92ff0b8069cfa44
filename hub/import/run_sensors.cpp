#include "hub/import/run_sensors.h"

#include <algorithm>
#include <map>
#include <set>

#include "hub/scenario/scenario_file.h"
#include "mox_wwan_test.pb.h"

namespace kelvane_hub {
namespace {

using enum RunNote::Kind;

template <class Payload>
bool reports(const Run& run, bool (*answers)(const Payload&)) {
  return std::ranges::any_of(run.events, [answers](const RunEvent& event) {
    const auto* const payload = payload_of<Payload>(event);
    return payload != nullptr && answers(*payload);
  });
}

/// A request, how a run tells of it, and whether the run shows that it was carried out.
struct Request {
  RunNote::Kind kind;
  std::uint32_t msg_id;
  bool (*is_answered)(const Run& run);
  bool Conduct::*has_asked;  // null: nothing comes of it but reports
};

constexpr Request requests[] = {
    {rate, streaming_config,
     [](const Run& run) {
       const RunNote* const reporting = connection_of_reports(run);
       return reporting == nullptr || reporting->kind != on_change;
     },
     nullptr},
    {voice_calls, report_registration,
     [](const Run& run) {
       return reports<mox_wwan_event_voice_calls>(run, [](const auto& told) { return !told.calls().empty(); });
     },
     &Conduct::has_asked_for_calls},
    {rrc_states, report_registration,
     [](const Run& run) { return reports<mox_wwan_event_rrc_states_info>(run, [](const auto&) { return true; }); },
     &Conduct::has_asked_for_rrc_states},
    {cell_location, cell_location_query,
     [](const Run& run) {
       return reports<mox_wwan_get_cell_location_info_response>(run,
                                                                [](const auto& told) { return told.status() == 0; });
     },
     &Conduct::has_asked_for_location},
};

const Request* request_of(const RunNote& note) {
  const auto* const found = std::ranges::find(requests, note.kind, &Request::kind);
  return found == std::end(requests) ? nullptr : found;
}

constexpr std::string_view on_change_sensor = "wwan";
constexpr std::string_view streaming_sensor = "wwan_stream";

/// The sensor that is connected from that note on; `before` if it is not about that.
std::string_view connected_by(const RunNote& note, std::string_view before) {
  if (note.kind == on_change) return on_change_sensor;
  return note.kind == streaming || note.kind == query_mode ? streaming_sensor : before;
}

bool has_report_between(const Run& run, std::size_t from, std::size_t to) {
  const auto next = std::ranges::lower_bound(run.events, from, {}, &RunEvent::line);
  return next != run.events.end() && next->line < to;
}

/// The sensors that a client configures otherwise than by their names, and how: the stream type, which makes it do so.
std::map<std::string_view, std::int64_t> stream_types_in(const Run& run) {
  std::map<std::string_view, std::int64_t> types;
  for (const RunNote& note : run.notes) {
    const std::string_view connected = connected_by(note, "");
    const RunNote* const configuration = connected.empty() ? nullptr : configuration_after(run, &note);
    if (configuration == nullptr) continue;
    const bool streams = configuration->kind == rate;
    if (streams != (connected == streaming_sensor)) types[connected] = streams ? 0 : 1;
  }
  return types;
}

void set_stream_type(scenario_sensor& sensor, std::int64_t type) {
  auto& attributes = *sensor.mutable_attributes();
  const auto attribute = std::ranges::find(attributes, stream_type_attribute, &sns_std_attr::attr_id);
  attribute->mutable_value()->mutable_values(0)->set_integer(type);
}

}  // namespace

std::vector<RunRefusal> refusals_in(const Run& run, Conduct& conduct) {
  std::vector<RunRefusal> refusals;
  std::string_view connected = on_change_sensor;
  std::set<RunNote::Kind> answered;
  for (const Request& request : requests) {
    if (request.is_answered(run)) answered.insert(request.kind);
  }
  for (std::size_t i = 0; i + 1 < run.notes.size(); ++i) {
    const RunNote& asked = run.notes[i];
    const RunNote& told = run.notes[i + 1];
    connected = connected_by(asked, connected);
    const Request* const request = request_of(asked);
    if (request == nullptr || told.kind != error || has_report_between(run, asked.line, told.line)) continue;
    if (answered.contains(request->kind)) continue;
    refusals.push_back({asked.kind, connected, request->msg_id, told.number, told.line});
    if (request->has_asked != nullptr) conduct.*request->has_asked = false;
  }
  return refusals;
}

void add_refusal(scenario_sensor& sensor, const RunRefusal& told) {
  const auto& known = sensor.refusals();
  if (std::ranges::find(known, told.msg_id, &scenario_refusal::msg_id) != known.end()) return;
  scenario_refusal& refusal = *sensor.add_refusals();
  refusal.set_msg_id(told.msg_id);
  refusal.set_error(told.error);
}

Sensors sensors_in(const Run& run, const std::vector<RunRefusal>& refusals) {
  const auto types = stream_types_in(run);
  if (refusals.empty() && types.empty()) return {};
  Sensors sensors = built_in_scenario().head().sensors();
  for (auto& sensor : sensors) {
    if (const auto type = types.find(sensor.data_type()); type != types.end()) set_stream_type(sensor, type->second);
    for (const RunRefusal& told : refusals) {
      if (told.data_type == sensor.data_type()) add_refusal(sensor, told);
    }
  }
  return sensors;
}

}  // namespace kelvane_hub
