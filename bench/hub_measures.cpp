#include "bench/hub_measures.h"

#include <cstdint>
#include <optional>
#include <stdexcept>

#include "bench/hub_process.h"
#include "bench/lateness.h"
#include "bench/load.h"
#include "hub/base/concat.h"
#include "hub/messages/catalogue.h"
#include "kelvane_api.pb.h"
#include "mox_wwan_test.pb.h"

namespace kelvane_hub::bench {
namespace {

using Figures = std::vector<Figure>;
using std::chrono::milliseconds;

constexpr suid sensor{1, 1};
constexpr suid large_sensor{2, 2};  // with 100 kB of attributes

constexpr auto nothing = [](std::size_t, const EventView&, Time) {};

double seconds(Time time) { return std::chrono::duration<double>(time).count(); }
double microseconds(Time time) { return std::chrono::duration<double, std::micro>(time).count(); }

std::string request(suid to, std::uint32_t msg_id, const std::string& payload = "") {
  sns_client_request_msg message;
  message.mutable_suid()->set_suid_low(to.suid_low);
  message.mutable_suid()->set_suid_high(to.suid_high);
  message.set_msg_id(msg_id);
  message.mutable_request()->set_payload(payload);
  return encode_frame(FrameKind::request, to, message.SerializeAsString());
}

std::string streaming_at(std::int32_t rate) {
  mox_wwan_streaming_sensor_config config;
  config.set_sample_rate(rate);
  return request(sensor, streaming_config, config.SerializeAsString());
}

// ---- scenarios ----

std::string sensor_text(suid id, std::size_t attribute_size) {
  return concat("sensors { data_type: 'wwan' suid { suid_low: ", id.suid_low, " suid_high: ", id.suid_high,
                " } attributes { attr_id: 1 value { values { text: '", std::string(attribute_size, 'x'), "' } } } }\n");
}

/// Steps at equal distances, over and over. The ci of a step's cell is its number in the round.
struct Steps {
  std::uint64_t a_second;
  std::uint64_t a_round;

  Time due(std::uint64_t round, std::uint64_t ci) const {
    constexpr std::uint64_t nanoseconds_a_second = 1'000'000'000;
    return Time((round * a_round + ci) * nanoseconds_a_second / a_second);
  }

  std::string text() const {
    std::string text = sensor_text(sensor, 10) + sensor_text(large_sensor, 100'000);
    for (std::uint64_t ci = 0; ci < a_round; ++ci) {
      text += concat("steps { at: ", seconds(due(0, ci)),
                     " cells { cells { registered: true cell_type: 3 lte { cell_identity { ci: ", ci, " } } } } }\n");
    }
    return text + concat("repeat_after: ", seconds(due(1, 0)), "\n");
  }
};

// ---- who receives ----

/// When each step was due, seen from the sessions that were told of it.
class StepClock {
 public:
  explicit StepClock(const Steps& steps) : steps_(steps) {}

  /// How late a report was. None for the first of a session, which is as old as the cells were when it asked.
  std::optional<Time> lateness(std::size_t session, const EventView& event, Time received) {
    if (session >= places_.size()) places_.resize(session + 1);
    const std::uint64_t ci = ci_in(event.payload);
    auto& place = places_[session];
    if (!place) {
      if (!start_) start_ = event.timestamp - steps_.due(0, ci);
      const Time since = event.timestamp - *start_ - steps_.due(0, ci);
      place = Place{static_cast<std::uint64_t>(std::max(since, Time::zero()) / steps_.due(1, 0)), ci};
      return {};
    }
    if (ci < place->ci) ++place->round;
    place->ci = ci;
    return received - *start_ - steps_.due(place->round, ci);
  }

 private:
  struct Place {
    std::uint64_t round;
    std::uint64_t ci;
  };

  const Steps steps_;
  std::optional<Time> start_;  // of the scenario
  std::vector<std::optional<Place>> places_;
};

/// A session that asks for a few attributes, waits for them, and asks again a moment later.
class Asker {
 public:
  explicit Asker(Load& load) : load_(load), session_(load.open()) {}

  /// To be called all the time.
  void take_turn() {
    if (asked_ || now() < next_) return;
    asked_ = now();
    load_.send(session_, request(sensor, attribute_request));
  }

  void on_event(std::size_t session, Time received) {
    constexpr auto pause = milliseconds(1);
    if (session != session_ || !asked_) return;
    answers_.add(received - *asked_);
    next_ = received + pause;
    asked_.reset();
  }

  /// What it is waiting for counts as if it came now.
  Lateness& answers() {
    on_event(session_, now());
    return answers_;
  }

  bool is_open() const { return load_.is_open(session_); }

