#include "hub/import/drive_import.h"

#include <ratio>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "hub/base/concat.h"
#include "hub/base/input_error.h"
#include "hub/import/drive_csv.h"

namespace kelvane_hub {
namespace {

namespace fs = std::filesystem;

// ---- a row as a step ----

/// A value of a cell and where it goes.
template <class Value, class Part, class Argument>
struct Field {
  std::optional<Value> MeasuredCell::*value;
  void (Part::*set)(Argument);
};
template <class Value, class Part, class Argument>
Field(std::optional<Value> MeasuredCell::*, void (Part::*)(Argument)) -> Field<Value, Part, Argument>;

/// The fields of an identity or of a signal strength.
template <class Part>
constexpr std::tuple<> fields{};

template <>
constexpr std::tuple fields<mox_wwan_cell_identity_gsm>{
    Field{&MeasuredCell::id, &mox_wwan_cell_identity_gsm::set_cid},
    Field{&MeasuredCell::area, &mox_wwan_cell_identity_gsm::set_lac},
};

template <>
constexpr std::tuple fields<mox_wwan_cell_identity_wcdma>{
    Field{&MeasuredCell::id, &mox_wwan_cell_identity_wcdma::set_cid},
    Field{&MeasuredCell::area, &mox_wwan_cell_identity_wcdma::set_lac},
};

template <>
constexpr std::tuple fields<mox_wwan_cell_identity_lte>{
    Field{&MeasuredCell::id, &mox_wwan_cell_identity_lte::set_ci},
    Field{&MeasuredCell::area, &mox_wwan_cell_identity_lte::set_tac},
};

template <>
constexpr std::tuple fields<mox_wwan_cell_identity_nr>{
    Field{&MeasuredCell::id, &mox_wwan_cell_identity_nr::set_ci},
    Field{&MeasuredCell::area, &mox_wwan_cell_identity_nr::set_tac},
};

template <>
constexpr std::tuple fields<mox_wwan_signal_strength_gsm>{
    Field{&MeasuredCell::rsrp, &mox_wwan_signal_strength_gsm::set_signal_strength},
};

template <>
constexpr std::tuple fields<mox_wwan_signal_strength_wcdma>{
    Field{&MeasuredCell::rssi, &mox_wwan_signal_strength_wcdma::set_signal_strength},
    Field{&MeasuredCell::rsrp, &mox_wwan_signal_strength_wcdma::set_rscp},
    Field{&MeasuredCell::rsrq, &mox_wwan_signal_strength_wcdma::set_ecno},
};

template <>
constexpr std::tuple fields<mox_wwan_signal_strength_lte>{
    Field{&MeasuredCell::rssi, &mox_wwan_signal_strength_lte::set_signal_strength},
    Field{&MeasuredCell::rsrp, &mox_wwan_signal_strength_lte::set_rsrp},
    Field{&MeasuredCell::rsrq, &mox_wwan_signal_strength_lte::set_rsrq},
    Field{&MeasuredCell::rssnr, &mox_wwan_signal_strength_lte::set_rssnr},
    Field{&MeasuredCell::cqi, &mox_wwan_signal_strength_lte::set_cqi},
};

template <>
constexpr std::tuple fields<mox_wwan_signal_strength_nr>{
    Field{&MeasuredCell::rsrp, &mox_wwan_signal_strength_nr::set_rsrp},
    Field{&MeasuredCell::rsrq, &mox_wwan_signal_strength_nr::set_rsrq},
    Field{&MeasuredCell::rssnr, &mox_wwan_signal_strength_nr::set_rssnr},
    Field{&MeasuredCell::cqi, &mox_wwan_signal_strength_nr::set_cqi},
};

/// Sets what was measured. A part of `info` of which nothing was measured is never created, so that it stays absent.
template <class Info, class Part>
void fill(Info& info, Part* (Info::*create)(), const MeasuredCell& measured) {
  const auto set = [&]<class Value, class Argument>(const Field<Value, Part, Argument>& field) {
    const auto& value = measured.*field.value;
    if (value) ((info.*create)()->*field.set)(static_cast<Argument>(*value));
  };
  std::apply([&](const auto&... field) { (set(field), ...); }, fields<Part>);
}

template <class Info>
void fill_info(Info& info, const MeasuredCell& measured, const std::optional<Plmn>& plmn) {
  fill(info, &Info::mutable_cell_identity, measured);
  fill(info, &Info::mutable_signal_strength, measured);
  if (!plmn) return;
  info.mutable_cell_identity()->set_mcc(plmn->mcc);
  info.mutable_cell_identity()->set_mnc(plmn->mnc);
}

void fill_cell(mox_wwan_cell_info& cell, const DriveRow& row, const MeasuredCell& measured,
               const std::optional<Plmn>& plmn) {
  constexpr std::int32_t timestamp_type = 1;
  cell.set_timestamp(static_cast<std::uint64_t>(row.time.count()) * std::nano::den);
  cell.set_timestamp_type(timestamp_type);
  cell.set_cell_type(static_cast<std::int32_t>(row.type));
  switch (row.type) {
    case CellType::gsm:
      return fill_info(*cell.mutable_gsm(), measured, plmn);
    case CellType::lte:
      return fill_info(*cell.mutable_lte(), measured, plmn);
    case CellType::wcdma:
      return fill_info(*cell.mutable_wcdma(), measured, plmn);
    case CellType::nr:
      return fill_info(*cell.mutable_nr(), measured, plmn);
  }
}

void fill_step(scenario_step& step, const DriveRow& row, const std::optional<Plmn>& plmn) {
  step.set_at(static_cast<double>(row.time.count()));
  auto& cells = *step.mutable_cells();
  cells.set_sub(0);
  mox_wwan_cell_info& serving = *cells.add_cells();
  serving.set_registered(true);
  fill_cell(serving, row, row.serving, plmn);
  if (!row.neighbour) return;
  mox_wwan_cell_info& neighbour = *cells.add_cells();
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

scenario import_drive(const fs::path& csv, std::optional<Plmn> plmn) {
  scenario imported;
  for (const DriveRow& row : read_drive_csv(csv)) fill_step(*imported.add_steps(), row, plmn);
  return imported;
}

}  // namespace kelvane_hub
