#include "hub/report/run_notes.h"

#include <algorithm>

#include "hub/base/numbers.h"

namespace kelvane_hub {
namespace {

/// A text that tells something, wherever on its line it stands.
struct Telling {
  std::string_view text;
  RunNote::Kind kind;
  bool has_number = false;  // after the text, to the end of the line
};

using enum RunNote::Kind;

constexpr Telling tellings[] = {
    {"Input given ", operation, true},
    {"connecting to on-change sensor", on_change},
    {"connecting to streaming sensor(Query Mode)", query_mode},
    {"connecting to streaming sensor", streaming},
    {"sensor name is ", reconnection},
    {"sending on change config request", changes},
    {"Streaming sensor rate : ", rate, true},
    {"sending on normal config request and sample rate ", rate, true},
    {"Listening For Voice Call status indication", voice_calls},
    {"register for voice_call_status indications", voice_calls},
    {"register for rrc state indication", rrc_states},
    {"Query Cell-location info", cell_location},
    {"sending query_cell_info request", cell_location},
    {"Enter sub id for this request", thresholds},
    {"event_cb:645, Received error event ", error, true},
    {"event_cb:756, Received unknown message ID ", unknown_id, true},
};

constexpr std::int32_t streaming_operation = 2;
constexpr std::int32_t calls_operation = 3;

bool is_connection(const RunNote& note) {
  return note.kind == on_change || note.kind == streaming || note.kind == query_mode || note.kind == reconnection ||
         (note.kind == operation && note.number == streaming_operation);
}

}  // namespace

std::optional<RunNote> note_in(std::string_view line) {
  for (const Telling& known : tellings) {
    const auto place = line.find(known.text);
    if (place == std::string_view::npos) continue;
    if (!known.has_number) return RunNote{0, known.kind};
    const auto number = number_of<std::int32_t>(line.substr(place + known.text.size()), 10);
    if (number) return RunNote{0, known.kind, *number};
  }
  return {};
}

bool is_event(const RunNote& note) { return note.kind == error || note.kind == unknown_id; }

Conduct conduct_of(const Run& run) {
  Conduct conduct;
  const auto tells = [&run](RunNote::Kind kind) { return std::ranges::find(run.notes, kind, &RunNote::kind); };
  conduct.connections = static_cast<std::size_t>(std::ranges::count_if(run.notes, is_connection));
  const RunNote* const reporting = connection_of_reports(run);
  const RunNote* const configuration = configuration_after(run, reporting);
  if (configuration != nullptr && configuration->kind == rate) conduct.rate = configuration->number;
  const bool is_polled = tells(query_mode) != run.notes.end();
  if (configuration != nullptr) {
    // At a rate of 0, a streaming sensor tells of each change.
    conduct.streams = configuration->kind == rate && (is_polled || configuration->number != 0);
  } else {
    conduct.streams = reporting != nullptr && reporting->kind != on_change;
  }
  conduct.has_asked_for_calls =
      tells(voice_calls) != run.notes.end() || std::ranges::any_of(run.notes, [](const RunNote& note) {
        return note.kind == operation && note.number == calls_operation;
      });
  conduct.has_asked_for_rrc_states = tells(rrc_states) != run.notes.end();
  conduct.has_asked_for_location = tells(cell_location) != run.notes.end();
  conduct.has_set_thresholds = tells(thresholds) != run.notes.end();
  return conduct;
}

const RunNote* configuration_after(const Run& run, const RunNote* connection) {
  if (connection == nullptr) return nullptr;
  for (const RunNote* note = connection + 1; note != run.notes.data() + run.notes.size(); ++note) {
    if (note->kind == changes || note->kind == rate) return note;
    if (is_connection(*note)) break;
  }
  return nullptr;
}

const RunNote* connection_of_reports(const Run& run) {
  const auto has_cells = [](const RunEvent& event) { return event.kind->id == cells_event; };
  const auto first = std::ranges::find_if(run.events, has_cells);
  const RunNote* found = nullptr;
  for (const RunNote& note : run.notes) {
    if (first != run.events.end() && note.line > first->line) break;
    if (is_connection(note)) found = &note;
  }
  return found;
}

}  // namespace kelvane_hub
