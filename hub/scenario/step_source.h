// Where what happens to a simulated modem comes from.
#pragma once

#include <chrono>
#include <optional>

#include "hub/base/party.h"
#include "scenario.pb.h"

namespace kelvane_hub {

/// Seconds since the scenario began, at the scenario's own pace.
using ScenarioTime = std::chrono::duration<double>;

/// Hands out steps at their time, one after the other; whoever applies them knows nothing else of where they come from.
/// One thread.
class StepSource {
 public:
  virtual ~StepSource() = default;

  /// Scenario time begins; before, it stands still at 0 and nothing is due. To be called once, and
  /// anew after rewind().
  virtual void start(Time now) = 0;
  virtual bool started() const = 0;

  /// When the next step is due; none if it has not started or nothing follows. Takes at most logarithmic time.
  virtual std::optional<Time> next_due() const = 0;

  /// The next step, which the caller has seen to be due at `now`; one in which nothing happens is the end of a scenario
  /// that goes on after its last step.
  virtual scenario_step take_next(Time now) = 0;

  /// Whether all steps were taken and none follows.
  virtual bool ended() const = 0;

  /// Back to before the start, and to the first step.
  virtual void rewind() = 0;

  /// Scenario time at `now`, which is not before the start; it goes on over repetitions.
  virtual ScenarioTime at(Time now) const = 0;

  /// Scenario time of the step that was taken last, as the scenario says it, whatever the clock did; after a jump, that
  /// time.
  virtual ScenarioTime last_taken() const = 0;

  /// When it will be that time, or was; none if that cannot be told, since scenario time stands still before it or
  /// follows the steps.
  virtual std::optional<Time> when(ScenarioTime time) const = 0;
};

}  // namespace kelvane_hub
