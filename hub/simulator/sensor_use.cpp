#include "hub/simulator/sensor_use.h"

#include <algorithm>

#include "hub/thresholds/change_decision.h"

namespace kelvane_hub {
namespace {

std::string join(const std::vector<std::string>& reasons) {
  std::string joined;
  for (const auto& reason : reasons) joined += (joined.empty() ? "" : "; ") + reason;
  return joined;
}

}  // namespace

bool ChangeFilter::wants(const Cells& cells, ScenarioTime now, std::string& why) const {
  if (config_.threshold_infos().empty()) {
    why = "no thresholds: every change is reported";
    return true;
  }
  if (!last_) {
    why = "the first report: reported";
    return true;
  }
  // Rounded: at some speeds two seconds of scenario time come out as a hair less.
  const auto since = std::max(std::chrono::round<std::chrono::milliseconds>(now - last_->time), {});
  const auto decision = decide_change(config_, last_->cells, cells, since);
  why = decision.reasons.empty() ? "as reported last: not reported" : join(decision.reasons);
  return decision.passes;
}

void ChangeFilter::note_reported(const Cells& cells, ScenarioTime now) { last_ = Report{cells, now}; }

Time SensorUse::next_tick() const {
  constexpr std::int64_t second = 1'000'000'000;
  return first_tick + Time(ticks / rate * second + ticks % rate * second / rate);
}

}  // namespace kelvane_hub