 private:
  Load& load_;
  std::size_t session_;
  std::optional<Time> asked_;
  Time next_{};
  Lateness answers_;
};

void add_quantiles(Figures& figures, const std::string& what, Lateness& lateness) {
  figures.push_back({what + " p50, ms", lateness.quantile(0.5)});
  figures.push_back({what + " p99, ms", lateness.quantile(0.99)});
  figures.push_back({what + " worst, ms", lateness.quantile(1)});
}

// ---- the same events for many ----

/// Sessions that are told of each step, and one that asks beside them.
struct FanOut {
  FanOut(const std::string& program, const Steps& steps, int count)
      : hub(program, steps.text()), load(hub.socket()), asker(load), clock(steps) {
    for (const std::size_t session : load.open(count)) load.send(session, request(sensor, on_change_config));
  }

  /// What comes until then is counted; `late` are those that come from `beginning` on.
  void run(Time beginning, Time end) {
    while (now() < end) {
      asker.take_turn();
      load.receive([&](std::size_t session, const EventView& event, Time received) {
        if (event.msg_id != cells_event) return asker.on_event(session, received);
        ++events;
        const auto by = clock.lateness(session, event, received);
        if (by && received >= beginning) late.add(*by);
      });
    }
  }

  HubProcess hub;
  Load load;
  Asker asker;
  StepClock clock;
  std::uint64_t events = 0;
  Lateness late;
};

constexpr auto warm_up = milliseconds(300);

Figures measure_fan_out(const std::string& program, const Steps& steps) {
  constexpr auto length = milliseconds(2000);
  FanOut fan_out(program, steps, 60);
  fan_out.run(Time::max(), now() + warm_up);
  const std::uint64_t events = fan_out.events;
  const Time used = fan_out.hub.processor_time();
  const Time begin = now();
  fan_out.run(Time::max(), begin + length);
  const auto count = static_cast<double>(fan_out.events - events);
  return {{"deliveries a second", count / seconds(now() - begin), Keep::highest},
          {"hub's processor time of one, us", microseconds(fan_out.hub.processor_time() - used) / count},
          {"answer to another session, worst, ms", fan_out.asker.answers().quantile(1)}};
}

Figures measure_deliveries(const std::string& program) { return measure_fan_out(program, {10'000, 10'000}); }

/// More than any hub can deliver: what it does deliver is what it can.
Figures measure_capacity(const std::string& program) { return measure_fan_out(program, {100'000, 10'000}); }

Figures measure_replay(const std::string& program) {
  constexpr auto length = milliseconds(3000);
  FanOut fan_out(program, {1000, 1000}, 20);
  const Time begin = now() + warm_up;
  fan_out.run(begin, begin + length);
  Figures figures;
  add_quantiles(figures, "late", fan_out.late);
  return figures;
}

Figures measure_lag(const std::string& program) {
  constexpr auto length = milliseconds(10'000);
  constexpr auto last = milliseconds(100);
  FanOut fan_out(program, {100'000, 10'000}, 10);
  const Time end = now() + length;
  const Time begin = now();
  fan_out.run(end - last, end);
  const double share = seconds(fan_out.hub.processor_time()) / seconds(now() - begin);
  return {{"hub's share of its core, %", 100 * share},
          {"late at the end, p50, ms", fan_out.late.quantile(0.5)},
          {"late at the end, worst, ms", fan_out.late.quantile(1)}};
}

// ---- streaming ----

struct Stream {
  std::optional<Time> begin;
  std::int64_t events = 0;
};

Figures measure_streaming(const std::string& program) {
  constexpr int count = 400;
  constexpr std::int64_t rate = 1000;
  constexpr auto length = milliseconds(3000);
  const HubProcess hub(program, Steps{10, 10}.text());
  Load load(hub.socket());
  // The answer that goes before bears the time at which the stream begins, and its first event is due.
  const std::string requests = request(sensor, attribute_request) + streaming_at(rate);
  for (const std::size_t session : load.open(count)) load.send(session, requests);
  std::vector<Stream> streams(count);
  Lateness late;
  const auto note = [&](std::size_t session, const EventView& event, Time received) {
    Stream& stream = streams[session];
    if (event.msg_id == attribute_event) stream.begin = event.timestamp;
    if (event.msg_id != cells_event || !stream.begin) return;
    late.add(received - *stream.begin - Time(std::chrono::seconds(stream.events++)) / rate);
  };
  load.receive_until(now() + warm_up, note);
  late.clear();
  const Time used = hub.processor_time();
  const Time begin = now();
  load.receive_until(begin + length, note);
  const Time end = now();
  std::int64_t came = 0;
  std::int64_t due = 0;
  for (const Stream& stream : streams) {
    came += stream.events;
    due += stream.begin ? (end - *stream.begin) * rate / Time(std::chrono::seconds(1)) + 1 : 0;
  }
  if (due == 0) throw std::runtime_error("no stream has begun");
  Figures figures{{"events of those due, %", 100 * static_cast<double>(came) / static_cast<double>(due), Keep::highest},
                  {"hub's share of its core, %", 100 * seconds(hub.processor_time() - used) / seconds(end - begin)}};
  add_quantiles(figures, "late", late);
  return figures;
}

// ---- idle sessions ----

/// One session that is told of many steps, with company that comes and goes.
class Companionship {
 public:
  explicit Companionship(const std::string& program) : hub_(program, Steps{5000, 5000}.text()), load_(hub_.socket()) {
    load_.send(load_.open(), request(sensor, on_change_config));
  }

  /// The hub's processor time of an event, in microseconds, beside `count` sessions that have sent `requests`.
  double cost_beside(int count, const std::string& requests) {
    const auto company = load_.open(count);
    for (const std::size_t session : company) load_.send(session, requests);
    load_.receive_until(now() + settling, nothing);
    std::uint64_t events = 0;
    const Time used = hub_.processor_time();
    load_.receive_until(now() + length, [&events](std::size_t, const EventView&, Time) { ++events; });
    const double cost = microseconds(hub_.processor_time() - used) / static_cast<double>(events);
    for (const std::size_t session : company) load_.close(session);
    load_.receive_until(now() + settling, nothing);
    return cost;
  }

 private:
  static constexpr auto settling = milliseconds(200);
  static constexpr auto length = milliseconds(400);

  HubProcess hub_;
  Load load_;
};

Figures measure_idle(const std::string& program) {
  constexpr int turns = 4;
  constexpr int many = 1000;
  constexpr double endless = 1e9;
  const std::string uses = request(sensor, attribute_request) + request(sensor, report_registration);
  Companionship sessions(program);
  double alone = endless;
  double beside_idle = endless;
  double beside_users = endless;
  for (int turn = 0; turn < turns; ++turn) {
    alone = std::min(alone, sessions.cost_beside(0, ""));
    beside_idle = std::min(beside_idle, sessions.cost_beside(many, ""));
    beside_users = std::min(beside_users, sessions.cost_beside(many, uses));
  }
  return {{"hub's processor time of an event to a session that is alone, us", alone},
          {"beside 1,000 that said hello, times that", beside_idle / alone},
          {"beside 1,000 that asked for attributes and registered nothing, times that", beside_users / alone}};
}

// ---- floods ----

/// Asks as fast as the hub takes it, and reads.
struct Flooder {
  std::size_t session;
  std::size_t sent = 0;  // of a round of requests
};

Figures measure_flood(const std::string& program) {
  constexpr int count = 10;
  constexpr int requests_a_round = 1000;
  constexpr auto length = milliseconds(4000);
  std::string round;
  for (int i = 0; i < requests_a_round; ++i) round += request(large_sensor, attribute_request);
  const HubProcess hub(program, Steps{10, 10}.text());
  Load load(hub.socket());
  Asker good(load);
  std::vector<Flooder> flooders;
  for (const std::size_t session : load.open(count)) flooders.push_back({session});
  int thrown_out = 0;
  const Time end = now() + length;
  while (now() < end && good.is_open()) {
    good.take_turn();
    for (Flooder& flooder : flooders) {
      if (!load.is_open(flooder.session)) {
        ++thrown_out;
        flooder = {load.open()};
      }
      flooder.sent += load.offer(flooder.session, std::string_view(round).substr(flooder.sent));
      if (flooder.sent == round.size()) flooder.sent = 0;
    }
    load.receive([&good](std::size_t session, const EventView&, Time received) { good.on_event(session, received); });
  }
  if (!good.is_open()) ++thrown_out;
  return {{"answer to another session, p50, ms", good.answers().quantile(0.5)},
          {"answer to another session, worst, ms", good.answers().quantile(1)},
          {"thrown out (most of any slice)", static_cast<double>(thrown_out), Keep::highest}};
}

constexpr Measure all_measures[] = {
    {"deliveries", "60 sessions, 10,000 steps a second", 3, measure_deliveries},
    {"capacity", "60 sessions, 100,000 steps a second", 2, measure_capacity},
    {"replay", "20 sessions, 1,000 steps a second", 3, measure_replay},
    {"streaming", "400 sessions that stream 1,000 a second", 3, measure_streaming},
    {"idle", "1 session, 5,000 steps a second", 2, measure_idle},
    {"lag", "10 sessions, 100,000 steps a second for 10 s", 1, measure_lag},
    {"flood", "10 sessions that ask for 100 kB over and over", 2, measure_flood},
};

}  // namespace

std::span<const Measure> measures() { return all_measures; }

}  // namespace kelvane_hub::bench
