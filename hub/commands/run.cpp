#include <poll.h>
#include <stdlib.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <memory>
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

// Beside what the scenario takes by itself.
constexpr double usual_patience = 60;  // seconds

// From SIGINT to the program's end.
constexpr Time stop_patience = std::chrono::seconds(10);

/// A folder of this process alone, removed with all that is in it at the end.
class OwnFolder {
 public:
  OwnFolder() {
    const char* const runtime = std::getenv("XDG_RUNTIME_DIR");
    std::error_code error;
    const bool is_usable = runtime != nullptr && fs::is_directory(runtime, error);
    std::string name = (is_usable ? fs::path(runtime) : fs::temp_directory_path()) / "kelvane-hub-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) throw InputError(name + ": " + std::generic_category().message(errno));
    path_ = name;
  }
  ~OwnFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  OwnFolder(const OwnFolder&) = delete;
  OwnFolder& operator=(const OwnFolder&) = delete;

  const fs::path& path() const { return path_; }

 private:
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
        timeout_(options.timeout.value_or(usual_timeout(options, performance))),
        due_(begin_ + std::chrono::round<Time>(std::chrono::duration<double>(timeout_))) {
    server.once_readable(program.descriptor(), [this] { server_.stop(Outcome::finished); });
    server.add(*this);
  }

  std::optional<Time> next_due() const override {
    if (phase_ == Phase::playing && performance_.is_over()) return Time::zero();
    if (phase_ == Phase::draining) return next_look_;
    return due_;
  }

  void advance(Time now) override {
    if (phase_ == Phase::playing && performance_.is_over()) phase_ = Phase::draining;
    if (phase_ == Phase::draining && now >= next_look_) drain(now);
    if (now < due_) return;
    if (phase_ == Phase::stopping) {
      program_.signal(SIGKILL);
      is_killed_ = true;
      due_ = Time::max();
    } else {
      is_late_ = true;
      stop(now);
    }
  }

  /// What there is to say beside the expectations, when the program has ended.
  Points points() {
    const std::string status = program_.wait();
    const bool was_early = phase_ != Phase::stopping;
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

  std::string end_of_scenario(bool was_early) const {
    const Timeline& timeline = performance_.timeline();
    const std::string reached = concat("step ", timeline.taken(), " of ", timeline.steps());
    if (is_late_) return concat("expected it within ", shown_seconds(timeout_), " s, stopped at ", reached);
    if (was_early) return concat("expected the program to run until it is stopped, it ended at ", reached);
    return "";
  }

  std::string end_of_program(const std::string& status, bool was_early) const {
    if (is_killed_) {
      return concat("expected it to end within ",
                    std::chrono::duration_cast<std::chrono::seconds>(stop_patience).count(),
                    " s after SIGINT, it had to be killed");
    }
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
  bool is_marked_ = false;
  bool is_late_ = false;
  bool is_killed_ = false;
};

PackedScenario load(const RunOptions& options) {
  PackedScenario loaded = options.scenario.empty() ? built_in_scenario() : load_scenario(options.scenario);
  if (options.speed != Pace::at_once) check_pace(loaded, options.speed);
  if (options.times > 1 && !loaded.head().has_repeat_after()) {
    throw InputError(concat("--times: expected a scenario that begins anew (repeat_after), found ", options.scenario));
  }
  return loaded;
}

void interrupt(Program& program) {
  program.signal(SIGINT);
  pollfd end{program.descriptor(), POLLIN, 0};
  constexpr int patience_ms = 2000;
  (void)poll(&end, 1, patience_ms);
}

/// Plays it, and returns what came of it.
Points perform(const RunOptions& options, PackedScenario scenario) {
  const OwnFolder folder;
  const std::string socket = folder.path() / "hub.sock";
  Voice voice;
  Points points;
  Server server({}, voice, take_over_signals(), listen_at(socket));
  const auto note = [&](const TestPoint& point) {
    points.push_back(point);
    if (!point.unmet.empty()) voice.say(About::scenario, concat("not met: ", point.name, ": ", point.unmet));
  };
  Performance& performance = server.play(std::move(scenario), {options.speed, options.times}, note, options.seed);
  Progress progress(performance, options.is_quiet);
  server.add(progress);
  (void)setenv("KELVANE_HUB_SOCKET", socket.c_str(), 1);
  Program program(options.program);
  TestRun run(options, server, performance, program);
  if (server.run() == Outcome::signalled) {
    interrupt(program);
    throw InputError("kelvane-hub: the run was interrupted");
  }
  performance.judge().close();
  for (const TestPoint& point : run.points()) note(point);
  return points;
}

}  // namespace

bool run(const RunOptions& options) {
  PackedScenario scenario = load(options);
  const Time begin = Loop::now();
  const Points points = perform(options, std::move(scenario));
  const double seconds = std::chrono::duration<double>(Loop::now() - begin).count();
  if (options.tap) write_output(to_tap(points), "-");
  const std::string suite = options.scenario.empty() ? "built-in" : fs::path(options.scenario).stem().string();
  if (!options.junit.empty()) write_output(to_junit(points, suite, seconds), options.junit);
  return std::ranges::all_of(points, [](const TestPoint& point) { return point.unmet.empty(); });
}

}  // namespace kelvane_hub
