#include "hub/thresholds/threshold_check.h"

#include <google/protobuf/unknown_field_set.h>

#include <algorithm>
#include <cstddef>
#include <optional>

#include "hub/base/concat.h"
#include "hub/messages/measurements.h"

namespace kelvane_hub {
namespace {

using Config = mox_wwan_signal_strength_config;
using Entry = mox_wwan_signal_threshold_info;

struct Flaw {
  ThresholdVerdict verdict;
  std::string explanation;
};
using CheckResult = std::optional<Flaw>;  // empty: accepted

CheckResult check_sub(const Config& config, const std::set<std::uint32_t>& subs) {
  const Value sub = config.has_sub_id() ? Value(config.sub_id()) : std::nullopt;
  if (sub && *sub >= 0 && subs.contains(static_cast<std::uint32_t>(*sub))) return {};
  const std::string expected = subs.empty() ? "the scenario has no subscription" : "expected " + alternatives(subs);
  return Flaw{ThresholdVerdict::unknown_sub, concat("sub_id is ", shown(sub), ", ", expected)};
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
  for (const Measurement& measurement : measurements()) {
    const std::string& name = RadioAccessNetwork_Name(measurement.ran);
    if (names.empty() || names.back() != name) names.push_back(name);
  }
  return names;
}

std::vector<std::string> measurement_types(RadioAccessNetwork ran) {
  std::vector<std::string> names;
  for (const Measurement& measurement : measurements()) {
    if (measurement.ran == ran) names.push_back(SignalMeasurementType_Name(measurement.type));
  }
  return names;
}

CheckResult check_measurement(const Config& config, int index) {
  const Entry& entry = config.threshold_infos(index);
  if (measurement_of(entry) != nullptr) return {};
  if (!entry.has_ran()) {
    const std::string found = shown(unknown_enumerator(entry, Entry::kRanFieldNumber));
    return Flaw{ThresholdVerdict::unknown_measurement, concat("ran is ", found, ", expected ", alternatives(rans()))};
  }
  const std::string found = entry.has_measurement_type()
                                ? SignalMeasurementType_Name(entry.measurement_type())
                                : shown(unknown_enumerator(entry, Entry::kMeasurementTypeFieldNumber));
  return Flaw{ThresholdVerdict::unknown_measurement,
              concat("measurement_type is ", found, ", expected ", alternatives(measurement_types(entry.ran())),
                     " for ", RadioAccessNetwork_Name(entry.ran()))};
}

CheckResult check_uniqueness(const Config& config, int index) {
  const Measurement* const measurement = measurement_of(config.threshold_infos(index));
  for (int earlier = 0; earlier < index; ++earlier) {
    if (measurement_of(config.threshold_infos(earlier)) != measurement) continue;
    return Flaw{
        ThresholdVerdict::duplicate_entry,
        concat("entry ", earlier + 1, " is for the same, expected one entry for each technology and measurement")};
  }
  return {};
}

CheckResult check_hysteresis(const Config& config, int index) {
  const Entry& entry = config.threshold_infos(index);
  const auto check = [](const char* name, std::int32_t value) -> CheckResult {
    if (value >= 0) return {};
    return Flaw{ThresholdVerdict::negative_hysteresis, concat(name, " is ", value, ", expected 0 or more")};
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
                concat("threshold ", threshold, " is out of range ", lowest, " to ", highest)};
  }
  return {};
}

CheckResult check_order(const Config& config, int index) {
  const auto& thresholds = config.threshold_infos(index).thresholds();
  const auto found = std::ranges::adjacent_find(thresholds, std::ranges::greater_equal{});
  if (found == thresholds.end()) return {};
  return Flaw{ThresholdVerdict::thresholds_not_ascending,
              concat("threshold ", found[1], " follows ", found[0], ", expected ascending thresholds")};
}

using EntryCheck = CheckResult(const Config& config, int index);

// The first makes sure that measurement_of() finds something for the others.
constexpr EntryCheck* entry_checks[] = {check_measurement, check_uniqueness, check_hysteresis, check_range,
                                        check_order};

/// "entry 2 (EUTRAN RSRP): ", as far as the entry says so.
std::string place(const Config& config, int index) {
  const Entry& entry = config.threshold_infos(index);
  if (!entry.has_ran() || !entry.has_measurement_type()) return concat("entry ", index + 1, ": ");
  return concat("entry ", index + 1, " (", RadioAccessNetwork_Name(entry.ran()), " ",
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

}  // namespace

ThresholdVerdict check_thresholds(const mox_wwan_signal_strength_config& config, const std::set<std::uint32_t>& subs,
                                  std::string& explanation) {
  const CheckResult flaw = check(config, subs);
  explanation = flaw ? flaw->explanation : "";
  return flaw ? flaw->verdict : ThresholdVerdict::accepted;
}

}  // namespace kelvane_hub
