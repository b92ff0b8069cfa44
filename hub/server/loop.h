// Waits for descriptors and for moments, and says to those concerned that they have come.
#pragma once

#include <sys/epoll.h>

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <vector>

#include "hub/base/party.h"
#include "hub/base/unique_fd.h"

namespace kelvane_hub {

/// Why a loop has ended.
enum class Outcome {
  signalled,   // somebody wants the hub to end
  no_clients,  // nobody is left who could bring any
  finished,    // what it was run for is done
};

/// Of what whoever has added a descriptor is told.
struct Interest {
  bool read = true;
  bool write = false;

  bool operator==(const Interest&) const = default;
};

/// One turn after the other on the thread that calls run(). In a turn, what is overdue happens first, then each ready
/// descriptor is served in the order in which they were added, all at the same time `now`; last comes the end of the
/// turn. What a turn costs depends on what is ready, not on how many descriptors there are.
class Loop {
 public:
  /// A descriptor that was added, for as long as it is not removed.
  using Entry = std::uint64_t;

  /// Told that it can be read (or has ended) or written.
  using Ready = std::function<void(bool readable, bool writable, Time now)>;

  /// Throws std::system_error.
  Loop();

  /// From now on `ready` is told when `descriptor`, which whoever adds it keeps open until it is removed, can be read.
  /// Throws std::system_error, and nothing was added, if it is of a kind that cannot be waited for.
  Entry add(int descriptor, Ready ready);

  /// Of what it is told from now on, beside that it has ended; at first that it can be read.
  void want(Entry entry, Interest interest);

  /// It is told of nothing any more, in this turn neither.
  void remove(Entry entry);

  /// From now on `party`, which outlives the loop, gets its turns; parties in the order in which they were added.
  void add(Party& party) { parties_.push_back(&party); }

  /// Called at the end of each turn: what was put off to be done once is done now.
  void at_end_of_turn(std::function<void()> action) { ends_of_turn_.push_back(std::move(action)); }

  /// Ends the loop when this turn ends; no more descriptors are served in it. Of several reasons the first counts.
  void stop(Outcome outcome);

  /// Returns why it was stopped.
  Outcome run();

  /// The time now on the hub's clock.
  static Time now();

 private:
  struct Registered {
    int descriptor;
    Ready ready;
  };
  struct Happened {
    Entry entry;
    std::uint32_t events;
  };

  std::vector<Happened> wait();
  bool wait_until_due() const;
  void control(int operation, int descriptor, Entry entry, std::uint32_t events);
  void serve(const Happened& happened, Time now);

  UniqueFd epoll_;
  Entry last_entry_ = 0;
  std::map<Entry, Registered> registered_;
  std::vector<epoll_event> events_;  // room for all: kept, not filled anew in each turn
  std::vector<Party*> parties_;
  std::vector<std::function<void()>> ends_of_turn_;
  std::optional<Outcome> outcome_;
};

}  // namespace kelvane_hub
