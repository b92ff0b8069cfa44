#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <exception>
#include <future>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "hub/base/concat.h"
#include "hub/base/diagnostic.h"
#include "hub/base/input_error.h"
#include "hub/commands/commands.h"
#include "hub/commands/outputs.h"
#include "hub/scenario/scenario_check.h"
#include "hub/scenario/scenario_file.h"
#include "hub/server/server.h"
#include "hub/server/voice.h"

namespace kelvane_hub {
namespace {

PackedScenario load(const ServeOptions& options) {
  PackedScenario loaded =
      options.scenario.empty() ? built_in_scenario() : load_scenario(options.scenario, options.seed);
  check_pace(loaded, options.speed);
  return loaded;
}

/// What loading has come to. Its error is a text, not an exception: two threads would share that.
struct Loaded {
  PackedScenario scenario;
  std::string error;  // empty: none
};

Loaded load_or_say_why(const ServeOptions& options) try {
  return {load(options), ""};
} catch (const std::exception& error) {
  return {{}, error.what()};
}

/// A scenario that is loaded by a thread of its own, which may take long, or for ever if the file is a pipe.
class Loading {
 public:
  explicit Loading(const ServeOptions& options) {
    std::packaged_task<Loaded()> task([options] { return load_or_say_why(options); });
    loaded_ = task.get_future();
    std::thread([task = std::move(task), done = done_]() mutable {
      task();
      (void)eventfd_write(done->get(), 1);
    }).detach();
  }

  bool is_done() const {
    return !loaded_.valid() || loaded_.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
  }

  /// Can be read from when the thread has come to its end.
  int descriptor() const { return done_->get(); }

  /// Waits for the scenario; to be called once. Throws InputError if it could not be loaded.
  PackedScenario get() {
    Loaded loaded = loaded_.get();
    if (!loaded.error.empty()) throw InputError(loaded.error);
    return std::move(loaded.scenario);
  }

 private:
  std::shared_ptr<UniqueFd> done_ = std::make_shared<UniqueFd>(eventfd(0, EFD_CLOEXEC));
  std::future<Loaded> loaded_;
};

/// Says which expectations are not met.
Judge::Tell teller(Voice& voice) {
  return [&voice](const TestPoint& point) {
    if (!point.unmet.empty()) voice.say(About::scenario, concat(point.name, ": ", point.unmet));
  };
}

/// Waits until standard output takes a line. Returns false if a signal comes first.
bool can_print(const UniqueFd& signals) {
  pollfd ready[] = {{STDOUT_FILENO, POLLOUT, 0}, {signals.get(), POLLIN, 0}};
  (void)poll(ready, std::size(ready), -1);
  return ready[1].revents == 0;
}

/// Ends a hub when its scenario is over and the clients have taken what was for them, or have had their time for it.
class ExitAtEnd final : public Party {
 public:
  /// Both outlive this object.
  ExitAtEnd(Server& server, const Performance& performance) : server_(server), performance_(performance) {}

  std::optional<Time> next_due() const override {
    return performance_.is_over() ? std::optional(next_look_) : std::nullopt;
  }

  void advance(Time now) override {
    constexpr Time pause = std::chrono::milliseconds(1);
    constexpr Time patience = std::chrono::seconds(10);
    if (!performance_.is_over()) return over_.reset();
    if (!over_) over_ = now;
    if (now < next_look_) return;
    next_look_ = now + pause;
    if (server_.is_all_taken() || now - *over_ > patience) server_.stop(Outcome::finished);
  }

