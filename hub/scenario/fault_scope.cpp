#include "hub/scenario/fault_scope.h"

#include <map>

#include "hub/messages/catalogue.h"

namespace kelvane_hub {

FaultScope scope_of(scenario_fault::WhatCase kind) {
  static const std::map<scenario_fault::WhatCase, FaultScope> scopes{
      {scenario_fault::kNoAnswer, {scenario_fault::REQUEST, lookup_request}},
      {scenario_fault::kRefusal, {scenario_fault::REQUEST, {}}},
      {scenario_fault::kLateAttributes, {scenario_fault::EVENT, attribute_event}},
  };
  const auto found = scopes.find(kind);
  return found == scopes.end() ? FaultScope() : found->second;
}

scenario_fault::Direction direction_of(const scenario_fault& fault) {
  if (fault.has_direction()) return fault.direction();
  return scope_of(fault.what_case()).direction.value_or(scenario_fault::EVENT);
}

std::optional<std::uint32_t> msg_id_of(const scenario_fault& fault) {
  if (fault.has_msg_id()) return fault.msg_id();
  return scope_of(fault.what_case()).msg_id;
}

std::string kind_of(const scenario_fault& fault) {
  const auto* const kind = scenario_fault::descriptor()->FindFieldByNumber(fault.what_case());
  return kind == nullptr ? "" : kind->name();
}

}  // namespace kelvane_hub
