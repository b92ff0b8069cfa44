// What happens to the modem bit by bit after an order.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "hub/scenario/courses.h"
#include "hub/scenario/timeline.h"

namespace kelvane_hub {

/// The steps of a time line and, between them, those of ramps and variations that were ordered live: these come before
/// what the scenario has at the same time. They go by the time line's clock, beyond its end, too, and end with a jump
/// or a rewind. Their order takes little time, and their memory is bounded.
class LiveSteps final : public StepSource {
 public:
  using Cells = Courses::Cells;

  /// `timeline` outlives this object; `cells_of` knows the cells of a subscription as they were told last.
  LiveSteps(Timeline& timeline, Courses::Seed seed, std::function<Cells(std::uint32_t sub)> cells_of);

  void start(Time now) override { timeline_.start(now); }
  bool started() const override { return timeline_.started(); }
  std::optional<Time> next_due() const override { return earlier(moment_due(), timeline_.next_due()); }
  scenario_step take_next(Time now) override;
  bool ended() const override { return timeline_.ended(); }
  void rewind() override;
  ScenarioTime at(Time now) const override { return timeline_.at(now); }
  ScenarioTime last_taken() const override;
  std::optional<Time> when(ScenarioTime time) const override { return timeline_.when(time); }

  /// Begins what `step`, with a ramp or a variation, says, in the place of one of the same field; or ends that, if it
  /// says no more than the field. Returns the step that happens at once, if there is one. Throws InputError, and then
  /// nothing has changed.
  std::optional<scenario_step> order(const scenario_step& step, Time now);

  /// Whether a step follows that skip() can take.
  bool has_next() const { return timeline_.has_next() || (timeline_.started() && !courses_.empty()); }

  /// Scenario time jumps to it, as Timeline::skip() has it. Returns what it holds, as kind_of() says. To be called if
  /// has_next(), and if the time line is not held.
  std::string skip(Time now);

  /// Ends all; what they have made of the cells stays.
  void end_all();

  /// The cells of a subscription that is known, without what varies: as others may change them.
  Cells cells_of(std::uint32_t sub);

  /// What is told if `cells` take their place.
  Cells varied(const Cells& cells) const { return courses_.varied(cells.sub(), cells); }

  /// They do; what varies goes on.
  void change(const Cells& cells);

  /// A step happens that comes from elsewhere.
  void note(const scenario_step& step);

  /// Throws InputError if at that speed variations without an end would leave no time for clients.
  void check_pace(double speed) { check_pace(courses_, speed); }

  /// What is under way, in the words in which it was ordered; empty: nothing.
  std::string under_way() const;

 private:
  template <class Said>
  std::optional<scenario_step> begin(const Said& said, const std::string& text, Time now);
  template <class Said>
  std::optional<scenario_step> end(const Said& said);
  static void check_pace(Courses& courses, double speed);
  std::optional<scenario_step> told(std::uint32_t sub, double seconds);
  std::optional<Time> moment_due() const;
  bool is_moment_next() const;

  Timeline& timeline_;
  Courses courses_;
  const std::function<Cells(std::uint32_t sub)> cells_of_;
  std::optional<double> last_moment_;           // if it was taken last
  std::map<std::uint64_t, std::string> texts_;  // of orders that are under way, or were
};

}  // namespace kelvane_hub
