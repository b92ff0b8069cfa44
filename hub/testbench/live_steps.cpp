#include "hub/testbench/live_steps.h"

#include <algorithm>
#include <type_traits>
#include <utility>
#include <vector>

#include "hub/base/concat.h"
#include "hub/base/input_error.h"
#include "hub/scenario/scenario_check.h"
#include "hub/scenario/seconds.h"
#include "hub/scenario/short_text.h"
#include "hub/scenario/step.h"

namespace kelvane_hub {
namespace {

// Fields of cells: what takes a hub a few milliseconds to begin, and each moment to play.
constexpr std::size_t most_fields = 1000;

// So that none is drawn like one of the scenario.
constexpr std::uint64_t before_first_variation = std::uint64_t{1} << 32;

/// What a ramp or a variation is, or takes the place of, if it is under way.
template <class Said>
std::function<bool(const Course&)> those_of(const Said& said) {
  return [&said](const Course& course) {
    return course.varies() == std::is_same_v<Said, scenario_vary> && course.sub == said.sub() &&
           course.field.is_called(said.field()) &&
           (said.all_cells() || static_cast<std::uint32_t>(course.cell) == said.cell());
  };
}

bool says_only_field(const scenario_ramp& ramp) {
  return !ramp.has_from() && !ramp.has_to() && !ramp.has_over() && !ramp.has_every();
}
bool says_only_field(const scenario_vary& vary) { return !vary.has_by() && !vary.has_over() && !vary.has_every(); }

constexpr const char* lacks(const scenario_ramp&) { return "a value to go to (to), or a ramp"; }
constexpr const char* lacks(const scenario_vary&) { return "a whole number (by), or a variation"; }

void expect_fields(std::size_t count) {
  if (count <= most_fields) return;
  throw InputError(concat("expected at most ", most_fields, " fields of cells on their way, found ", count));
}

}  // namespace

LiveSteps::LiveSteps(Timeline& timeline, Courses::Seed seed, std::function<Cells(std::uint32_t sub)> cells_of)
    : timeline_(timeline), courses_(std::move(seed), before_first_variation, true), cells_of_(std::move(cells_of)) {}

scenario_step LiveSteps::take_next(Time now) {
  const auto due = moment_due();
  const auto other = timeline_.next_due();
  if (due && (!other || *due <= *other)) {
    const Courses::Moment moment = courses_.take_next();
    last_moment_ = moment.seconds;
    return told(moment.sub, moment.seconds).value_or(scenario_step());
  }
  last_moment_.reset();
  scenario_step step = timeline_.take_next(now);
  note(step);
  return step;
}

void LiveSteps::rewind() {
  timeline_.rewind();
  end_all();
}

ScenarioTime LiveSteps::last_taken() const {
  return last_moment_ ? ScenarioTime(*last_moment_) : timeline_.last_taken();
}

std::optional<scenario_step> LiveSteps::order(const scenario_step& step, Time now) {
  if (step.has_ramp()) return begin(step.ramp(), concat("ramp { ", short_text(step.ramp()), " }"), now);
  return begin(step.vary(), concat("vary { ", short_text(step.vary()), " }"), now);
}

template <class Said>
std::optional<scenario_step> LiveSteps::begin(const Said& said, const std::string& text, Time now) {
  if (says_only_field(said)) return end(said);
  if (timeline_.speed() == Pace::at_once) {
    throw InputError("expected a scenario that is played at some speed, found one whose steps follow at once");
  }
  Courses changed = courses_;
  if (!changed.knows(said.sub())) changed.say(said.sub(), [this, sub = said.sub()] { return cells_of_(sub); });
  if (said.all_cells()) expect_fields(static_cast<std::size_t>(changed.find(said.sub())->cells_size()));
  (void)changed.end_if(those_of(said));
  changed.forget_moments();
  auto planned = changed.plan(said, to_microseconds(at(now).count()), {});
  expect_fields(changed.under_way().size() + planned.size());
  const bool tells_beginning = planned.front().tells_beginning;
  const std::uint64_t order = changed.begin(std::move(planned));
  check_pace(changed, timeline_.speed());
  courses_ = std::move(changed);
  const auto under_way = courses_.orders();
  std::erase_if(texts_, [&under_way](const auto& known) { return !under_way.contains(known.first); });
  texts_[order] = concat(text, " since ", in_seconds(at(now)));
  if (!tells_beginning) return std::nullopt;
  return told(said.sub(), at(now).count());
}

template <class Said>
std::optional<scenario_step> LiveSteps::end(const Said& said) {
  if (courses_.end_if(those_of(said)) == 0) {
    throw InputError(concat("expected ", lacks(said), " of ", quoted(said.field()), " that ends, found neither"));
  }
  if (std::is_same_v<Said, scenario_ramp>) return std::nullopt;
  return told(said.sub(), 0);
}

std::string LiveSteps::skip(Time now) {
  if (is_moment_next()) {
    timeline_.skip_to(std::max(*courses_.next(), at(now).count()), now);
    return "cells";
  }
  std::string kind = kind_of(timeline_.next());
  timeline_.skip(now);
  return kind;
}

void LiveSteps::end_all() {
  courses_.clear();
  texts_.clear();
  last_moment_.reset();
}

LiveSteps::Cells LiveSteps::cells_of(std::uint32_t sub) {
  const Cells* const known = courses_.find(sub);
  return known == nullptr ? cells_of_(sub) : *known;
}

void LiveSteps::change(const Cells& cells) {
  if (Cells* const known = courses_.find(cells.sub()); known != nullptr) *known = cells;
}

void LiveSteps::note(const scenario_step& step) {
  if (!step.has_cells() || !courses_.knows(step.cells().sub())) return;
  // When they are asked for, the step has happened.
  courses_.say(step.cells().sub(), [this, sub = step.cells().sub()] { return cells_of_(sub); });
}

void LiveSteps::check_pace(Courses& courses, double speed) {
  std::map<std::uint64_t, double> endless;  // cells a second, of each order
  for (const Course* const course : courses.under_way()) {
    if (course->is_endless) endless[course->order] = courses.find(course->sub)->cells_size() / course->every;
  }
  double cells_a_second = 0;
  for (const auto& [order, of_order] : endless) cells_a_second += of_order * speed;
  constexpr double most = 100'000;
  if (cells_a_second <= most) return;
  throw InputError(concat("expected at most 100000 cells a second of variations without an end, found ",
                          shown_seconds(cells_a_second)));
}

std::string LiveSteps::under_way() const {
  std::string text;
  for (const std::uint64_t order : courses_.orders()) text += concat(text.empty() ? "" : "; ", texts_.at(order));
  return text;
}

/// None rather than what no client could be sent.
std::optional<scenario_step> LiveSteps::told(std::uint32_t sub, double seconds) {
  scenario_step step = courses_.told(sub, seconds);
  return step.ByteSizeLong() > most_step_bytes ? std::nullopt : std::optional(std::move(step));
}

std::optional<Time> LiveSteps::moment_due() const {
  const auto next = courses_.next();
  return next ? timeline_.when(ScenarioTime(*next)) : std::nullopt;
}

/// Rather than a step of the scenario.
bool LiveSteps::is_moment_next() const {
  const auto next = courses_.next();
  return next && (!timeline_.has_next() || *next <= timeline_.next_time());
}

}  // namespace kelvane_hub
