#include "hub/scenario/seconds.h"

#include <cstdio>
#include <iomanip>
#include <limits>
#include <sstream>

namespace kelvane_hub {

std::string shown_seconds(double value) {
  std::ostringstream text;
  text << std::setprecision(std::numeric_limits<double>::digits10) << value;
  return text.str();
}

std::string to_milliseconds(ScenarioTime time) {
  char text[32];
  (void)std::snprintf(text, sizeof text, "%.3f", time.count());
  return text;
}

std::string in_seconds(ScenarioTime time) { return to_milliseconds(time) + " s"; }

}  // namespace kelvane_hub
