#include "hub/thresholds/change_decision.h"

#include <google/protobuf/util/message_differencer.h>

#include <algorithm>
#include <optional>

#include "hub/base/concat.h"
#include "hub/messages/measurements.h"
#include "hub/messages/technologies.h"

namespace kelvane_hub {
namespace {

using google::protobuf::Message;
using google::protobuf::util::MessageDifferencer;

using Cell = mox_wwan_cell_info;
using Config = mox_wwan_signal_strength_config;
using Entry = mox_wwan_signal_threshold_info;

/// "1 2 3"
template <class Items>
std::string listed(const Items& items) {
  std::string list;
  for (const auto& item : items) list += concat(list.empty() ? "" : " ", item);
  return list;
}

struct Crossing {
  std::int32_t threshold;
  std::int64_t margin_db;  // how far beyond the threshold
};

/// Of all crossed thresholds the one that is farthest behind: if that is not enough, none is.
std::optional<Crossing> widest_crossing(const Entry& entry, std::int32_t was, std::int32_t is) {
  std::optional<Crossing> widest;
  for (const std::int32_t threshold : entry.thresholds()) {
    if ((was >= threshold) == (is >= threshold)) continue;
    const std::int64_t beyond = std::int64_t{is} - threshold;
    const std::int64_t margin = beyond < 0 ? -beyond : beyond;
    if (!widest || margin > widest->margin_db) widest = Crossing{threshold, margin};
  }
  return widest;
}

/// `cause` passes if enough time has gone by.
Reason judge_time(const Entry& entry, std::chrono::milliseconds since_told, const std::string& cause) {
  const std::chrono::milliseconds hysteresis(entry.hysteresis_ms());
  if (since_told >= hysteresis) {
    return {true, concat(cause, ", ", since_told.count(), " ms since the last report (hysteresis ", hysteresis.count(),
                         " ms)")};
  }
  return {false, concat(cause, ", hysteresis ", hysteresis.count(), " ms, only ", since_told.count(),
                        " ms since the last report")};
}

Reason judge_crossing(const Entry& entry, std::int32_t was, std::int32_t is, std::chrono::milliseconds since_told) {
  const std::string hysteresis = concat("hysteresis ", entry.hysteresis_db(), " dB");
  const std::optional<Crossing> crossing = widest_crossing(entry, was, is);
  if (!crossing) return {false, concat("crosses no threshold (", listed(entry.thresholds()), "), ", hysteresis)};
  const std::string cause = concat("crosses ", crossing->threshold, " by ", crossing->margin_db, " dB, ", hysteresis);
  if (crossing->margin_db < entry.hysteresis_db()) return {false, cause};
  return judge_time(entry, since_told, cause);
}

/// `entry` is null if none is enabled for what changed.
Reason judge_values(const Entry* entry, Value was, Value is, std::chrono::milliseconds since_told) {
  if (entry == nullptr) return {false, "no enabled entry"};
  if (entry->thresholds().empty()) return {false, "the entry has no thresholds"};
  if (!is) return {false, "nothing to compare"};
  if (!was) return judge_time(*entry, since_told, "first value");
  return judge_crossing(*entry, *was, *is, since_told);
}

bool has_entry(const Config& config, RadioAccessNetwork ran) {
  return std::ranges::any_of(config.threshold_infos(), [ran](const Entry& entry) { return entry.ran() == ran; });
}

const Entry* enabled_entry(const Config& config, const Measurement& measurement) {
  for (const Entry& entry : config.threshold_infos()) {
    if (entry.enabled() && measurement_of(entry) == &measurement) return &entry;
  }
  return nullptr;
}

std::vector<Reason> judge_signal(const Config& config, const Technology& technology, const Cell& was, const Cell& is,
                                 std::chrono::milliseconds since_told) {
  std::vector<Reason> reasons;
  for (const Measurement& measurement : measurements()) {
    const Value value_was = measurement.read(was);
    const Value value_is = measurement.read(is);
    if (value_was == value_is) continue;
    const Reason reason = judge_values(enabled_entry(config, measurement), value_was, value_is, since_told);
    reasons.push_back({reason.passes, concat(" ", technology.name, " ", SignalMeasurementType_Name(measurement.type),
                                             " ", shown(value_was), " -> ", shown(value_is), ": ", reason.why)});
  }
  if (reasons.empty())
    reasons.push_back({false, concat(" ", technology.name, " has no enabled entry for what changed")});
  return reasons;
}

/// What tells a cell from another, besides its identity.
struct Trait {
  const char* name;
  std::string (*show)(const Cell& cell);
};

std::string show_technology(const Cell& cell) {
  const Technology* const technology = technology_of(cell);
  return technology != nullptr ? std::string(technology->name) : "none";
}

std::string show_registered(const Cell& cell) {
  if (!cell.has_registered()) return shown({});
  return cell.registered() ? "true" : "false";
}

template <auto Has, auto Get>
std::string show_number(const Cell& cell) {
  return shown((cell.*Has)() ? Value((cell.*Get)()) : std::nullopt);
}

constexpr Trait traits[] = {
    {"technology", show_technology},
    {"cell_type", show_number<&Cell::has_cell_type, &Cell::cell_type>},
    {"registered", show_registered},
    {"timestamp_type", show_number<&Cell::has_timestamp_type, &Cell::timestamp_type>},
};

bool same_identity(const Cell& was, const Cell& is) {
  const Technology* const technology = technology_of(is);
  // Identities of two technologies cannot be compared; that change is the technology's.
  if (technology == nullptr || technology != technology_of(was)) return true;
  const Message* const identity_was = find_part(was, *technology, identity_part);
  const Message* const identity_is = find_part(is, *technology, identity_part);
  if (identity_was == nullptr || identity_is == nullptr) return identity_was == identity_is;
  return MessageDifferencer::Equals(*identity_was, *identity_is);
}

/// The changes of the cell itself.
std::vector<Reason> judge_traits(const Cell& was, const Cell& is) {
  std::vector<Reason> reasons;
  for (const Trait& trait : traits) {
    const std::string trait_was = trait.show(was);
    const std::string trait_is = trait.show(is);
    if (trait_was != trait_is) reasons.push_back({true, concat(": ", trait.name, " ", trait_was, " -> ", trait_is)});
  }
  if (!same_identity(was, is)) reasons.push_back({true, ": identity changed"});
  return reasons;
}

Cell without_timestamp(Cell cell) {
  cell.clear_timestamp();
  return cell;
}

std::vector<Reason> judge_cell(const Config& config, const Cell& was, const Cell& is,
                               std::chrono::milliseconds since_told) {
  if (MessageDifferencer::Equals(without_timestamp(was), without_timestamp(is))) return {};
  std::vector<Reason> reasons = judge_traits(was, is);
  if (!reasons.empty()) return reasons;
  const Technology* const technology = technology_of(is);
  if (technology == nullptr) return {{true, " of no known technology changed"}};
  if (!has_entry(config, technology->ran)) return {{true, concat(" ", technology->name, " without an entry changed")}};
  return judge_signal(config, *technology, was, is, since_told);
}

void add(ChangeDecision& decision, const std::string& subject, const Reason& reason) {
  decision.passes = decision.passes || reason.passes;
  decision.reasons.push_back({reason.passes, concat(subject, reason.why)});
}

}  // namespace

ChangeDecision decide_change(const mox_wwan_signal_strength_config& config,
                             const mox_wwan_event_serving_neighboring_cell_info& told,
                             const mox_wwan_event_serving_neighboring_cell_info& current,
                             std::chrono::milliseconds since_told) {
  ChangeDecision decision;
  if (told.cells_size() != current.cells_size()) {
    add(decision, "cells ", {true, concat(told.cells_size(), " -> ", current.cells_size())});
    return decision;
  }
  for (int i = 0; i < current.cells_size(); ++i) {
    const std::string subject = concat("cell ", i + 1);
    for (const Reason& reason : judge_cell(config, told.cells(i), current.cells(i), since_told)) {
      add(decision, subject, reason);
    }
  }
  return decision;
}

}  // namespace kelvane_hub
