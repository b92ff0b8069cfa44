#include <poll.h>
#include <sys/un.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

#include "hub/base/concat.h"
#include "hub/base/files.h"
#include "hub/base/input_error.h"
#include "hub/commands/commands.h"
#include "hub/commands/outputs.h"
#include "hub/commands/program.h"
#include "hub/commands/progress.h"
#include "hub/scenario/scenario_check.h"
#include "hub/scenario/scenario_file.h"
#include "hub/scenario/seconds.h"
#include "hub/server/server.h"
#include "hub/server/voice.h"
#include "hub/testbench/test_report.h"

namespace kelvane_hub {
namespace {

namespace fs = std::filesystem;
using Points = std::vector<TestPoint>;

constexpr const char* socket_name = "hub.sock";

// Beside what the scenario takes by itself.
constexpr double usual_patience = 60;  // seconds

// Keeps the time on the hub's clock well inside 64 bits.
constexpr double most_patience = 1e9;  // seconds

// From SIGINT to the program's end.
constexpr Time stop_patience = std::chrono::seconds(10);

// From the program's end until all that it has asked for is read: others that it has started may ask on and on.
constexpr Time most_listening = std::chrono::seconds(2);

/// A folder of this process alone, removed with all that is in it at the end.
class OwnFolder {
 public:
  OwnFolder() {
    // Where a user has no session of their own, as in a container or with sudo, the first may be another's.
    for (const char* const variable : {"XDG_RUNTIME_DIR", "TMPDIR"}) {
      const char* const folder = std::getenv(variable);
      if (folder != nullptr && is_of_use(folder) && make_in(folder)) return;
    }
    constexpr const char* last = "/tmp";
    if (!make_in(last)) throw InputError(concat(last, ": cannot make a folder there: ", strerror(errno)));
  }
  ~OwnFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  OwnFolder(const OwnFolder&) = delete;
  OwnFolder& operator=(const OwnFolder&) = delete;

  const fs::path& path() const { return path_; }

 private:
  static constexpr std::string_view form = "kelvane-hub-XXXXXX";

  /// The path of a socket in a folder there is not too long, and means the same if the program goes to another folder.
  static bool is_of_use(std::string_view parent) {
    constexpr std::size_t most = sizeof(sockaddr_un::sun_path) - 1;
    return parent.starts_with('/') && parent.size() + 1 + form.size() + 1 + control_path_of(socket_name).size() <= most;
  }

  bool make_in(const fs::path& parent) {
    std::string name = parent / form;
    if (mkdtemp(name.data()) == nullptr) return false;
    path_ = name;
    return true;
  }

  fs::path path_;
};

/// From the start of the program to its end.
class TestRun final : public Party {
 public:
  /// All but `options` outlive this object.
  TestRun(const RunOptions& options, Server& server, Performance& performance, Program& program)
      : server_(server),
        performance_(performance),
        program_(program),
        begin_(Loop::now()),
        timeout_(std::min(options.timeout.value_or(usual_timeout(options, performance)), most_patience)),
        due_(begin_ + to_time(timeout_)) {
    server.once_readable(program.descriptor(), [this] { has_ended_ = true; });
    server.add(*this);
  }

  std::optional<Time> next_due() const override {
    if (has_ended_) return Time::zero();
    if (phase_ == Phase::playing && performance_.is_over()) return Time::zero();
    if (phase_ == Phase::draining) return next_look_;
    return due_;
  }

  void advance(Time now) override {
    if (phase_ == Phase::playing && performance_.is_over()) phase_ = Phase::draining;
    if (has_ended_) {
      if (!listen_until_) listen_until_ = now + most_listening;
      // What it asked for last counts, too.
      if (!server_.is_all_heard() && now < *listen_until_) return;
      if (!is_late_) reached_ = reached();
      return server_.stop(Outcome::finished);
    }
    if (phase_ == Phase::draining && now >= next_look_) drain(now);
    if (now < due_) return;
    if (phase_ == Phase::stopping) {
      program_.signal(SIGKILL);
      is_killed_ = true;
      due_ = Time::max();
    } else {
      is_late_ = true;
      reached_ = reached();
      stop(now);
    }
  }

