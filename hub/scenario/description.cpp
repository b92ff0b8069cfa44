#include <cmath>
#include <map>
#include <sstream>
#include <string>

#include "hub/scenario/fault_scope.h"
#include "hub/scenario/scenario_file.h"
#include "hub/scenario/seconds.h"

namespace kelvane_hub {

std::string describe(const PackedScenario& checked, double speed) {
  const scenario& head = checked.head();
  std::ostringstream text;
  if (head.has_description()) text << head.description() << '\n';
  text << "sensors:";
  for (const auto& sensor : head.sensors()) text << ' ' << sensor.data_type();
  text << "\nsubscriptions:";
  for (const auto sub : checked.subscriptions()) text << ' ' << sub;
  text << "\nsteps: " << checked.steps_size();
  for (const auto& [kind, count] : checked.kinds()) text << ", " << kind << ' ' << count;
  std::size_t shorthand = 0;
  for (const auto& [kind, count] : checked.shorthand()) shorthand += count;
  if (shorthand > 0) text << "\nmade of shorthand: " << shorthand;
  for (const auto& [kind, count] : checked.shorthand()) text << ", " << kind << ' ' << count;
  std::map<std::string, int> faults;
  for (const auto& fault : head.faults()) ++faults[kind_of(fault)];
  if (!faults.empty()) text << "\nfaults: " << head.faults_size();
  for (const auto& [kind, count] : faults) text << ", " << kind << ' ' << count;
  if (head.has_start() || head.has_duration())
    text << "\nplayed in part: from " << shown_seconds(head.start()) << " s of the file";
  const double end = checked.last_time();
  text << "\nlast step at " << shown_seconds(end) << " s";
  if (head.has_repeat_after()) text << ", begins anew after " << shown_seconds(head.repeat_after()) << " s";
  if (head.has_repeat()) text << ", is played " << head.repeat() << (head.repeat() == 1 ? " time" : " times");
  if (head.has_duration()) text << ", ends after " << shown_seconds(head.duration()) << " s";
  text << '\n';
  if (speed != 1) {
    const auto seconds = [speed](double time) { return shown_seconds(std::round(time / speed * 1000) / 1000); };
    text << "at speed " << speed << ": " << seconds(end) << " s";
    if (head.has_repeat_after()) text << ", anew after " << seconds(head.repeat_after()) << " s";
    text << '\n';
  }
  return text.str();
}

}  // namespace kelvane_hub
