#include "hub/import/run_refusals.h"

#include <algorithm>
#include <set>

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

bool has_report_between(const Run& run, std::size_t from, std::size_t to) {
  const auto next = std::ranges::lower_bound(run.events, from, {}, &RunEvent::line);
  return next != run.events.end() && next->line < to;
}

}  // namespace

std::vector<RunRefusal> refusals_in(const Run& run, Conduct& conduct) {
  std::vector<RunRefusal> refusals;
  std::string_view connected = "wwan";
  std::set<RunNote::Kind> answered;
  for (const Request& request : requests) {
    if (request.is_answered(run)) answered.insert(request.kind);
  }
  for (std::size_t i = 0; i + 1 < run.notes.size(); ++i) {
    const RunNote& asked = run.notes[i];
    const RunNote& told = run.notes[i + 1];
    if (asked.kind == on_change) connected = "wwan";
    if (asked.kind == streaming || asked.kind == query_mode) connected = "wwan_stream";
    const Request* const request = request_of(asked);
    if (request == nullptr || told.kind != error || has_report_between(run, asked.line, told.line)) continue;
    if (answered.contains(request->kind)) continue;
    refusals.push_back({asked.kind, connected, request->msg_id, told.number, told.line});
    if (request->has_asked != nullptr) conduct.*request->has_asked = false;
  }
  return refusals;
}

}  // namespace kelvane_hub