  /// What there is to say beside the expectations, when the program has ended.
  Points points() {
    const std::string status = program_.wait();
    // Once everything has happened it may go by itself, too: whoever sees the last report may not wait for SIGINT.
    const bool was_early = phase_ == Phase::playing;
    Points all;
    all.push_back(
        {"a client configures a sensor",
         performance_.judge().has_clients() ? "" : "expected a client to configure a sensor, found none that did"});
    all.push_back({"the scenario is played to its end", end_of_scenario(was_early)});
    all.push_back({"the program ends with exit status 0", end_of_program(status, was_early)});
    return all;
  }

 private:
  enum class Phase {
    playing,
    draining,  // all has happened, and the reports are on their way
    stopping   // SIGINT was sent
  };

  static double usual_timeout(const RunOptions& options, const Performance& performance) {
    const double length = options.speed == Pace::at_once ? 0 : performance.timeline().length() / options.speed;
    return length + performance.longest_wait() + usual_patience;
  }

  /// Whoever has taken the mark that follows the last report has dealt with that.
  void drain(Time now) {
    constexpr Time pause = std::chrono::milliseconds(1);
    next_look_ = now + pause;
    if (!server_.is_all_taken()) return;
    if (is_marked_) return stop(now);
    server_.send_mark();
    is_marked_ = true;
  }

  void stop(Time now) {
    phase_ = Phase::stopping;
    program_.signal(SIGINT);
    due_ = now + stop_patience;
  }

  /// How far it has come: what had to happen next.
  std::string reached() const {
    const Timeline& timeline = performance_.timeline();
    if (!timeline.ended()) return concat("at step ", timeline.taken(), " of ", timeline.steps(), held());
    if (performance_.judge().is_open())
      return concat("while ", kelvane_hub::quoted(performance_.judge().first_open()), " was open");
    if (phase_ == Phase::playing) return "while a message that a fault delays was still to come";
    return "while reports were still to be taken by the clients";
  }

  /// By what the scenario is held up.
  std::string held() const {
    if (performance_.timeline().is_paused()) return ", where an order has paused it";
    if (!performance_.timeline().is_held() || !performance_.judge().is_open()) return "";
    return concat(", which waits for ", kelvane_hub::quoted(performance_.judge().first_open()));
  }

  std::string end_of_scenario(bool was_early) const {
    if (is_late_) return concat("expected it within ", shown_seconds(timeout_), " s, stopped ", reached_);
    if (was_early) return concat("expected the program to run until it is stopped, it ended ", reached_);
    return "";
  }

  std::string end_of_program(const std::string& status, bool was_early) const {
    if (is_killed_) {
      return concat("expected it to end within ",
                    std::chrono::duration_cast<std::chrono::seconds>(stop_patience).count(),
                    " s after SIGINT, it had to be killed");
    }
    // A program that has nothing to do at its end need not handle the signal.
    if (phase_ == Phase::stopping && program_.was_ended_by(SIGINT)) return "";
    if (!status.empty()) return concat("expected exit status 0, found ", status);
    return was_early ? "expected it to run until it is stopped, it ended by itself" : "";
  }

