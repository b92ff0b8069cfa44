#include "thresholds/threshold_dialogs.h"

#include <cstdint>
#include <iostream>

#include "common/line.h"

namespace cellscope {
namespace {

struct Pairing {
  RadioAccessNetwork ran;
  SignalMeasurementType measurement_type;
  const char* announcement;
};

// The wording differs from pairing to pairing; scripts know it so.
constexpr Pairing geran{GERAN, RSSI, "Mesaument type is set as RSSI for GERAN"};
constexpr Pairing utran{UTRAN, RSCP, "Mesaument type is set as RSCP for UTRAN"};
constexpr Pairing eutran_rsrp{EUTRAN, RSRP, "Selected Mesaument type is RSRP for EUTRAN"};
constexpr Pairing eutran_rsrq{EUTRAN, RSRQ, "Selected Mesaument type is RSRQ for EUTRAN"};
constexpr Pairing eutran_rssnr{EUTRAN, RSSNR, "Selected Mesaument type is RSSNR for EUTRAN"};
constexpr Pairing nr_rsrp{NGRAN, SSRSRP, "Selected Mesaument type is SSRSRP for NGRAN"};
constexpr Pairing nr_rsrq{NGRAN, SSRSRQ, "Selected Mesaument type is SSRSRQ for NGRAN"};
constexpr Pairing nr_rssnr{NGRAN, SSSINR, "Selected Mesaument type is SSSINR for NGRAN"};
constexpr Pairing cdma2000{CDMA2000, RSSI, " Mesaument type is RSSI for CDMA2000"};

std::int32_t read_answer() {
  std::int32_t answer = 0;
  std::cin >> answer;
  return answer;
}

std::int32_t ask(const char* question) {
  print_line(question);
  return read_answer();
}

void read_thresholds(mox_wwan_signal_threshold_info& entry) {
  const std::int32_t count = ask("enter thresholds size ");
  if (count < 1) return;
  print_line("enter thresholds array ");
  for (std::int32_t i = 0; i < count; ++i) entry.add_thresholds(read_answer());
}

void fill(mox_wwan_signal_threshold_info& entry, const Pairing& pairing) {
  entry.set_ran(pairing.ran);
  entry.set_measurement_type(pairing.measurement_type);
  print_line(pairing.announcement);
  if (ask("Enable Measurement type (1 to Enable/0 to Disable) ") != 1) {
    // Set, not left absent: the sensor is to see a disabled entry with zeros.
    entry.set_enabled(false);
    entry.set_hysteresis_ms(0);
    entry.set_hysteresis_db(0);
    return;
  }
  entry.set_enabled(true);
  entry.set_hysteresis_ms(ask("enter hysteresis millisec "));
  entry.set_hysteresis_db(ask("enter hysteresis dB "));
  read_thresholds(entry);
}

}  // namespace

void fillGeran(mox_wwan_signal_threshold_info* entry) { fill(*entry, geran); }
void fillUtran(mox_wwan_signal_threshold_info* entry) { fill(*entry, utran); }
void fillEUtranRsrp(mox_wwan_signal_threshold_info* entry) { fill(*entry, eutran_rsrp); }
void fillEUtranRsrq(mox_wwan_signal_threshold_info* entry) { fill(*entry, eutran_rsrq); }
void fillEUtranRssnr(mox_wwan_signal_threshold_info* entry) { fill(*entry, eutran_rssnr); }
void fillNrRsrp(mox_wwan_signal_threshold_info* entry) { fill(*entry, nr_rsrp); }
void fillNrRsrq(mox_wwan_signal_threshold_info* entry) { fill(*entry, nr_rsrq); }
void fillNrRssnr(mox_wwan_signal_threshold_info* entry) { fill(*entry, nr_rssnr); }
void fillCdma2000(mox_wwan_signal_threshold_info* entry) { fill(*entry, cdma2000); }

}  // namespace cellscope
