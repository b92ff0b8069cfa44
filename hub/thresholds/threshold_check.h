// Signal-strength thresholds: whether a configuration of them can be accepted.
#pragma once

#include <cstdint>
#include <set>
#include <string>

#include "hub/messages/errors.h"
#include "mox_wwan_test.pb.h"

namespace kelvane_hub {

/// Whether a configuration can be accepted where the subscriptions `subs` exist. The sub id is checked first, then
/// entry by entry, disabled ones too, in the order of the verdicts; the first failure wins. `explanation` gets one line
/// without newline that names the entry (from 1), what stood there and what was expected; empty if accepted.
ThresholdVerdict check_thresholds(const mox_wwan_signal_strength_config& config, const std::set<std::uint32_t>& subs,
                                  std::string& explanation);

}  // namespace kelvane_hub
