#include "hub/plot/time_axis.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace kelvane_hub {
namespace {

constexpr double minute = 60;
constexpr double hour = 60 * minute;
constexpr double day = 24 * hour;
constexpr int most_steps = 10;

// Nothing is drawn of less, and of nothing there is no logarithm.
constexpr double shortest = 1e-9;

/// From here on seconds are only counted: in hours and minutes they would be no whole numbers any more.
constexpr double longest = 1e15;

/// 1, 2 or 5 times a power of ten, at least `least`.
double decimal_step(double least) {
  const double power = std::pow(10, std::floor(std::log10(least)));
  for (const double digit : {1.0, 2.0, 5.0}) {
    if (digit * power >= least * (1 - 1e-9)) return digit * power;
  }
  return 10 * power;
}

double step_for(double length) {
  constexpr double round_steps[] = {1,      2,          5,          10,          15,          30,
                                    minute, 2 * minute, 5 * minute, 10 * minute, 15 * minute, 30 * minute,
                                    hour,   2 * hour,   3 * hour,   6 * hour,    12 * hour,   day};
  const double least = std::max(length, shortest) / most_steps;
  if (least <= 0.5) return decimal_step(least);
  const auto* const step = std::ranges::lower_bound(round_steps, least);
  return step == std::end(round_steps) ? day * decimal_step(least / day) : *step;
}

enum class Form { seconds, minutes, hours, hours_and_seconds };

Form form_for(double step, double end) {
  if (step < 1 || end < minute || end > longest) return Form::seconds;
  if (end < hour) return Form::minutes;
  return step < minute ? Form::hours_and_seconds : Form::hours;
}

constexpr const char* units[] = {"s", "min:s", "h:min", "h:min:s"};

template <class... Numbers>
std::string printed(const char* format, Numbers... numbers) {
  std::array<char, 64> text{};
  (void)std::snprintf(text.data(), text.size(), format, numbers...);
  return text.data();
}

std::string shown(double time, Form form, double step) {
  if (form == Form::seconds) {
    const int digits = step < 1 ? static_cast<int>(std::ceil(-std::log10(step) - 1e-9)) : 0;
    return time > longest ? printed("%.17g", time) : printed("%.*f", digits, time);
  }
  const auto seconds = std::llround(time);
  const auto minutes = seconds / 60;
  if (form == Form::minutes) return printed("%lld:%02lld", minutes, seconds % 60);
  if (form == Form::hours) return printed("%lld:%02lld", minutes / 60, minutes % 60);
  return printed("%lld:%02lld:%02lld", minutes / 60, minutes % 60, seconds % 60);
}

}  // namespace

TimeAxis time_axis(double begin, double end) {
  const double step = step_for(end - begin);
  const Form form = form_for(step, end);
  TimeAxis axis{units[static_cast<int>(form)], {}};
  const double first = std::ceil(begin / step - 1e-9);
  for (int i = 0; i <= most_steps; ++i) {
    const double time = (first + i) * step + 0.0;  // not -0
    if (time > end * (1 + 1e-12)) break;
    // A step may be less than what tells such times from each other.
    if (axis.ticks.empty() || axis.ticks.back().first < time) axis.ticks.emplace_back(time, shown(time, form, step));
  }
  return axis;
}

}  // namespace kelvane_hub
