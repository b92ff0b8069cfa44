// From shorthand in a scenario file to the plain steps that it stands for.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "hub/scenario/fields.h"
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
  using Seed = std::function<std::uint64_t()>;

  /// Appends to `to`; adds what can hardly be meant to `doubts`, unless that is null. Both outlive this object. `seed`
  /// is asked if something varies.
  Expansion(PackedScenario& to, Seed seed, Mistakes* doubts) : to_(to), seed_(std::move(seed)), doubts_(doubts) {}

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

  /// A field of one cell.
  using Place = std::pair<int, NumberField>;

  /// The cells of a subscription.
  struct State {
    std::size_t said = 0;  // the plain step that has them
    bool is_unpacked = false;
    mox_wwan_event_serving_neighboring_cell_info cells{};  // then, without offsets
    // What variations add at the moment, by their number in the file.
    std::map<Place, std::map<std::uint64_t, double>> offsets{};
  };

  /// A ramp or a variation of a field of one cell.
  struct Course {
    TextPlace place;
    std::uint32_t sub;
    int cell;
    std::string name;
    NumberField field;
    double begin;
    double end;
    double every;
    std::uint64_t moments = 0;  // that have been
    // Of a ramp.
    double from = 0;
    double to = 0;
    // Of a variation.
    std::int64_t by = 0;
    std::uint64_t number = 0;  // from 1, in the file
  };

  template <class Said>
  std::vector<Course> courses_of(const Said& said, const scenario_step& step, const TextPlace& place);
  void take_shorthand(const scenario_step& step, const TextPlace& place);
  void change(const scenario_step& step, const TextPlace& place);
  void ramp(const scenario_step& step, const TextPlace& place);
  void vary(const scenario_step& step, const TextPlace& place);
  void set_ends(Course& course, const scenario_ramp& ramp);
  void play_until(double seconds);
  void play_moment(double seconds);
  void play(Course course, double seconds);
  void apply(Course& course, double seconds);
  static void forget_offset(State& state, const Course& course);
  State* find_state(std::uint32_t sub);
  void emit(State& state, double seconds, const TextPlace& place);
  void doubt(const mox_wwan_cell_info& before, const mox_wwan_cell_info& after, const TextPlace& place);
  void complain(const TextPlace& place, std::string message) { mistakes_.push_back({place, std::move(message)}); }

  PackedScenario& to_;
  Seed seed_;
  Mistakes* doubts_;
  std::map<std::uint32_t, State> states_;
  std::multimap<double, Course> courses_;  // by the time of their next moment
  std::uint64_t variations_ = 0;
  double moments_ = 0;  // of all ramps and variations
  int cells_ = 0;       // of all steps in place of shorthand
  std::vector<Mistake> mistakes_;
};

}  // namespace kelvane_hub
