#include "hub/scenario/courses.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "hub/base/chance.h"
#include "hub/base/concat.h"
#include "hub/base/input_error.h"
#include "hub/scenario/change.h"
#include "hub/scenario/seconds.h"

namespace kelvane_hub {
namespace {

using Cell = mox_wwan_cell_info;

// What a file of a few lines can become: a second's work, and little enough memory.
constexpr double most_moments = 100'000;

constexpr double shortest = 0.001;  // seconds
constexpr double longest = 1e7;     // likewise, as of a scenario
constexpr double most_by = 1e9;

template <class Said>
void check_times(const Said& said, double begin, double over) {
  if (!(over > 0 && begin + over <= longest)) {
    throw ShorthandError("over", concat("expected more than 0 seconds (over), up to 10000000 at the most, found ",
                                        said.has_over() ? shown_seconds(over) : "none"));
  }
  if (said.every() >= shortest && said.every() <= longest) return;
  throw ShorthandError("every",
                       concat("expected 0.001 to 10000000 seconds (every), found ", shown_seconds(said.every())));
}

const char* kind_of(const scenario_ramp&) { return "ramp"; }
const char* kind_of(const scenario_vary&) { return "vary"; }

}  // namespace

Courses::Cells* Courses::find(std::uint32_t sub) {
  State* const state = find_state(sub);
  return state == nullptr ? nullptr : &state->cells;
}

scenario_step Courses::told(std::uint32_t sub, double seconds) {
  scenario_step step;
  step.set_at(seconds);
  *step.mutable_cells() = varied(sub, find_state(sub)->cells);
  return step;
}

Courses::Cells Courses::varied(std::uint32_t sub, Cells cells) const {
  const auto state = states_.find(sub);
  if (state == states_.end()) return cells;
  for (const auto& [at, parts] : state->second.offsets) {
    const auto& [number, field] = at;
    if (number >= cells.cells_size()) continue;
    Cell& cell = *cells.mutable_cells(number);
    if (!field.fits(cell)) continue;
    const auto add = [](double sum, const auto& part) { return sum + part.second; };
    if (const auto value = field.read(cell))
      field.write(cell, std::accumulate(parts.begin(), parts.end(), *value, add));
  }
  return cells;
}

std::vector<Course> Courses::plan(const scenario_ramp& ramp, double seconds, const TextPlace& place) {
  auto planned = courses_of(ramp, seconds, ramp.over(), place);
  for (Course& course : planned) set_ends(course, ramp);
  return planned;
}

void Courses::set_ends(Course& course, const scenario_ramp& ramp) {
  const auto value = course.field.read(find_state(course.sub)->cells.cells(course.cell));
  if (!ramp.has_to()) throw ShorthandError("", "expected a value to go to (to), found a ramp without one");
  if (!ramp.has_from() && !value) {
    throw ShorthandError("field",
                         concat("expected a value to go from (from), since ", course.name, " is absent, found none"));
  }
  const auto expect_in_range = [&course](const char* name, double end) {
    if (course.field.holds(end)) return;
    throw ShorthandError(name,
                         concat(name, ": expected ", course.field.what_it_takes(), ", found ", shown_seconds(end)));
  };
  if (ramp.has_from()) expect_in_range("from", ramp.from());
  expect_in_range("to", ramp.to());
  course.tells_beginning = ramp.has_from();
  course.from = ramp.has_from() ? ramp.from() : *value;
  course.to = ramp.to();
}

std::vector<Course> Courses::plan(const scenario_vary& vary, double seconds, const TextPlace& place) {
  if (!(vary.by() >= 1 && vary.by() <= most_by && vary.by() == std::round(vary.by()))) {
    throw ShorthandError("by", concat("expected a whole number from 1 to 1000000000 (by), found ",
                                      vary.has_by() ? shown_seconds(vary.by()) : "none"));
  }
  if (vary.over() > 0 && vary.over() <= vary.every()) {
    throw ShorthandError("over", concat("expected more seconds (over) than every's ", shown_seconds(vary.every()),
                                        ", found ", shown_seconds(vary.over())));
  }
  const bool is_endless = endless_ && !vary.has_over();
  auto planned = courses_of(vary, seconds, is_endless ? longest - seconds : vary.over(), place);
  for (Course& course : planned) {
    if (!course.field.read(find_state(course.sub)->cells.cells(course.cell))) {
      throw ShorthandError("field", concat("expected a value of ", course.name, " that can vary, found none"));
    }
    course.by = static_cast<std::int64_t>(vary.by());
    course.number = variations_ + 1;
    course.is_endless = is_endless;
  }
  return planned;
}

/// Of a subscription and cells that are there, and with a field of theirs.
template <class Said>
std::vector<Course> Courses::courses_of(const Said& said, double seconds, double over, const TextPlace& place) {
  check_times(said, seconds, over);
  const State* const state = find_state(said.sub());
  const double steps = said.has_over() ? std::ceil(over / said.every()) : 1;
  std::vector<Course> courses;
  for (const int number : cells_meant(said, kind_of(said), state == nullptr ? 0 : state->cells.cells_size())) {
    try {
      const auto field = NumberField::find(state->cells.cells(number), said.field());
      // Its moments are in microseconds, and the last of them is the end.
      const double end = to_microseconds(seconds + over);
      courses.push_back({place, said.sub(), number, said.field(), field, seconds, end, said.every(), steps});
    } catch (const InputError& error) {
      throw ShorthandError("field", concat("field: ", error.what()));
    }
  }
  const double moments = moments_ + steps * static_cast<double>(courses.size());
  if (moments > most_moments) {
    throw ShorthandError(
        "", concat("expected at most 100000 steps of all ramps and variations, found ", shown_seconds(moments)));
  }
  return courses;
}

std::uint64_t Courses::begin(std::vector<Course> planned) {
  ++orders_;
  for (Course& course : planned) {
    course.order = orders_;
    course.moments = 1;
    moments_ += course.steps;
    variations_ = std::max(variations_, course.number);
    if (course.tells_beginning) {
      Cells& cells = find_state(course.sub)->cells;
      forget_timestamps(cells);
      course.field.write(*cells.mutable_cells(course.cell), course.from);
    }
    const double seconds = course.begin;
    play(std::move(course), seconds);
  }
  return orders_;
}

std::optional<double> Courses::next() const {
  return courses_.empty() ? std::nullopt : std::optional(courses_.begin()->first.first);
}

Courses::Moment Courses::take_next() {
  const auto [first, end] = courses_.equal_range(courses_.begin()->first);
  const auto [seconds, sub] = first->first;
  std::vector<Course> due;
  for (auto at = first; at != end; at = courses_.erase(at)) due.push_back(std::move(at->second));
  State* const state = find_state(sub);
  const Moment moment{seconds, sub, due.front().place, state != nullptr};
  if (state != nullptr) forget_timestamps(state->cells);
  for (Course& course : due) {
    apply(course, seconds);
    if (seconds < course.end) play(std::move(course), seconds);
  }
  return moment;
}

std::size_t Courses::end_if(const std::function<bool(const Course&)>& is_meant) {
  return std::erase_if(courses_, [&](const auto& entry) {
    if (!is_meant(entry.second)) return false;
    if (State* const state = find_state(entry.second.sub); state != nullptr) forget_offset(*state, entry.second);
    return true;
  });
}

void Courses::forget_moments() {
  moments_ = 0;
  for (const auto& [key, course] : courses_) moments_ += course.steps;
}

std::vector<const Course*> Courses::under_way() const {
  std::vector<const Course*> all;
  for (const auto& [key, course] : courses_) all.push_back(&course);
  return all;
}

std::set<std::uint64_t> Courses::orders() const {
  std::set<std::uint64_t> orders;
  for (const auto& [key, course] : courses_) orders.insert(course.order);
  return orders;
}

void Courses::clear() {
  courses_.clear();
  states_.clear();
  variations_ = first_variation_;
  moments_ = 0;
}

/// At its next moment, not before `seconds`.
void Courses::play(Course course, double seconds) {
  const double next = to_microseconds(course.begin + static_cast<double>(course.moments++) * course.every);
  const Key key(std::max(std::min(next, course.end), seconds), course.sub);
  courses_.emplace(key, std::move(course));
}

/// A cell, or a field of it, that a later step has taken away is left alone.
void Courses::apply(Course& course, double seconds) {
  State* const state = find_state(course.sub);
  if (state == nullptr) return;
  forget_offset(*state, course);
  if (course.cell >= state->cells.cells_size()) return;
  Cell& cell = *state->cells.mutable_cells(course.cell);
  if (!course.field.fits(cell)) {
    try {
      course.field = NumberField::find(cell, course.name);
    } catch (const InputError&) {
      return;
    }
  }
  if (!course.varies()) {
    const double part = seconds < course.end ? (seconds - course.begin) / (course.end - course.begin) : 1;
    return course.field.write(cell, course.from + (course.to - course.from) * part);
  }
  if (seconds >= course.end || !course.field.read(cell)) return;
  Chance chance(seed_(), course.number, static_cast<std::uint64_t>(course.cell), course.moments);
  state->offsets[{course.cell, course.field}][course.number] = static_cast<double>(chance.within(course.by));
}

/// What it has added so far; others go on.
void Courses::forget_offset(State& state, const Course& course) {
  const auto found = state.offsets.find({course.cell, course.field});
  if (found == state.offsets.end()) return;
  found->second.erase(course.number);
  if (found->second.empty()) state.offsets.erase(found);
}

/// Null if it was given none.
Courses::State* Courses::find_state(std::uint32_t sub) {
  const auto found = states_.find(sub);
  if (found == states_.end()) return nullptr;
  State& state = found->second;
  if (!state.is_asked) state.cells = state.said();
  state.is_asked = true;
  return &state;
}

}  // namespace kelvane_hub
