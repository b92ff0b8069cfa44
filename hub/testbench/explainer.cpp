#include "hub/testbench/explainer.h"

#include "hub/base/concat.h"
#include "hub/messages/catalogue.h"
#include "hub/scenario/seconds.h"

namespace kelvane_hub {
namespace {

/// Those reasons that speak for passing, or those against it.
std::string joined(const std::vector<Reason>& reasons, bool passes) {
  std::string text;
  for (const Reason& reason : reasons) {
    if (reason.passes == passes) text += (text.empty() ? "" : "; ") + reason.why;
  }
  return text;
}

/// The verdict, and why it is so.
std::string verdict(const CellDecision& decision) {
  switch (decision.ground) {
    case CellDecision::Ground::no_thresholds:
      return "reported: there are no thresholds";
    case CellDecision::Ground::first_cells:
      return "reported: nothing was reported before";
    case CellDecision::Ground::thresholds:
      break;
  }
  if (decision.reasons.empty()) return "not reported: as reported last";
  const std::string against = joined(decision.reasons, false);
  if (!decision.told) return "not reported: " + against;
  return concat("reported: ", joined(decision.reasons, true),
                against.empty() ? "" : "; no reason by itself: ", against);
}

}  // namespace

void Explainer::on_decision(const Link& to, std::uint32_t sub, const CellDecision& decision, ScenarioTime time) {
  say_(concat("session ", to.session, ", sub ", sub, ", ", in_seconds(time), ": ", verdict(decision)));
}

void Explainer::on_refusal(const Link& to, const std::string& explanation) {
  say_(concat("session ", to.session, ": configuration refused: ", explanation));
}

void Explainer::on_fault(const FaultReport& report) {
  const MessageKind* const kind = report.is_request ? find_request_kind(report.msg_id) : find_event_kind(report.msg_id);
  const std::string name = kind == nullptr ? std::to_string(report.msg_id) : std::string(kind->name);
  say_(concat("session ", report.link.session, report.is_request ? ", request " : ", event ", report.number, " (", name,
              "): fault ", report.fault, ": ", report.what));
}

}  // namespace kelvane_hub
