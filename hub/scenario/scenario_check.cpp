#include "hub/scenario/scenario_check.h"

#include <algorithm>
#include <map>
#include <utility>

#include "hub/base/concat.h"
#include "hub/base/input_error.h"
#include "hub/scenario/seconds.h"
#include "hub/wire/frame.h"

namespace kelvane_hub {
namespace {

using google::protobuf::TextFormat;

/// Checks what the text format cannot: the rules that scenario.proto states in words.
class Checker {
 public:
  Checker(const scenario& checked, const TextFormat::ParseInfoTree& places, Mistakes& mistakes)
      : scenario_(checked), places_(places), mistakes_(mistakes), all_known_(mistakes.text().empty()) {}

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
      complain("steps", i, "expected a time (at) from 0 to 10000000 seconds, found " + shown_seconds(step.at()));
    } else if (step.at() < last_time_) {
      complain("steps", i,
               "expected a time (at) of " + shown_seconds(last_time_) + " seconds or later, found " +
                   shown_seconds(step.at()));
    } else {
      last_time_ = step.at();
    }
    // If there is an unknown field it may have been meant to happen here.
    if (step.what_case() == scenario_step::WHAT_NOT_SET && all_known_) {
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
               "expected 0.001 to 10000000 seconds and more than the last step's " + shown_seconds(last_time_) +
                   ", found " + shown_seconds(after));
    }
  }

  const scenario& scenario_;
  const TextFormat::ParseInfoTree& places_;
  Mistakes& mistakes_;
  const bool all_known_;
  double last_time_ = 0;
  std::map<std::pair<std::uint64_t, std::uint64_t>, int> sensors_;
};

}  // namespace

void Mistakes::AddError(int line, google::protobuf::io::ColumnNumber column, const std::string& message) {
  text_ += text_.empty() ? "" : "\n";
  text_ += concat(file_, ":", line + 1, ":", column + 1, ": ", message);
}

void Mistakes::throw_if_any() const {
  if (!text_.empty()) throw InputError(text_);
}

void check_scenario(const scenario& checked, const TextFormat::ParseInfoTree& places, Mistakes& mistakes) {
  Checker(checked, places, mistakes).check();
}

void check_pace(const scenario& played, double speed) {
  constexpr double most_steps_a_second = 100'000;
  if (!played.has_repeat_after()) return;
  const double steps_a_second = played.steps_size() / played.repeat_after() * speed;
  if (steps_a_second > most_steps_a_second) {
    throw InputError(concat("--speed: expected at most 100000 steps a second, found ", steps_a_second, " (",
                            played.steps_size(), " steps in ", played.repeat_after(), " s at speed ", speed, ")"));
  }
}

}  // namespace kelvane_hub
