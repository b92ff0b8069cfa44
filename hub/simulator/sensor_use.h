// What the simulated hub keeps for its sessions: which sensor each has configured how, and what it was told.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <tuple>
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

  const mox_wwan_signal_strength_config& config() const { return config_; }

  void note_told(SharedCells cells, ScenarioTime now) { last_ = Told{std::move(cells), now}; }

  /// What was told is as old as before though scenario time has jumped.
  void note_jump(ScenarioTime by) {
    if (last_) last_->time += by;
  }

  /// As if nothing had been told.
  void forget_told() { last_.reset(); }

 private:
  struct Told {
    SharedCells cells;
    ScenarioTime time;
  };

  mox_wwan_signal_strength_config config_;
  std::optional<Told> last_;
};

/// One session's view of one sensor.
struct SensorUse {
  Configuration configuration = Configuration::none;
  std::map<std::uint32_t, ChangeFilter> filters;  // by sub id

  // If periodic: tick number `ticks` is due at `first_tick` + ticks / `rate` seconds.
  std::int32_t rate = 0;
  Time first_tick{};
  std::int64_t ticks = 0;

  Time next_tick() const;
};

/// A session, and the suid of the sensor that it uses, low half first: in this order they are told of what happens.
using UseKey = std::tuple<SessionId, std::uint64_t, std::uint64_t>;

inline UseKey key_of(const Link& link) { return {link.session, link.sensor.suid_low, link.sensor.suid_high}; }
inline Link link_of(const UseKey& key) { return {std::get<0>(key), {std::get<1>(key), std::get<2>(key)}}; }

}  // namespace kelvane_hub
