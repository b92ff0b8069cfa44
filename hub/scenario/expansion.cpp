#include "hub/scenario/expansion.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <optional>
#include <ranges>
#include <utility>

#include "hub/base/chance.h"
#include "hub/base/concat.h"
#include "hub/base/input_error.h"
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

/// Without what adding up leaves in the last digits.
double to_microseconds(double seconds) { return std::round(seconds * 1e6) / 1e6; }

void forget_timestamps(Cells& cells) {
  for (auto& cell : *cells.mutable_cells()) cell.clear_timestamp();
}

/// What is wrong with when a ramp or variation happens; empty: nothing.
template <class Said>
std::string wrong_times(const Said& said, double begin) {
  if (!(said.over() > 0 && begin + said.over() <= longest)) {
    return concat("expected more than 0 seconds (over), up to 10000000 at the most, found ",
                  said.has_over() ? shown_seconds(said.over()) : "none");
  }
  if (said.every() >= shortest && said.every() <= longest) return "";
  return concat("expected 0.001 to 10000000 seconds (every), found ", shown_seconds(said.every()));
}

}  // namespace

void Expansion::take(const scenario_step& step, const TextPlace& place) {
  if (!courses_.empty()) play_until(step.at());
  switch (step.what_case()) {
    case scenario_step::kChange:
      return change(step, place);
    case scenario_step::kRamp:
      return ramp(step, place);
    case scenario_step::kVary:
      return vary(step, place);
    case scenario_step::kCells:
      states_[step.cells().sub()] = {to_.steps_size()};
      [[fallthrough]];
    default:
      return to_.add_step(step);
  }
}

void Expansion::finish() { play_until(std::numeric_limits<double>::infinity()); }

void Expansion::tell(Mistakes& mistakes) const {
  for (const auto& [place, message] : mistakes_) mistakes.add(place, message);
}

void Expansion::change(const scenario_step& step, const TextPlace& place) {
  const auto& change = step.change();
  to_.note_shorthand(kind_of(step));
  if (!change.has_set() && change.clear().empty()) {
    complain(place, "expected what is set or cleared (set, clear), found a change without it");
  }
  const std::vector<int> meant = cells_meant(change, kind_of(step), place);
  if (meant.empty()) return;
  State& state = *find_state(change.sub());
  forget_timestamps(state.cells);
  for (const int number : meant) {
    Cell& cell = *state.cells.mutable_cells(number);
    const Cell before = cell;
    try {
      for (const auto& name : change.clear()) set_field(cell, name, "");
    } catch (const InputError& error) {
      return complain(place, concat("clear: ", error.what()));
    }
    cell.MergeFrom(change.set());
    doubt(before, cell, place);
  }
  emit(state, step.at(), place);
}

void Expansion::ramp(const scenario_step& step, const TextPlace& place) {
  const auto& ramp = step.ramp();
  for (Course& course : courses_of(ramp, step, place)) {
    if (!set_ends(course, ramp)) return;
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

/// Returns false if one of them is wrong.
bool Expansion::set_ends(Course& course, const scenario_ramp& ramp) {
  const auto value = course.field.read(find_state(course.sub)->cells.cells(course.cell));
  if (!ramp.has_to()) {
    complain(course.place, "expected a value to go to (to), found a ramp without one");
  } else if (!ramp.has_from() && !value) {
    complain(course.place, concat("expected a value to go from (from), since ", course.name, " is absent, found none"));
  } else if (ramp.has_from() && !course.field.holds(ramp.from())) {
    complain(course.place,
             concat("from: expected ", course.field.what_it_takes(), ", found ", shown_seconds(ramp.from())));
  } else if (!course.field.holds(ramp.to())) {
    complain(course.place, concat("to: expected ", course.field.what_it_takes(), ", found ", shown_seconds(ramp.to())));
  } else {
    course.from = ramp.has_from() ? ramp.from() : *value;
    course.to = ramp.to();
    return true;
  }
  return false;
}

void Expansion::vary(const scenario_step& step, const TextPlace& place) {
  const auto& vary = step.vary();
  ++variations_;
  if (!(vary.by() >= 1 && vary.by() <= most_by && vary.by() == std::round(vary.by()))) {
    return complain(place, concat("expected a whole number from 1 to 1000000000 (by), found ",
                                  vary.has_by() ? shown_seconds(vary.by()) : "none"));
  }
  if (vary.over() > 0 && vary.over() <= vary.every()) {
    return complain(place, concat("expected more seconds (over) than every's ", shown_seconds(vary.every()), ", found ",
                                  shown_seconds(vary.over())));
  }
  for (Course& course : courses_of(vary, step, place)) {
    if (!course.field.read(find_state(course.sub)->cells.cells(course.cell))) {
      return complain(place, concat("expected a value of ", course.name, " that can vary, found none"));
    }
    course.by = static_cast<std::int64_t>(vary.by());
    course.number = variations_;
    course.moments = 1;
    play(std::move(course), step.at());
  }
}

/// Empty if there is something wrong. Of a subscription and cells that are there, and with a field of theirs.
template <class Said>
std::vector<Expansion::Course> Expansion::courses_of(const Said& said, const scenario_step& step,
                                                     const TextPlace& place) {
  to_.note_shorthand(kind_of(step));
  if (const auto wrong = wrong_times(said, step.at()); !wrong.empty()) {
    complain(place, wrong);
    return {};
  }
  std::vector<Course> courses;
  for (const int number : cells_meant(said, kind_of(step), place)) {
    try {
      const auto field = NumberField::find(find_state(said.sub())->cells.cells(number), said.field());
      // Its moments are in microseconds, and the last of them is the end.
      const double end = to_microseconds(step.at() + said.over());
      courses.push_back({place, said.sub(), number, said.field(), field, step.at(), end, said.every()});
    } catch (const InputError& error) {
      complain(place, concat("field: ", error.what()));
      return {};
    }
  }
  const double moments = moments_ + std::ceil(said.over() / said.every()) * static_cast<double>(courses.size());
  if (moments > most_moments) {
    complain(place,
             concat("expected at most 100000 steps of all ramps and variations, found ", shown_seconds(moments)));
    return {};
  }
  moments_ = moments;
  return courses;
}

/// The numbers of the cells; none if that is a mistake.
template <class Said>
std::vector<int> Expansion::cells_meant(const Said& said, const std::string& kind, const TextPlace& place) {
  const State* const state = find_state(said.sub());
  const int count = state == nullptr ? 0 : state->cells.cells_size();
  std::vector<int> meant;
  if (count == 0) {
    complain(place, concat("expected cells of subscription ", said.sub(), " before its ", kind, ", found none"));
  } else if (said.has_cell() && said.all_cells()) {
    complain(place, "expected cell or all_cells, found both");
  } else if (said.cell() >= static_cast<std::uint32_t>(count)) {
    complain(place, concat("expected a cell from 0 to ", count - 1, ", found ", said.cell()));
  } else if (said.all_cells()) {
    for (int i = 0; i < count; ++i) meant.push_back(i);
  } else {
    meant.push_back(static_cast<int>(said.cell()));
  }
  return meant;
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
    const auto by = std::views::values(parts);
    if (const auto value = field.read(cell)) field.write(cell, std::accumulate(by.begin(), by.end(), *value));
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
