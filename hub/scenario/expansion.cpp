#include "hub/scenario/expansion.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <utility>

#include "hub/base/concat.h"
#include "hub/scenario/change.h"
#include "hub/scenario/plausibility.h"
#include "hub/scenario/scenario_check.h"
#include "hub/scenario/step.h"

namespace kelvane_hub {
namespace {

using Cell = mox_wwan_cell_info;
using Cells = mox_wwan_event_serving_neighboring_cell_info;

// What a file of a few lines can become in little enough memory.
constexpr int most_cells = 1'000'000;

}  // namespace

void Expansion::take(const scenario_step& step, const TextMessage& text) {
  if (!courses_.empty()) play_until(step.at());
  if (step.has_cells()) {
    courses_.say(step.cells().sub(), [this, said = to_.steps_size()] { return to_.step(said).cells(); });
  }
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
  (void)courses_.begin(courses_.plan(step.vary(), step.at(), place));
}

void Expansion::finish() { play_until(std::numeric_limits<double>::infinity()); }

void Expansion::tell(Mistakes& mistakes) const {
  for (const auto& [place, message] : mistakes_) mistakes.add(place, message);
}

void Expansion::change(const scenario_step& step, const TextPlace& place) {
  const auto& change = step.change();
  Cells none;
  Cells* const found = courses_.find(change.sub());
  Cells& known = found == nullptr ? none : *found;
  Cells cells = known;
  for (const int number : apply_change(change, cells)) doubt(known.cells(number), cells.cells(number), place);
  known = std::move(cells);
  emit(change.sub(), step.at(), place);
}

void Expansion::ramp(const scenario_step& step, const TextPlace& place) {
  auto planned = courses_.plan(step.ramp(), step.at(), place);
  if (doubts_ != nullptr) {
    for (const Course& course : planned) {
      const Cell& before = courses_.find(course.sub)->cells(course.cell);
      Cell after = before;
      course.field.write(after, course.to);
      doubt(before, after, place);
    }
  }
  (void)courses_.begin(std::move(planned));
  if (step.ramp().has_from()) emit(step.ramp().sub(), step.at(), place);
}

void Expansion::play_until(double seconds) {
  while (courses_.next() && *courses_.next() <= seconds) {
    const Courses::Moment moment = courses_.take_next();
    if (moment.has_cells) emit(moment.sub, moment.seconds, moment.place);
  }
}

void Expansion::emit(std::uint32_t sub, double seconds, const TextPlace& place) {
  if (cells_ > most_cells) return;
  cells_ += courses_.find(sub)->cells_size();
  if (cells_ > most_cells) {
    (void)courses_.end_if([](const Course&) { return true; });
    return complain(place, concat("expected at most ", most_cells, " cells in place of shorthand, found more"));
  }
  const scenario_step step = courses_.told(sub, seconds);
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
