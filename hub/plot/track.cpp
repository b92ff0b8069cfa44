#include "hub/plot/track.h"

#include <algorithm>
#include <map>
#include <optional>
#include <utility>

#include "hub/messages/reflection.h"
#include "hub/messages/technologies.h"

namespace kelvane_hub {
namespace {

constexpr double nanoseconds = 1e9;

using Cells = mox_wwan_event_serving_neighboring_cell_info;
using VoiceCalls = mox_wwan_event_voice_calls;

/// The cell that a subscription is served by.
struct Serving {
  std::int32_t cell_type;
  std::string identity;  // whatever tells it from others
  double dbm;
};

/// No receiver hears below -156 dBm: -200, 0 and the like stand for what is not known.
bool is_measured(const std::optional<Serving>& serving) { return serving && serving->dbm < 0 && serving->dbm >= -156; }

/// How strong the cell is, in dBm; 0 if that is not known.
double strength_of(const mox_wwan_cell_info& cell, const Technology& technology) {
  const auto* const signal = find_part(cell, technology, signal_part);
  if (signal == nullptr) return 0;
  return signal->GetReflection()->GetInt32(*signal, &field_of(*signal->GetDescriptor(), technology.strength));
}

std::optional<Serving> serving_of(const Cells& info) {
  const auto cell = std::ranges::find_if(info.cells(), &mox_wwan_cell_info::registered);
  if (cell == info.cells().end()) return {};
  const Technology* const technology = find_technology(cell->cell_type());
  if (technology == nullptr) return {};
  Serving serving{technology->cell_type, std::string(technology->name), strength_of(*cell, *technology)};
  if (const auto* const identity = find_part(*cell, *technology, identity_part)) {
    serving.identity += identity->SerializeAsString();
  }
  return serving;
}

/// Builds a track from what happens, in order of time.
class TrackBuilder {
 public:
  void cells(double time, const Cells& info) {
    reach(time);
    const std::uint32_t sub = info.sub();
    const auto serving = serving_of(info);
    auto& last = serving_[sub];
    if (last && serving && serving->identity != last->identity) track_.cell_changes.push_back(time);
    const bool goes_on = is_measured(last) && is_measured(serving) && serving->cell_type == last->cell_type;
    if (!goes_on) end_stretch(last, sub);
    if (is_measured(serving)) {
      auto& stretches = curve(serving->cell_type, sub);
      if (!goes_on) stretches.emplace_back();
      stretches.back().push_back({time, serving->dbm});
    }
    last = serving;
  }

  void calls(double time, const VoiceCalls& info) {
    reach(time);
    const auto begun = calls_.find(info.sub());
    if (!info.calls().empty()) {
      calls_.try_emplace(info.sub(), time);
    } else if (begun != calls_.end()) {
      track_.calls.push_back({begun->second, time});
      calls_.erase(begun);
    }
  }

  void reach(double time) { track_.end = std::max(track_.end, time); }

  Track finish(std::string clock) {
    for (const auto& [sub, last] : serving_) end_stretch(last, sub);
    for (const auto& [sub, begin] : calls_) track_.calls.push_back({begin, track_.end});
    for (auto& [key, stretches] : curves_) track_.curves.push_back({key.second, key.first, std::move(stretches)});
    track_.clock = std::move(clock);
    return std::move(track_);
  }

 private:
  std::vector<Stretch>& curve(std::int32_t cell_type, std::uint32_t sub) { return curves_[{sub, cell_type}]; }

  /// The last value holds until now.
  void end_stretch(const std::optional<Serving>& last, std::uint32_t sub) {
    if (is_measured(last)) curve(last->cell_type, sub).back().push_back({track_.end, last->dbm});
  }

  Track track_;
  std::map<std::pair<std::uint32_t, std::int32_t>, std::vector<Stretch>> curves_;
  std::map<std::uint32_t, std::optional<Serving>> serving_;
  std::map<std::uint32_t, double> calls_;  // when they began
};

// ---- times of a run ----

/// The timestamp of the first cell of an event of cells, in seconds.
std::optional<double> timestamp_of(const RunEvent& event) {
  const auto* const info = payload_of<Cells>(event);
  if (info == nullptr || info->cells().empty()) return {};
  return static_cast<double>(info->cells(0).timestamp()) / nanoseconds;
}

std::optional<double> log_time_of(const RunEvent& event) {
  if (event.log_time) return static_cast<double>(*event.log_time);
  if (payload_of<Cells>(event) == nullptr || event.log_times_of_cells.empty()) return {};
  return static_cast<double>(event.log_times_of_cells.front());
}

using TimeOf = std::optional<double> (*)(const RunEvent& event);

/// Never fall, and not all the same.
bool timestamps_grow(const Run& run) {
  std::optional<double> first;
  std::optional<double> last;
  for (const RunEvent& event : run.events) {
    const auto time = timestamp_of(event);
    if (!time) continue;
    if (last && *time < *last) return false;
    if (!first) first = time;
    last = time;
  }
  return first && *last > *first;
}

}  // namespace

Track track_of(const Run& run) {
  const bool by_timestamp = timestamps_grow(run);
  const TimeOf time_of = by_timestamp ? timestamp_of : log_time_of;
  TrackBuilder builder;
  std::optional<double> first;
  double now = 0;
  for (const RunEvent& event : run.events) {
    if (const auto time = time_of(event)) {
      if (!first) first = time;
      now = std::max(now, *time - *first);
    }
    if (const auto* const info = payload_of<Cells>(event)) builder.cells(now, *info);
    if (const auto* const info = payload_of<VoiceCalls>(event)) builder.calls(now, *info);
  }
  return builder.finish(by_timestamp ? "timestamps" : "log time");
}

Track track_of(const scenario& played) {
  TrackBuilder builder;
  for (const auto& step : played.steps()) {
    builder.reach(step.at());
    if (step.has_cells()) builder.cells(step.at(), step.cells());
    if (step.has_voice_calls()) builder.calls(step.at(), step.voice_calls());
  }
  if (played.has_repeat_after()) builder.reach(played.repeat_after());
  return builder.finish("scenario time");
}

}  // namespace kelvane_hub
