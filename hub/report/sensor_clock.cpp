#include "hub/report/sensor_clock.h"

#include <algorithm>
#include <map>
#include <utility>

#include "hub/messages/cell_change.h"
#include "hub/report/run_notes.h"
#include "mox_wwan_test.pb.h"

namespace kelvane_hub {
namespace {

using Cells = mox_wwan_event_serving_neighboring_cell_info;

/// In nanoseconds.
std::uint64_t newest_timestamp(const Cells& info) {
  std::uint64_t newest = 0;
  for (const auto& cell : info.cells()) newest = std::max<std::uint64_t>(newest, cell.timestamp());
  return newest;
}

/// Joins the clocks through the new timestamps alone: a modem may keep one for long.
void join(Stretch& stretch) {
  std::vector<Reading*> fresh;
  std::vector<ClockReading> clocks;
  for (Reading& reading : stretch) {
    if (!reading.is_new) continue;
    fresh.push_back(&reading);
    clocks.push_back(reading.clocks);
  }
  auto reading = fresh.begin();
  for (const auto& [count, join] : join_pieces(clocks)) {
    for (std::size_t i = 0; i < count; ++i) (*reading++)->join = join;
  }
}

/// Whether a change at the timestamp of `reading` came out with it, as far as the log's clock tells.
bool came_out_with(const Reading& reading, const ClockReading& change) {
  // Only at the sensor's own speed do log times tell of seconds.
  if (!reading.join || reading.join->is_fitted) return true;
  const double passed = change.log_time - reading.clocks.log_time;
  if (reading.is_late()) return passed >= 0 && passed <= 1;
  return reading.join->is_prompt(change) && change.log_time + 1 - change.timestamp >= reading.join->least_offset;
}

/// Leaves out changes that happened later than their timestamp; the others have the join of the reading before.
void date_changes(Stretch& stretch) {
  Stretch dated;
  Reading last = stretch.front();
  for (Reading& reading : stretch) {
    if (reading.is_new) last = reading;
    reading.join = last.join;
    if (reading.is_new || came_out_with(last, reading.clocks)) dated.push_back(reading);
  }
  stretch = std::move(dated);
}

/// Tells reports whose timestamp is new from those of the same cells once more.
class Timestamps {
 public:
  enum class Verdict : std::uint8_t { grown, kept, stale, fallen };

  /// Kept: it is that of the report before of its subscription, and no other has a newer one.
  Verdict judge(std::uint32_t sub, std::uint64_t timestamp) {
    const auto [last, is_first] = last_.try_emplace(sub, timestamp);
    const auto before = std::exchange(last->second, timestamp);
    const bool has_fallen = newest_ && timestamp < before;
    if (!has_fallen && timestamp < newest_.value_or(0)) return Verdict::stale;
    if (!has_fallen && !is_first && timestamp == before) return Verdict::kept;
    const bool is_anew = has_fallen || !newest_;
    newest_ = timestamp;
    return is_anew ? Verdict::fallen : Verdict::grown;
  }

 private:
  std::map<std::uint32_t, std::uint64_t> last_;  // of each subscription: a streaming sensor tells of them in turn
  std::optional<std::uint64_t> newest_;
};

}  // namespace

std::optional<std::int64_t> log_time_of(const RunEvent& event) {
  if (event.log_time) return event.log_time;
  if (event.log_times_of_cells.empty()) return {};
  return event.log_times_of_cells.front();
}

double seconds_between(std::int64_t from, std::int64_t to) {
  return static_cast<double>(static_cast<long double>(to) - static_cast<long double>(from));
}

std::vector<Stretch> stretches_of(const Run& run, std::int64_t epoch) {
  using Verdict = Timestamps::Verdict;
  std::vector<Stretch> stretches;
  Timestamps timestamps;
  std::map<std::uint32_t, const Cells*> last;  // of each subscription
  const bool streams = conduct_of(run).streams;
  std::optional<std::uint64_t> first;
  for (std::size_t i = 0; i < run.events.size(); ++i) {
    const auto* const info = payload_of<Cells>(run.events[i]);
    if (info == nullptr || info->cells().empty()) continue;
    const auto timestamp = newest_timestamp(*info);
    const auto verdict = timestamps.judge(info->sub(), timestamp);
    const Cells* const before = std::exchange(last[info->sub()], info);
    if (verdict == Verdict::stale) continue;
    // A streaming sensor does not say when cells have changed.
    if (verdict == Verdict::kept && (streams || !cells_differ(*before, *info))) continue;
    if (verdict == Verdict::fallen) stretches.emplace_back();
    if (!first) first = timestamp;
    constexpr long double nanoseconds = 1e9L;
    const auto since = (static_cast<long double>(timestamp) - static_cast<long double>(*first)) / nanoseconds;
    const double logged = seconds_between(epoch, *log_time_of(run.events[i]));
    stretches.back().push_back({i, {static_cast<double>(since), logged}, verdict != Verdict::kept, {}});
  }
  for (Stretch& stretch : stretches) join(stretch), date_changes(stretch);
  return stretches;
}

std::vector<const Reading*> readings_of(const std::vector<Stretch>& stretches, std::size_t event_count) {
  std::vector<const Reading*> readings(event_count);
  for (const Stretch& stretch : stretches) {
    for (const Reading& reading : stretch) readings[reading.event] = &reading;
  }
  return readings;
}

}  // namespace kelvane_hub
