// Says why a change of the cells was or was not reported, and what goes wrong on purpose.
#pragma once

#include <string>
#include <utility>

#include "hub/simulator/watcher.h"
#include "hub/testbench/say.h"

namespace kelvane_hub {

class Explainer final : public Watcher {
 public:
  explicit Explainer(Say say) : say_(std::move(say)) {}

  void on_decision(const Link& to, std::uint32_t sub, const CellDecision& decision, ScenarioTime time) override;
  void on_refusal(const Link& to, const std::string& explanation) override;
  void on_fault(const FaultReport& report) override;

 private:
  Say say_;
};

}  // namespace kelvane_hub
