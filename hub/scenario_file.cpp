#include "hub/scenario_file.h"

#include <google/protobuf/io/tokenizer.h>
#include <google/protobuf/text_format.h>

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <limits>
#include <map>
#include <optional>
#include <sstream>
#include <utility>
#include <vector>

#include "hub/built_in_scenario.h"
#include "hub/files.h"
#include "hub/input_error.h"
#include "hub/wire.h"

namespace kelvane_hub {
namespace {

using google::protobuf::TextFormat;

// As deep as clients parse messages unless they say otherwise.
constexpr int deepest_nesting = 100;

/// A number with as many digits as its file needs to tell it from its neighbours.
std::string number(double value) {
  std::ostringstream text;
  text << std::setprecision(std::numeric_limits<double>::digits10) << value;
  return text.str();
}

/// Keeps what the parser and the checks below find, in the form that editors know how to jump to.
class Mistakes final : public google::protobuf::io::ErrorCollector {
 public:
  explicit Mistakes(std::string file) : file_(std::move(file)) {}

  // Lines and columns come counted from 0.
  void AddError(int line, google::protobuf::io::ColumnNumber column, const std::string& message) override {
    text_ += text_.empty() ? "" : "\n";
    text_ += file_ + ":" + std::to_string(line + 1) + ":" + std::to_string(column + 1) + ": " + message;
  }

  void throw_if_any() const {
    if (!text_.empty()) throw InputError(text_);
  }

 private:
  std::string file_;
  std::string text_;
};

/// Checks what the text format cannot: the rules that scenario.proto states in words.
class Checker {
 public:
  Checker(const scenario& checked, const TextFormat::ParseInfoTree& places, Mistakes& mistakes)
      : scenario_(checked), places_(places), mistakes_(mistakes) {}

  void check() {
    for (int i = 0; i < scenario_.sensors_size(); ++i) check_sensor(i);
    for (int i = 0; i < scenario_.steps_size(); ++i) check_step(i);
    check_repeat();
  }

 private:
  // Keeps scenario time in nanoseconds, slowed down by the slowest speed, well inside 64 bits.
  static constexpr double longest = 1e7;

  void complain(const char* field, int index, const std::string& message) {
    const auto* descriptor = scenario::descriptor()->FindFieldByName(field);
    const auto place = places_.GetLocation(descriptor, descriptor->is_repeated() ? index : -1);
    mistakes_.AddError(place.line, place.column, message);
  }

  void check_sensor(int i) {
    const auto& sensor = scenario_.sensors(i);
    if (sensor.data_type().empty()) complain("sensors", i, "expected a data_type, found a sensor without one");
    if (!std::ranges::all_of(sensor.refusals(), &scenario_refusal::has_msg_id)) {
      complain("sensors", i, "expected a msg_id in each refusal, found a refusal without one");
    }
    if (!sensor.has_suid()) return complain("sensors", i, "expected a suid, found a sensor without one");
    const std::pair key(sensor.suid().suid_low(), sensor.suid().suid_high());
    const sns_suid_sensor lookup;
    if (key == std::pair(lookup.suid_low(), lookup.suid_high())) {
      complain("sensors", i, "expected a suid of its own, found that of the lookup sensor");
    } else if (const auto [first, added] = sensors_.emplace(key, i); !added) {
      complain("sensors", i, "expected a suid of its own, found that of sensor " + std::to_string(first->second + 1));
    }
  }

  void check_step(int i) {
    const auto& step = scenario_.steps(i);
    if (!step.has_at()) {
      complain("steps", i, "expected a time (at), found a step without one");
    } else if (!(step.at() >= 0 && step.at() <= longest)) {
      complain("steps", i, "expected a time (at) from 0 to 10000000 seconds, found " + number(step.at()));
    } else if (step.at() < last_time_) {
      complain("steps", i,
               "expected a time (at) of " + number(last_time_) + " seconds or later, found " + number(step.at()));
    } else {
      last_time_ = step.at();
    }
    if (step.what_case() == scenario_step::WHAT_NOT_SET) {
      complain("steps", i, "expected something that happens (cells, voice_calls, …), found a step with a time only");
    }
    if (step.has_raw() && !step.raw().has_msg_id()) {
      complain("steps", i, "expected a msg_id, found a raw event without one");
    }
    // Leaves room for the envelope around it.
    if (step.ByteSizeLong() > max_payload - 1024) {
      complain("steps", i,
               "expected at most 64 MiB, found a step of " + std::to_string(step.ByteSizeLong()) + " bytes");
    }
  }

