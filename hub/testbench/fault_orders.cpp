#include "hub/testbench/fault_orders.h"

#include <algorithm>
#include <cctype>
#include <limits>
#include <vector>

#include "hub/base/concat.h"
#include "hub/base/input_error.h"
#include "hub/base/numbers.h"
#include "hub/scenario/fault_scope.h"
#include "hub/scenario/short_text.h"

namespace kelvane_hub {
namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Reflection;

bool is_kind(const FieldDescriptor& field) { return field.real_containing_oneof() != nullptr; }

const FieldDescriptor& field_of(const std::string& name) {
  const auto& type = *scenario_fault::descriptor();
  if (const FieldDescriptor* const field = type.FindFieldByName(name)) return *field;
  std::vector<std::string> names;
  names.reserve(static_cast<std::size_t>(type.field_count()));
  for (int i = 0; i < type.field_count(); ++i) names.push_back(type.field(i)->name());
  throw InputError(concat("expected ", alternatives(names), ", found ", quoted(name)));
}

[[noreturn]] void refuse(const FieldDescriptor& field, const std::string& expected, const std::string& found) {
  throw InputError(concat(field.name(), ": expected ", expected, ", found ", found.empty() ? "none" : quoted(found)));
}

template <class Number>
Number number_in(const FieldDescriptor& field, const std::string& value) {
  if (const auto number = number_of<Number>(value)) return *number;
  using Limits = std::numeric_limits<Number>;
  refuse(field, Limits::is_integer ? concat("a number from ", Limits::min(), " to ", Limits::max()) : "a number",
         value);
}

/// Of a fault that has such a message from now on.
void set_message(scenario_fault& fault, const FieldDescriptor& field, const std::string& value) {
  (void)scenario_fault::GetReflection()->MutableMessage(&fault, &field);
  if (value.empty()) return;
  if (!fault.has_sensor_gone()) refuse(field, "no value", value);
  fault.mutable_sensor_gone()->set_back_after(number_in<double>(field, value));
}

void set_direction(scenario_fault& fault, const FieldDescriptor& field, const std::string& value) {
  std::string name = value;
  std::ranges::transform(name, name.begin(), [](unsigned char letter) { return std::toupper(letter); });
  scenario_fault::Direction direction{};
  if (!scenario_fault::Direction_Parse(name, &direction)) refuse(field, "event or request", value);
  fault.set_direction(direction);
}

void set(scenario_fault& fault, const std::string& name, const std::string& value) {
  const FieldDescriptor& field = field_of(name);
  const Reflection& reflection = *scenario_fault::GetReflection();
  if (is_kind(field) && fault.what_case() != scenario_fault::WHAT_NOT_SET) {
    throw InputError(concat("expected one thing that goes wrong, found ", kind_of(fault), " and ", name));
  }
  switch (field.cpp_type()) {
    case FieldDescriptor::CPPTYPE_MESSAGE:
      return set_message(fault, field, value);
    case FieldDescriptor::CPPTYPE_ENUM:
      return set_direction(fault, field, value);
    case FieldDescriptor::CPPTYPE_DOUBLE:
      return reflection.SetDouble(&fault, &field, number_in<double>(field, value));
    case FieldDescriptor::CPPTYPE_INT32:
      return reflection.SetInt32(&fault, &field, number_in<std::int32_t>(field, value));
    case FieldDescriptor::CPPTYPE_UINT32:
      return reflection.SetUInt32(&fault, &field, number_in<std::uint32_t>(field, value));
    case FieldDescriptor::CPPTYPE_UINT64:
      return reflection.SetUInt64(&fault, &field, number_in<std::uint64_t>(field, value));
    default:
      return reflection.SetString(&fault, &field, value);
  }
}

/// What is no word "NAME" or "NAME=VALUE" there.
bool has_form_of_text(const std::string& word) {
  return word.substr(0, word.find('=')).find_first_of(":{}<>") != std::string::npos;
}

/// What goes wrong, without a value.
std::string take_kind(Orders& orders) {
  std::string name = orders.take_word("what goes wrong (drop, delay, …)");
  if (scenario_fault::descriptor()->FindFieldByName(name) != nullptr) return name;
  std::vector<std::string> names;
  const auto& kinds = *scenario_fault::descriptor()->FindFieldByName("drop")->containing_oneof();
  names.reserve(static_cast<std::size_t>(kinds.field_count()) + 2);
  for (int i = 0; i < kinds.field_count(); ++i) names.push_back(kinds.field(i)->name());
  names.insert(names.end(), {"clear", "list"});
  throw InputError(concat("expected ", alternatives(names), ", found ", quoted(name)));
}

bool begins_with_kind(const Orders& orders) {
  if (orders.words().empty()) return false;
  const auto* const field = scenario_fault::descriptor()->FindFieldByName(orders.words().front());
  return field != nullptr && is_kind(*field);
}

}  // namespace

scenario_fault fault_of(Orders orders) {
  scenario_fault fault;
  if (std::ranges::any_of(orders.words(), has_form_of_text)) {
    parse_short_text(orders.text(), "fault", fault);
    return fault;
  }
  for (const auto& [name, value] : orders.take_values()) set(fault, name, value);
  if (fault.what_case() == scenario_fault::WHAT_NOT_SET) set(fault, take_kind(orders), "");
  // A second kind is refused as such.
  if (begins_with_kind(orders)) set(fault, take_kind(orders), "");
  orders.expect_none();
  return fault;
}

std::string help_for_faults() {
  const auto& type = *scenario_fault::descriptor();
  std::string lines;
  for (int i = 0; i < type.field_count(); ++i) {
    const FieldDescriptor& field = *type.field(i);
    const bool stands_alone = field.message_type() != nullptr;
    const bool takes_value = !stands_alone || field.message_type()->field_count() > 0;
    if (stands_alone) lines += field.name() + "\n";
    if (takes_value) lines += field.name() + "=\n";
  }
  return lines + "clear\nlist\n";
}

}  // namespace kelvane_hub
