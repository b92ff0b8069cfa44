#include "hub/scenario/scenario_file.h"

#include <utility>

#include "hub/base/files.h"
#include "hub/scenario/built_in_scenario.h"
#include "hub/scenario/scenario_reader.h"

namespace kelvane_hub {
namespace {

PackedScenario read(const std::string& text, const std::string& name, Mistakes* doubts,
                    std::optional<std::uint64_t> seed) {
  PackedScenario read = read_scenario(text, name, doubts, seed);
  if (read.head().sensors_size() == 0 && name != built_in_scenario_name) {
    scenario head = read.head();
    *head.mutable_sensors() = built_in_scenario().head().sensors();
    read.set_head(std::move(head));
  }
  return read;
}

}  // namespace

PackedScenario parse_scenario(const std::string& text, const std::string& name, std::optional<std::uint64_t> seed) {
  return read(text, name, nullptr, seed);
}

DoubtedScenario doubt_scenario(const std::filesystem::path& path) {
  Mistakes doubts(path.string());
  PackedScenario content = read(read_file(path), path.string(), &doubts, {});
  return {std::move(content), doubts.text()};
}

PackedScenario load_scenario(const std::filesystem::path& path, std::optional<std::uint64_t> seed) {
  return parse_scenario(read_file(path), path.string(), seed);
}

PackedScenario built_in_scenario() { return parse_scenario(built_in_scenario_text, built_in_scenario_name); }

}  // namespace kelvane_hub
