// The console dialogs that fill one threshold entry each.
//
// Each asks on std::cout and reads std::cin, on the main thread, and fills `entry`, a fresh one that the caller owns.
// Nothing is validated. A read that fails gives 0, and nothing clears the stream's state: all that follow give 0 too.
#pragma once

#include "mox_wwan_test.pb.h"

namespace cellscope {

void fillGeran(mox_wwan_signal_threshold_info* entry);
void fillUtran(mox_wwan_signal_threshold_info* entry);
void fillEUtranRsrp(mox_wwan_signal_threshold_info* entry);
void fillEUtranRsrq(mox_wwan_signal_threshold_info* entry);
void fillEUtranRssnr(mox_wwan_signal_threshold_info* entry);
void fillNrRsrp(mox_wwan_signal_threshold_info* entry);
void fillNrRsrq(mox_wwan_signal_threshold_info* entry);
/// NR's signal-to-noise measurement is SSSINR, whatever this function's name says.
void fillNrRssnr(mox_wwan_signal_threshold_info* entry);
void fillCdma2000(mox_wwan_signal_threshold_info* entry);

}  // namespace cellscope
