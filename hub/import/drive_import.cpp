#include "hub/import/drive_import.h"

#include <string>
#include <variant>

#include "hub/base/concat.h"
#include "hub/base/input_error.h"
#include "hub/import/measured_cell.h"
#include "hub/messages/reflection.h"
#include "hub/messages/technologies.h"

namespace kelvane_hub {
namespace {

using Cell = mox_wwan_cell_info;

// ---- a row as a step ----

/// Sets a field of 32 bits or, unsigned, of 64; `value` fits.
template <class Number>
void set_number(google::protobuf::Message& message, std::string_view name, Number value) {
  const auto& field = field_of(*message.GetDescriptor(), name);
  if (field.cpp_type() == google::protobuf::FieldDescriptor::CPPTYPE_UINT64) {
    message.GetReflection()->SetUInt64(&message, &field, static_cast<std::uint64_t>(value));
  } else {
    message.GetReflection()->SetInt32(&message, &field, static_cast<std::int32_t>(value));
  }
}

/// Sets what was measured. A part of which nothing was measured is never made, so that it stays absent.
void fill(Cell& cell, const Technology& technology, const MeasuredCell& measured) {
  for (const Destination& destination : destinations()) {
    if (destination.technology != technology.info) continue;
    const auto set = [&](const auto member) {
      const auto& value = measured.*member;
      if (value) set_number(make_part(cell, technology, destination.part), destination.field, *value);
    };
    std::visit(set, destination.value);
  }
}

void fill_cell(Cell& cell, const DriveRow& row, const MeasuredCell& measured, const std::optional<Plmn>& plmn) {
  constexpr std::int32_t timestamp_type = 1;
  const Technology& technology = *find_technology(row.technology);
  cell.set_timestamp(static_cast<std::uint64_t>(row.time.count()));
  cell.set_timestamp_type(timestamp_type);
  cell.set_cell_type(technology.cell_type);
  make_info(cell, technology);
  fill(cell, technology, measured);
  if (!plmn) return;
  auto& identity = make_part(cell, technology, identity_part);
  set_number(identity, "mcc", plmn->mcc);
  set_number(identity, "mnc", plmn->mnc);
}

void fill_step(scenario_step& step, const DriveRow& row, const std::optional<Plmn>& plmn) {
  step.set_at(in_seconds(row.time));
  auto& cells = *step.mutable_cells();
  cells.set_sub(0);
  if (row.technology == Cell::CELL_INFO_NOT_SET) return;
  Cell& serving = *cells.add_cells();
  serving.set_registered(true);
  fill_cell(serving, row, row.serving, plmn);
  if (!row.neighbour) return;
  Cell& neighbour = *cells.add_cells();
  neighbour.set_registered(false);
  fill_cell(neighbour, row, *row.neighbour, {});
}

}  // namespace

Plmn parse_plmn(std::string_view text) {
  if (!has_form(text, "000-00") && !has_form(text, "000-000")) {
    throw InputError("expected a network such as 272-01, found " + quoted(text));
  }
  return {std::stoi(std::string(text.substr(0, 3))), std::stoi(std::string(text.substr(4)))};
}

scenario to_scenario(const Drive& drive, std::optional<Plmn> plmn) {
  scenario imported;
  imported.set_description(drive.summary.origin());
  for (const DriveRow& row : drive.rows) fill_step(*imported.add_steps(), row, plmn);
  return imported;
}

}  // namespace kelvane_hub
