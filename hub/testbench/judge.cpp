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

/// The seconds of all barriers, and of the longest expectation: it may go on after the last step.
double wait_in(const PackedScenario& played, double speed) {
  double barriers = 0;
  double expectation = 0;
  if (points_in(played) == 0) return 0;
  for (std::size_t i = 0; i < played.steps_size(); ++i) {
    const auto step = played.step(i);
    if (step.has_wait_for()) barriers += wait_of(step.wait_for());
    expectation = std::max(expectation, step.expect().within());
  }
  return barriers + expectation / speed;
}

std::string times(std::size_t count) { return count == 1 ? "once" : concat(count, " times"); }

/// Which of the expected requests this is, by index.
std::vector<bool> met_by(std::vector<RequestMatcher>& expected, const AskedFor& asked) {
  std::vector<bool> met;
  met.reserve(expected.size());
  for (RequestMatcher& matcher : expected) met.push_back(matcher.matches(asked));
  return met;
}

/// The most clients that a step waits for.
std::size_t most_clients_in(const PackedScenario& played) {
  std::size_t most = 0;
  if (points_in(played) == 0) return most;
  for (std::size_t i = 0; i < played.steps_size(); ++i) {
    most = std::max<std::size_t>(most, played.step(i).wait_for().clients());
  }
  return most;
}

std::string default_name(const scenario_expectation& expected, std::size_t clients) {
  if (expected.name().find_first_not_of(" \t\r\n") != std::string::npos) return expected.name();
  if (expected.requests().empty()) return concat(clients, clients == 1 ? " client" : " clients");
  return concat(expected.never() ? "no " : "", text_of(expected.requests(0)));
}

}  // namespace

Judge::Judge(const PackedScenario& played, const Timeline& time, double speed, Tell tell)
    : played_(played),
      time_(time),
      speed_(speed),
      tell_(std::move(tell)),
      longest_wait_(wait_in(played, clock_speed())),
      all_(points_in(played)),
      most_clients_(most_clients_in(played)) {}

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
  for (Open& open : open_) open.count(met_by(open.matchers, asked));
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
  open(*std::move(opened));
}

void Judge::on_jump(ScenarioTime by) {
  for (Open& open : open_) open.until += by;
}

void Judge::on_rewind() { open_.clear(); }

void Judge::forget_requests() {
  seen_.clear();
  asked_for_.clear();
  seen_bytes_ = 0;
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

void Judge::open(Open opened) {
  Open& open = open_.emplace_back(std::move(opened));
  open.counts.resize(static_cast<std::size_t>(open.expected.requests_size()));
  open.matchers = {open.expected.requests().begin(), open.expected.requests().end()};
  count_all_seen(open);
  decide_all(false);
}

void Judge::count_all_seen(Open& open) const {
  std::map<const AskedFor*, std::vector<bool>> known;
  for (const SeenRequest& seen : seen_) {
    const auto [met, is_new] = known.try_emplace(seen.what);
    if (is_new) met->second = met_by(open.matchers, *seen.what);
    open.count(met->second);
  }
}

void Judge::Open::count(const std::vector<bool>& met) {
  if (in_order < met.size() && met[in_order]) {
    ++in_order;
    is_next_too = in_order < met.size() && met[in_order];
  }
  for (std::size_t i = 0; i < met.size(); ++i) counts[i] += met[i] ? 1 : 0;
}

bool Judge::is_met(const Open& open) const {
  const auto& expected = open.expected;
  const auto is_right = [&expected](std::size_t count) {
    if (expected.never()) return count == 0;
    return expected.has_count() ? count == expected.count() : count > 0;
  };
  if (!std::ranges::all_of(open.counts, is_right)) return false;
  if (expected.in_order() && open.in_order < open.counts.size()) return false;
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
  tell(open.index, {open.name, met ? "" : unmet(open)});
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
    tell(i, {point->name, concat("expected the scenario to come to ", in_seconds(point->at), why)});
  }
}

/// Unless it was told before.
void Judge::tell(std::size_t index, const TestPoint& point) {
  if (told_.insert(index).second) tell_(point);
}

std::string Judge::unmet(const Open& open) const {
  const auto& expected = open.expected;
  const std::string when = open.waits
                               ? concat(" within ", shown_seconds(expected.within()), " s at ", in_seconds(open.at))
                               : concat(" by ", in_seconds(open.at + ScenarioTime(expected.within())));
  for (int i = 0; i < expected.requests_size(); ++i) {
    const scenario_request& request = expected.requests(i);
    const std::size_t count = open.counts[static_cast<std::size_t>(i)];
    const std::string wanted = text_of(request);
    if (expected.never() && count > 0) {
      return concat("expected no ", wanted, when, ", found ", found_instead(open, request));
    }
    if (!expected.never() && expected.has_count() && count != expected.count()) {
      return concat("expected ", wanted, " ", times(expected.count()), when, ", found it ", times(count));
    }
    if (!expected.never() && count == 0) {
      return concat("expected ", wanted, when, ", found ", found_instead(open, request));
    }
  }
  if (configured_.size() < open.clients) {
    return concat("expected ", open.clients, " clients that have configured a sensor", when, ", found ",
                  configured_.size());
  }
  const auto missing = static_cast<int>(open.in_order);
  return concat("expected ", text_of(expected.requests(missing)), " after ", text_of(expected.requests(missing - 1)),
                when, open.is_next_too ? ", found one request for both" : ", found it before");
}

/// The last that comes near it, or is it.
std::string Judge::found_instead(const Open& open, const scenario_request& request) const {
  const auto find = [this](const auto& is_near) { return std::find_if(seen_.rbegin(), seen_.rend(), is_near); };
  const auto near = find([&](const SeenRequest& seen) {
    return open.expected.never() ? matches(request, *seen.what) : is_same_kind(request, *seen.what);
  });
  const auto last = near != seen_.rend() ? near : seen_.rbegin();
  if (last == seen_.rend()) return "no request at all";
  const std::string what = concat(text_of(*last->what), " at ", in_seconds(last->at), " by session ", last->session);
  return near != seen_.rend() ? what : concat("none; the last request was ", what);
}

}  // namespace kelvane_hub
