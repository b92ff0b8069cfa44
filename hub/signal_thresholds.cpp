#include "hub/signal_thresholds.h"

#include <google/protobuf/unknown_field_set.h>
#include <google/protobuf/util/message_differencer.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <optional>
#include <sstream>

namespace kelvane_hub {
namespace {

using google::protobuf::Message;
using google::protobuf::util::MessageDifferencer;

using Cell = mox_wwan_cell_info;
using Config = mox_wwan_signal_strength_config;
using Entry = mox_wwan_signal_threshold_info;
using Gsm = mox_wwan_signal_strength_gsm;
using Cdma = mox_wwan_signal_strength_cdma;
using Lte = mox_wwan_signal_strength_lte;
using Wcdma = mox_wwan_signal_strength_wcdma;
using Tdscdma = mox_wwan_signal_strength_tdscdma;
using Nr = mox_wwan_signal_strength_nr;

using Value = std::optional<std::int32_t>;

// ---- what is measured where ----

using ReadValue = Value(const Cell&);

/// A signal value of one technology. A cell of another technology has none.
template <auto Part, auto Has, auto Get>
Value read(const Cell& cell) {
  const auto& signal = (cell.*Part)().signal_strength();
  return (signal.*Has)() ? Value((signal.*Get)()) : std::nullopt;
}

/// UTRAN is two technologies; a cell is of one of them.
template <ReadValue* First, ReadValue* Second>
Value read_either(const Cell& cell) {
  const Value first = First(cell);
  return first ? first : Second(cell);
}

struct Range {
  std::int32_t lowest;
  std::int32_t highest;
};

struct Measurement {
  RadioAccessNetwork ran;
  SignalMeasurementType type;
  Range thresholds;  // dBm, or dB for the ratios: RSRQ, RSSNR, SSRSRQ, SSSINR
  ReadValue* read;
};

// One range for every technology's RSSI: clients set the same thresholds for GERAN and CDMA2000.
constexpr Range rssi_range{-120, -20};
constexpr Range rscp_range{-120, -24};

// Technologies together, in the order in which explanations list them.
constexpr Measurement measurements[] = {
    {GERAN, RSSI, rssi_range, read<&Cell::gsm, &Gsm::has_signal_strength, &Gsm::signal_strength>},
    {UTRAN, RSSI, rssi_range,
     read_either<read<&Cell::wcdma, &Wcdma::has_signal_strength, &Wcdma::signal_strength>,
                 read<&Cell::tdscdma, &Tdscdma::has_signal_strength, &Tdscdma::signal_strength>>},
    {UTRAN, RSCP, rscp_range,
     read_either<read<&Cell::wcdma, &Wcdma::has_rscp, &Wcdma::rscp>,
                 read<&Cell::tdscdma, &Tdscdma::has_rscp, &Tdscdma::rscp>>},
    {EUTRAN, RSSI, rssi_range, read<&Cell::lte, &Lte::has_signal_strength, &Lte::signal_strength>},
    {EUTRAN, RSRP, {-140, -44}, read<&Cell::lte, &Lte::has_rsrp, &Lte::rsrp>},
    {EUTRAN, RSRQ, {-34, 3}, read<&Cell::lte, &Lte::has_rsrq, &Lte::rsrq>},
    {EUTRAN, RSSNR, {-20, 40}, read<&Cell::lte, &Lte::has_rssnr, &Lte::rssnr>},
    {CDMA2000, RSSI, rssi_range, read<&Cell::cdma, &Cdma::has_dbm, &Cdma::dbm>},
    {NGRAN, SSRSRP, {-156, -31}, read<&Cell::nr, &Nr::has_rsrp, &Nr::rsrp>},
    {NGRAN, SSRSRQ, {-43, 20}, read<&Cell::nr, &Nr::has_rsrq, &Nr::rsrq>},
    {NGRAN, SSSINR, {-23, 40}, read<&Cell::nr, &Nr::has_rssnr, &Nr::rssnr>},
};

template <auto Part>
const Message* identity(const Cell& cell) {
  const auto& part = (cell.*Part)();
  return part.has_cell_identity() ? &part.cell_identity() : nullptr;
}

struct Technology {
  Cell::CellInfoCase part;
  RadioAccessNetwork ran;
  const char* name;
  const Message* (*identity)(const Cell& cell);  // null: absent
};

constexpr Technology technologies[] = {
    {Cell::kGsm, GERAN, "GSM", identity<&Cell::gsm>},
    {Cell::kCdma, CDMA2000, "CDMA", identity<&Cell::cdma>},
    {Cell::kLte, EUTRAN, "LTE", identity<&Cell::lte>},
    {Cell::kWcdma, UTRAN, "WCDMA", identity<&Cell::wcdma>},
    {Cell::kTdscdma, UTRAN, "TDSCDMA", identity<&Cell::tdscdma>},
    {Cell::kNr, NGRAN, "NR", identity<&Cell::nr>},
};

/// Null if the cell has no part of a technology known here. What cell_type says is passed through, not relied on.
const Technology* technology_of(const Cell& cell) {
  const auto* const found = std::ranges::find(technologies, cell.cell_info_case(), &Technology::part);
  return found == std::end(technologies) ? nullptr : found;
}

// ---- texts ----

template <class... Parts>
std::string text(const Parts&... parts) {
  std::ostringstream out;
  (out << ... << parts);
  return out.str();
}

/// "1 2 3"
template <class Items>
std::string listed(const Items& items) {
  std::string list;
  for (const auto& item : items) list += text(list.empty() ? "" : " ", item);
  return list;
}

/// "1, 2 or 3"
template <class Items>
std::string alternatives(const Items& items) {
  std::string list;
  std::size_t left = items.size();
  for (const auto& item : items) {
    --left;
    list += text(list.empty() ? "" : left == 0 ? " or " : ", ", item);
  }
  return list;
}

std::string shown(const Value& value) { return value ? std::to_string(*value) : "absent"; }

// ---- checking a configuration ----

struct Flaw {
  ThresholdVerdict verdict;
  std::string explanation;
};
using CheckResult = std::optional<Flaw>;  // empty: accepted

CheckResult check_sub(const Config& config, const std::set<std::uint32_t>& subs) {
  const Value sub = config.has_sub_id() ? Value(config.sub_id()) : std::nullopt;
  if (sub && *sub >= 0 && subs.contains(static_cast<std::uint32_t>(*sub))) return {};
  const std::string expected = subs.empty() ? "the scenario has no subscription" : "expected " + alternatives(subs);
  return Flaw{ThresholdVerdict::unknown_sub, text("sub_id is ", shown(sub), ", ", expected)};
}

/// An enumerator that is not ours is kept among the unknown fields; the explanation shows it from there.
Value unknown_enumerator(const Entry& entry, int field_number) {
  const auto& fields = entry.unknown_fields();
  for (int i = 0; i < fields.field_count(); ++i) {
    const auto& field = fields.field(i);
    if (field.number() != field_number || field.type() != google::protobuf::UnknownField::TYPE_VARINT) continue;
    return static_cast<std::int32_t>(field.varint());
  }
  return {};
}

std::vector<std::string> rans() {
  std::vector<std::string> names;
  for (const Measurement& measurement : measurements) {
    const std::string& name = RadioAccessNetwork_Name(measurement.ran);
    if (names.empty() || names.back() != name) names.push_back(name);
  }
  return names;
}

std::vector<std::string> measurement_types(RadioAccessNetwork ran) {
  std::vector<std::string> names;
  for (const Measurement& measurement : measurements) {
    if (measurement.ran == ran) names.push_back(SignalMeasurementType_Name(measurement.type));
  }
  return names;
}

/// Null if the entry names nothing that is measured.
const Measurement* measurement_of(const Entry& entry) {
  if (!entry.has_ran() || !entry.has_measurement_type()) return nullptr;
  const auto* const found = std::ranges::find_if(measurements, [&entry](const Measurement& measurement) {
    return measurement.ran == entry.ran() && measurement.type == entry.measurement_type();
  });
  return found == std::end(measurements) ? nullptr : found;
}

CheckResult check_measurement(const Config& config, int index) {
  const Entry& entry = config.threshold_infos(index);
  if (measurement_of(entry) != nullptr) return {};
  if (!entry.has_ran()) {
    const std::string found = shown(unknown_enumerator(entry, Entry::kRanFieldNumber));
    return Flaw{ThresholdVerdict::unknown_measurement, text("ran is ", found, ", expected ", alternatives(rans()))};
  }
  const std::string found = entry.has_measurement_type()
                                ? SignalMeasurementType_Name(entry.measurement_type())
                                : shown(unknown_enumerator(entry, Entry::kMeasurementTypeFieldNumber));
  return Flaw{ThresholdVerdict::unknown_measurement,
              text("measurement_type is ", found, ", expected ", alternatives(measurement_types(entry.ran())), " for ",
                   RadioAccessNetwork_Name(entry.ran()))};
}

CheckResult check_uniqueness(const Config& config, int index) {
  const Measurement* const measurement = measurement_of(config.threshold_infos(index));
  for (int earlier = 0; earlier < index; ++earlier) {
    if (measurement_of(config.threshold_infos(earlier)) != measurement) continue;
    return Flaw{
        ThresholdVerdict::duplicate_entry,
        text("entry ", earlier + 1, " is for the same, expected one entry for each technology and measurement")};
  }
  return {};
}

CheckResult check_hysteresis(const Config& config, int index) {
  const Entry& entry = config.threshold_infos(index);
  const auto check = [](const char* name, std::int32_t value) -> CheckResult {
    if (value >= 0) return {};
    return Flaw{ThresholdVerdict::negative_hysteresis, text(name, " is ", value, ", expected 0 or more")};
  };
  const CheckResult time = check("hysteresis_ms", entry.hysteresis_ms());
  return time ? time : check("hysteresis_db", entry.hysteresis_db());
}

CheckResult check_range(const Config& config, int index) {
  const Entry& entry = config.threshold_infos(index);
  const auto [lowest, highest] = measurement_of(entry)->thresholds;
  for (const std::int32_t threshold : entry.thresholds()) {
    if (threshold >= lowest && threshold <= highest) continue;
    return Flaw{ThresholdVerdict::threshold_out_of_range,
                text("threshold ", threshold, " is out of range ", lowest, " to ", highest)};
  }
  return {};
}

CheckResult check_order(const Config& config, int index) {
  const auto& thresholds = config.threshold_infos(index).thresholds();
  const auto found = std::ranges::adjacent_find(thresholds, std::ranges::greater_equal{});
  if (found == thresholds.end()) return {};
  return Flaw{ThresholdVerdict::thresholds_not_ascending,
              text("threshold ", found[1], " follows ", found[0], ", expected ascending thresholds")};
}

using EntryCheck = CheckResult(const Config& config, int index);

// The first makes sure that measurement_of() finds something for the others.
constexpr EntryCheck* entry_checks[] = {check_measurement, check_uniqueness, check_hysteresis, check_range,
                                        check_order};

/// "entry 2 (EUTRAN RSRP): ", as far as the entry says so.
std::string place(const Config& config, int index) {
  const Entry& entry = config.threshold_infos(index);
  if (!entry.has_ran() || !entry.has_measurement_type()) return text("entry ", index + 1, ": ");
  return text("entry ", index + 1, " (", RadioAccessNetwork_Name(entry.ran()), " ",
              SignalMeasurementType_Name(entry.measurement_type()), "): ");
}

CheckResult check_entry(const Config& config, int index) {
  for (EntryCheck* const check : entry_checks) {
    const CheckResult flaw = check(config, index);
    if (flaw) return Flaw{flaw->verdict, place(config, index) + flaw->explanation};
  }
  return {};
}

CheckResult check(const Config& config, const std::set<std::uint32_t>& subs) {
  CheckResult flaw = check_sub(config, subs);
  for (int index = 0; !flaw && index < config.threshold_infos_size(); ++index) flaw = check_entry(config, index);
  return flaw;
}

// ---- deciding on a change ----

/// `why` is the line but for what every line of that cell begins and ends with.
struct Reason {
  bool report;
  std::string why;
};

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

/// `cause` would be reported if enough time has passed.
Reason judge_time(const Entry& entry, std::chrono::milliseconds since_report, const std::string& cause) {
  const std::chrono::milliseconds hysteresis(entry.hysteresis_ms());
  if (since_report >= hysteresis) {
    return {true, text(cause, ", ", since_report.count(), " ms since the last report (hysteresis ", hysteresis.count(),
                       " ms)")};
  }
  return {false, text(cause, ", hysteresis ", hysteresis.count(), " ms, only ", since_report.count(),
                      " ms since the last report")};
}

Reason judge_crossing(const Entry& entry, std::int32_t was, std::int32_t is, std::chrono::milliseconds since_report) {
  const std::string hysteresis = text("hysteresis ", entry.hysteresis_db(), " dB");
  const std::optional<Crossing> crossing = widest_crossing(entry, was, is);
  if (!crossing) return {false, text("crosses no threshold (", listed(entry.thresholds()), "), ", hysteresis)};
  const std::string cause = text("crosses ", crossing->threshold, " by ", crossing->margin_db, " dB, ", hysteresis);
  if (crossing->margin_db < entry.hysteresis_db()) return {false, cause};
  return judge_time(entry, since_report, cause);
}

/// `entry` is null if none is enabled for what changed.
Reason judge_values(const Entry* entry, Value was, Value is, std::chrono::milliseconds since_report) {
  if (entry == nullptr) return {false, "no enabled entry"};
  if (entry->thresholds().empty()) return {false, "the entry has no thresholds"};
  if (!is) return {false, "nothing to compare"};
  if (!was) return judge_time(*entry, since_report, "first value");
  return judge_crossing(*entry, *was, *is, since_report);
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
                                 std::chrono::milliseconds since_report) {
  std::vector<Reason> reasons;
  for (const Measurement& measurement : measurements) {
    const Value value_was = measurement.read(was);
    const Value value_is = measurement.read(is);
    if (value_was == value_is) continue;
    const Reason reason = judge_values(enabled_entry(config, measurement), value_was, value_is, since_report);
    reasons.push_back({reason.report, text(" ", technology.name, " ", SignalMeasurementType_Name(measurement.type), " ",
                                           shown(value_was), " -> ", shown(value_is), ": ", reason.why)});
  }
  if (reasons.empty()) reasons.push_back({false, text(" ", technology.name, " has no enabled entry for what changed")});
  return reasons;
}

/// What tells a cell from another, besides its identity.
struct Trait {
  const char* name;
  std::string (*show)(const Cell& cell);
};

std::string show_technology(const Cell& cell) {
  const Technology* const technology = technology_of(cell);
  return technology != nullptr ? technology->name : "none";
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
  const Message* const identity_was = technology->identity(was);
  const Message* const identity_is = technology->identity(is);
  if (identity_was == nullptr || identity_is == nullptr) return identity_was == identity_is;
  return MessageDifferencer::Equals(*identity_was, *identity_is);
}

/// The changes of the cell itself.
std::vector<Reason> judge_traits(const Cell& was, const Cell& is) {
  std::vector<Reason> reasons;
  for (const Trait& trait : traits) {
    const std::string trait_was = trait.show(was);
    const std::string trait_is = trait.show(is);
    if (trait_was != trait_is) reasons.push_back({true, text(": ", trait.name, " ", trait_was, " -> ", trait_is)});
  }
  if (!same_identity(was, is)) reasons.push_back({true, ": identity changed"});
  return reasons;
}

Cell without_timestamp(Cell cell) {
  cell.clear_timestamp();
  return cell;
}

std::vector<Reason> judge_cell(const Config& config, const Cell& was, const Cell& is,
                               std::chrono::milliseconds since_report) {
  if (MessageDifferencer::Equals(without_timestamp(was), without_timestamp(is))) return {};
  std::vector<Reason> reasons = judge_traits(was, is);
  if (!reasons.empty()) return reasons;
  const Technology* const technology = technology_of(is);
  if (technology == nullptr) return {{true, " of no known technology changed"}};
  if (!has_entry(config, technology->ran)) return {{true, text(" ", technology->name, " without an entry changed")}};
  return judge_signal(config, *technology, was, is, since_report);
}

void add(ReportDecision& decision, const std::string& subject, const Reason& reason) {
  decision.report = decision.report || reason.report;
  decision.reasons.push_back(text(subject, reason.why, reason.report ? ": reported" : ": not reported"));
}

}  // namespace

ThresholdVerdict check_thresholds(const mox_wwan_signal_strength_config& config, const std::set<std::uint32_t>& subs,
                                  std::string& explanation) {
  const CheckResult flaw = check(config, subs);
  explanation = flaw ? flaw->explanation : "";
  return flaw ? flaw->verdict : ThresholdVerdict::accepted;
}

ReportDecision decide_report(const mox_wwan_signal_strength_config& config,
                             const mox_wwan_event_serving_neighboring_cell_info& reported,
                             const mox_wwan_event_serving_neighboring_cell_info& current,
                             std::chrono::milliseconds since_report) {
  ReportDecision decision;
  if (reported.cells_size() != current.cells_size()) {
    add(decision, "cells ", {true, text(reported.cells_size(), " -> ", current.cells_size())});
    return decision;
  }
  for (int i = 0; i < current.cells_size(); ++i) {
    const std::string subject = text("cell ", i + 1);
    for (const Reason& reason : judge_cell(config, reported.cells(i), current.cells(i), since_report)) {
      add(decision, subject, reason);
    }
  }
  return decision;
}

}  // namespace kelvane_hub
