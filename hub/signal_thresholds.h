// Signal-strength thresholds: which changes of the cells one client wants to hear of.
#pragma once

#include <chrono>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "mox_wwan_test.pb.h"

namespace kelvane_hub {

/// What mox_wwan_signal_strength_config_status.error says.
enum class ThresholdVerdict : std::int32_t {
  accepted = 0,
  unknown_sub = 1,          // a sub id that the scenario does not have
  unknown_measurement = 2,  // a technology or measurement that is missing, unknown, or not measured in that technology
  duplicate_entry = 3,      // two entries for one technology and measurement
  negative_hysteresis = 4,
  threshold_out_of_range = 5,
  thresholds_not_ascending = 6,
  malformed = 7,            // the bytes are no mox_wwan_signal_strength_config
};

/// Whether a configuration can be accepted where the subscriptions `subs` exist. `explanation` gets one line without
/// newline that names the entry, what was expected and what stood there; empty if accepted.
ThresholdVerdict check_thresholds(const mox_wwan_signal_strength_config& config, const std::set<std::uint32_t>& subs,
                                  std::string& explanation);

/// Whether a change is reported, and why: one line for each reason for or against.
struct ReportDecision {
  bool report;
  std::vector<std::string> reasons;
};

/// Decides whether the change from `reported` (the cells that this client was told last) to `current` is reported
/// under `config`, which check_thresholds has accepted. `since_report` is the scenario time since that last report.
ReportDecision decide_report(const mox_wwan_signal_strength_config& config,
                             const mox_wwan_event_serving_neighboring_cell_info& reported,
                             const mox_wwan_event_serving_neighboring_cell_info& current,
                             std::chrono::milliseconds since_report);

}  // namespace kelvane_hub
