#include "hub/simulator/watcher.h"

namespace kelvane_hub {

void Watchers::on_request(const Link& from, const std::string& envelope, Time now) {
  for (Watcher* const watcher : all_) watcher->on_request(from, envelope, now);
}

void Watchers::on_event(const Link& to, const std::string& message, Time now) {
  for (Watcher* const watcher : all_) watcher->on_event(to, message, now);
}

void Watchers::on_decision(const Link& to, std::uint32_t sub, const CellDecision& decision, ScenarioTime time) {
  for (Watcher* const watcher : all_) watcher->on_decision(to, sub, decision, time);
}

void Watchers::on_refusal(const Link& to, const std::string& explanation) {
  for (Watcher* const watcher : all_) watcher->on_refusal(to, explanation);
}

void Watchers::on_step(const scenario_step& step, Time now) {
  for (Watcher* const watcher : all_) watcher->on_step(step, now);
}

void Watchers::on_jump(ScenarioTime by) {
  for (Watcher* const watcher : all_) watcher->on_jump(by);
}

void Watchers::on_rewind() {
  for (Watcher* const watcher : all_) watcher->on_rewind();
}

void Watchers::on_end(ScenarioTime time) {
  for (Watcher* const watcher : all_) watcher->on_end(time);
}

void Watchers::on_behind(Time late) {
  for (Watcher* const watcher : all_) watcher->on_behind(late);
}

void Watchers::on_full(std::size_t bytes) {
  for (Watcher* const watcher : all_) watcher->on_full(bytes);
}

void Watchers::on_fault(const FaultReport& report) {
  for (Watcher* const watcher : all_) watcher->on_fault(report);
}

}  // namespace kelvane_hub
