// The commands that make something happen to the modem: each makes a step.

#include <algorithm>
#include <cmath>
#include <utility>

#include "hub/base/concat.h"
#include "hub/base/input_error.h"
#include "hub/messages/catalogue.h"
#include "hub/scenario/change.h"
#include "hub/scenario/fields.h"
#include "hub/scenario/mistakes.h"
#include "hub/scenario/scenario_check.h"
#include "hub/scenario/short_text.h"
#include "hub/scenario/step.h"
#include "hub/testbench/control.h"

namespace kelvane_hub {
namespace {

double to_milliseconds(ScenarioTime time) { return std::round(time.count() * 1e3) / 1e3; }

/// The field of `message` that is called so, or so with `ending`.
std::string field_called(const google::protobuf::Message& message, const std::string& name, std::string_view ending) {
  std::vector<std::string> names;
  for (const std::string& field : fields_of(message)) {
    if (!field.ends_with(ending)) continue;
    names.push_back(field.substr(0, field.size() - ending.size()));
    if (name == field || name == names.back()) return field;
  }
  throw InputError(concat("expected ", alternatives(names), ", found ", quoted(name)));
}

/// Sets the fields as they were given; returns what was set.
template <class Values>
std::string set_fields(google::protobuf::Message& message, const Values& values, std::string_view ending = "") {
  if (values.empty()) throw InputError("expected FIELD=VALUE, found none");
  std::string text;
  for (const auto& [name, value] : values) {
    set_field(message, ending.empty() ? name : field_called(message, name, ending), value);
    text += concat(" ", name, "=", value);
  }
  return text;
}

void check_plain(const scenario_step& step, Mistakes& mistakes) {
  ScenarioCheck check;
  check.check_step(step, {});
  check.tell(mistakes, true);
}

scenario_step parse_step(const std::string& text) {
  Mistakes mistakes("step");
  scenario_step step;
  parse_short_text(text, mistakes.file(), step);
  if (step.has_expect() || step.has_wait_for()) {
    mistakes.add({}, "expected something that happens to the modem, found expect or wait_for, for scenarios only");
    mistakes.throw_if_any();
  }
  if (step.has_at()) mistakes.add({}, "expected no time (at), since it happens now, found one");
  step.set_at(0);
  // What it stands for is checked when that is known.
  if (!is_shorthand(step)) check_plain(step, mistakes);
  mistakes.throw_if_any();
  return step;
}

std::optional<std::uint32_t> sub_of(const scenario_step& step) {
  if (step.has_change()) return step.change().sub();
  if (step.has_ramp()) return step.ramp().sub();
  if (step.has_vary()) return step.vary().sub();
  return subscription_of(step);
}

/// What the subscription is in: the event of that id, as it was told last; as by default if it never was.
template <class Event>
Event state_of(const Modem& modem, std::uint32_t sub, EventId msg_id) {
  Event event;
  const auto& states = modem.at(sub).states;
  if (const auto state = states.find(msg_id); state != states.end()) (void)event.ParseFromString(state->second);
  event.set_sub(sub);
  return event;
}

}  // namespace

Control::Answer Control::set(Orders& orders, Time now) {
  const std::uint32_t sub = take_sub(orders);
  Cells cells = cells_of(sub);
  const std::size_t number = take_cell(orders, cells);
  const auto values = orders.take_only_values();
  const std::string set = set_fields(*cells.mutable_cells(static_cast<int>(number - 1)), values);
  change(cells, now);
  return {concat(when(now), " sub=", sub, " cell=", number, set)};
}

Control::Answer Control::step(Orders& orders, Time now) {
  if (orders.text().empty()) throw InputError("expected a step in protobuf text format, found none");
  scenario_step step = parse_step(orders.text());
  const std::string kind = kind_of(step);
  const auto sub = sub_of(step);
  if (sub) expect_sub(*sub);
  if (step.has_change()) {
    change(changed(step.change()), now);
  } else if (is_shorthand(step)) {
    if (auto first = performance_.live().order(step, now)) happen(std::move(*first), now);
  } else {
    apply(std::move(step), now);
  }
  return {concat(when(now), " what=", kind, sub ? concat(" sub=", *sub) : "")};
}

/// What it makes of the cells.
Cells Control::changed(const scenario_change& change) const {
  Cells cells = cells_of(change.sub());
  (void)apply_change(change, cells);
  return cells;
}

Control::Answer Control::call(Orders& orders, Time now) {
  const std::uint32_t sub = take_sub(orders);
  const auto id = orders.take_number("id");
  const std::string state = orders.take_word("a state or none");
  orders.expect_none();
  auto calls =
      state_of<mox_wwan_event_voice_calls>(performance_.simulator().playback().modem(), sub, voice_calls_event);
  auto& all = *calls.mutable_calls();
  if (state == "none") {
    const auto gone = [id](const auto& call) { return !id || call.call_id() == *id; };
    all.erase(std::remove_if(all.begin(), all.end(), gone), all.end());
  } else {
    const std::int32_t number = whole_number_in("call", state);
    const auto known = std::ranges::find(all, id.value_or(1), [](const auto& call) { return call.call_id(); });
    auto& call = known == all.end() ? *all.Add() : *known;
    call.set_call_id(id.value_or(1));
    call.set_call_state(number);
  }
  scenario_step step;
  *step.mutable_voice_calls() = std::move(calls);
  apply(std::move(step), now);
  return {
      concat(when(now), " sub=", sub, id || state != "none" ? concat(" id=", id.value_or(1)) : "", " state=", state)};
}

Control::Answer Control::rrc(Orders& orders, Time now) {
  const std::uint32_t sub = take_sub(orders);
  auto states =
      state_of<mox_wwan_event_rrc_states_info>(performance_.simulator().playback().modem(), sub, rrc_states_event);
  const auto values = orders.take_only_values();
  const std::string set = set_fields(states, values, "_rrc_state");
  scenario_step step;
  *step.mutable_rrc_states() = std::move(states);
  apply(std::move(step), now);
  return {concat(when(now), " sub=", sub, set)};
}

Control::Answer Control::rail(Orders& orders, Time now) {
  scenario_step step;
  auto& rail = *step.mutable_highspeed_rail();
  const std::uint32_t sub = take_sub(orders);
  rail.set_sub(sub);
  const auto values = orders.take_only_values();
  const std::string set = set_fields(rail, values);
  apply(std::move(step), now);
  return {concat(when(now), " sub=", sub, set)};
}

Control::Answer Control::error(Orders& orders, Time now) {
  const std::int32_t number = whole_number_in("error", orders.take_word("a number"));
  orders.expect_none();
  scenario_step step;
  step.mutable_error()->set_error(number);
  apply(std::move(step), now);
  return {concat(when(now), " error=", number)};
}

std::uint32_t Control::take_sub(Orders& orders) const {
  const Modem& modem = performance_.simulator().playback().modem();
  const auto sub = orders.take_number("sub");
  if (sub) expect_sub(*sub);
  return sub.value_or(modem.begin()->first);
}

/// Clients know of no others.
void Control::expect_sub(std::uint32_t sub) const {
  const auto known = performance_.played().subscriptions();
  if (!known.contains(sub)) throw InputError(concat("sub: expected ", alternatives(known), ", found ", sub));
}

/// Counted from 1, as cellscope prints them; the serving one if nothing else is said.
std::size_t Control::take_cell(Orders& orders, const Cells& cells) const {
  const auto count = static_cast<std::size_t>(cells.cells_size());
  const auto number = orders.take_number("cell");
  if (number && (*number == 0 || *number > count)) {
    throw InputError(concat("cell: expected a number from 1 to ", count, ", found ", *number));
  }
  if (number) return *number;
  const auto serving = std::ranges::find_if(cells.cells(), [](const auto& cell) { return cell.registered(); });
  return serving == cells.cells().end() ? 1 : static_cast<std::size_t>(serving - cells.cells().begin()) + 1;
}

Cells Control::cells_of(std::uint32_t sub) const {
  Cells cells = performance_.live().cells_of(sub);
  if (cells.cells_size() > 0) return cells;
  throw InputError(concat("expected cells of subscription ", sub, " to set, found none; a step can bring some"));
}

void Control::apply(scenario_step step, Time now) {
  performance_.live().note(step);
  happen(std::move(step), now);
}

/// These take the place of cells_of(). Throws InputError, and nothing has happened.
void Control::change(const Cells& cells, Time now) {
  scenario_step step;
  step.set_at(0);
  *step.mutable_cells() = performance_.live().varied(cells);
  Mistakes mistakes("step");
  check_plain(step, mistakes);
  mistakes.throw_if_any();
  performance_.live().change(cells);
  happen(std::move(step), now);
}

void Control::happen(scenario_step step, Time now) {
  step.set_at(to_milliseconds(performance_.timeline().at(now)));
  performance_.simulator().apply(step, now);
}

}  // namespace kelvane_hub
