#include "hub/import/run_import.h"

#include <algorithm>
#include <limits>
#include <map>
#include <set>
#include <utility>

#include "hub/base/concat.h"
#include "hub/base/input_error.h"
#include "hub/import/run_summary.h"
#include "hub/messages/cell_change.h"
#include "hub/report/payload_truth.h"
#include "hub/report/run_notes.h"
#include "hub/report/run_times.h"
#include "hub/wire/frame.h"

namespace kelvane_hub {
namespace {

using Cells = mox_wwan_event_serving_neighboring_cell_info;
using Location = mox_wwan_get_cell_location_info_response;
using Rail = mox_wwan_event_highspeed_rail_network_info;
using Verdict = mox_wwan_signal_strength_config_status;

// What stands around a payload takes less.
constexpr std::size_t most_bytes = max_payload - 2048;

bool has_bare_cells(const scenario_step& step) {
  return std::ranges::any_of(step.cells().cells(), [](const auto& cell) { return !cell.has_timestamp(); });
}

/// What `event` says in as many bytes as its payload has. Bytes that end nowhere are read by no client.
std::string in_size(const RunEvent& event, const google::protobuf::Message& message) {
  std::string bytes = message.SerializeAsString();
  if (event.payload_size && *event.payload_size > bytes.size()) bytes.resize(*event.payload_size, '\xff');
  return bytes;
}

/// Leaves out values of 0, which are printed whether they are there or not, until the message has that size or less.
void shorten(Rail& rail, std::size_t size) {
  if (rail.ByteSizeLong() > size && !rail.lte()) rail.clear_lte();
  if (rail.ByteSizeLong() > size && !rail.nr5g()) rail.clear_nr5g();
  if (rail.ByteSizeLong() > size && rail.sub() == 0) rail.clear_sub();
}

/// What a client asks for, and the scenario waits for.
struct Waiting {
  RunNote::Kind asked;
  const char* name;
  void (*ask)(scenario_request& request);
};

constexpr Waiting waitings[] = {
    {RunNote::Kind::voice_calls, "the client registers for voice calls",
     [](scenario_request& request) { request.mutable_sensor_config()->set_report_voice_calls(true); }},
    {RunNote::Kind::rrc_states, "the client registers for RRC states",
     [](scenario_request& request) { request.mutable_sensor_config()->set_report_rrc_state_info(true); }},
    {RunNote::Kind::cell_location, "the client asks for the cell location",
     [](scenario_request& request) { request.mutable_get_cell_location_info(); }},
};

class RunImport {
 public:
  explicit RunImport(const FoundRun& found)
      : found_(found),
        run_(found.run),
        conduct_(found.conduct),
        pace_(found.pace),
        summary_(found.name, run_.place_name) {}

  ImportedRun make();

 private:
  void add(const RunEvent& event);
  void add_notes(std::size_t line);
  bool is_refusal(std::size_t line);
  void add_remarks();
  void add_cells(const RunEvent& event, const Cells& cells);
  template <class State>
  void add_state(const RunEvent& event, const State& state, bool is_registered, RunNote::Kind asked,
                 void (scenario_step::*set)(State*));
  void add_rail(const RunEvent& event, Rail rail);
  void add_verdict(const RunEvent& event, const Verdict& verdict);
  void add_location(const RunEvent& event, const Location& location);
  void add_raw(const RunEvent& event, std::string payload, Detour detour);
  bool is_answer(const Location& location) const;
  bool is_known(std::uint32_t sub) const;
  void wait_once(RunNote::Kind asked);
  scenario_step& add_step();
  void check_size(std::size_t size, std::size_t line) const;

