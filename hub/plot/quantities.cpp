#include "hub/plot/quantities.h"

#include "hub/messages/reflection.h"
#include "hub/messages/technologies.h"

namespace kelvane_hub {
namespace {

// No receiver hears below -156 dBm: -200, 0 and the like stand for what is not known.
constexpr Quantity all[] = {
    {1, PanelKind::strength, "RSSI", "signal_strength", 1, -156, -1},
    {2, PanelKind::strength, "RSSI", "dbm", 1, -156, -1},
    {3, PanelKind::strength, "RSRP", "rsrp", 1, -156, -1},
    {4, PanelKind::strength, "RSCP", "rscp", 1, -156, -1},
    {5, PanelKind::strength, "RSCP", "rscp", 1, -156, -1},
    {6, PanelKind::strength, "RSRP", "rsrp", 1, -156, -1},
    {2, PanelKind::quality, "Ec/Io", "ecio", 0.1, -43, 20},
    {3, PanelKind::quality, "RSRQ", "rsrq", 1, -43, 20},
    {4, PanelKind::quality, "Ec/No", "ecno", 1, -43, 20},
    {6, PanelKind::quality, "RSRQ", "rsrq", 1, -43, 20},
    {3, PanelKind::noise, "RSSNR", "rssnr", 1, -30, 50},
    {6, PanelKind::noise, "RSSNR", "rssnr", 1, -30, 50},
};

}  // namespace

std::optional<double> Quantity::read(const mox_wwan_cell_info& cell, bool zero_is_known) const {
  const auto* const signal = find_part(cell, *find_technology(cell_type), signal_part);
  if (signal == nullptr) return {};
  const auto& value_field = field_of(*signal->GetDescriptor(), field);
  if (!signal->GetReflection()->HasField(*signal, &value_field)) return {};
  const double value = signal->GetReflection()->GetInt32(*signal, &value_field) * unit;
  if (value == 0 && !zero_is_known) return {};
  return value >= lowest && value <= highest ? std::optional(value) : std::nullopt;
}

std::span<const Quantity> quantities() { return all; }

std::string_view unit_of(PanelKind panel) { return panel == PanelKind::strength ? "dBm" : "dB"; }

}  // namespace kelvane_hub
