#include "hub/testbench/control.h"

#include <google/protobuf/text_format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <utility>
#include <vector>

#include "hub/base/concat.h"
#include "hub/base/input_error.h"
#include "hub/messages/catalogue.h"
#include "hub/scenario/mistakes.h"
#include "hub/scenario/scenario_check.h"
#include "hub/scenario/step.h"
#include "hub/testbench/fields.h"
#include "hub/testbench/status.h"

namespace kelvane_hub {
namespace {

// As scenarios have them.
constexpr double latest = 1e7;

double to_milliseconds(ScenarioTime time) { return std::round(time.count() * 1e3) / 1e3; }

/// Each line with "| " before it.
std::string marked(const std::string& lines) {
  std::string text;
  for (std::size_t begin = 0; begin < lines.size();) {
    const std::size_t end = lines.find('\n', begin) + 1;
    text += concat("| ", std::string_view(lines).substr(begin, end - begin));
    begin = end;
  }
  return text;
}

/// On one line, whatever a parser says.
std::string joined(std::string text) {
  std::ranges::replace(text, '\n', ';');
  return text;
}

/// Sets the fields as they were given; returns what was set.
template <class Values>
std::string set_fields(google::protobuf::Message& message, const Values& values, const char* ending = "") {
  if (values.empty()) throw InputError("expected FIELD=VALUE, found none");
  std::string text;
  for (const auto& [name, value] : values) {
    set_field(message, name.ends_with(ending) ? name : name + ending, value);
    text += concat(" ", name, "=", value);
  }
  return text;
}

/// As scenarios call it.
std::string kind_of(const scenario_step& step) {
  return scenario_step::descriptor()->FindFieldByNumber(step.what_case())->name();
}

scenario_step parse_step(const std::string& text) {
  Mistakes mistakes("step");
  google::protobuf::TextFormat::Parser parser;
  constexpr int deepest_nesting = 100;
  parser.SetRecursionLimit(deepest_nesting);
  parser.RecordErrorsTo(&mistakes);
  scenario_step step;
  (void)parser.ParseFromString(text, &step);
  mistakes.throw_if_any();
  if (step.has_at()) mistakes.add({}, "expected no time (at), since it happens now, found one");
  if (step.has_expect() || step.has_wait_for()) {
    mistakes.add({}, "expected something that happens to the modem, found expect or wait_for, for scenarios only");
  }
  step.set_at(0);
  ScenarioCheck check;
  check.check_step(step, {});
  check.tell(mistakes, true);
  mistakes.throw_if_any();
  return step;
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

std::span<const Control::Command> Control::commands() {
  static constexpr Command all[] = {
      {"set", "FIELD=VALUE... [cell=N] [sub=N]", "change a cell: the serving one, unless told otherwise",
       &Control::set},
      {"step", "'TEXTPROTO'", "a step of a scenario, without its time", &Control::step},
      {"call", "STATE|none [id=N] [sub=N]", "a voice call is in that state, or is no more", &Control::call},
      {"rrc", "lte=N|nr5g=N|wcdma=N... [sub=N]", "RRC states change", &Control::rrc},
      {"rail", "lte=true|nr5g=true... [sub=N]", "the network of a high-speed railway", &Control::rail},
      {"error", "N", "an error event", &Control::error},
      {"pause", "", "scenario time stands still", &Control::pause},
      {"resume", "", "scenario time goes on", &Control::resume},
      {"next", "", "the next step happens now, and scenario time jumps there", &Control::next},
      {"seek", "S", "scenario time becomes S seconds", &Control::seek},
      {"restart", "", "the scenario begins anew", &Control::restart},
      {"speed", "N", "play it N times as fast, 0.01 to 10000", &Control::speed},
      {"status", "", "where the scenario is, and what sessions have asked for", &Control::status},
      {"record", "FILE", "write what has happened since the scenario began as a scenario", &Control::record},
      {"quit", "", "the hub ends", &Control::quit},
      {"help", "[COMMAND]", "say what there is", &Control::help},
  };
  return all;
}

Control::Control(Performance& performance, std::function<void()> quit)
    : performance_(performance),
      quit_(std::move(quit)),
      recorder_(performance.played(), performance.faults().seed(), performance.timeline()) {
  performance_.simulator().watch(recorder_);
  performance_.simulator().watch(tally_);
}

std::string Control::answer(std::string_view line, Time now) try {
  const auto [values, lines] = carry_out(line, now);
  return concat(marked(lines), "OK", values.empty() ? "" : " ", values, "\n");
} catch (const InputError& error) {
  return concat("KO: ", joined(error.what()), "\n");
}

Control::Answer Control::carry_out(std::string_view line, Time now) {
  const std::size_t begin = std::min(line.find_first_not_of(" \t"), line.size());
  const std::size_t end = std::min(line.find_first_of(" \t\r", begin), line.size());
  const Command& command = find(std::string(line.substr(begin, end - begin)));
  Orders orders(line.substr(end));
  return (this->*command.function)(orders, now);
}

const Control::Command& Control::find(const std::string& name) {
  const auto found = std::ranges::find(commands(), name, &Command::name);
  if (found != commands().end()) return *found;
  std::vector<std::string_view> names;
  for (const Command& command : commands()) names.push_back(command.name);
  throw InputError(concat("expected ", alternatives(names), ", found ", quoted(name)));
}

Control::Answer Control::set(Orders& orders, Time now) {
  const std::uint32_t sub = take_sub(orders);
  Cells cells = cells_of(sub);
  const std::size_t number = take_cell(orders, cells);
  const auto values = orders.take_values();
  orders.expect_none();
  const std::string set = set_fields(*cells.mutable_cells(static_cast<int>(number - 1)), values);
  scenario_step step;
  *step.mutable_cells() = std::move(cells);
  apply(std::move(step), now);
  return {concat(when(now), " sub=", sub, " cell=", number, set)};
}

Control::Answer Control::step(Orders& orders, Time now) {
  if (orders.text().empty()) throw InputError("expected a step in protobuf text format, found none");
  scenario_step step = parse_step(orders.text());
  const auto sub = subscription_of(step);
  if (sub) expect_sub(*sub);
  const std::string kind = kind_of(step);
  apply(std::move(step), now);
  return {concat(when(now), " what=", kind, sub ? concat(" sub=", *sub) : "")};
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
  const auto values = orders.take_values();
  orders.expect_none();
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
  const auto values = orders.take_values();
  orders.expect_none();
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

Control::Answer Control::pause(Orders& orders, Time now) {
  orders.expect_none();
  performance_.timeline().pause(now);
  return {concat(when(now), " state=paused")};
}

Control::Answer Control::resume(Orders& orders, Time now) {
  orders.expect_none();
  performance_.timeline().resume(now);
  return {concat(when(now), " state=resumed")};
}

Control::Answer Control::next(Orders& orders, Time now) {
  orders.expect_none();
  expect_under_way();
  Timeline& timeline = performance_.timeline();
  if (!timeline.has_next()) throw InputError("expected a step that follows, found the end of the scenario");
  const std::string kind = kind_of(timeline.next());
  timeline.skip(now);
  performance_.advance(now);
  return {concat(when(now), " steps=", timeline.taken(), " what=", kind)};
}

Control::Answer Control::seek(Orders& orders, Time now) {
  const double seconds = number_in("seek", orders.take_word("seconds of scenario time"), 0, latest);
  orders.expect_none();
  expect_under_way();
  performance_.seek(seconds, now);
  performance_.advance(now);
  return {when(now)};
}

Control::Answer Control::restart(Orders& orders, Time now) {
  orders.expect_none();
  performance_.restart(now);
  return {when(now)};
}

Control::Answer Control::speed(Orders& orders, Time now) {
  const double speed = number_in("speed", orders.take_word("how many times as fast"), 0.01, 10000);
  orders.expect_none();
  check_pace(performance_.played(), speed);
  performance_.timeline().set_speed(speed, now);
  return {concat(when(now), " speed=", speed)};
}

Control::Answer Control::status(Orders& orders, Time now) {
  orders.expect_none();
  return {when(now), status_of(performance_, tally_, now)};
}

Control::Answer Control::record(Orders& orders, Time now) {
  // Whoever asks writes the file: the hub waits for no disk.
  orders.expect_none();
  return {concat(when(now), " steps=", recorder_.recorded().steps_size()), recorder_.text()};
}

Control::Answer Control::quit(Orders& orders, Time) {
  orders.expect_none();
  quit_();
  return {""};
}

Control::Answer Control::help(Orders& orders, Time) {
  std::string lines;
  if (orders.text().empty()) {
    for (const Command& command : commands()) {
      std::array<char, 160> line{};
      (void)std::snprintf(line.data(), line.size(), "%-8s%-33s%s\n", command.name.data(), command.form.data(),
                          command.what.data());
      lines += line.data();
    }
    return {"", lines};
  }
  const Command& command = find(orders.take_word("a command"));
  orders.expect_none();
  lines = concat(command.name, command.form.empty() ? "" : " ", command.form, ": ", command.what, "\n");
  return {"", lines + (command.name == "set" ? help_for_set() : "")};
}

/// The fields of the serving cells.
std::string Control::help_for_set() const {
  std::vector<std::string> names;
  for (const auto& [sub, state] : performance_.simulator().playback().modem()) {
    if (!state.cells || state.cells->cells.cells().empty()) continue;
    for (const std::string& name : fields_of(state.cells->cells.cells(0))) {
      if (std::ranges::find(names, name) == names.end()) names.push_back(name);
    }
  }
  std::string lines;
  for (const std::string& name : names) lines += name + "=\n";
  return lines;
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
  const auto& state = performance_.simulator().playback().modem().at(sub);
  if (state.cells && state.cells->cells.cells_size() > 0) return state.cells->cells;
  throw InputError(concat("expected cells of subscription ", sub, " to set, found none; a step can bring some"));
}

void Control::expect_under_way() const {
  const Timeline& timeline = performance_.timeline();
  if (!timeline.started() || timeline.is_held()) {
    const char* const awaited = timeline.started() ? "clients to ask for something" : "a client to configure a sensor";
    throw InputError(concat("expected a scenario that is under way, found one that waits for ", awaited));
  }
}

void Control::apply(scenario_step step, Time now) {
  step.set_at(to_milliseconds(performance_.timeline().at(now)));
  performance_.simulator().apply(step, now);
}

std::string Control::when(Time now) const {
  std::array<char, 32> text{};
  (void)std::snprintf(text.data(), text.size(), "at=%.3f", performance_.timeline().at(now).count());
  return text.data();
}

}  // namespace kelvane_hub
