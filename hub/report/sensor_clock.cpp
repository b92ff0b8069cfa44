#include "hub/report/sensor_clock.h"

#include <algorithm>
#include <map>
#include <utility>

#include "mox_wwan_test.pb.h"

namespace kelvane_hub {
namespace {

/// In nanoseconds.
std::uint64_t newest_timestamp(const mox_wwan_event_serving_neighboring_cell_info& info) {
  std::uint64_t newest = 0;
  for (const auto& cell : info.cells()) newest = std::max<std::uint64_t>(newest, cell.timestamp());
  return newest;
}

void join(Stretch& stretch) {
  std::vector<ClockReading> clocks;
  std::ranges::transform(stretch, std::back_inserter(clocks), &Reading::clocks);
  auto reading = stretch.begin();
  for (const auto& [count, join] : join_pieces(clocks)) {
    for (std::size_t i = 0; i < count; ++i) (reading++)->join = join;
  }
}

/// Tells reports whose timestamp is new from those of the same cells once more.
class Timestamps {
 public:
  enum class Verdict : std::uint8_t { grown, stale, fallen };

  Verdict judge(std::uint32_t sub, std::uint64_t timestamp) {
    const auto [last, is_first] = last_.try_emplace(sub, timestamp);
    const auto before = std::exchange(last->second, timestamp);
    const bool has_fallen = newest_ && timestamp < before;
    if (!has_fallen && ((!is_first && timestamp == before) || timestamp < newest_.value_or(0))) return Verdict::stale;
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
  std::vector<Stretch> stretches;
  Timestamps timestamps;
  std::optional<std::uint64_t> first;
  for (std::size_t i = 0; i < run.events.size(); ++i) {
    const auto* const info = payload_of<mox_wwan_event_serving_neighboring_cell_info>(run.events[i]);
    if (info == nullptr || info->cells().empty()) continue;
    const auto timestamp = newest_timestamp(*info);
    const auto verdict = timestamps.judge(info->sub(), timestamp);
    if (verdict == Timestamps::Verdict::stale) continue;
    if (verdict == Timestamps::Verdict::fallen) stretches.emplace_back();
    if (!first) first = timestamp;
    constexpr long double nanoseconds = 1e9L;
    const auto since = (static_cast<long double>(timestamp) - static_cast<long double>(*first)) / nanoseconds;
    const double logged = seconds_between(epoch, *log_time_of(run.events[i]));
    stretches.back().push_back({i, {static_cast<double>(since), logged}, {}});
  }
  for (Stretch& stretch : stretches) join(stretch);
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
