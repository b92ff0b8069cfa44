// What is measured of a hub.
#pragma once

#include <span>
#include <string>
#include <vector>

namespace kelvane_hub::bench {

/// Which of the values of several slices counts.
enum class Keep { lowest, highest };

struct Figure {
  std::string name;  // with its unit
  double value;
  Keep keep = Keep::lowest;
};

struct Measure {
  const char* name;   // one word
  const char* title;  // a row's beginning
  int slices;         // it is taken so often

  /// Takes it once, with a hub of its own; the figures of a measure are always the same ones. Some seconds.
  std::vector<Figure> (*take)(const std::string& program);
};

std::span<const Measure> measures();

}  // namespace kelvane_hub::bench
