#include <sys/eventfd.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <future>
#include <iostream>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "hub/base/concat.h"
#include "hub/base/diagnostic.h"
#include "hub/base/input_error.h"
#include "hub/commands/commands.h"
#include "hub/scenario/scenario_check.h"
#include "hub/scenario/scenario_file.h"
#include "hub/server/server.h"
#include "hub/server/voice.h"

namespace kelvane_hub {
namespace {

PackedScenario load(const ServeOptions& options) {
  PackedScenario loaded = options.scenario.empty() ? built_in_scenario() : load_scenario(options.scenario);
  check_pace(loaded, options.speed);
  return loaded;
}

/// A scenario that is loaded by a thread of its own, which may take long, or for ever if the file is a pipe.
class Loading {
 public:
  explicit Loading(const ServeOptions& options) {
    std::packaged_task<PackedScenario()> task([options] { return load(options); });
    loaded_ = task.get_future();
    std::thread([task = std::move(task), done = done_]() mutable {
      task();
      (void)eventfd_write(done->get(), 1);
    }).detach();
  }

  bool is_done_within(std::chrono::seconds time) const {
    return !loaded_.valid() || loaded_.wait_for(time) == std::future_status::ready;
  }

  /// Can be read from when the thread has come to its end.
  int descriptor() const { return done_->get(); }

  /// Waits for the scenario; to be called once. Throws what loading has thrown.
  PackedScenario get() { return loaded_.get(); }

 private:
  std::shared_ptr<UniqueFd> done_ = std::make_shared<UniqueFd>(eventfd(0, EFD_CLOEXEC));
  std::future<PackedScenario> loaded_;
};

/// Says which expectations are not met.
Judge::Tell teller(Voice& voice) {
  return [&voice](const TestPoint& point) {
    if (!point.unmet.empty()) voice.say(About::scenario, concat(point.name, ": ", point.unmet));
  };
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

/// Beside the socket of the clients. That is what counts: where there can be no other one, the hub does without.
void listen_for_control(Server& server, const std::string& path, Voice& voice) {
  try {
    server.control_from(listen_at(control_path_of(path)));
  } catch (const InputError& error) {
    voice.say(About::itself, concat(error.what(), "; nobody can control this hub"));
  }
}

void serve_shared(const ServeOptions& options) {
  PackedScenario played = load(options);
  if (options.exits_at_end && played.head().has_repeat_after()) {
    throw InputError("--exit-at-end: expected a scenario that ends, found one that begins anew (repeat_after)");
  }
  UniqueFd signals = take_over_signals();
  Voice voice;
  Server server({options.explain, true}, voice, std::move(signals), listen_at(options.listen));
  listen_for_control(server, options.listen, voice);
  if (options.restarts) server.restart_for_each_first();
  const Performance& performance = server.play(std::move(played), {options.speed, {}}, teller(voice));
  ExitAtEnd end(server, performance);
  if (options.exits_at_end) server.add(end);
  std::cout << "kelvane-hub: listening on " << options.listen << std::endl;
  server.run();
}

/// Whoever has started the hub may go at any time, and waits only so long for the hub's hello. Returns whether the
/// scenario was loaded by the end.
bool serve_private(const ServeOptions& options, Voice& voice) {
  // A scenario that is wrong is told before the hello, unless it takes longer than this.
  constexpr std::chrono::seconds patience(1);
  UniqueFd signals = take_over_signals();
  Loading loading(options);
  std::optional<PackedScenario> played;
  if (loading.is_done_within(patience)) played = loading.get();
  // The standard error is the client's, too, and its own lines are the first that count there.
  Server server({options.explain, options.explain}, voice, std::move(signals),
                connections_from(UniqueFd(options.control_fd)));
  const char* const control = std::getenv("KELVANE_HUB_CONTROL");
  if (control != nullptr && *control != '\0') server.control_from(listen_at(control));
  const Judge::Tell tell = options.explain ? teller(voice) : [](const TestPoint&) {};
  if (played) {
    server.play(*std::move(played), {options.speed, {}}, tell);
  } else {
    server.once_readable(loading.descriptor(), [&] { server.play(loading.get(), {options.speed, {}}, tell); });
  }
  server.run();
  return loading.is_done_within({});
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
    if (serve_private(options, *voice)) return;
  } catch (const InputError& error) {
    for (const auto& line : lines_of(error.what())) voice->say(About::itself, line);
    throw AlreadyTold();
  }
  // The thread that loads cannot be ended, and what it works with is destroyed when main() returns.
  voice.reset();
  _exit(EXIT_SUCCESS);
}

}  // namespace kelvane_hub
