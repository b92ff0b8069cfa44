#include "hub/scenario/scenario_file.h"

#include <google/protobuf/text_format.h>

#include <utility>

#include "hub/base/files.h"
#include "hub/base/input_error.h"
#include "hub/scenario/built_in_scenario.h"
#include "hub/scenario/plausibility.h"
#include "hub/scenario/scenario_check.h"
#include "hub/scenario/step.h"

namespace kelvane_hub {
namespace {

// As deep as clients parse messages unless they say otherwise.
constexpr int deepest_nesting = 100;

/// With `doubts` it is told what can hardly be meant, too.
scenario parse(const std::string& text, const std::string& name, Mistakes* doubts) {
  Mistakes mistakes(name);
  google::protobuf::TextFormat::ParseInfoTree places;
  google::protobuf::TextFormat::Parser parser;
  parser.SetRecursionLimit(deepest_nesting);
  parser.AllowUnknownField(true);  // so that it goes on; each is a mistake all the same
  parser.RecordErrorsTo(&mistakes);
  parser.WriteLocationsTo(&places);
  scenario parsed;
  const bool well_formed = parser.ParseFromString(text, &parsed);
  if (well_formed) check_scenario(parsed, places, mistakes);
  mistakes.throw_if_any();
  if (!well_formed) throw InputError(name + ": expected a scenario in protobuf text format, found something else");
  if (doubts != nullptr) check_plausibility(parsed, places, *doubts);
  if (parsed.sensors_size() == 0 && name != built_in_scenario_name) {
    *parsed.mutable_sensors() = built_in_scenario().sensors();
  }
  return parsed;
}

}  // namespace

scenario parse_scenario(const std::string& text, const std::string& name) { return parse(text, name, nullptr); }

DoubtedScenario doubt_scenario(const std::filesystem::path& path) {
  Mistakes doubts(path.string());
  scenario content = parse(read_file(path), path.string(), &doubts);
  return {std::move(content), doubts.text()};
}

scenario load_scenario(const std::filesystem::path& path) { return parse_scenario(read_file(path), path.string()); }

scenario built_in_scenario() { return parse_scenario(built_in_scenario_text, built_in_scenario_name); }

std::set<std::uint32_t> subscriptions_of(const scenario& checked) {
  std::set<std::uint32_t> subs;
  for (const auto& step : checked.steps()) {
    if (const auto sub = subscription_of(step)) subs.insert(*sub);
  }
  if (subs.empty()) subs.insert(0);
  return subs;
}

}  // namespace kelvane_hub
