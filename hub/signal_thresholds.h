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
  unknown_sub = 1,          // a sub id that is absent or that the scenario does not have
  unknown_measurement = 2,  // a technology or measurement that is missing, unknown, or not measured in that technology
  duplicate_entry = 3,      // two entries for one technology and measurement
  negative_hysteresis = 4,
  threshold_out_of_range = 5,
  thresholds_not_ascending = 6,
  malformed = 7,  // the bytes are no mox_wwan_signal_strength_config; for whoever parses them, not told by a check
};

/// Whether a configuration can be accepted where the subscriptions `subs` exist. The sub id is checked first, then
/// entry by entry, disabled ones too, in the order of the verdicts; the first failure wins. `explanation` gets one line
/// without newline that names the entry (from 1), what stood there and what was expected; empty if accepted.
ThresholdVerdict check_thresholds(const mox_wwan_signal_strength_config& config, const std::set<std::uint32_t>& subs,
                                  std::string& explanation);

/// Whether a change is reported, and why: one line without newline for each reason for or against. Nothing changed:
/// no reason. One reason for reporting is enough.
struct ReportDecision {
  bool report = false;
  std::vector<std::string> reasons;
};

/// Decides whether the change from `reported` (the cells that this client was told last) to `current` is reported
/// under `config`, which check_thresholds has accepted. `since_report` is the scenario time since that last report.
///
/// Cells are compared by position, neighbours like serving cells, without their timestamps. Reported is
/// - a change of the cell itself: how many there are, technology, cell_type, registered, timestamp_type, identity (then
///   the measurements of that cell are not compared: they may be another cell's);
/// - any change in a cell of a technology without an entry, or of no known technology;
/// - elsewhere a measurement with an enabled entry that has changed sides of a threshold (at the threshold counts as
///   above) and now is at least hysteresis_db beyond it, or that has no reported value, once hysteresis_ms have passed.
///
/// A measurement that has become absent, or whose enabled entry has no thresholds, is no reason to report.
ReportDecision decide_report(const mox_wwan_signal_strength_config& config,
                             const mox_wwan_event_serving_neighboring_cell_info& reported,
                             const mox_wwan_event_serving_neighboring_cell_info& current,
                             std::chrono::milliseconds since_report);

}  // namespace kelvane_hub
