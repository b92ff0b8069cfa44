#include "events/cell_report.h"

#include "common/line.h"
#include "common/log_time.h"

namespace cellscope {
namespace {

// A member of the oneof that is not set, like any sub-message that is absent, reads as its empty default: the blocks
// follow cell_type and print 0.

void print_gsm(const mox_wwan_cell_info_gsm& cell) {
  const auto& identity = cell.cell_identity();
  print_line();
  print_line("== GSM Cell Identity == {MCC: ", identity.mcc(), ",MNC: ", identity.mnc(), ",LAC: ", identity.lac(),
             ",CID: ", identity.cid(), ",ARFCN: ", identity.arfcn(), ",BSIC: ", identity.bsic(), "}");
  const auto& signal = cell.signal_strength();
  print_line();
  print_line("== GSM Signal Strength == {Signal Strength: ", signal.signal_strength(),
             ",Bit Error Rate: ", signal.bit_error_rate(), ",Timing Advance: ", signal.timing_advance(), "}");
}

void print_cdma(const mox_wwan_cell_info_cdma& cell) {
  const auto& identity = cell.cell_identity();
  print_line();
  print_line("== CDMA Cell Identity == {Network ID: ", identity.network_id(), ",System ID: ", identity.system_id(),
             ",Base Station ID: ", identity.base_station_id(), ",Longitude: ", identity.longitude(),
             ",Latitude: ", identity.latitude(), "}");
  const auto& signal = cell.signal_strength();
  print_line();
  print_line("== CDMA Signal Strength == {DBM: ", signal.dbm(), ",ECIO: ", signal.ecio(), "}");
  const auto& evdo = cell.signal_strength_evdo();
  print_line();
  print_line("== EVDO Signal Strength == {DBM: ", evdo.dbm(), ",ECIO: ", evdo.ecio(), ",SNR: ", evdo.snr(), "}");
}

void print_lte(const mox_wwan_cell_info_lte& cell) {
  const auto& identity = cell.cell_identity();
  print_line();
  print_line("== LTE Cell Identity == {MCC: ", identity.mcc(), ",MNC: ", identity.mnc(), ",CI: ", identity.ci(),
             ",PCI: ", identity.pci(), ",TAC: ", identity.tac(), ",EARFCN: ", identity.earfcn(), "}");
  const auto& signal = cell.signal_strength();
  print_line();
  print_line("== LTE Signal Strength == {Signal Strength: ", signal.signal_strength(), ",RSRP: ", signal.rsrp(),
             ",RSRQ: ", signal.rsrq(), ",RSSNR: ", signal.rssnr(), ",CQI: ", signal.cqi(),
             ",Timing Advance: ", signal.timing_advance(), "}");
}

void print_wcdma(const mox_wwan_cell_info_wcdma& cell) {
  const auto& identity = cell.cell_identity();
  print_line();
  print_line("== WCDMA Cell Identity == {MCC: ", identity.mcc(), ",MNC: ", identity.mnc(), ",LAC: ", identity.lac(),
             ",CID: ", identity.cid(), ",PSC: ", identity.psc(), ",UARFCN: ", identity.uarfcn(), "}");
  const auto& signal = cell.signal_strength();
  print_line();
  print_line("== WCDMA Signal Strength == {Signal Strength: ", signal.signal_strength(),
             ",Bit Error Rate: ", signal.bit_error_rate(), ",RSCP: ", signal.rscp(), ",ECNO: ", signal.ecno(), "}");
}

void print_tdscdma(const mox_wwan_cell_info_tdscdma& cell) {
  const auto& identity = cell.cell_identity();
  print_line();
  print_line("== TDSCDMA Cell Identity == {MCC: ", identity.mcc(), ",MNC: ", identity.mnc(), ",LAC: ", identity.lac(),
             ",CID: ", identity.cid(), ",CPID: ", identity.cpid(), ",UARFCN: ", identity.uarfcn(), "}");
  const auto& signal = cell.signal_strength();
  print_line();
  print_line("== TDSCDMA Signal Strength == {Signal Strength: ", signal.signal_strength(),
             ",Bit Error Rate: ", signal.bit_error_rate(), ",RSCP: ", signal.rscp(), "}");
}

void print_nr(const mox_wwan_cell_info_nr& cell) {
  const auto& identity = cell.cell_identity();
  print_line();
  print_line("== NR Cell Identity == {MCC: ", identity.mcc(), ",MNC: ", identity.mnc(), ",CI: ", identity.ci(),
             ",PCI: ", identity.pci(), ",TAC: ", identity.tac(), ",EARFCN: ", identity.earfcn(), "}");
  const auto& signal = cell.signal_strength();
  print_line();
  print_line("== NR Signal Strength == {RSRP: ", signal.rsrp(), ",RSRQ: ", signal.rsrq(), ",RSSNR: ", signal.rssnr(),
             ",CQI: ", signal.cqi(), "}");
}

void print_technology_blocks(const mox_wwan_cell_info& cell) {
  switch (static_cast<std::int32_t>(cell.cell_type())) {
    case 1:
      return print_gsm(cell.gsm());
    case 2:
      return print_cdma(cell.cdma());
    case 3:
      return print_lte(cell.lte());
    case 4:
      return print_wcdma(cell.wcdma());
    case 5:
      return print_tdscdma(cell.tdscdma());
    case 6:
      return print_nr(cell.nr());
    default:
      return;
  }
}

}  // namespace

void print(const mox_wwan_event_serving_neighboring_cell_info& info) {
  const std::int64_t time = log_time();
  int counter = 0;
  for (const auto& cell : info.cells()) {
    print_line();
    print_line("=== Cell ", ++counter, " === {Log Time: ", time, ",Cell Type: ", cell.cell_type(),
               ",Timestamp: ", cell.timestamp(), ",Timestamp Type: ", cell.timestamp_type(),
               ",Registered: ", cell.registered(), "}");
    print_technology_blocks(cell);
  }
}

}  // namespace cellscope
