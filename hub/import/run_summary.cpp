#include "hub/import/run_summary.h"

#include <algorithm>
#include <filesystem>

#include "hub/base/concat.h"
#include "hub/scenario/seconds.h"

namespace kelvane_hub {
namespace {

// In the order of Detour.
constexpr std::array<std::string_view, static_cast<std::size_t>(Detour::count)> detours{
    "played as raw events, of cells that were reported already",
    "played as raw events, with payload bytes that these definitions do not read",
    "played as raw events, of a subscription without cells at the beginning",
    "played as raw events, which the run does not show to be registered for",
    "played as raw events, answers that the run does not show to be asked for",
    "played as raw events, answers that differ from the cells at that time",
    "played as raw events, with a payload size that these definitions do not have",
    "played as refusals of the requests before them",
    "left out: verdicts on thresholds, which a hub makes up itself",
    "played with another payload size",
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

void RunSummary::set_back(std::size_t line) {
  remarks_ += concat(run_, ':', line, ": the clock went back: the report happens at the time of the one above\n");
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
  for (std::size_t i = 0; i < detours.size(); ++i) {
    const auto& [count, line] = detours_[i];
    if (count != 0) text += concat(run_, ": ", count, " ", detours[i], " (first in line ", line, ")\n");
  }
  return text + remarks_;
}

}  // namespace kelvane_hub
