#include "hub/analysis/digest.h"

#include <algorithm>
#include <cmath>
#include <functional>

#include "hub/messages/reflection.h"
#include "hub/messages/serving_cell.h"

namespace kelvane_hub {
namespace {

using Cells = mox_wwan_event_serving_neighboring_cell_info;
using VoiceCalls = mox_wwan_event_voice_calls;
using RrcStates = mox_wwan_event_rrc_states_info;

constexpr const char* rrc_fields[] = {"lte_rrc_state", "nr5g_rrc_state", "wcdma_rrc_state"};

/// A cell by its technology and identity.
using CellKey = std::pair<std::int32_t, std::string>;

/// The value that `percent` of `sorted`, which is not empty, are not above.
double percentile(const std::vector<double>& sorted, std::size_t percent) {
  const std::size_t rank = (sorted.size() * percent + 99) / 100;
  return sorted[std::max<std::size_t>(rank, 1) - 1];
}

/// Counts the changes back to the cell before.
class PingPong {
 public:
  /// Whether it is one that `to` serves from `time` on. Empty: no cell that is known.
  bool take(double time, const std::optional<CellKey>& to) {
    if (to == now_) return false;
    const bool is_back = to && now_ && to == before_ && time - since_ <= longest_ping_pong;
    before_ = std::exchange(now_, to);
    since_ = time;
    return is_back;
  }

 private:
  std::optional<CellKey> before_;
  std::optional<CellKey> now_;
  double since_ = 0;
};

/// Adds up a subscription's measures from what is seen, in order of time.
class SubscriptionCounter {
 public:
  explicit SubscriptionCounter(std::uint32_t sub) { digest_.sub = sub; }

  void take(const Observation& seen, const Cells& info) {
    pass_cells(seen.time.seconds);
    const auto serving = serving_cell_of(info);
    note_changes(seen.time.seconds, serving);
    note_outage(seen.time, is_without_service(info));
    meter_ = meter_for(info, serving);
    if (!serving) return;
    for (std::size_t i = 0; i < all_quantities().size(); ++i) {
      const Quantity& quantity = all_quantities()[i];
      if (quantity.cell_type != serving->technology->cell_type) continue;
      if (const auto value = quantity.read(*serving->cell, seen.is_as_sent)) values_[i].push_back(*value);
    }
  }

  void take(const Observation& seen, const VoiceCalls& info) {
    const double now = seen.time.seconds;
    std::map<std::uint32_t, std::size_t> open;
    for (const auto& listed : info.calls()) {
      const auto [place, is_new] = open.try_emplace(listed.call_id(), digest_.calls.size());
      if (is_new) {
        if (const auto before = open_calls_.extract(listed.call_id())) {
          place->second = before.mapped();
        } else {
          digest_.calls.push_back({listed.call_id(), now, now, true, {}});
        }
      }
      auto& states = digest_.calls[place->second].states;
      if (states.empty() || states.back() != listed.call_state()) states.push_back(listed.call_state());
    }
    for (const auto& [id, place] : open_calls_) digest_.calls[place].end = now, digest_.calls[place].goes_on = false;
    open_calls_ = std::move(open);
  }

  void take(const Observation& seen, const RrcStates& info) {
    pass_rrc(seen.time.seconds);
    for (std::size_t i = 0; i < std::size(rrc_fields); ++i) {
      const auto& field = field_of(*RrcStates::descriptor(), rrc_fields[i]);
      const auto& reflection = *RrcStates::GetReflection();
      rrc_[i] = reflection.HasField(info, &field) ? std::optional(reflection.GetInt32(info, &field)) : std::nullopt;
    }
  }

  SubscriptionDigest finish(double end) {
    pass_cells(end);
    pass_rrc(end);
    if (!digest_.outages.empty() && digest_.outages.back().goes_on) digest_.outages.back().end = end;
    for (Call& call : digest_.calls) {
      if (call.goes_on) call.end = end;
    }
    for (auto& [key, cell] : cells_) digest_.cells.push_back(std::move(cell));
    std::ranges::stable_sort(digest_.cells, std::greater<>(), &CellTime::seconds);
    for (auto& [index, values] : values_) add_statistic(all_quantities()[index], values);
    return std::move(digest_);
  }

 private:
  /// What the time counts for since the last report of cells.
  struct Meter {
    double* total;
    CellTime* cell;  // null: none
  };

