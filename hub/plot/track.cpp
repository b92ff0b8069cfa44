#include "hub/plot/track.h"

#include <google/protobuf/message.h>

#include <algorithm>
#include <map>
#include <optional>
#include <utility>

#include "hub/report/cell_form.h"

namespace kelvane_hub {
namespace {

constexpr double nanoseconds = 1e9;

/// The cell that a subscription is served by.
struct Serving {
  std::int64_t cell_type;
  std::string identity;  // whatever tells it from others
  double dbm;
};

/// No receiver hears below -156 dBm: -200, 0 and the like stand for what is not known.
bool is_measured(const std::optional<Serving>& serving) { return serving && serving->dbm < 0 && serving->dbm >= -156; }

/// Builds a track from what happens, in order of time.
class TrackBuilder {
 public:
  void cells(double time, std::uint32_t sub, const std::optional<Serving>& serving) {
    reach(time);
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

  void calls(double time, std::uint32_t sub, bool any) {
    reach(time);
    const auto begun = calls_.find(sub);
    if (any) {
      calls_.try_emplace(sub, time);
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
  std::vector<Stretch>& curve(std::int64_t cell_type, std::uint32_t sub) { return curves_[{sub, cell_type}]; }

  /// The last value holds until now.
  void end_stretch(const std::optional<Serving>& last, std::uint32_t sub) {
    if (is_measured(last)) curve(last->cell_type, sub).back().push_back({track_.end, last->dbm});
  }

  Track track_;
  std::map<std::pair<std::uint32_t, std::int64_t>, std::vector<Stretch>> curves_;
  std::map<std::uint32_t, std::optional<Serving>> serving_;
  std::map<std::uint32_t, double> calls_;  // when they began
};

// ---- a run ----

std::optional<Serving> serving_of(const Json& cells) {
  const auto found = std::ranges::find_if(cells, [](const Json& cell) { return cell["registered"].get<bool>(); });
  if (found == cells.end()) return {};
  const auto cell_type = found->at("cell_type").get<std::int64_t>();
  const Technology* const technology = find_technology(cell_type);
  if (technology == nullptr) return {};
  const auto dbm = found->at("signal_strength").at(std::string(technology->strength)).get<double>();
  return Serving{cell_type, found->at("technology").dump() + found->at("cell_identity").dump(), dbm};
}

/// The timestamp of the first cell of an event of cells, in seconds.
std::optional<double> timestamp_of(const Json& event) {
  if (!event.contains("cells") || event["cells"].empty()) return {};
  return event["cells"][0]["timestamp"].get<double>() / nanoseconds;
}

std::optional<double> log_time_of(const Json& event) {
  if (event.contains("log_time")) return event["log_time"].get<double>();
  if (!event.contains("cells") || event["cells"].empty()) return {};
  return event["cells"][0]["log_time"].get<double>();
}

using TimeOf = std::optional<double> (*)(const Json& event);

/// Never fall, and not all the same.
bool timestamps_grow(const Run& run) {
  std::optional<double> first;
  std::optional<double> last;
  for (const Json& event : run.events) {
    const auto time = timestamp_of(event);
    if (!time) continue;
    if (last && *time < *last) return false;
    if (!first) first = time;
    last = time;
  }
  return first && *last > *first;
}

// ---- a scenario ----

/// The one field of `message` that is set, of those that are messages; or null.
const google::protobuf::Message* member(const google::protobuf::Message& message, const std::string& name) {
  const auto* const field = message.GetDescriptor()->FindFieldByName(name);
  if (field == nullptr || !message.GetReflection()->HasField(message, field)) return nullptr;
  return &message.GetReflection()->GetMessage(message, field);
}

std::string lower_case(std::string_view name) {
  std::string lower(name);
  for (char& character : lower) character = static_cast<char>(character - 'A' + 'a');
  return lower;
}

std::optional<Serving> serving_of(const mox_wwan_event_serving_neighboring_cell_info& info) {
  const auto cell = std::ranges::find_if(info.cells(), [](const auto& candidate) { return candidate.registered(); });
  if (cell == info.cells().end()) return {};
  const Technology* const technology = find_technology(cell->cell_type());
  if (technology == nullptr) return {};
  Serving serving{technology->cell_type, std::string(technology->name), 0};
  const auto* const cell_info = member(*cell, lower_case(technology->name));
  if (cell_info == nullptr) return serving;
  if (const auto* identity = member(*cell_info, "cell_identity")) serving.identity += identity->SerializeAsString();
  if (const auto* signal = member(*cell_info, "signal_strength")) {
    const auto* const field = signal->GetDescriptor()->FindFieldByName(std::string(technology->strength));
    serving.dbm = signal->GetReflection()->GetInt32(*signal, field);
  }
  return serving;
}

}  // namespace

Track track_of(const Run& run) {
  const bool by_timestamp = timestamps_grow(run);
  const TimeOf time_of = by_timestamp ? timestamp_of : log_time_of;
  TrackBuilder builder;
  std::optional<double> first;
  double now = 0;
  for (const Json& event : run.events) {
    if (const auto time = time_of(event)) {
      if (!first) first = time;
      now = std::max(now, *time - *first);
    }
    if (event["event"] == "serving_neighboring_cell_info") {
      builder.cells(now, event["sub"].get<std::uint32_t>(), serving_of(event["cells"]));
    } else if (event["event"] == "voice_calls") {
      builder.calls(now, event["sub"].get<std::uint32_t>(), !event["calls"].empty());
    }
  }
  return builder.finish(by_timestamp ? "timestamps" : "log time");
}

Track track_of(const scenario& played) {
  TrackBuilder builder;
  for (const auto& step : played.steps()) {
    builder.reach(step.at());
    if (step.has_cells()) builder.cells(step.at(), step.cells().sub(), serving_of(step.cells()));
    if (step.has_voice_calls()) {
      builder.calls(step.at(), step.voice_calls().sub(), step.voice_calls().calls_size() > 0);
    }
  }
  if (played.has_repeat_after()) builder.reach(played.repeat_after());
  return builder.finish("scenario time");
}

}  // namespace kelvane_hub
