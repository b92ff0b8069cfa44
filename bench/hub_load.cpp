// Hubs under load, side by side: a table of figures, best slice of each, and ratios to the first hub.
//
//   hub_load [MEASURE…] NAME=PROGRAM…
//
// Each PROGRAM is a kelvane-hub, called NAME in the table. They take turns, slice by slice. Without a MEASURE, all are
// taken, which is about a minute for each hub.

#include <algorithm>
#include <cstdio>
#include <exception>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "bench/hub_measures.h"
#include "bench/hub_process.h"

namespace kelvane_hub::bench {
namespace {

struct Hub {
  std::string name;
  std::string program;
};

void combine(std::vector<Figure>& figures, const std::vector<Figure>& others) {
  for (std::size_t i = 0; i < figures.size(); ++i) {
    const auto [low, high] = std::minmax(figures[i].value, others.at(i).value);
    figures[i].value = figures[i].keep == Keep::highest ? high : low;
  }
}

void print(const Measure& measure, const std::vector<std::vector<Figure>>& figures) {
  for (std::size_t row = 0; row < figures.front().size(); ++row) {
    std::printf("| %s: %s |", measure.title, figures.front()[row].name.c_str());
    const double first = figures.front()[row].value;
    for (const auto& hub : figures) std::printf(" %.*f |", hub[row].value < 100 ? 3 : 0, hub[row].value);
    for (std::size_t i = 1; i < figures.size(); ++i) {
      first == 0 ? std::printf(" - |") : std::printf(" %.3f |", figures[i][row].value / first);
    }
    std::printf("\n");
  }
  (void)std::fflush(stdout);
}

void take(const Measure& measure, const std::vector<Hub>& hubs) {
  std::vector<std::vector<Figure>> best(hubs.size());
  for (int slice = 0; slice < measure.slices; ++slice) {
    for (std::size_t i = 0; i < hubs.size(); ++i) {
      auto figures = measure.take(hubs[i].program);
      if (slice > 0) combine(figures, best[i]);
      best[i] = std::move(figures);
    }
  }
  print(measure, best);
}

void print_head(const std::vector<Hub>& hubs) {
  std::string names;
  std::string rules;
  const auto add_column = [&](const std::string& name) {
    names += " " + name + " |";
    rules += " --- |";
  };
  add_column("");
  for (const Hub& hub : hubs) add_column(hub.name);
  for (std::size_t i = 1; i < hubs.size(); ++i) add_column(hubs[i].name + " / " + hubs.front().name);
  std::printf("|%s\n|%s\n", names.c_str(), rules.c_str());
}

int run(const std::vector<std::string>& words) {
  std::vector<Hub> hubs;
  std::set<std::string> wanted;
  for (const std::string& word : words) {
    const auto equals = word.find('=');
    if (equals == std::string::npos) {
      wanted.insert(word);
    } else {
      hubs.push_back({word.substr(0, equals), word.substr(equals + 1)});
    }
  }
  for (const std::string& name : wanted) {
    if (std::ranges::find(measures(), name, &Measure::name) != measures().end()) continue;
    (void)std::fprintf(stderr, "hub_load: there is no measure %s\n", name.c_str());
    return 2;
  }
  if (hubs.empty()) {
    (void)std::fprintf(stderr, "usage: hub_load [MEASURE…] NAME=PROGRAM…\n");
    return 2;
  }
  if (!split_processors()) (void)std::fprintf(stderr, "hub_load: one processor only, which is shared\n");
  print_head(hubs);
  for (const Measure& measure : measures()) {
    if (wanted.empty() || wanted.contains(measure.name)) take(measure, hubs);
  }
  return 0;
}

}  // namespace
}  // namespace kelvane_hub::bench

int main(int argc, char** argv) try {
  return kelvane_hub::bench::run({argv + 1, argv + argc});
} catch (const std::exception& error) {
  (void)std::fprintf(stderr, "hub_load: %s\n", error.what());
  return 1;
}