  void pass_cells(double now) {
    const double passed = now - std::exchange(cells_at_, now);
    *meter_.total += passed;
    if (meter_.cell != nullptr) meter_.cell->seconds += passed;
  }

  Meter meter_for(const Cells& info, const std::optional<ServingCell>& serving) {
    const CellTime* const before = meter_.cell;
    if (!serving) return {is_without_service(info) ? &digest_.out : &digest_.unknown_technology, nullptr};
    const Technology& technology = *serving->technology;
    const auto [known, is_new] = cells_.try_emplace({technology.cell_type, serving->identity});
    CellTime& cell = known->second;
    if (is_new) {
      cell.technology = &technology;
      if (const auto* const identity = find_part(*serving->cell, technology, identity_part)) {
        make_part(cell.cell, technology, identity_part).CopyFrom(*identity);
      }
    }
    if (&cell != before) ++cell.visits;
    return {&digest_.technologies[technology.cell_type], &cell};
  }

  void note_changes(double now, const std::optional<ServingCell>& serving) {
    const CellChange change = watch_.take(serving);
    if (change == CellChange::cell) ++digest_.cell_changes;
    if (change == CellChange::technology) ++digest_.technology_changes;
    std::optional<CellKey> key;
    if (serving && !serving->identity.empty()) key = CellKey{serving->technology->cell_type, serving->identity};
    if (ping_pong_.take(now, key)) ++digest_.ping_pongs;
  }

  void note_outage(const RunTime& time, bool is_out) {
    auto& outages = digest_.outages;
    const bool was_out = !outages.empty() && outages.back().goes_on;
    if (is_out == was_out) return;
    if (is_out) {
      outages.push_back({time, time.seconds, true});
    } else {
      outages.back().end = time.seconds;
      outages.back().goes_on = false;
    }
  }

  void pass_rrc(double now) {
    const double passed = now - std::exchange(rrc_at_, now);
    for (std::size_t i = 0; i < std::size(rrc_fields); ++i) {
      if (rrc_[i]) digest_.rrc_times[rrc_fields[i]][*rrc_[i]] += passed;
    }
  }

  void add_statistic(const Quantity& quantity, std::vector<double>& values) {
    std::ranges::sort(values);
    digest_.statistics.push_back({&quantity, values.size(), values.front(), percentile(values, 5),
                                  percentile(values, 50), percentile(values, 95), values.back()});
  }

  SubscriptionDigest digest_;
  double cells_at_ = 0;
  Meter meter_{&digest_.before_cells, nullptr};
  std::map<CellKey, CellTime> cells_;
  ServingCellWatch watch_;
  PingPong ping_pong_;
  std::map<std::uint32_t, std::size_t> open_calls_;    // by id: their places in the digest's
  std::map<std::size_t, std::vector<double>> values_;  // by their place in all_quantities()
  double rrc_at_ = 0;
  std::optional<std::int32_t> rrc_[std::size(rrc_fields)];
};

class Counter {
 public:
  void take(const Observation& seen) {
    if (seen.place != 0) note_report(seen);
    if (const auto* const info = payload_of<Cells>(seen)) of(info->sub()).take(seen, *info);
    if (const auto* const info = payload_of<VoiceCalls>(seen)) of(info->sub()).take(seen, *info);
    if (const auto* const info = payload_of<RrcStates>(seen)) of(info->sub()).take(seen, *info);
  }

  Digest finish(Extent extent) {
    note_silence(extent.end);
    for (auto& [sub, counter] : counters_) digest_.subscriptions.push_back(counter.finish(extent.end));
    digest_.extent = std::move(extent);
    return std::move(digest_);
  }

 private:
  SubscriptionCounter& of(std::uint32_t sub) { return counters_.try_emplace(sub, sub).first->second; }

  void note_report(const Observation& seen) {
    ++digest_.reports;
    if (!seen.is_dated) ++digest_.undated;
    note_silence(seen.time.seconds);
  }

  void note_silence(double now) {
    const double passed = now - last_;
    if (passed > digest_.silence.seconds) digest_.silence = {last_, passed};
    last_ = now;
  }

  Digest digest_;
  double last_ = 0;
  std::map<std::uint32_t, SubscriptionCounter> counters_;
};

}  // namespace

Digest digest_of(const EvaluatedFile& file) {
  Counter counter;
  return counter.finish(observe(file, [&counter](const Observation& seen) { counter.take(seen); }));
}

}  // namespace kelvane_hub