  Server& server_;
  Performance& performance_;
  Program& program_;
  const Time begin_;
  const double timeout_;  // seconds
  Time due_;              // when patience ends
  Time next_look_{};
  Phase phase_ = Phase::playing;
  bool has_ended_ = false;
  std::optional<Time> listen_until_;  // from then on
  bool is_marked_ = false;
  bool is_late_ = false;
  std::string reached_{};  // when it was stopped for being late, or had ended
  bool is_killed_ = false;
};

PackedScenario load(const RunOptions& options) {
  PackedScenario loaded = load_scenario(options.scenario, options.seed);
  if (options.speed != Pace::at_once) check_pace(loaded, options.speed);
  if (options.times.value_or(1) > 1 && !loaded.head().has_repeat_after()) {
    throw InputError(concat("--times: expected a scenario that begins anew (repeat_after), found ", options.scenario));
  }
  return loaded;
}

/// Else what is wrong would be told when all has been played.
void check_junit(const RunOptions& options) {
  refuse_same_file(options.scenario, options.junit, "the scenario");
  if (!options.capture.empty()) refuse_same_file(options.capture, options.junit, "the capture");
  if (fs::is_directory(options.junit)) throw InputError(options.junit + ": expected a file, found a folder");
  const fs::path file = options.junit;
  const fs::path folder = file.has_parent_path() ? file.parent_path() : ".";
  if (!fs::is_directory(folder)) throw InputError(options.junit + ": expected it in a folder, there is no such folder");
}

void interrupt(Program& program) {
  program.signal(SIGINT);
  pollfd end{program.descriptor(), POLLIN, 0};
  constexpr int patience_ms = 2000;
  (void)poll(&end, 1, patience_ms);
}

/// At `chosen` or, if that is empty, at `own`, without which the run can do. The program is told where.
void take_orders(const std::string& chosen, const std::string& own, Server& server, Voice& voice) {
  (void)unsetenv("KELVANE_HUB_CONTROL");
  const std::string& socket = chosen.empty() ? own : chosen;
  try {
    server.control_from(listen_at(socket, voice.teller(About::itself)));
    (void)setenv("KELVANE_HUB_CONTROL", fs::absolute(socket).c_str(), 1);
  } catch (const InputError& error) {
    if (!chosen.empty()) throw InputError(concat("--control: ", error.what()));
    voice.say(About::itself, concat(error.what(), "; nobody can control this hub"));
  }
}

/// What came of a run.
struct Result {
  Points points;
  bool is_interrupted;
};

/// Plays it.
Result perform(const RunOptions& options, PackedScenario scenario) {
  // First of all: from here on there is something to clean up, and a thread that a signal could end the process by.
  const UniqueFd signals = take_over_signals();
  const OwnFolder folder;
  const std::string socket = folder.path() / socket_name;
  Voice voice;
  Points points;
  Server server({options.explain, false}, voice, signals, listen_at(socket, voice.teller(About::itself)));
  take_orders(options.control, control_path_of(socket), server, voice);
  if (!options.capture.empty()) server.capture_to(options.capture);
  bool is_interrupted = false;
  const auto note = [&](const TestPoint& point) {
    points.push_back(point);
    // Who interrupts a run knows that nothing more can be met.
    if (!point.unmet.empty() && !is_interrupted)
      voice.say(About::scenario, concat("not met: ", point.name, ": ", point.unmet));
  };
  const Pace pace{options.speed, options.times.value_or(std::max(scenario.head().repeat(), 1U))};
  Performance& performance = server.play(std::move(scenario), pace, note, options.seed);
  Progress progress(performance, voice, options.is_quiet || options.explain);
  server.add(progress);
  (void)setenv("KELVANE_HUB_SOCKET", socket.c_str(), 1);
  Program program(options.program);
  TestRun run(options, server, performance, program);
  is_interrupted = server.run() == Outcome::signalled;
  if (is_interrupted) interrupt(program);
  performance.judge().close();
  if (is_interrupted) {
    note({"the run comes to its end", "it was interrupted"});
  } else {
    for (const TestPoint& point : run.points()) note(point);
  }
  // In the order of the scenario, whichever was decided first.
  std::ranges::stable_sort(points, {}, &TestPoint::step);
  return {std::move(points), is_interrupted};
}

}  // namespace

bool run(const RunOptions& options) {
  PackedScenario scenario = load(options);
  if (!options.junit.empty()) check_junit(options);
  if (!options.capture.empty()) refuse_same_file(options.scenario, options.capture, "the scenario");
  const Time begin = Loop::now();
  const auto [points, is_interrupted] = perform(options, std::move(scenario));
  const double seconds = std::chrono::duration<double>(Loop::now() - begin).count();
  // A standard output that takes nothing does not cost the file, too.
  const std::string suite = fs::path(options.scenario).stem().string();
  if (!options.junit.empty()) write_output(to_junit(points, suite, seconds), options.junit);
  if (options.tap) write_output(to_tap(points), "-");
  if (is_interrupted) throw InputError("kelvane-hub: the run was interrupted");
  return std::ranges::all_of(points, [](const TestPoint& point) { return point.unmet.empty(); });
}

}  // namespace kelvane_hub
