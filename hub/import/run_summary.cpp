#include "hub/import/run_summary.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "hub/base/concat.h"
#include "hub/report/run.h"
#include "hub/scenario/seconds.h"

namespace kelvane_hub {
namespace {

/// What is said after the number of reports.
struct Words {
  std::string_view several;
  std::string_view one = several;
};

// In the order of Detour.
constexpr std::array<Words, static_cast<std::size_t>(Detour::count)> detours{{
    {"of cells that differ in their timestamps at most from those before"},
    {"with payload bytes that these definitions do not read"},
    {"of a subscription without cells at the beginning"},
    {"that the run does not show to be registered for"},
    {"that answer what the run does not show to be asked", "that answers what the run does not show to be asked"},
    {"that answer otherwise than the cells at that time", "that answers otherwise than the cells at that time"},
    {"with a payload size that these definitions do not have"},
    {"refusals of the requests before them", "refusal of the request before it"},
    {"verdicts on thresholds, which a hub makes up itself", "verdict on thresholds, which a hub makes up itself"},
    {"with another payload size than this one's"},
}};

/// What becomes of the reports with these detours, each of which has its line.
struct Fate {
  std::string_view name;
  Detour first;
  Detour last;
};

constexpr Fate fates[] = {
    {"as raw events", Detour::repetition, Detour::other_size},
    {"as sensors that refuse", Detour::refusal, Detour::refusal},
    {"left out", Detour::verdict, Detour::verdict},
    {"not quite the same", Detour::size_lost, Detour::size_lost},
};

}  // namespace

void RunSummary::add_report(std::string_view kind, double at) {
  ++reports_;
  span_ = at;
  const auto known = std::ranges::find(kinds_, kind, &decltype(kinds_)::value_type::first);
  if (known == kinds_.end()) {
    kinds_.emplace_back(kind, 1);
  } else {
    ++known->second;
  }
}

void RunSummary::add_detour(Detour detour, std::size_t line) {
  LeftOut& reports = detours_[static_cast<std::size_t>(detour)];
  if (reports.count++ == 0) reports.first_line = line;
}

void RunSummary::set_back(std::size_t first_line, std::size_t last_line) {
  const bool is_one = first_line == last_line;
  remarks_ +=
      concat(place_in(place_name_, run_, first_line), ": the clock went back: ",
             is_one ? "the report happens" : concat("the reports up to ", place_name_, " ", last_line, " happen"),
             " at the time of the one above\n");
}

std::string RunSummary::extent() const {
  return concat(": ", reports_, reports_ == 1 ? " report in " : " reports in ", shown_seconds(span_), " s");
}

std::string RunSummary::origin() const { return std::filesystem::path(run_).filename().string() + extent(); }

std::string RunSummary::text() const {
  std::string text = run_ + extent();
  const char* separator = ": ";
  for (const auto& [kind, count] : kinds_) text += concat(std::exchange(separator, ", "), count, " ", kind);
  text += '\n';
  for (const Fate& fate : fates) {
    std::string list;
    for (auto i = static_cast<std::size_t>(fate.first); i <= static_cast<std::size_t>(fate.last); ++i) {
      const auto& [count, line] = detours_[i];
      if (count == 0) continue;
      const std::string_view words = count == 1 ? detours[i].one : detours[i].several;
      list += concat(list.empty() ? ": " : ", ", count, " ", words, " (first in ", place_name_, ' ', line, ")");
    }
    if (!list.empty()) text += concat(run_, ": ", fate.name, list, '\n');
  }
  return text + remarks_;
}

}  // namespace kelvane_hub
