#include "hub/messages/measurements.h"

#include <algorithm>
#include <iterator>

namespace kelvane_hub {
namespace {

using Cell = mox_wwan_cell_info;
using Gsm = mox_wwan_signal_strength_gsm;
using Cdma = mox_wwan_signal_strength_cdma;
using Lte = mox_wwan_signal_strength_lte;
using Wcdma = mox_wwan_signal_strength_wcdma;
using Tdscdma = mox_wwan_signal_strength_tdscdma;
using Nr = mox_wwan_signal_strength_nr;

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

// One range for every technology's RSSI: clients set the same thresholds for GERAN and CDMA2000.
constexpr Range rssi_range{-120, -20};
constexpr Range rscp_range{-120, -24};

// Technologies together, in the order in which explanations list them.
constexpr Measurement all[] = {
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

}  // namespace

std::string shown(const Value& value) { return value ? std::to_string(*value) : "absent"; }

std::span<const Measurement> measurements() { return all; }

const Measurement* measurement_of(const mox_wwan_signal_threshold_info& entry) {
  if (!entry.has_ran() || !entry.has_measurement_type()) return nullptr;
  const auto* const found = std::ranges::find_if(all, [&entry](const Measurement& measurement) {
    return measurement.ran == entry.ran() && measurement.type == entry.measurement_type();
  });
  return found == std::end(all) ? nullptr : found;
}

}  // namespace kelvane_hub
