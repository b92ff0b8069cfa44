#include "hub/testbench/recorder.h"

#include <algorithm>

#include "hub/base/concat.h"
#include "hub/base/input_error.h"
#include "hub/scenario/scenario_file.h"
#include "hub/scenario/seconds.h"

namespace kelvane_hub {
namespace {

// What takes a hub a fraction of a second to write.
constexpr std::size_t most_bytes = std::size_t{8} << 20;

}  // namespace

void Recorder::on_step(const scenario_step& step, Time now) {
  if (bytes_ > most_bytes) return;
  scenario_step recorded = step;
  const double seconds = to_microseconds((time_.at(now) - jumped_).count());
  recorded.set_at(std::max(seconds, recorded_.last_time()));
  bytes_ += recorded.ByteSizeLong();
  recorded_.add_step(recorded);
}

void Recorder::on_rewind() {
  recorded_ = {};
  bytes_ = 0;
  jumped_ = {};
}

std::string Recorder::text() const {
  if (bytes_ > most_bytes) {
    throw InputError(concat("expected at most ", most_bytes, " bytes of steps since the scenario began, found more"));
  }
  scenario written = played_.head();
  written.clear_repeat_after();
  written.clear_repeat();
  written.clear_start();
  written.clear_duration();
  if (!written.faults().empty()) written.set_seed(seed_);
  // Of subscriptions that it does not speak of a hub tells when it begins that they have no cells.
  auto silent = played_.subscriptions();
  std::erase_if(silent, [this](auto sub) { return !played_.speaks_of(sub) || recorded_.speaks_of(sub); });
  for (std::size_t i = 0; i <= recorded_.steps_size(); ++i) {
    if (i == recorded_.steps_size() || recorded_.time_of(i) > 0) {
      for (const auto sub : silent) {
        scenario_step& none = *written.add_steps();
        none.set_at(0);
        none.mutable_cells()->set_sub(sub);
      }
      silent.clear();
    }
    if (i < recorded_.steps_size()) *written.add_steps() = recorded_.step(i);
  }
  return text_of(written);
}

}  // namespace kelvane_hub
