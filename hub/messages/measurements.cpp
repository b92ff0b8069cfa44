#include "hub/messages/measurements.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "hub/messages/reflection.h"
#include "hub/messages/technologies.h"

namespace kelvane_hub {
namespace {

struct Row {
  RadioAccessNetwork ran;
  SignalMeasurementType type;
  Range thresholds;
  std::string_view field;  // of the signal strength of each technology of `ran`
};

// One range for every technology's RSSI: clients set the same thresholds for GERAN and CDMA2000.
constexpr Range rssi_range{-120, -20};

// Technologies together, in the order in which explanations list them.
constexpr Row rows[] = {
    {GERAN, RSSI, rssi_range, "signal_strength"}, {UTRAN, RSSI, rssi_range, "signal_strength"},
    {UTRAN, RSCP, {-120, -24}, "rscp"},           {EUTRAN, RSSI, rssi_range, "signal_strength"},
    {EUTRAN, RSRP, {-140, -44}, "rsrp"},          {EUTRAN, RSRQ, {-34, 3}, "rsrq"},
    {EUTRAN, RSSNR, {-20, 40}, "rssnr"},          {CDMA2000, RSSI, rssi_range, "dbm"},
    {NGRAN, SSRSRP, {-156, -31}, "rsrp"},         {NGRAN, SSRSRQ, {-43, 20}, "rsrq"},
    {NGRAN, SSSINR, {-23, 40}, "rssnr"},
};

Measurement measurement_in(const Row& row) {
  Measurement measurement{row.ran, row.type, row.thresholds, {}};
  for (const Technology& technology : technologies()) {
    if (technology.ran != row.ran) continue;
    const auto& signal = part_field(technology, signal_part);
    measurement.places.push_back({&info_field(technology), &signal, &field_of(*signal.message_type(), row.field)});
  }
  return measurement;
}

std::vector<Measurement> all_measurements() {
  std::vector<Measurement> all;
  std::ranges::transform(rows, std::back_inserter(all), measurement_in);
  return all;
}

}  // namespace

std::string shown(const Value& value) { return value ? std::to_string(*value) : "absent"; }

Value Measurement::read(const mox_wwan_cell_info& cell) const {
  for (const Place& place : places) {
    const auto* const info = member_of(cell, *place.info);
    const auto* const signal = info == nullptr ? nullptr : member_of(*info, *place.signal);
    if (signal == nullptr || !signal->GetReflection()->HasField(*signal, place.value)) continue;
    return signal->GetReflection()->GetInt32(*signal, place.value);
  }
  return {};
}

std::span<const Measurement> measurements() {
  static const std::vector<Measurement> all = all_measurements();
  return all;
}

const Measurement* measurement_of(const mox_wwan_signal_threshold_info& entry) {
  if (!entry.has_ran() || !entry.has_measurement_type()) return nullptr;
  const auto found = std::ranges::find_if(measurements(), [&entry](const Measurement& measurement) {
    return measurement.ran == entry.ran() && measurement.type == entry.measurement_type();
  });
  return found == measurements().end() ? nullptr : &*found;
}

}  // namespace kelvane_hub
