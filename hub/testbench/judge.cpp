#include "hub/testbench/judge.h"

#include <algorithm>
#include <utility>

#include "hub/base/concat.h"
#include "hub/messages/catalogue.h"
#include "hub/scenario/seconds.h"
#include "kelvane_api.pb.h"

namespace kelvane_hub {
namespace {

constexpr double usual_wait = 60;  // seconds, unless the scenario says otherwise

// Of all requests, in bytes: a client that floods the hub is no use to a test.
constexpr std::size_t most_seen = std::size_t{64} << 20;

std::size_t points_in(const PackedScenario& played) {
  const auto kinds = played.kinds();
  const auto count = [&kinds](const char* kind) { return kinds.contains(kind) ? kinds.at(kind) : 0; };
  return count("expect") + count("wait_for");
}

double wait_of(const scenario_barrier& barrier) { return barrier.has_within() ? barrier.within() : usual_wait; }

std::string times(std::size_t count) { return count == 1 ? "once" : concat(count, " times"); }

/// The same for all who expect the same requests.
std::string key_of(const scenario_expectation& expected) {
  scenario_expectation requests;
  *requests.mutable_requests() = expected.requests();
  return requests.SerializeAsString();
}

std::string default_name(const scenario_expectation& expected, std::size_t clients) {
  if (expected.name().find_first_not_of(" \t\r\n") != std::string::npos) return expected.name();
  if (expected.requests().empty()) return concat(clients, clients == 1 ? " client" : " clients");
  return concat(expected.never() ? "no " : "", text_of(expected.requests(0)));
}

}  // namespace

Judge::Judge(const PackedScenario& played, const Timeline& time, double speed, Tell tell)
    : played_(played), time_(time), speed_(speed), tell_(std::move(tell)), all_(points_in(played)) {
  double expectation = 0;  // the longest: it may go on after the last step
  for (std::size_t i = 0; all_ != 0 && i < played.steps_size(); ++i) {
    const auto point = point_of(played.step(i));
    if (!point) continue;
    const double within = point->expected.within();
    longest_wait_ += point->waits ? within : 0;
    expectation = std::max(expectation, point->waits ? 0 : within);
    most_clients_ = std::max(most_clients_, point->clients);
    tallies_.try_emplace(key_of(point->expected), point->expected);
  }
  longest_wait_ += expectation / clock_speed();
}

/// Where steps follow at once, clients have the seconds that are given.
double Judge::clock_speed() const { return speed_ == Pace::at_once ? 1 : speed_; }

void Judge::on_request(const Link& from, const std::string& envelope, Time now) {
  if (all_ == 0) return;
  sns_client_request_msg request;
  if (!request.ParseFromString(envelope)) return;
  const bool configures = request.msg_id() == on_change_config || request.msg_id() == streaming_config;
  if (configures && configured_.size() < most_clients_) configured_.insert(from.session);
  if (seen_bytes_ > most_seen) return;
  const AskedFor& asked = asked_for({played_.data_type_of(from.sensor), request.msg_id(), request.request().payload()});
  if (seen_bytes_ > most_seen) {
    tell_({"all requests are judged", concat("expected less than 64 MiB of them, found more at ",
                                             in_seconds(time_.at(now)), ", the rest was not looked at")});
    return;
  }
  seen_.push_back({from.session, &asked, time_.at(now)});
  for (auto& [expected, tally] : tallies_) tally.count(asked, seen_.size() - 1);
  decide_all(false);
}

/// Each is kept once: whoever floods the hub mostly says the same.
const AskedFor& Judge::asked_for(AskedFor asked) {
  const auto [kept, is_new] = asked_for_.insert(std::move(asked));
  seen_bytes_ += sizeof(SeenRequest) + (is_new ? kept->size() : 0);
  return *kept;
}

void Judge::on_step(const scenario_step& step, Time now) {
  auto opened = point_of(step);
  if (!opened) return;
  // Only a scenario that happens once has such steps: its next one is another.
  opened->index = time_.next_index() - 1;
  // A barrier holds the scenario up each time; an expectation is done with.
  if (!opened->waits && told_.contains(opened->index)) return;
  std::erase_if(open_, [&](const Open& open) { return open.index == opened->index; });
  const double within = opened->expected.within();
  if (opened->waits || speed_ == Pace::at_once) opened->due = now + to_time(within);
  opened->until = time_.at(now) + ScenarioTime(within);
  opened->tally = &tallies_.at(key_of(opened->expected));
  open_.push_back(*std::move(opened));
  decide_all(false);
}

void Judge::on_jump(ScenarioTime by) {
  for (Open& open : open_) open.until += by;
}

void Judge::on_rewind() { open_.clear(); }

void Judge::forget_requests() {
  seen_.clear();
  asked_for_.clear();
  seen_bytes_ = 0;
  for (auto& [expected, tally] : tallies_) tally.forget();
  configured_.clear();
  told_.clear();
}

/// None while scenario time stands still.
std::optional<Time> Judge::due_of(const Open& open) const { return open.due ? open.due : time_.when(open.until); }

/// What the step has to be decided; none if it has nothing.
std::optional<Judge::Open> Judge::point_of(const scenario_step& step) {
  Open point;
  point.at = ScenarioTime(step.at());
  point.waits = step.has_wait_for();
  if (step.has_expect()) {
    point.expected = step.expect();
  } else if (step.has_wait_for()) {
    const auto& barrier = step.wait_for();
    *point.expected.mutable_requests() = barrier.requests();
    if (barrier.has_name()) point.expected.set_name(barrier.name());
    point.expected.set_within(wait_of(barrier));
    point.clients = barrier.clients();
  } else {
    return std::nullopt;
  }
  point.name = default_name(point.expected, point.clients);
  // It is told in a line.
  std::ranges::replace_if(
      point.name, [](unsigned char letter) { return letter < ' '; }, ' ');
  return point;
}

void Judge::Tally::count(const AskedFor& asked, std::size_t number) {
  std::vector<bool> is_met;
  is_met.reserve(matchers.size());
  for (RequestMatcher& matcher : matchers) is_met.push_back(matcher.matches(asked));
  if (in_order < is_met.size() && is_met[in_order]) {
    ++in_order;
    is_next_too = in_order < is_met.size() && is_met[in_order];
  }
  for (std::size_t i = 0; i < is_met.size(); ++i) {
    if (is_met[i]) met[i] = {met[i].count + 1, number};
  }
}

void Judge::Tally::forget() {
  std::ranges::fill(met, Met{});
  in_order = 0;
  is_next_too = false;
}

bool Judge::is_met(const Open& open) const {
  const auto& expected = open.expected;
  const auto is_right = [&expected](std::size_t count) {
    if (expected.never()) return count == 0;
    return expected.has_count() ? count == expected.count() : count > 0;
  };
  if (!std::ranges::all_of(open.tally->met, is_right, &Tally::Met::count)) return false;
  if (expected.in_order() && open.tally->in_order < open.tally->met.size()) return false;
  return configured_.size() >= open.clients;
}

/// Whether what is so now need not be so when the time is up.
bool Judge::can_change(const Open& open) {
  const auto& expected = open.expected;
  return expected.never() || expected.has_count();
}

/// Returns whether it was done.
bool Judge::decide(const Open& open, bool is_over) {
  const bool met = is_met(open);
  const bool is_lost = open.expected.never() && !met;
  if (!is_over && !is_lost && (!met || can_change(open))) return false;
  tell({open.name, met ? "" : unmet(open), open.index});
  return true;
}

void Judge::decide_all(bool is_over) {
  std::erase_if(open_, [&](const Open& open) { return decide(open, is_over); });
}

std::optional<Time> Judge::next_due() const {
  std::optional<Time> due;
  for (const Open& open : open_) due = earlier(due, due_of(open));
  return due;
}

void Judge::advance(Time now) {
  std::erase_if(open_, [&](const Open& open) {
    const auto due = due_of(open);
    return due && *due <= now && decide(open, true);
  });
}

bool Judge::is_waiting() const { return std::ranges::any_of(open_, &Open::waits); }

const std::string& Judge::first_open() const {
  const auto waits = std::ranges::find_if(open_, &Open::waits);
  return (waits == open_.end() ? open_.front() : *waits).name;
}

void Judge::close() {
  decide_all(true);
  for (std::size_t i = 0; i < played_.steps_size() && told_.size() < all_; ++i) {
    const auto point = point_of(played_.step(i));
    if (!point) continue;
    const char* const why = i < time_.next_index() ? ", a seek has skipped it" : ", it ended before";
    tell({point->name, concat("expected the scenario to come to ", in_seconds(point->at), why), i});
  }
}

/// Unless it was told before.
void Judge::tell(const TestPoint& point) {
  if (told_.insert(point.step).second) tell_(point);
}

std::string Judge::unmet(const Open& open) const {
  const auto& expected = open.expected;
  const std::string when = open.waits
                               ? concat(" within ", shown_seconds(expected.within()), " s at ", in_seconds(open.at))
                               : concat(" by ", in_seconds(open.at + ScenarioTime(expected.within())));
  for (std::size_t i = 0; i < open.tally->met.size(); ++i) {
    const std::size_t count = open.tally->met[i].count;
    const std::string wanted = text_of(expected.requests(static_cast<int>(i)));
    if (expected.never() && count > 0) {
      return concat("expected no ", wanted, when, ", found ", found_instead(open, i));
    }
    if (!expected.never() && expected.has_count() && count != expected.count()) {
      return concat("expected ", wanted, " ", times(expected.count()), when, ", found it ", times(count));
    }
    if (!expected.never() && count == 0) {
      return concat("expected ", wanted, when, ", found ", found_instead(open, i));
    }
  }
  if (configured_.size() < open.clients) {
    return concat("expected ", open.clients, " clients that have configured a sensor", when, ", found ",
                  configured_.size());
  }
  const auto missing = static_cast<int>(open.tally->in_order);
  return concat("expected ", text_of(expected.requests(missing)), " after ", text_of(expected.requests(missing - 1)),
                when, open.tally->is_next_too ? ", found one request for both" : ", found it before");
}

/// The last that comes near it, or is it.
std::string Judge::found_instead(const Open& open, std::size_t request) const {
  if (seen_.empty()) return "no request at all";
  const auto said = [](const SeenRequest& seen) {
    return concat(text_of(*seen.what), " at ", in_seconds(seen.at), " by session ", seen.session);
  };
  if (open.expected.never()) return said(seen_[open.tally->met[request].last]);
  const auto id = id_of(open.expected.requests(static_cast<int>(request)));
  const auto near =
      std::find_if(seen_.rbegin(), seen_.rend(), [id](const auto& seen) { return seen.what->msg_id() == id; });
  return near != seen_.rend() ? said(*near) : "none; the last request was " + said(seen_.back());
}

}  // namespace kelvane_hub
