#include "hub/scenario/expansion.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <optional>
#include <utility>

#include "hub/base/chance.h"
#include "hub/base/concat.h"
#include "hub/base/input_error.h"
#include "hub/scenario/change.h"
#include "hub/scenario/plausibility.h"
#include "hub/scenario/scenario_check.h"
#include "hub/scenario/seconds.h"
#include "hub/scenario/step.h"

namespace kelvane_hub {
namespace {

using Cell = mox_wwan_cell_info;
using Cells = mox_wwan_event_serving_neighboring_cell_info;

// What a file of a few lines can become: a second's work, and little enough memory.
constexpr double most_moments = 100'000;
constexpr int most_cells = 1'000'000;

constexpr double shortest = 0.001;  // seconds
constexpr double longest = 1e7;     // likewise, as of a scenario
constexpr double most_by = 1e9;

template <class Said>
void check_times(const Said& said, double begin) {
  if (!(said.over() > 0 && begin + said.over() <= longest)) {
    throw ShorthandError("over", concat("expected more than 0 seconds (over), up to 10000000 at the most, found ",
                                        said.has_over() ? shown_seconds(said.over()) : "none"));
  }
  if (said.every() >= shortest && said.every() <= longest) return;
  throw ShorthandError("every",
                       concat("expected 0.001 to 10000000 seconds (every), found ", shown_seconds(said.every())));
}

}  // namespace

void Expansion::take(const scenario_step& step, const TextMessage& text) {
  if (!courses_.empty()) play_until(step.at());
  if (step.has_cells()) states_[step.cells().sub()] = {to_.steps_size()};
  if (!is_shorthand(step)) return to_.add_step(step);
  to_.note_shorthand(kind_of(step));
  try {
    take_shorthand(step, text.place);
  } catch (const ShorthandError& error) {
    const auto messages = messages_in(text.body, kind_of(step));
    const auto place = messages.empty() ? std::nullopt : place_in(messages.front().body, error.field());
    complain(place.value_or(text.place), error.what());
  }
}

void Expansion::take_shorthand(const scenario_step& step, const TextPlace& place) {
  if (step.has_change()) return change(step, place);
  if (step.has_ramp()) return ramp(step, place);
  vary(step, place);
}

void Expansion::finish() { play_until(std::numeric_limits<double>::infinity()); }

void Expansion::tell(Mistakes& mistakes) const {
  for (const auto& [place, message] : mistakes_) mistakes.add(place, message);
}

void Expansion::change(const scenario_step& step, const TextPlace& place) {
  const auto& change = step.change();
  State* const state = find_state(change.sub());
  Cells cells = state == nullptr ? Cells() : state->cells;
  for (const int number : apply_change(change, cells)) doubt(state->cells.cells(number), cells.cells(number), place);
  state->cells = std::move(cells);
  emit(*state, step.at(), place);
}

void Expansion::ramp(const scenario_step& step, const TextPlace& place) {
  const auto& ramp = step.ramp();
  for (Course& course : courses_of(ramp, step, place)) {
    set_ends(course, ramp);
    if (doubts_ != nullptr) {
      const Cell& before = find_state(course.sub)->cells.cells(course.cell);
      Cell after = before;
      course.field.write(after, course.to);
      doubt(before, after, place);
    }
    if (!ramp.has_from()) course.moments = 1;
    play(std::move(course), step.at());
  }
  if (ramp.has_from()) play_until(step.at());
}

void Expansion::set_ends(Course& course, const scenario_ramp& ramp) {
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
  course.from = ramp.has_from() ? ramp.from() : *value;
  course.to = ramp.to();
}

void Expansion::vary(const scenario_step& step, const TextPlace& place) {
  const auto& vary = step.vary();
  ++variations_;
  if (!(vary.by() >= 1 && vary.by() <= most_by && vary.by() == std::round(vary.by()))) {
    throw ShorthandError("by", concat("expected a whole number from 1 to 1000000000 (by), found ",
                                      vary.has_by() ? shown_seconds(vary.by()) : "none"));
  }
  if (vary.over() > 0 && vary.over() <= vary.every()) {
    throw ShorthandError("over", concat("expected more seconds (over) than every's ", shown_seconds(vary.every()),
                                        ", found ", shown_seconds(vary.over())));
  }
  for (Course& course : courses_of(vary, step, place)) {
    if (!course.field.read(find_state(course.sub)->cells.cells(course.cell))) {
      throw ShorthandError("field", concat("expected a value of ", course.name, " that can vary, found none"));
    }
    course.by = static_cast<std::int64_t>(vary.by());
    course.number = variations_;
    course.moments = 1;
    play(std::move(course), step.at());
  }
}

/// Of a subscription and cells that are there, and with a field of theirs.
template <class Said>
std::vector<Expansion::Course> Expansion::courses_of(const Said& said, const scenario_step& step,
                                                     const TextPlace& place) {
  check_times(said, step.at());
  const State* const state = find_state(said.sub());
  std::vector<Course> courses;
  for (const int number : cells_meant(said, kind_of(step), state == nullptr ? 0 : state->cells.cells_size())) {
    try {
      const auto field = NumberField::find(state->cells.cells(number), said.field());
      // Its moments are in microseconds, and the last of them is the end.
      const double end = to_microseconds(step.at() + said.over());
      courses.push_back({place, said.sub(), number, said.field(), field, step.at(), end, said.every()});
    } catch (const InputError& error) {
      throw ShorthandError("field", concat("field: ", error.what()));
    }
  }
  const double moments = moments_ + std::ceil(said.over() / said.every()) * static_cast<double>(courses.size());
  if (moments > most_moments) {
    throw ShorthandError(
        "", concat("expected at most 100000 steps of all ramps and variations, found ", shown_seconds(moments)));
  }
  moments_ = moments;
  return courses;
}

void Expansion::play_until(double seconds) {
  while (!courses_.empty() && courses_.begin()->first <= seconds) play_moment(courses_.begin()->first);
}

/// All that happens then to a subscription is one step.
void Expansion::play_moment(double seconds) {
  std::map<std::uint32_t, TextPlace> changed;
  const auto end = courses_.upper_bound(seconds);
  std::vector<Course> due;
  for (auto at = courses_.begin(); at != end; at = courses_.erase(at)) due.push_back(std::move(at->second));
  for (Course& course : due) {
    State* const state = find_state(course.sub);
    if (changed.try_emplace(course.sub, course.place).second && state != nullptr) forget_timestamps(state->cells);
    apply(course, seconds);
  }
  for (const auto& [sub, place] : changed) {
    if (State* const state = find_state(sub); state != nullptr) emit(*state, seconds, place);
  }
  for (Course& course : due) {
    if (seconds < course.end) play(std::move(course), seconds);
  }
}

/// At its next moment, not before `seconds`.
void Expansion::play(Course course, double seconds) {
  const double next = to_microseconds(course.begin + static_cast<double>(course.moments++) * course.every);
  const double time = std::max(std::min(next, course.end), seconds);
  courses_.emplace(time, std::move(course));
}

/// A cell, or a field of it, that a later step has taken away is left alone.
void Expansion::apply(Course& course, double seconds) {
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
  if (course.by == 0) {
    const double part = seconds < course.end ? (seconds - course.begin) / (course.end - course.begin) : 1;
    return course.field.write(cell, course.from + (course.to - course.from) * part);
  }
  if (seconds >= course.end || !course.field.read(cell)) return;
  Chance chance(seed_(), course.number, static_cast<std::uint64_t>(course.cell), course.moments);
  state->offsets[{course.cell, course.field}][course.number] = static_cast<double>(chance.within(course.by));
}

/// What it has added so far; others go on.
void Expansion::forget_offset(State& state, const Course& course) {
  const auto found = state.offsets.find({course.cell, course.field});
  if (found == state.offsets.end()) return;
  found->second.erase(course.number);
  if (found->second.empty()) state.offsets.erase(found);
}

/// Null if it was given none.
Expansion::State* Expansion::find_state(std::uint32_t sub) {
  const auto found = states_.find(sub);
  if (found == states_.end()) return nullptr;
  State& state = found->second;
  if (!state.is_unpacked) state.cells = to_.step(state.said).cells();
  state.is_unpacked = true;
  return &state;
}

void Expansion::emit(State& state, double seconds, const TextPlace& place) {
  if (cells_ > most_cells) return;
  cells_ += state.cells.cells_size();
  if (cells_ > most_cells) {
    courses_.clear();
    return complain(place, concat("expected at most ", most_cells, " cells in place of shorthand, found more"));
  }
  scenario_step step;
  step.set_at(seconds);
  *step.mutable_cells() = state.cells;
  for (const auto& [at, parts] : state.offsets) {
    const auto& [number, field] = at;
    Cell& cell = *step.mutable_cells()->mutable_cells(number);
    if (!field.fits(cell)) continue;
    const auto add = [](double sum, const auto& part) { return sum + part.second; };
    if (const auto value = field.read(cell))
      field.write(cell, std::accumulate(parts.begin(), parts.end(), *value, add));
  }
  if (const std::size_t size = step.ByteSizeLong(); size > most_step_bytes) {
    return complain(place, concat("expected at most ", most_step_bytes, " bytes, found a step of ", size));
  }
  to_.add_step(step);
}

/// Of what was not so before.
void Expansion::doubt(const Cell& before, const Cell& after, const TextPlace& place) {
  if (doubts_ == nullptr) return;
  const auto known = oddities_of(before);
  for (const auto& odd : oddities_of(after)) {
    if (std::ranges::find(known, odd) == known.end()) doubts_->add(place, "warning: " + odd);
  }
}

}  // namespace kelvane_hub