  const FoundRun& found_;
  const Run& run_;
  const Conduct& conduct_;
  const RunPace& pace_;
  RunSummary summary_;
  scenario scenario_;
  double now_ = 0;
  std::size_t noted_ = 0;                 // notes before that are added
  std::map<std::uint32_t, Cells> cells_;  // what the hub that plays the scenario has by now
  std::set<RunNote::Kind> awaited_;       // what the scenario has waited for
};

// ---- the walk ----

ImportedRun RunImport::make() {
  if (run_.events.empty()) throw InputError(found_.name + ": expected a report, found none that is whole");
  for (std::size_t i = 0; i < run_.events.size(); ++i) {
    add_notes(run_.events[i].line);
    now_ = pace_.at[i];
    summary_.add_report(run_.events[i].kind->name, now_);
    add(run_.events[i]);
  }
  add_notes(std::numeric_limits<std::size_t>::max());
  *scenario_.mutable_sensors() = found_.sensors;
  add_remarks();
  scenario_.set_description(summary_.origin());
  if (std::ranges::any_of(scenario_.steps(), has_bare_cells)) scenario_.set_fill_timestamps(false);
  return {std::move(scenario_), summary_.text()};
}

void RunImport::add(const RunEvent& event) {
  const auto* const verdict = payload_of<Verdict>(event);
  if (verdict != nullptr && conduct_.has_set_thresholds) return summary_.add_detour(Detour::verdict, event.line);
  if (event.payload && !(event.message && has_its_bytes(event))) {
    return add_raw(event, *event.payload, Detour::foreign_bytes);
  }
  if (const auto* const cells = payload_of<Cells>(event)) return add_cells(event, *cells);
  if (const auto* const location = payload_of<Location>(event)) return add_location(event, *location);
  if (const auto* const rail = payload_of<Rail>(event)) return add_rail(event, *rail);
  if (verdict != nullptr) return add_verdict(event, *verdict);
  if (const auto* const calls = payload_of<mox_wwan_event_voice_calls>(event)) {
    return add_state(event, *calls, conduct_.has_asked_for_calls, RunNote::Kind::voice_calls,
                     &scenario_step::set_allocated_voice_calls);
  }
  if (const auto* const states = payload_of<mox_wwan_event_rrc_states_info>(event)) {
    return add_state(event, *states, conduct_.has_asked_for_rrc_states, RunNote::Kind::rrc_states,
                     &scenario_step::set_allocated_rrc_states);
  }
  if (const auto* const error = payload_of<sns_std_error_event>(event)) {
    if (!is_refusal(event.line)) *add_step().mutable_error() = *error;
    return;
  }
  add_raw(event, *event.payload, Detour::no_request);
}

/// Events that have no report, from before `line`: at the time of the report above.
void RunImport::add_notes(std::size_t line) {
  for (; noted_ < run_.notes.size() && run_.notes[noted_].line < line; ++noted_) {
    const RunNote& note = run_.notes[noted_];
    if (!is_event(note) || is_refusal(note.line)) continue;
    const bool is_error = note.kind == RunNote::Kind::error;
    summary_.add_report(is_error ? "error_event" : "unknown event", now_);
    scenario_step& step = add_step();
    if (is_error) {
      step.mutable_error()->set_error(note.number);
    } else {
      step.mutable_raw()->set_msg_id(static_cast<std::uint32_t>(note.number));
    }
  }
}

bool RunImport::is_refusal(std::size_t line) {
  const auto told = std::ranges::find(found_.refusals, line, &RunRefusal::line);
  if (told == found_.refusals.end()) return false;
  summary_.add_detour(Detour::refusal, line);
  wait_once(told->asked);
  return true;
}

void RunImport::add_remarks() {
  for (const auto& [first, last] : pace_.set_back) summary_.set_back(run_.events[first].line, run_.events[last].line);
  if (conduct_.connections > 1) {
    summary_.add_remark(
        concat("connects ", conduct_.connections, " times, which the scenario plays as one connection"));
  }
  if (run_.events.size() > std::max<std::size_t>(pace_.subscriptions.size(), 1) && pace_.at.back() == 0) {
    summary_.add_remark(
        "no time passes, as in a run at the highest speed or several runs in one file: all reports happen at once");
  }
  if (pace_.subscriptions.empty()) {
    summary_.add_remark("no cells at the beginning: a hub begins with a report that subscription 0 has none");
  }
  for (const std::string& remark : found_.remarks) summary_.add_remark(remark);
}

// ---- steps ----

scenario_step& RunImport::add_step() {
  scenario_step& step = *scenario_.add_steps();
  step.set_at(now_);
  return step;
}

void RunImport::check_size(std::size_t size, std::size_t line) const {
  if (size <= most_bytes) return;
  throw InputError(concat(place_in(run_.place_name, found_.name, line), ": expected at most ", most_bytes,
                          " bytes, found a payload of ", size));
}

void RunImport::add_raw(const RunEvent& event, std::string payload, Detour detour) {
  check_size(payload.size(), event.line);
  summary_.add_detour(detour, event.line);
  auto& raw = *add_step().mutable_raw();
  raw.set_msg_id(event.kind->id);
  raw.set_payload(std::move(payload));
}

/// Whether the scenario may speak of the subscription: a hub begins by reporting the cells of each that it does.
bool RunImport::is_known(std::uint32_t sub) const {
  return pace_.subscriptions.contains(sub) || (pace_.subscriptions.empty() && sub == 0);
}

/// The scenario waits until a client asks for that, the first time that something comes of it.
void RunImport::wait_once(RunNote::Kind asked) {
  constexpr double seconds = 30;  // operation 3 registers after 10
  const auto* const waiting = std::ranges::find(waitings, asked, &Waiting::asked);
  if (waiting == std::end(waitings) || !awaited_.insert(asked).second) return;
  auto& barrier = *add_step().mutable_wait_for();
  barrier.set_name(waiting->name);
  barrier.set_within(seconds);
  waiting->ask(*barrier.add_requests());
}

// ---- each kind ----

void RunImport::add_cells(const RunEvent& event, const Cells& cells) {
  if (!is_known(cells.sub())) return add_raw(event, *event.payload, Detour::late_subscription);
  check_size(event.payload->size(), event.line);
  const auto before = cells_.find(cells.sub());
  const bool differs = before == cells_.end() || cells_differ(before->second, cells);
  if (!differs && !conduct_.streams) return add_raw(event, *event.payload, Detour::repetition);
  if (!differs && before->second.SerializeAsString() == event.payload) return;
  cells_[cells.sub()] = cells;
  *add_step().mutable_cells() = cells;
}

/// A state that is told to those who have registered for it.
template <class State>
void RunImport::add_state(const RunEvent& event, const State& state, bool is_registered, RunNote::Kind asked,
                          void (scenario_step::*set)(State*)) {
  std::string payload = state.SerializeAsString();
  if (!is_registered) return add_raw(event, std::move(payload), Detour::unregistered);
  if (!is_known(state.sub())) return add_raw(event, std::move(payload), Detour::late_subscription);
  check_size(payload.size(), event.line);
  wait_once(asked);
  (add_step().*set)(new State(state));
}

void RunImport::add_rail(const RunEvent& event, Rail rail) {
  check_size(*event.payload_size, event.line);
  shorten(rail, *event.payload_size);
  std::string payload = in_size(event, rail);
  if (payload.size() > *event.payload_size) summary_.add_detour(Detour::size_lost, event.line);
  if (payload.size() > rail.ByteSizeLong()) return add_raw(event, std::move(payload), Detour::other_size);
  *add_step().mutable_highspeed_rail() = rail;
}

void RunImport::add_verdict(const RunEvent& event, const Verdict& verdict) {
  check_size(*event.payload_size, event.line);
  const bool is_empty = verdict.error() == 0 && event.payload_size < verdict.ByteSizeLong();
  std::string payload = in_size(event, is_empty ? Verdict() : verdict);
  if (payload.size() > *event.payload_size) summary_.add_detour(Detour::size_lost, event.line);
  add_raw(event, std::move(payload), Detour::no_request);
}

void RunImport::add_location(const RunEvent& event, const Location& location) {
  if (!conduct_.has_asked_for_location) return add_raw(event, *event.payload, Detour::no_request);
  if (!is_answer(location)) return add_raw(event, *event.payload, Detour::other_answer);
  for (Cells cells : location.cells()) {
    Cells& known = cells_.at(cells.sub());
    if (!known.has_sub()) cells.clear_sub();
    if (known.SerializeAsString() == cells.SerializeAsString()) continue;
    // Other timestamps are no change that is reported.
    known = cells;
    *add_step().mutable_cells() = std::move(cells);
  }
  wait_once(RunNote::Kind::cell_location);
}

/// Whether a hub answers so of itself: with the cells of every subscription, in their order.
bool RunImport::is_answer(const Location& location) const {
  const auto is_same = [](const Cells& cells, const auto& known) {
    Cells answered = known.second;
    answered.set_sub(known.first);
    return !cells_differ(cells, answered);
  };
  return location.has_status() && location.status() == 0 && std::ranges::equal(location.cells(), cells_, is_same);
}

}  // namespace

ImportedRun to_scenario(const Run& run, const std::string& name) {
  Conduct conduct = conduct_of(run);
  const auto refusals = refusals_in(run, conduct);
  const RunPace pace = pace_of(run, times_of(run), conduct, name);
  return to_scenario({run, name, conduct, refusals, pace, sensors_in(run, refusals), {}});
}

ImportedRun to_scenario(const FoundRun& found) { return RunImport(found).make(); }

}  // namespace kelvane_hub
