// What the simulated hub keeps for its sessions: which sensor each has configured how, and what it was told.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <utility>

#include "hub/simulator/link.h"
#include "hub/simulator/modem.h"
#include "hub/simulator/watcher.h"

namespace kelvane_hub {

/// How a session has configured a sensor: when it is told of the cells.
enum class Configuration {
  none,
  on_change,  // each time they change
  periodic,   // so many times a second
  when_asked  // query mode
};

/// Which changes of one subscription's cells a session is told of, and what it was told last.
class ChangeFilter {
 public:
  /// From now on changes pass as `config`, an accepted one, says.
  void configure(mox_wwan_signal_strength_config config) { config_ = std::move(config); }

  /// Whether the session is told of `cells`, which have just changed.
  CellDecision decide(const Cells& cells, ScenarioTime now) const;

  void note_told(const Cells& cells, ScenarioTime now) { last_ = Told{cells, now}; }

 private:
  struct Told {
    Cells cells;
    ScenarioTime time;
  };

  mox_wwan_signal_strength_config config_;
  std::optional<Told> last_;
};

/// One session's view of one sensor.
struct SensorUse {
  Configuration configuration = Configuration::none;
  std::set<std::uint32_t> registered;             // ids of the events that it wants to hear of
  std::map<std::uint32_t, ChangeFilter> filters;  // by sub id

  // If periodic: tick number `ticks` is due at `first_tick` + ticks / `rate` seconds.
  std::int32_t rate = 0;
  Time first_tick{};
  std::int64_t ticks = 0;

  Time next_tick() const;
};

/// By suid, low half first.
using SensorKey = std::pair<std::uint64_t, std::uint64_t>;
using SensorUses = std::map<SensorKey, SensorUse>;

/// The sessions that use a sensor.
using Sessions = std::map<SessionId, SensorUses>;

inline SensorKey key_of(suid sensor) { return {sensor.suid_low, sensor.suid_high}; }
inline suid suid_of(const SensorKey& key) { return {key.first, key.second}; }

}  // namespace kelvane_hub
