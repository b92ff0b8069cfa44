#include "hub/testbench/performance.h"

#include <utility>

namespace kelvane_hub {

Performance::Performance(PackedScenario played, Pace pace, Delivery& delivery, Judge::Tell tell, FaultPlay faults)
    : played_(std::move(played)),
      timeline_(played_, pace),
      live_(
          timeline_, [this] { return faults_.seed(); },
          [this](std::uint32_t sub) {
            const SharedCells& cells = simulator_.playback().modem().at(sub).cells;
            return cells ? cells->cells : Cells();
          }),
      judge_(played_, timeline_, pace.speed, std::move(tell)),
      faults_(played_, faults.seed, *this, delivery, faults.sessions),
      simulator_(played_, live_, faults_) {
  simulator_.watch(judge_);
}

void Performance::seek(double seconds, Time now) {
  const ScenarioTime before = timeline_.at(now);
  live_.end_all();
  timeline_.seek(seconds, now);
  simulator_.note_jump(timeline_.at(now) - before);
}

void Performance::await_first_client(Time now) {
  judge_.forget_requests();
  restart(now);
}

std::optional<Time> Performance::next_due() const {
  // What was waited for has come.
  if (timeline_.is_held() && !judge_.is_waiting()) return Time::zero();
  return earlier(earlier(judge_.next_due(), faults_.next_due()), simulator_.next_due());
}

void Performance::advance(Time now) {
  judge_.advance(now);
  if (timeline_.is_held() && !judge_.is_waiting()) timeline_.go_on(now);
  // A request that comes late does so between the steps before its time and those after.
  for (auto late = faults_.next_due(); late && *late <= now; late = faults_.next_due()) {
    simulator_.advance(*late);
    if (const auto earlier_step = simulator_.next_due(); earlier_step && *earlier_step <= *late) return;
    faults_.advance(*late);
  }
  simulator_.advance(now);
}

void Performance::handle_request(const Link& from, const std::string& envelope, Time now) {
  simulator_.note_request(from, envelope, now);
  faults_.handle_request(from, envelope, now);
}

void Performance::end_session(SessionId session) {
  faults_.end_session(session);
  simulator_.end_session(session);
}

void Performance::take_request(const Link& from, const std::string& envelope, Time now) {
  simulator_.carry_out(from, envelope, now);
}

void Performance::refuse(const Link& from, HubError error, Time now) { simulator_.refuse(from, error, now); }

}  // namespace kelvane_hub
