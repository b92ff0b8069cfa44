#include "hub/simulator/sensor_use.h"

#include <algorithm>

namespace kelvane_hub {

CellDecision ChangeFilter::decide(const Cells& cells, ScenarioTime now) const {
  using enum CellDecision::Ground;
  if (config_.threshold_infos().empty()) return {true, no_thresholds, {}};
  if (!last_) return {true, first_cells, {}};
  // Rounded: at some speeds two seconds of scenario time come out as a hair less.
  const auto since = std::max(std::chrono::round<std::chrono::milliseconds>(now - last_->time), {});
  auto decision = decide_change(config_, last_->cells->cells, cells, since);
  return {decision.passes, thresholds, std::move(decision.reasons)};
}

Time SensorUse::next_tick() const {
  constexpr std::int64_t second = 1'000'000'000;
  return first_tick + Time(ticks / rate * second + ticks % rate * second / rate);
}

}  // namespace kelvane_hub
