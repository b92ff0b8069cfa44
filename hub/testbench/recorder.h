// What has happened to a simulated modem, as a scenario.
#pragma once

#include <cstddef>
#include <string>

#include "hub/scenario/packed_scenario.h"
#include "hub/simulator/watcher.h"

namespace kelvane_hub {

/// Keeps all steps since the scenario began, up to 8 MiB of them.
class Recorder final : public Watcher {
 public:
  /// Of what is played with the sensors, subscriptions and faults of `played`, these drawn with `seed`; `time` says
  /// when something happens. Both outlive this object.
  Recorder(const PackedScenario& played, std::uint64_t seed, const StepSource& time)
      : played_(played), seed_(seed), time_(time) {}

  void on_step(const scenario_step& step, Time now) override;
  void on_jump(ScenarioTime by) override { jumped_ += by; }
  void on_rewind() override;

  const PackedScenario& recorded() const { return recorded_; }

  /// A scenario in which the same happens, one that does not begin anew, as a file of it has it. Throws InputError if
  /// more has happened than was kept.
  std::string text() const;

 private:
  const PackedScenario& played_;
  const std::uint64_t seed_;
  const StepSource& time_;
  PackedScenario recorded_;
  std::size_t bytes_ = 0;
  ScenarioTime jumped_{};  // all jumps together, which take no time in the record
};

}  // namespace kelvane_hub
