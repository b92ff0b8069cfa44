#include "hub/scenario/packed_scenario.h"

#include <algorithm>

#include "hub/scenario/step.h"

namespace kelvane_hub {

PackedScenario PackedScenario::without_steps() const {
  PackedScenario empty;
  empty.head_ = head_;
  empty.shorthand_ = shorthand_;
  return empty;
}

void PackedScenario::add_step(const scenario_step& step) {
  step.AppendToString(&bytes_);
  steps_.push_back({step.at(), bytes_.size()});
  ++kinds_[step.what_case()];
  if (const auto sub = subscription_of(step)) subscriptions_.insert(*sub);
}

scenario_step PackedScenario::step(std::size_t index) const {
  const std::size_t begin = index == 0 ? 0 : steps_[index - 1].end;
  scenario_step unpacked;
  (void)unpacked.ParseFromArray(bytes_.data() + begin, static_cast<int>(steps_[index].end - begin));
  return unpacked;
}

std::size_t PackedScenario::first_at(double seconds) const {
  return static_cast<std::size_t>(std::ranges::lower_bound(steps_, seconds, {}, &Step::at) - steps_.begin());
}

std::string PackedScenario::data_type_of(suid sensor) const {
  for (const auto& known : head_.sensors()) {
    if (known.suid().suid_low() == sensor.suid_low && known.suid().suid_high() == sensor.suid_high) {
      return known.data_type();
    }
  }
  return "";
}

std::map<std::string, std::size_t> PackedScenario::kinds() const {
  std::map<std::string, std::size_t> named;
  for (const auto& [number, count] : kinds_)
    named[scenario_step::descriptor()->FindFieldByNumber(number)->name()] = count;
  return named;
}

std::set<std::uint32_t> PackedScenario::subscriptions() const {
  return subscriptions_.empty() ? std::set<std::uint32_t>{0} : subscriptions_;
}

}  // namespace kelvane_hub
