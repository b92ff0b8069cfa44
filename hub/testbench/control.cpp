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
#include "hub/messages/technologies.h"
#include "hub/scenario/fields.h"
#include "hub/scenario/mistakes.h"
#include "hub/scenario/scenario_check.h"
#include "hub/scenario/seconds.h"
#include "hub/testbench/fault_orders.h"
#include "hub/testbench/status.h"

namespace kelvane_hub {
namespace {

// As scenarios have them.
constexpr double latest = 1e7;

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
      {"fault", "KIND [NAME=VALUE]...|clear|list", "what goes wrong from now on, or goes wrong no more",
       &Control::fault},
      {"pause", "", "scenario time stands still", &Control::pause},
      {"resume", "", "scenario time goes on", &Control::resume},
      {"next", "", "the next step happens now, and scenario time jumps there", &Control::next},
      {"seek", "S", "scenario time becomes S seconds", &Control::seek},
      {"restart", "", "the scenario begins anew", &Control::restart},
      {"speed", "N", "play it N times as fast, 0.01 to 10000", &Control::speed},
      {"status", "", "where the scenario is, and what sessions have asked for", &Control::status},
      {"record", "FILE", "write what has happened since the scenario began as a scenario", &Control::record},
      {"capture", "FILE|stop", "keep what hub and clients say from now on", &Control::capture},
      {"quit", "", "the hub ends", &Control::quit},
      {"help", "[COMMAND]", "say what there is", &Control::help},
  };
  return all;
}

Control::Control(Performance& performance, std::function<void()> quit, Capturing* capturing)
    : performance_(performance),
      quit_(std::move(quit)),
      capturing_(capturing),
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
  LiveSteps& steps = performance_.live();
  if (!steps.has_next()) throw InputError("expected a step that follows, found the end of the scenario");
  const std::string kind = steps.skip(now);
  performance_.advance(now);
  return {concat(when(now), " steps=", performance_.timeline().taken(), " what=", kind)};
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
  performance_.live().check_pace(speed);
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
  const std::string left_out = fault_changes_ == 0 ? "" : concat(" live_faults_left_out=", fault_changes_);
  return {concat(when(now), " steps=", recorder_.recorded().steps_size(), left_out), fault_notes_ + recorder_.text()};
}

Control::Answer Control::capture(Orders& orders, Time now) {
  const std::string& file = orders.text();
  if (file.empty() || file == "-") {
    throw InputError(concat("expected a file to write or stop, found ", file.empty() ? "none" : quoted(file)));
  }
  if (capturing_ == nullptr) throw InputError("expected a hub that can write captures, found one that cannot");
  if (file == "stop") return {concat(when(now), " messages=", capturing_->stop_capture())};
  capturing_->start_capture(file);
  return {concat(when(now), " file=", file)};
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
  if (command.name == "set") lines += help_for_set();
  if (command.name == "fault") lines += help_for_faults();
  return {"", lines};
}

/// The fields of the serving cells or, while there are none, of a cell of each technology.
std::string Control::help_for_set() const {
  std::vector<mox_wwan_cell_info> cells;
  for (const auto& [sub, state] : performance_.simulator().playback().modem()) {
    if (state.cells && !state.cells->cells.cells().empty()) cells.push_back(state.cells->cells.cells(0));
  }
  std::string lines = cells.empty() ? "there are no cells yet; these are the fields that cells can have\n" : "";
  if (cells.empty()) {
    for (const Technology& technology : technologies()) (void)make_info(cells.emplace_back(), technology);
  }
  std::vector<std::string> names;
  for (const mox_wwan_cell_info& cell : cells) {
    for (const std::string& name : fields_of(cell)) {
      if (std::ranges::find(names, name) == names.end()) names.push_back(name);
    }
  }
  for (const std::string& name : names) lines += name + "=\n";
  return lines;
}

void Control::expect_under_way() const {
  const Timeline& timeline = performance_.timeline();
  if (!timeline.started() || timeline.is_held()) {
    const char* const awaited = timeline.started() ? "clients to ask for something" : "a client to configure a sensor";
    throw InputError(concat("expected a scenario that is under way, found one that waits for ", awaited));
  }
}

std::string Control::when(Time now) const { return concat("at=", to_milliseconds(performance_.timeline().at(now))); }

}  // namespace kelvane_hub
