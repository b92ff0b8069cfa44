#include "hub/scenario/scenario_check.h"

#include <algorithm>
#include <set>

#include "hub/base/concat.h"
#include "hub/base/input_error.h"
#include "hub/scenario/seconds.h"
#include "kelvane_api.pb.h"

namespace kelvane_hub {
namespace {

// Keeps scenario time in nanoseconds, slowed down by the slowest speed, well inside 64 bits.
constexpr double longest = 1e7;

/// Those that there are; of a scenario that lists none, those of the hub that plays it.
std::set<std::string> data_types_of(const scenario& head) {
  if (head.sensors().empty()) return {"wwan", "wwan_stream"};
  std::set<std::string> types;
  for (const auto& sensor : head.sensors()) types.insert(sensor.data_type());
  return types;
}

std::size_t size_of_answer(const scenario_sensor& sensor) {
  sns_std_attr_event answer;
  *answer.mutable_attributes() = sensor.attributes();
  return answer.ByteSizeLong();
}

}  // namespace

void ScenarioCheck::check_step(const scenario_step& step, const TextPlace& place) {
  check_time(step, place);
  if (step.what_case() == scenario_step::WHAT_NOT_SET) {
    findings_.push_back(
        {place, "expected something that happens (cells, voice_calls, …), found a step with a time only", true});
  }
  if (step.has_raw() && !step.raw().has_msg_id()) complain(place, "expected a msg_id, found a raw event without one");
  if (step.has_raw()) raw_events_.insert(step.raw().msg_id());
  if (step.has_expect()) check_expectation(step.expect(), place);
  if (step.has_wait_for()) check_barrier(step.wait_for(), place);
  if (const std::size_t size = step.ByteSizeLong(); size > most_step_bytes) {
    complain(place, concat("expected at most ", most_step_bytes, " bytes, found a step of ", size));
  }
}

void ScenarioCheck::check_part(const scenario& head, const HeadPlaces& places, std::optional<double> last_time) {
  const double start = head.start();
  const double duration = head.duration();
  if (head.has_start() && last_time && !(start >= 0 && start <= *last_time)) {
    complain(places.start, concat("expected 0 seconds to the last step's ", shown_seconds(*last_time),
                                  " (start), found ", shown_seconds(start)));
  }
  if (!head.has_duration()) return;
  if (!(duration > 0 && duration <= longest)) {
    complain(places.duration,
             "expected more than 0 and at most 10000000 seconds (duration), found " + shown_seconds(duration));
  } else if (head.has_repeat_after() && duration > head.repeat_after()) {
    complain(places.duration, concat("expected at most repeat_after's ", shown_seconds(head.repeat_after()),
                                     " seconds (repeat says how often), found ", shown_seconds(duration)));
  }
}

void ScenarioCheck::check_head(const scenario& head, const HeadPlaces& places, double last_time) {
  for (std::size_t i = 0; i < places.sensors.size(); ++i) {
    check_sensor(head.sensors(static_cast<int>(i)), i, places.sensors[i]);
  }
  check_asked(head);
  check_repeat(head, places, last_time);
  if (head.has_repeat_after() && expects_) {
    complain(places.repeat_after,
             "expected a scenario that happens once, since it expects something, found repeat_after");
  }
  check_faults(head, places.faults);
}

void ScenarioCheck::tell(Mistakes& mistakes, bool all_known) const {
  for (const auto& [place, message, is_idle] : findings_) {
    if (all_known || !is_idle) mistakes.add(place, message);
  }
}

void ScenarioCheck::check_time(const scenario_step& step, const TextPlace& place) {
  if (!step.has_at()) {
    complain(place, "expected a time (at), found a step without one");
  } else if (!(step.at() >= 0 && step.at() <= longest)) {
    complain(place, "expected a time (at) from 0 to 10000000 seconds, found " + shown_seconds(step.at()));
  } else if (step.at() < last_time_) {
    complain(place, "expected a time (at) of " + shown_seconds(last_time_) + " seconds or later, found " +
                        shown_seconds(step.at()));
  } else {
    last_time_ = step.at();
  }
}

void ScenarioCheck::check_requests(const google::protobuf::RepeatedPtrField<scenario_request>& requests,
                                   const TextPlace& place) {
  const bool all_say_what = std::ranges::none_of(
      requests, [](const auto& request) { return request.what_case() == scenario_request::WHAT_NOT_SET; });
  if (!all_say_what) {
    findings_.push_back({place, "expected what is asked (attr_req, suid_req, …), found a request without it", true});
  }
  for (const scenario_request& request : requests) {
    if (!request.has_sensor()) continue;
    if (request.has_suid_req()) complain(place, "expected no sensor beside suid_req, found '" + request.sensor() + "'");
    asked_.try_emplace(request.sensor(), place);
  }
}

/// What is asked of a sensor that there is not never comes.
void ScenarioCheck::check_asked(const scenario& head) {
  const auto known = data_types_of(head);
  for (const auto& [sensor, place] : asked_) {
    if (!known.contains(sensor)) complain(place, "expected a sensor of the scenario, found '" + sensor + "'");
  }
}

void ScenarioCheck::check_within(double within, const TextPlace& place) {
  if (within >= 0 && within <= longest) return;
  complain(place, "expected 0 to 10000000 seconds (within), found " + shown_seconds(within));
}

void ScenarioCheck::check_expectation(const scenario_expectation& expected, const TextPlace& place) {
  expects_ = true;
  check_requests(expected.requests(), place);
  check_within(expected.within(), place);
  if (expected.requests().empty()) complain(place, "expected requests, found an expectation without any");
  if (expected.never() && (expected.has_count() || expected.in_order())) {
    complain(place, "expected neither count nor in_order beside never, found one");
  }
  if (expected.has_count() && expected.count() == 0) {
    complain(place, "expected a count of 1 or more, or never, found 0");
  }
}

void ScenarioCheck::check_barrier(const scenario_barrier& barrier, const TextPlace& place) {
  expects_ = true;
  check_requests(barrier.requests(), place);
  check_within(barrier.within(), place);
  if (barrier.requests().empty() && barrier.clients() == 0) {
    complain(place, "expected requests or clients to wait for, found neither");
  }
  if (barrier.clients() > max_connections) {
    complain(place, concat("expected at most ", max_connections, " clients to wait for, found ", barrier.clients()));
  }
}

void ScenarioCheck::check_sensor(const scenario_sensor& sensor, std::size_t index, const TextPlace& place) {
  if (sensor.data_type().empty()) complain(place, "expected a data_type, found a sensor without one");
  if (!std::ranges::all_of(sensor.refusals(), &scenario_refusal::has_msg_id)) {
    complain(place, "expected a msg_id in each refusal, found a refusal without one");
  }
  if (const std::size_t size = size_of_answer(sensor); size > most_step_bytes) {
    complain(place, concat("expected at most ", most_step_bytes, " bytes, found attributes of ", size));
  }
  if (!sensor.has_suid()) return complain(place, "expected a suid, found a sensor without one");
  const std::pair key(sensor.suid().suid_low(), sensor.suid().suid_high());
  const sns_suid_sensor lookup;
  if (key == std::pair(lookup.suid_low(), lookup.suid_high())) {
    complain(place, "expected a suid of its own, found that of the lookup sensor");
  } else if (const auto [first, added] = sensors_.emplace(key, index); !added) {
    complain(place, concat("expected a suid of its own, found that of sensor ", first->second + 1));
  }
}

void ScenarioCheck::check_faults(const scenario& head, const std::vector<TextPlace>& places) {
  const FaultSurroundings surroundings{data_types_of(head), raw_events_};
  for (std::size_t i = 0; i < places.size(); ++i) {
    for (auto& mistake : mistakes_in(head.faults(static_cast<int>(i)), surroundings)) {
      complain(places[i], std::move(mistake));
    }
  }
}

void ScenarioCheck::check_repeat(const scenario& head, const HeadPlaces& places, double last_time) {
  constexpr double shortest = 0.001;
  if (head.has_repeat() && head.repeat() == 0) complain(places.repeat, "expected 1 or more (repeat), found 0");
  if (head.repeat() > 0 && !head.has_repeat_after()) {
    complain(places.repeat, "expected repeat_after beside repeat, found none");
  }
  const double after = head.repeat_after();
  if (!head.has_repeat_after() || (after >= shortest && after <= longest && after > last_time)) return;
  complain(places.repeat_after, "expected 0.001 to 10000000 seconds and more than the last step's " +
                                    shown_seconds(last_time) + ", found " + shown_seconds(after));
}

void check_pace(const PackedScenario& played, double speed) {
  constexpr double most_steps_a_second = 100'000;
  if (!played.head().has_repeat_after()) return;
  const double after = played.head().repeat_after();
  const double steps_a_second = static_cast<double>(played.steps_size()) / after * speed;
  if (steps_a_second > most_steps_a_second) {
    throw InputError(concat("--speed: expected at most 100000 steps a second, found ", steps_a_second, " (",
                            played.steps_size(), " steps in ", after, " s at speed ", speed, ")"));
  }
}

}  // namespace kelvane_hub
