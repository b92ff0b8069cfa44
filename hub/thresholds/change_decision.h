// Signal-strength thresholds: which changes of the cells pass them.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "mox_wwan_test.pb.h"

namespace kelvane_hub {

/// A reason for or against telling of a change, on one line without newline.
struct Reason {
  bool passes;
  std::string why;
};

/// Whether a change passes, and why. Nothing changed: no reason. One reason for passing is enough.
struct ChangeDecision {
  bool passes = false;
  std::vector<Reason> reasons;
};

/// Decides whether the change from `told` (the cells that this client was told last) to `current` passes the thresholds
/// of `config`, which check_thresholds has accepted. `since_told` is the scenario time since the client was told.
///
/// Cells are compared by position, neighbours like serving cells, without their timestamps. What passes is
/// - a change of the cell itself: how many there are, technology, cell_type, registered, timestamp_type, identity (then
///   the measurements of that cell are not compared: they may be another cell's);
/// - any change in a cell of a technology without an entry, or of no known technology;
/// - elsewhere a measurement with an enabled entry that has changed sides of a threshold (at the threshold counts as
///   above) and now is at least hysteresis_db beyond it, or of which no value was told, once hysteresis_ms have passed.
///
/// A measurement that has become absent, or whose enabled entry has no thresholds, is no reason to pass.
ChangeDecision decide_change(const mox_wwan_signal_strength_config& config,
                             const mox_wwan_event_serving_neighboring_cell_info& told,
                             const mox_wwan_event_serving_neighboring_cell_info& current,
                             std::chrono::milliseconds since_told);

}  // namespace kelvane_hub
