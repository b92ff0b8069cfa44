// A scenario in little memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "kelvane/session.h"
#include "scenario.pb.h"

namespace kelvane_hub {

using com::tarn::kelvane::suid;

/// Keeps the steps as they are sent: a step takes its bytes and 16 more.
class PackedScenario {
 public:
  /// All but the steps.
  const scenario& head() const { return head_; }
  void set_head(scenario head) { head_ = std::move(head); }

  /// The same scenario without any steps.
  PackedScenario without_steps() const;

  /// Behind the steps that are there.
  void add_step(const scenario_step& step);

  std::size_t steps_size() const { return steps_.size(); }

  /// Unpacked, in time that grows with its size.
  scenario_step step(std::size_t index) const;

  /// Seconds at which the step happens, at once.
  double time_of(std::size_t index) const { return steps_[index].at; }

  /// The first step at so many seconds or later; steps_size() if there is none.
  std::size_t first_at(double seconds) const;

  /// Of the last step; 0 if there is none.
  double last_time() const { return steps_.empty() ? 0 : steps_.back().at; }

  /// Of the sensor with that suid; empty: there is none.
  std::string data_type_of(suid sensor) const;

  /// How many steps there are of each kind that there is, by its name.
  std::map<std::string, std::size_t> kinds() const;

  /// Counts what stands in the file for steps that it was expanded to, by its name.
  void note_shorthand(const std::string& kind) { ++shorthand_[kind]; }
  const std::map<std::string, std::size_t>& shorthand() const { return shorthand_; }

  /// The subscriptions that it speaks of; 0 if it speaks of none.
  std::set<std::uint32_t> subscriptions() const;

  /// Whether one of its steps is of that subscription.
  bool speaks_of(std::uint32_t sub) const { return subscriptions_.contains(sub); }

 private:
  struct Step {
    double at;
    std::size_t end;  // of its bytes
  };

  scenario head_;
  std::string bytes_;
  std::vector<Step> steps_;
  std::map<int, std::size_t> kinds_;  // by field number
  std::set<std::uint32_t> subscriptions_;
  std::map<std::string, std::size_t> shorthand_;
};

}  // namespace kelvane_hub
