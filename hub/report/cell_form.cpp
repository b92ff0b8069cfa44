#include "hub/report/cell_form.h"

#include <algorithm>

namespace kelvane_hub {
namespace {

constexpr Field header[] = {{"Log Time", "log_time", Kind::int64},
                            {"Cell Type", "cell_type"},
                            {"Timestamp", "timestamp", Kind::uint64},
                            {"Timestamp Type", "timestamp_type"},
                            {"Registered", "registered", Kind::flag}};

constexpr Field mcc{"MCC", "mcc"};
constexpr Field mnc{"MNC", "mnc"};
constexpr Field lac{"LAC", "lac"};
constexpr Field cid{"CID", "cid"};
constexpr Field pci{"PCI", "pci"};
constexpr Field tac{"TAC", "tac"};
constexpr Field earfcn{"EARFCN", "earfcn"};
constexpr Field uarfcn{"UARFCN", "uarfcn"};
constexpr Field signal_strength{"Signal Strength", "signal_strength"};
constexpr Field bit_error_rate{"Bit Error Rate", "bit_error_rate"};
constexpr Field timing_advance{"Timing Advance", "timing_advance"};
constexpr Field dbm{"DBM", "dbm"};
constexpr Field ecio{"ECIO", "ecio"};
constexpr Field rsrp{"RSRP", "rsrp"};
constexpr Field rsrq{"RSRQ", "rsrq"};
constexpr Field rssnr{"RSSNR", "rssnr"};
constexpr Field cqi{"CQI", "cqi"};
constexpr Field rscp{"RSCP", "rscp"};

constexpr Field gsm_identity[] = {mcc, mnc, lac, cid, {"ARFCN", "arfcn"}, {"BSIC", "bsic", Kind::uint32}};
constexpr Field gsm_signal[] = {signal_strength, bit_error_rate, timing_advance};
constexpr Field cdma_identity[] = {{"Network ID", "network_id"},
                                   {"System ID", "system_id"},
                                   {"Base Station ID", "base_station_id"},
                                   {"Longitude", "longitude"},
                                   {"Latitude", "latitude"}};
constexpr Field cdma_signal[] = {dbm, ecio};
constexpr Field evdo_signal[] = {dbm, ecio, {"SNR", "snr"}};
constexpr Field lte_identity[] = {mcc, mnc, {"CI", "ci"}, pci, tac, earfcn};
constexpr Field lte_signal[] = {signal_strength, rsrp, rsrq, rssnr, cqi, timing_advance};
constexpr Field wcdma_identity[] = {mcc, mnc, lac, cid, {"PSC", "psc"}, uarfcn};
constexpr Field wcdma_signal[] = {signal_strength, bit_error_rate, rscp, {"ECNO", "ecno"}};
constexpr Field tdscdma_identity[] = {mcc, mnc, lac, cid, {"CPID", "cpid"}, uarfcn};
constexpr Field tdscdma_signal[] = {signal_strength, bit_error_rate, rscp};
constexpr Field nr_identity[] = {mcc, mnc, {"CI", "ci", Kind::uint64}, pci, tac, earfcn};
constexpr Field nr_signal[] = {rsrp, rsrq, rssnr, cqi};

constexpr Block gsm[] = {{"== GSM Cell Identity == {", "cell_identity", gsm_identity},
                         {"== GSM Signal Strength == {", "signal_strength", gsm_signal}};
constexpr Block cdma[] = {{"== CDMA Cell Identity == {", "cell_identity", cdma_identity},
                          {"== CDMA Signal Strength == {", "signal_strength", cdma_signal},
                          {"== EVDO Signal Strength == {", "signal_strength_evdo", evdo_signal}};
constexpr Block lte[] = {{"== LTE Cell Identity == {", "cell_identity", lte_identity},
                         {"== LTE Signal Strength == {", "signal_strength", lte_signal}};
constexpr Block wcdma[] = {{"== WCDMA Cell Identity == {", "cell_identity", wcdma_identity},
                           {"== WCDMA Signal Strength == {", "signal_strength", wcdma_signal}};
constexpr Block tdscdma[] = {{"== TDSCDMA Cell Identity == {", "cell_identity", tdscdma_identity},
                             {"== TDSCDMA Signal Strength == {", "signal_strength", tdscdma_signal}};
constexpr Block nr[] = {{"== NR Cell Identity == {", "cell_identity", nr_identity},
                        {"== NR Signal Strength == {", "signal_strength", nr_signal}};

constexpr Technology all[] = {
    {1, "GSM", gsm, "signal_strength"}, {2, "CDMA", cdma, "dbm"},        {3, "LTE", lte, "rsrp"},
    {4, "WCDMA", wcdma, "rscp"},        {5, "TDSCDMA", tdscdma, "rscp"}, {6, "NR", nr, "rsrp"}};

}  // namespace

std::span<const Technology> technologies() { return all; }

const Technology* find_technology(std::int64_t cell_type) {
  const auto* found = std::ranges::find(all, cell_type, &Technology::cell_type);
  return found == std::end(all) ? nullptr : found;
}

std::span<const Field> cell_header() { return header; }

}  // namespace kelvane_hub
