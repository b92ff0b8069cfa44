// From shorthand in a scenario file to the plain steps that it stands for.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "hub/scenario/courses.h"
#include "hub/scenario/mistakes.h"
#include "hub/scenario/packed_scenario.h"
#include "scenario.pb.h"

namespace kelvane_hub {

/// Takes the steps of a file in their order, and puts plain steps into a scenario: those of the file as they are, and
/// the cells of a moment for what is shorthand. A ramp and a variation go on while later steps come; what they make of
/// a moment happens before what the file has at that moment, and says anew what the last step said but for their
/// fields. Cells that are told anew have no timestamp of before.
class Expansion {
 public:
  /// Of the values that vary.
  using Seed = Courses::Seed;

  /// Appends to `to`; adds what can hardly be meant to `doubts`, unless that is null. Both outlive this object. `seed`
  /// is asked if something varies.
  Expansion(PackedScenario& to, Seed seed, Mistakes* doubts) : to_(to), courses_(std::move(seed)), doubts_(doubts) {}

  /// The next step, and where it stands.
  void take(const scenario_step& step, const TextMessage& text);

  /// After the last one: what is left to happen does.
  void finish();

  /// Whether something was wrong with shorthand: then steps are missing.
  bool has_mistakes() const { return !mistakes_.empty(); }

  /// Adds what was wrong with shorthand.
  void tell(Mistakes& mistakes) const;

 private:
  struct Mistake {
    TextPlace place;
    std::string message;
  };

  void take_shorthand(const scenario_step& step, const TextPlace& place);
  void change(const scenario_step& step, const TextPlace& place);
  void ramp(const scenario_step& step, const TextPlace& place);
  void play_until(double seconds);
  void emit(std::uint32_t sub, double seconds, const TextPlace& place);
  void doubt(const mox_wwan_cell_info& before, const mox_wwan_cell_info& after, const TextPlace& place);
  void complain(const TextPlace& place, std::string message) { mistakes_.push_back({place, std::move(message)}); }

  PackedScenario& to_;
  Courses courses_;
  Mistakes* doubts_;
  int cells_ = 0;  // of all steps in place of shorthand
  std::vector<Mistake> mistakes_;
};

}  // namespace kelvane_hub
