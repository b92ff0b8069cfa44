#include "hub/messages/technologies.h"

#include <algorithm>

#include "hub/messages/reflection.h"

namespace kelvane_hub {
namespace {

using Cell = mox_wwan_cell_info;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

constexpr PrintedField mcc{"mcc", "MCC: "};
constexpr PrintedField mnc{"mnc", "MNC: "};
constexpr PrintedField lac{"lac", "LAC: "};
constexpr PrintedField cid{"cid", "CID: "};
constexpr PrintedField ci{"ci", "CI: "};
constexpr PrintedField pci{"pci", "PCI: "};
constexpr PrintedField tac{"tac", "TAC: "};
constexpr PrintedField earfcn{"earfcn", "EARFCN: "};
constexpr PrintedField uarfcn{"uarfcn", "UARFCN: "};
constexpr PrintedField signal_strength{"signal_strength", "Signal Strength: "};
constexpr PrintedField bit_error_rate{"bit_error_rate", "Bit Error Rate: "};
constexpr PrintedField timing_advance{"timing_advance", "Timing Advance: "};
constexpr PrintedField dbm{"dbm", "DBM: "};
constexpr PrintedField ecio{"ecio", "ECIO: "};
constexpr PrintedField rsrp{"rsrp", "RSRP: "};
constexpr PrintedField rsrq{"rsrq", "RSRQ: "};
constexpr PrintedField rssnr{"rssnr", "RSSNR: "};
constexpr PrintedField cqi{"cqi", "CQI: "};
constexpr PrintedField rscp{"rscp", "RSCP: "};

constexpr PrintedField gsm_identity[] = {mcc, mnc, lac, cid, {"arfcn", "ARFCN: "}, {"bsic", "BSIC: "}};
constexpr PrintedField gsm_signal[] = {signal_strength, bit_error_rate, timing_advance};
constexpr PrintedField cdma_identity[] = {{"network_id", "Network ID: "},
                                          {"system_id", "System ID: "},
                                          {"base_station_id", "Base Station ID: "},
                                          {"longitude", "Longitude: "},
                                          {"latitude", "Latitude: "}};
constexpr PrintedField cdma_signal[] = {dbm, ecio};
constexpr PrintedField evdo_signal[] = {dbm, ecio, {"snr", "SNR: "}};
constexpr PrintedField lte_identity[] = {mcc, mnc, ci, pci, tac, earfcn};
constexpr PrintedField lte_signal[] = {signal_strength, rsrp, rsrq, rssnr, cqi, timing_advance};
constexpr PrintedField wcdma_identity[] = {mcc, mnc, lac, cid, {"psc", "PSC: "}, uarfcn};
constexpr PrintedField wcdma_signal[] = {signal_strength, bit_error_rate, rscp, {"ecno", "ECNO: "}};
constexpr PrintedField tdscdma_identity[] = {mcc, mnc, lac, cid, {"cpid", "CPID: "}, uarfcn};
constexpr PrintedField tdscdma_signal[] = {signal_strength, bit_error_rate, rscp};
constexpr PrintedField nr_identity[] = {mcc, mnc, ci, pci, tac, earfcn};
constexpr PrintedField nr_signal[] = {rsrp, rsrq, rssnr, cqi};

constexpr PrintedPart gsm[] = {{identity_part, "GSM Cell Identity", gsm_identity},
                               {signal_part, "GSM Signal Strength", gsm_signal}};
constexpr PrintedPart cdma[] = {{identity_part, "CDMA Cell Identity", cdma_identity},
                                {signal_part, "CDMA Signal Strength", cdma_signal},
                                {"signal_strength_evdo", "EVDO Signal Strength", evdo_signal}};
constexpr PrintedPart lte[] = {{identity_part, "LTE Cell Identity", lte_identity},
                               {signal_part, "LTE Signal Strength", lte_signal}};
constexpr PrintedPart wcdma[] = {{identity_part, "WCDMA Cell Identity", wcdma_identity},
                                 {signal_part, "WCDMA Signal Strength", wcdma_signal}};
constexpr PrintedPart tdscdma[] = {{identity_part, "TDSCDMA Cell Identity", tdscdma_identity},
                                   {signal_part, "TDSCDMA Signal Strength", tdscdma_signal}};
constexpr PrintedPart nr[] = {{identity_part, "NR Cell Identity", nr_identity},
                              {signal_part, "NR Signal Strength", nr_signal}};

// Colours that the colour-blind tell apart, and of which each stands out from its background.
constexpr Technology all[] = {
    {1, "GSM", Cell::kGsm, GERAN, "signal_strength", "#5A5A5A", "#B4B4B4", gsm},
    {2, "CDMA", Cell::kCdma, CDMA2000, "dbm", "#B2458C", "#E58CC4", cdma},
    {3, "LTE", Cell::kLte, EUTRAN, "rsrp", "#CC6F00", "#F2A03D", lte},
    {4, "WCDMA", Cell::kWcdma, UTRAN, "rscp", "#00875F", "#3CC79B", wcdma},
    {5, "TDSCDMA", Cell::kTdscdma, UTRAN, "rscp", "#2E93C8", "#8CD3F7", tdscdma},
    {6, "NR", Cell::kNr, NGRAN, "rsrp", "#0A4FA3", "#5C9DF0", nr},
};

template <class Key>
const Technology* find_by(Key Technology::*member, Key key) {
  const auto* const found = std::ranges::find(all, key, member);
  return found == std::end(all) ? nullptr : found;
}

}  // namespace

std::span<const Technology> technologies() { return all; }

const Technology* find_technology(std::int32_t cell_type) { return find_by(&Technology::cell_type, cell_type); }
const Technology* find_technology(Cell::CellInfoCase info) { return find_by(&Technology::info, info); }

const Technology* technology_of(const Cell& cell) { return find_technology(cell.cell_info_case()); }

const FieldDescriptor& info_field(const Technology& technology) {
  return *Cell::descriptor()->FindFieldByNumber(technology.info);
}

const FieldDescriptor& part_field(const Technology& technology, std::string_view part) {
  return field_of(*info_field(technology).message_type(), part);
}

const Message* find_part(const Cell& cell, const Technology& technology, std::string_view part) {
  const Message* const info = member_of(cell, info_field(technology));
  return info == nullptr ? nullptr : member_of(*info, part_field(technology, part));
}

Message& make_info(Cell& cell, const Technology& technology) {
  return *Cell::GetReflection()->MutableMessage(&cell, &info_field(technology));
}

Message& make_part(Cell& cell, const Technology& technology, std::string_view part) {
  Message& info = make_info(cell, technology);
  return *info.GetReflection()->MutableMessage(&info, &part_field(technology, part));
}

}  // namespace kelvane_hub
