// What of a run came into a scenario, and how.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "hub/import/summary.h"

namespace kelvane_hub {

/// Why a report is no step of its kind.
enum class Detour : std::size_t {
  // A raw event takes its place.
  repetition,
  foreign_bytes,
  late_subscription,
  unregistered,
  no_request,
  other_answer,
  other_size,
  // And these have none.
  refusal,    // the sensor refuses the request
  verdict,    // it is left out
  size_lost,  // it is there all the same
  count,
};

class RunSummary {
 public:
  /// `run` is the path as errors have it, `place_name` what a place in it is.
  RunSummary(std::string run, std::string_view place_name) : run_(std::move(run)), place_name_(place_name) {}

  /// Reports come in their order; `at` is in seconds.
  void add_report(std::string_view kind, double at);
  void add_detour(Detour detour, std::size_t line);
  /// Anything else about the run that has to be said.
  void add_remark(const std::string& remark) { remarks_ += run_ + ": " + remark + '\n'; }
  /// Those from the first line to the last.
  void set_back(std::size_t first_line, std::size_t last_line);

  /// Where it all comes from, without folders: "run.txt: 40 reports in 60 s".
  std::string origin() const;

  /// All of it for standard error, each line with the run's path before it.
  std::string text() const;

 private:
  std::string extent() const;

  std::string run_;
  std::string place_name_;
  std::size_t reports_ = 0;
  double span_ = 0;
  std::vector<std::pair<std::string_view, std::size_t>> kinds_;  // in the order of their first reports
  std::array<LeftOut, static_cast<std::size_t>(Detour::count)> detours_;
  std::string remarks_;
};

}  // namespace kelvane_hub
