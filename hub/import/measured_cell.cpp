#include "hub/import/measured_cell.h"

#include <algorithm>

#include "hub/messages/technologies.h"

namespace kelvane_hub {
namespace {

using Cell = mox_wwan_cell_info;

constexpr Destination fields[] = {
    {Cell::kGsm, identity_part, "cid", &MeasuredCell::id},
    {Cell::kGsm, identity_part, "lac", &MeasuredCell::area},
    {Cell::kGsm, signal_part, "signal_strength", &MeasuredCell::rsrp},
    {Cell::kWcdma, identity_part, "cid", &MeasuredCell::id},
    {Cell::kWcdma, identity_part, "lac", &MeasuredCell::area},
    {Cell::kWcdma, signal_part, "signal_strength", &MeasuredCell::rssi},
    {Cell::kWcdma, signal_part, "rscp", &MeasuredCell::rsrp},
    {Cell::kWcdma, signal_part, "ecno", &MeasuredCell::rsrq},
    {Cell::kLte, identity_part, "ci", &MeasuredCell::id},
    {Cell::kLte, identity_part, "tac", &MeasuredCell::area},
    {Cell::kLte, signal_part, "signal_strength", &MeasuredCell::rssi},
    {Cell::kLte, signal_part, "rsrp", &MeasuredCell::rsrp},
    {Cell::kLte, signal_part, "rsrq", &MeasuredCell::rsrq},
    {Cell::kLte, signal_part, "rssnr", &MeasuredCell::rssnr},
    {Cell::kLte, signal_part, "cqi", &MeasuredCell::cqi},
    {Cell::kNr, identity_part, "ci", &MeasuredCell::id},
    {Cell::kNr, identity_part, "tac", &MeasuredCell::area},
    {Cell::kNr, signal_part, "rsrp", &MeasuredCell::rsrp},
    {Cell::kNr, signal_part, "rsrq", &MeasuredCell::rsrq},
    {Cell::kNr, signal_part, "rssnr", &MeasuredCell::rssnr},
    {Cell::kNr, signal_part, "cqi", &MeasuredCell::cqi},
};

}  // namespace

std::span<const Destination> destinations() { return fields; }

bool has_field(Cell::CellInfoCase technology, MeasuredValue value) {
  return std::ranges::any_of(
      fields, [=](const Destination& each) { return each.technology == technology && each.value == value; });
}

}  // namespace kelvane_hub
