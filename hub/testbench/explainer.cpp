#include "hub/testbench/explainer.h"

#include <cstdio>

#include "hub/base/concat.h"

namespace kelvane_hub {
namespace {

std::string in_seconds(ScenarioTime time) {
  char text[32];
  (void)std::snprintf(text, sizeof text, "%.3f s", time.count());
  return text;
}

std::string why(const CellDecision& decision) {
  switch (decision.ground) {
    case CellDecision::Ground::no_thresholds:
      return "no thresholds: every change is reported";
    case CellDecision::Ground::first_cells:
      return "the first report: reported";
    case CellDecision::Ground::thresholds:
      break;
  }
  if (decision.reasons.empty()) return "as reported last: not reported";
  std::string joined;
  for (const auto& reason : decision.reasons) joined += (joined.empty() ? "" : "; ") + reason;
  return joined;
}

}  // namespace

void Explainer::on_decision(const Link& to, std::uint32_t sub, const CellDecision& decision, ScenarioTime time) {
  say_(concat("session ", to.session, ", sub ", sub, ", ", in_seconds(time), ": ",
              decision.told ? "reported: " : "not reported: ", why(decision)));
}

void Explainer::on_refusal(const Link& to, const std::string& explanation) {
  say_(concat("session ", to.session, ": configuration refused: ", explanation));
}

}  // namespace kelvane_hub