 private:
  Server& server_;
  const Performance& performance_;
  std::optional<Time> over_;  // since when
  Time next_look_{};
};

/// The socket of the clients is what counts: where there can be no other one, the hub does without.
void listen_for_control(Server& server, const std::string& path, Voice& voice) {
  try {
    server.control_from(listen_at(path, voice.teller(About::itself)));
  } catch (const InputError& error) {
    voice.say(About::itself, concat(error.what(), "; nobody can control this hub"));
  }
}

/// A capture that cannot be written is no reason not to serve.
void capture(Server& server, const ServeOptions& options, Voice& voice) {
  if (options.capture.empty()) return;
  refuse_same_file(options.scenario, options.capture, "the scenario");
  try {
    server.capture_to(options.capture);
  } catch (const InputError& error) {
    voice.say(About::itself, concat(error.what(), "; nothing is captured"));
  }
}

void serve_shared(const ServeOptions& options) {
  PackedScenario played = load(options);
  if (options.exits_at_end && played.head().has_repeat_after() && !played.head().has_repeat()) {
    throw InputError("--exit-at-end: expected a scenario that ends, found one that begins anew (repeat_after)");
  }
  const UniqueFd signals = take_over_signals();
  Voice voice;
  Server server({options.explain, true}, voice, signals, listen_at(options.listen, voice.teller(About::itself)));
  listen_for_control(server, control_path_of(options.listen), voice);
  capture(server, options, voice);
  if (options.restarts) server.restart_for_each_first();
  const Performance& performance = server.play(std::move(played), {options.speed, {}}, teller(voice), options.seed);
  ExitAtEnd end(server, performance);
  if (options.exits_at_end) server.add(end);
  if (!can_print(signals)) return;
  write_output("kelvane-hub: listening on " + options.listen + "\n", "-");
  if (options.trace) server.trace();
  server.run();
}

/// Ends the process if the scenario is still being loaded: the thread that does it cannot be ended, and what it works
/// with is destroyed when main() returns.
class UnlessLoading {
 public:
  UnlessLoading(const Loading& loading, std::unique_ptr<Voice>& voice) : loading_(loading), voice_(voice) {}
  ~UnlessLoading() {
    if (loading_.is_done()) return;
    voice_.reset();
    _exit(std::uncaught_exceptions() == 0 ? EXIT_SUCCESS : EXIT_FAILURE);
  }
  UnlessLoading(const UnlessLoading&) = delete;
  UnlessLoading& operator=(const UnlessLoading&) = delete;

 private:
  const Loading& loading_;
  std::unique_ptr<Voice>& voice_;
};

/// Whoever has started the hub may go at any time, and waits only so long for the hub's hello.
void serve_private(const ServeOptions& options, std::unique_ptr<Voice>& voice) {
  // What is wrong with a scenario is best told before the hello: then no session begins. The library waits for 10 s.
  constexpr Time patience = std::chrono::seconds(8);
  const UniqueFd signals = take_over_signals();
  Loading loading(options);
  const UnlessLoading at_end(loading, voice);
  // The standard error is the client's, too, and its own lines are the first that count there.
  Server server({options.explain, options.explain}, *voice, signals, connections_from(UniqueFd(options.control_fd)));
  const char* const control = std::getenv("KELVANE_HUB_CONTROL");
  if (control != nullptr && *control != '\0') listen_for_control(server, control, *voice);
  capture(server, options, *voice);
  const Judge::Tell tell = options.explain ? teller(*voice) : [](const TestPoint&) {};
  server.once_readable(loading.descriptor(), [&] {
    server.play(loading.get(), {options.speed, {}}, tell, options.seed);
  });
  server.greet_at(Loop::now() + patience);
  server.run();
}

std::vector<std::string> lines_of(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

/// Who speaks stands in front of each line: the client's terminal shows them among others.
std::string with_speaker(const std::string& text) {
  std::string spoken;
  for (const std::string& line : lines_of(text)) {
    spoken.append(spoken.empty() ? "" : "\n").append(hub_speaker).append(": ").append(line);
  }
  return spoken;
}

}  // namespace

void serve(const ServeOptions& options) {
  if (!options.listen.empty()) {
    try {
      return serve_shared(options);
    } catch (const InputError& error) {
      throw InputError(with_speaker(error.what()));
    }
  }
  auto voice = std::make_unique<Voice>();
  try {
    serve_private(options, voice);
  } catch (const InputError& error) {
    for (const auto& line : lines_of(error.what())) voice->say(About::itself, line);
    throw AlreadyTold();
  }
}

}  // namespace kelvane_hub
