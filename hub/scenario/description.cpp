#include <cmath>
#include <iomanip>
#include <limits>
#include <map>
#include <sstream>

#include "hub/scenario/scenario_file.h"
#include "hub/scenario/seconds.h"

namespace kelvane_hub {

std::string shown_seconds(double value) {
  std::ostringstream text;
  text << std::setprecision(std::numeric_limits<double>::digits10) << value;
  return text.str();
}

std::string describe(const scenario& checked, double speed) {
  std::ostringstream text;
  if (checked.has_description()) text << checked.description() << '\n';
  text << "sensors:";
  for (const auto& sensor : checked.sensors()) text << ' ' << sensor.data_type();
  text << "\nsubscriptions:";
  for (const auto sub : subscriptions_of(checked)) text << ' ' << sub;
  std::map<std::string, int> counts;
  for (const auto& step : checked.steps()) {
    const auto* kind = scenario_step::descriptor()->FindFieldByNumber(step.what_case());
    ++counts[kind->name()];
  }
  text << "\nsteps: " << checked.steps_size();
  for (const auto& [kind, count] : counts) text << ", " << kind << ' ' << count;
  const double end = checked.steps_size() == 0 ? 0 : checked.steps(checked.steps_size() - 1).at();
  text << "\nlast step at " << shown_seconds(end) << " s";
  if (checked.has_repeat_after()) text << ", begins anew after " << shown_seconds(checked.repeat_after()) << " s";
  text << '\n';
  if (speed != 1) {
    const auto seconds = [speed](double time) { return shown_seconds(std::round(time / speed * 1000) / 1000); };
    text << "at speed " << speed << ": " << seconds(end) << " s";
    if (checked.has_repeat_after()) text << ", anew after " << seconds(checked.repeat_after()) << " s";
    text << '\n';
  }
  return text.str();
}

}  // namespace kelvane_hub