  void check_repeat() {
    constexpr double shortest = 0.001;
    if (!scenario_.has_repeat_after()) return;
    const double after = scenario_.repeat_after();
    if (!(after >= shortest && after <= longest && after > last_time_)) {
      complain("repeat_after", -1,
               "expected 0.001 to 10000000 seconds and more than the last step's " + number(last_time_) + ", found " +
                   number(after));
    }
  }

  const scenario& scenario_;
  const TextFormat::ParseInfoTree& places_;
  Mistakes& mistakes_;
  double last_time_ = 0;
  std::map<std::pair<std::uint64_t, std::uint64_t>, int> sensors_;
};

std::optional<std::uint32_t> subscription_of(const scenario_step& step) {
  switch (step.what_case()) {
    case scenario_step::kCells:
      return step.cells().sub();
    case scenario_step::kVoiceCalls:
      return step.voice_calls().sub();
    case scenario_step::kRrcStates:
      return step.rrc_states().sub();
    case scenario_step::kHighspeedRail:
      return step.highspeed_rail().sub();
    default:
      return std::nullopt;
  }
}

}  // namespace

scenario parse_scenario(const std::string& text, const std::string& name) {
  Mistakes mistakes(name);
  TextFormat::ParseInfoTree places;
  TextFormat::Parser parser;
  parser.SetRecursionLimit(deepest_nesting);
  parser.RecordErrorsTo(&mistakes);
  parser.WriteLocationsTo(&places);
  scenario parsed;
  const bool well_formed = parser.ParseFromString(text, &parsed);
  if (well_formed) Checker(parsed, places, mistakes).check();
  mistakes.throw_if_any();
  if (!well_formed) throw InputError(name + ": expected a scenario in protobuf text format, found something else");
  if (parsed.sensors_size() == 0 && name != built_in_scenario_name) {
    *parsed.mutable_sensors() = built_in_scenario().sensors();
  }
  return parsed;
}

scenario load_scenario(const std::filesystem::path& path) { return parse_scenario(read_file(path), path.string()); }

scenario built_in_scenario() { return parse_scenario(built_in_scenario_text, built_in_scenario_name); }

std::set<std::uint32_t> subscriptions_of(const scenario& checked) {
  std::set<std::uint32_t> subs;
  for (const auto& step : checked.steps()) {
    if (const auto sub = subscription_of(step)) subs.insert(*sub);
  }
  if (subs.empty()) subs.insert(0);
  return subs;
}

std::string describe(const scenario& checked) {
  std::ostringstream text;
  if (checked.has_description()) text << checked.description() << '\n';
  text << "sensors:";
  for (const auto& sensor : checked.sensors()) text << ' ' << sensor.data_type();
  text << "\nsubscriptions:";
  for (const auto sub : subscriptions_of(checked)) text << ' ' << sub;
  std::map<std::string, int> counts;
  for (const auto& step : checked.steps()) {
    const auto* kind = scenario_step::descriptor()->FindFieldByNumber(step.what_case());
    ++counts[kind->name()];
  }
  text << "\nsteps: " << checked.steps_size();
  for (const auto& [kind, count] : counts) text << ", " << kind << ' ' << count;
  const double end = checked.steps_size() == 0 ? 0 : checked.steps(checked.steps_size() - 1).at();
  text << "\nlast step at " << number(end) << " s";
  if (checked.has_repeat_after()) text << ", begins anew after " << number(checked.repeat_after()) << " s";
  text << '\n';
  return text.str();
}

}  // namespace kelvane_hub
