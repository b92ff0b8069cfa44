// What the simulated hub keeps for one session: which sensor it has configured how, and what it was told.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "hub/scenario/timeline.h"
#include "hub/simulator/modem.h"
#include "hub/wire/frame.h"

namespace kelvane_hub {

/// How a configured sensor reports the cells.
enum class Reporting {
  none,       // not configured
  on_change,  // each time they change
  periodic,   // so many times a second
  when_asked  // query mode
};

/// Which changes of one subscription's cells a session is told of, and what it was told last.
class ChangeFilter {
 public:
  /// From now on changes are reported as `config`, an accepted one, says.
  void configure(mox_wwan_signal_strength_config config) { config_ = std::move(config); }

  /// Whether `cells`, which have just changed, are reported; `why` gets the reasons on one line.
  bool wants(const Cells& cells, ScenarioTime now, std::string& why) const;

  void note_reported(const Cells& cells, ScenarioTime now);

 private:
  struct Report {
    Cells cells;
    ScenarioTime time;
  };

  mox_wwan_signal_strength_config config_;
  std::optional<Report> last_;
};

/// One session's view of one sensor.
struct SensorUse {
  suid sensor{};
  Reporting reporting = Reporting::none;
  bool voice_calls = false;
  bool rrc_states = false;
  std::map<std::uint32_t, ChangeFilter> filters;  // by sub id

  // Periodic reporting: tick number `ticks` is due at `first_tick` + ticks / `rate` seconds.
  std::int32_t rate = 0;
  Time first_tick{};
  std::int64_t ticks = 0;

  Time next_tick() const;
};

}  // namespace kelvane_hub
