// Fields of cells on their way: ramps and variations, moment by moment.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "hub/scenario/fields.h"
#include "hub/scenario/text_fields.h"
#include "scenario.pb.h"

namespace kelvane_hub {

/// A ramp or a variation of a field of one cell.
struct Course {
  TextPlace place;  // of its step
  std::uint32_t sub;
  int cell;
  std::string name;
  NumberField field;
  double begin;
  double end;
  double every;
  double steps;               // that it may make at most; of one without an end 1
  std::uint64_t moments = 0;  // that have been
  std::uint64_t order = 0;    // all of one ramp or variation have the same, from 1
  // Of a ramp.
  bool tells_beginning = false;
  double from = 0;
  double to = 0;
  // Of a variation.
  std::int64_t by = 0;
  std::uint64_t number = 0;  // of all variations
  bool is_endless = false;

  bool varies() const { return by != 0; }
};

/// Plays ramps and variations of the cells of subscriptions that others tell, too. At each of its moments, by scenario
/// time, a course says anew what was said last but for its field. Cells that are told anew have no timestamp of before.
/// What goes wrong with shorthand is thrown as ShorthandError, and then nothing has changed.
class Courses {
 public:
  using Cells = mox_wwan_event_serving_neighboring_cell_info;

  /// Of the values that vary; asked when something does.
  using Seed = std::function<std::uint64_t()>;

  /// Variations are numbered from behind `variations` on, which is part of their chance. `endless`: one that says no
  /// end has none, as far as scenario time goes.
  explicit Courses(Seed seed, std::uint64_t variations = 0, bool endless = false)
      : seed_(std::move(seed)), variations_(variations), first_variation_(variations), endless_(endless) {}

  /// The subscription has other cells from now on; they are asked for once, if somebody wants to know them.
  void say(std::uint32_t sub, std::function<Cells()> cells) { states_[sub] = {std::move(cells)}; }

  /// Whether some were.
  bool knows(std::uint32_t sub) const { return states_.contains(sub); }

  /// Its cells without what varies, which may be changed; null if none were said.
  Cells* find(std::uint32_t sub);

  /// The same with what varies at the moment. For one that has some.
  scenario_step told(std::uint32_t sub, double seconds);

  /// What becomes of `cells`, which may take the place of those that the subscription has.
  Cells varied(std::uint32_t sub, Cells cells) const;

  /// The courses that begin at so many seconds, one a cell; all that can be wrong with them is found here.
  std::vector<Course> plan(const scenario_ramp& ramp, double seconds, const TextPlace& place);
  std::vector<Course> plan(const scenario_vary& vary, double seconds, const TextPlace& place);

  /// They begin. If they tell their beginning, told() has it. Returns the number of their order.
  std::uint64_t begin(std::vector<Course> planned);

  bool empty() const { return courses_.empty(); }

  /// Seconds of the next moment; none: nothing is under way.
  std::optional<double> next() const;

  /// That of one subscription at one time.
  struct Moment {
    double seconds;
    std::uint32_t sub;
    TextPlace place;  // of the first of those that make it
    bool has_cells;   // that can be told
  };
  Moment take_next();

  /// Those that `is_meant` end without another moment; variations leave nothing behind. Returns how many.
  std::size_t end_if(const std::function<bool(const Course&)>& is_meant);

  /// Those that are over make room for others under the limit.
  void forget_moments();

  /// All that are under way, by their next moment.
  std::vector<const Course*> under_way() const;

  /// The orders of these.
  std::set<std::uint64_t> orders() const;

  /// None is under way, no cells were said, and variations are numbered anew.
  void clear();

 private:
  /// A field of one cell.
  using Place = std::pair<int, NumberField>;

  /// The cells of a subscription.
  struct State {
    std::function<Cells()> said;
    bool is_asked = false;
    Cells cells{};  // then, without offsets
    // What variations add at the moment, by their number.
    std::map<Place, std::map<std::uint64_t, double>> offsets{};
  };

  /// Of the next moment, and the subscription: all that happens then to it is one step.
  using Key = std::pair<double, std::uint32_t>;

  template <class Said>
  std::vector<Course> courses_of(const Said& said, double seconds, double over, const TextPlace& place);
  void set_ends(Course& course, const scenario_ramp& ramp);
  State* find_state(std::uint32_t sub);
  void play(Course course, double seconds);
  void apply(Course& course, double seconds);
  static void forget_offset(State& state, const Course& course);

  Seed seed_;
  std::map<std::uint32_t, State> states_;
  std::multimap<Key, Course> courses_;
  std::uint64_t variations_;
  std::uint64_t first_variation_;
  bool endless_;
  std::uint64_t orders_ = 0;
  double moments_ = 0;  // of all that have begun
};

}  // namespace kelvane_hub
