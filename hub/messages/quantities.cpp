#include "hub/messages/quantities.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include "hub/messages/reflection.h"
#include "hub/messages/technologies.h"

namespace kelvane_hub {
namespace {

using enum PanelKind;

/// A kind of value, whatever the technology calls it.
struct Unit {
  std::string_view name;
  double size;
  double lowest;
  double highest;
};

// No receiver hears below -156 dBm: -200, 0 and the like stand for what is not known.
constexpr Unit dbm{"dBm", 1, -156, -1};
constexpr Unit ratio{"dB", 1, -43, 20};
constexpr Unit tenth_ratio{"dB", 0.1, -43, 20};
constexpr Unit noise_ratio{"dB", 1, -30, 50};
constexpr Unit cqi{"", 1, 0, 15};
constexpr Unit bit_errors{"", 1, 0, 7};         // classes of rates; 99: not known
constexpr Unit timing_advance{"", 1, 0, 1282};  // steps of the technology
constexpr Unit evdo_snr{"", 1, 0, 8};           // classes

constexpr Quantity of(std::int32_t cell_type, PanelKind panel, std::string_view name, std::string_view field,
                      const Unit& unit, std::string_view part = signal_part) {
  return {cell_type, panel, name, part, field, unit.name, unit.size, unit.lowest, unit.highest};
}

constexpr std::string_view evdo = "signal_strength_evdo";

constexpr Quantity all[] = {
    of(1, strength, "RSSI", "signal_strength", dbm),
    of(1, undrawn, "BER", "bit_error_rate", bit_errors),
    of(1, undrawn, "TA", "timing_advance", timing_advance),
    of(2, strength, "RSSI", "dbm", dbm),
    of(2, quality, "Ec/Io", "ecio", tenth_ratio),
    of(2, undrawn, "EVDO RSSI", "dbm", dbm, evdo),
    of(2, undrawn, "EVDO Ec/Io", "ecio", tenth_ratio, evdo),
    of(2, undrawn, "EVDO SNR", "snr", evdo_snr, evdo),
    of(3, undrawn, "RSSI", "signal_strength", dbm),
    of(3, strength, "RSRP", "rsrp", dbm),
    of(3, quality, "RSRQ", "rsrq", ratio),
    of(3, noise, "RSSNR", "rssnr", noise_ratio),
    of(3, undrawn, "CQI", "cqi", cqi),
    of(3, undrawn, "TA", "timing_advance", timing_advance),
    of(4, undrawn, "RSSI", "signal_strength", dbm),
    of(4, undrawn, "BER", "bit_error_rate", bit_errors),
    of(4, strength, "RSCP", "rscp", dbm),
    of(4, quality, "Ec/No", "ecno", ratio),
    of(5, undrawn, "RSSI", "signal_strength", dbm),
    of(5, undrawn, "BER", "bit_error_rate", bit_errors),
    of(5, strength, "RSCP", "rscp", dbm),
    of(6, strength, "RSRP", "rsrp", dbm),
    of(6, quality, "RSRQ", "rsrq", ratio),
    of(6, noise, "RSSNR", "rssnr", noise_ratio),
    of(6, undrawn, "CQI", "cqi", cqi),
};

std::vector<Quantity> drawn_by_panel() {
  std::vector<Quantity> drawn;
  std::ranges::copy_if(
      all, std::back_inserter(drawn), [](PanelKind kind) { return kind != undrawn; }, &Quantity::panel);
  std::ranges::stable_sort(drawn, {}, &Quantity::panel);
  return drawn;
}

}  // namespace

std::optional<double> Quantity::read(const mox_wwan_cell_info& cell, bool zero_is_known) const {
  const auto* const signal = find_part(cell, *find_technology(cell_type), part);
  if (signal == nullptr) return {};
  const auto& value_field = field_of(*signal->GetDescriptor(), field);
  if (!signal->GetReflection()->HasField(*signal, &value_field)) return {};
  const double value = signal->GetReflection()->GetInt32(*signal, &value_field) * unit;
  if (value == 0 && !zero_is_known) return {};
  return value >= lowest && value <= highest ? std::optional(value) : std::nullopt;
}

std::span<const Quantity> quantities() {
  static const std::vector<Quantity> drawn = drawn_by_panel();
  return drawn;
}

std::span<const Quantity> all_quantities() { return all; }

std::string_view unit_of(PanelKind panel) { return panel == strength ? "dBm" : "dB"; }

}  // namespace kelvane_hub
