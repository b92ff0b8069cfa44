#include "hub/scenario/states.h"

#include <algorithm>
#include <cstdint>
#include <set>
#include <utility>

#include "hub/scenario/step.h"

namespace kelvane_hub {
namespace {

/// What is a state, and of which subscription.
using Key = std::pair<scenario_step::WhatCase, std::uint32_t>;

constexpr scenario_step::WhatCase states[] = {scenario_step::kCells, scenario_step::kVoiceCalls,
                                              scenario_step::kRrcStates};

std::optional<Key> key_of(const scenario_step& step) {
  if (std::ranges::find(states, step.what_case()) == std::end(states)) return std::nullopt;
  return Key{step.what_case(), subscription_of(step).value_or(0)};
}

/// That there is none.
scenario_step none(const scenario_step& of, std::uint32_t sub) {
  scenario_step step;
  if (of.has_cells()) step.mutable_cells()->set_sub(sub);
  if (of.has_voice_calls()) step.mutable_voice_calls()->set_sub(sub);
  if (of.has_rrc_states()) step.mutable_rrc_states()->set_sub(sub);
  return step;
}

std::size_t count_keys(const PackedScenario& played) {
  const auto kinds = played.kinds();
  const auto is_there = [&kinds](scenario_step::WhatCase kind) {
    return kinds.contains(scenario_step::descriptor()->FindFieldByNumber(kind)->name());
  };
  return static_cast<std::size_t>(std::ranges::count_if(states, is_there)) * played.subscriptions().size();
}

}  // namespace

std::vector<scenario_step> states_before(const PackedScenario& played, std::size_t next, StatesWanted wanted) {
  const std::size_t all = count_keys(played);
  std::set<Key> found;
  std::vector<scenario_step> last_first;
  const auto look_back = [&](std::size_t from, std::size_t to) {
    for (std::size_t i = from; i > to && found.size() < all; --i) {
      scenario_step step = played.step(i - 1);
      const auto key = key_of(step);
      if (key && found.insert(*key).second) last_first.push_back(std::move(step));
    }
  };
  look_back(next, 0);
  if (wanted.again) look_back(played.steps_size(), next);
  for (std::size_t i = next; i < wanted.forget_to && found.size() < all; ++i) {
    const scenario_step step = played.step(i);
    const auto key = key_of(step);
    if (key && found.insert(*key).second) last_first.push_back(none(step, key->second));
  }
  std::ranges::reverse(last_first);
  return last_first;
}

}  // namespace kelvane_hub
