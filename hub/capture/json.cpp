#include "hub/capture/json.h"

#include <google/protobuf/unknown_field_set.h>

#include <cmath>
#include <vector>

#include "hub/base/hex.h"

namespace kelvane_hub {
namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;
using Json = nlohmann::ordered_json;

Json json_of_text(const FieldDescriptor& field, const std::string& text) {
  if (field.type() == FieldDescriptor::TYPE_STRING) {
    try {
      Json json = text;
      (void)json.dump();
      return json;
    } catch (const Json::exception&) {  // it is no UTF-8
    }
  }
  return {{"hex", in_hex(text)}};
}

/// JSON has no numbers that are none.
template <class Real>
Json json_of_real(Real real) {
  return std::isfinite(real) ? Json(real) : Json(std::to_string(real));
}

/// One of a field's values, or the only one: index -1.
class Value {
 public:
  Value(const Message& message, const FieldDescriptor& field, int index)
      : message_(message), reflection_(*message.GetReflection()), field_(field), index_(index) {}

  Json json(Mask* mask) const {
    switch (field_.cpp_type()) {
      case FieldDescriptor::CPPTYPE_INT32:
        return get(&Reflection::GetInt32, &Reflection::GetRepeatedInt32);
      case FieldDescriptor::CPPTYPE_INT64:
        return get(&Reflection::GetInt64, &Reflection::GetRepeatedInt64);
      case FieldDescriptor::CPPTYPE_UINT32:
        return get(&Reflection::GetUInt32, &Reflection::GetRepeatedUInt32);
      case FieldDescriptor::CPPTYPE_UINT64:
        return get(&Reflection::GetUInt64, &Reflection::GetRepeatedUInt64);
      case FieldDescriptor::CPPTYPE_DOUBLE:
        return json_of_real(get(&Reflection::GetDouble, &Reflection::GetRepeatedDouble));
      case FieldDescriptor::CPPTYPE_FLOAT:
        return json_of_real(get(&Reflection::GetFloat, &Reflection::GetRepeatedFloat));
      case FieldDescriptor::CPPTYPE_BOOL:
        return get(&Reflection::GetBool, &Reflection::GetRepeatedBool);
      case FieldDescriptor::CPPTYPE_ENUM:
        return get(&Reflection::GetEnum, &Reflection::GetRepeatedEnum)->name();
      case FieldDescriptor::CPPTYPE_STRING:
        return json_of_text(field_, get(&Reflection::GetString, &Reflection::GetRepeatedString));
      case FieldDescriptor::CPPTYPE_MESSAGE:
        break;
    }
    return json_of(index_ < 0 ? reflection_.GetMessage(message_, &field_)
                              : reflection_.GetRepeatedMessage(message_, &field_, index_),
                   mask);
  }

 private:
  template <class Got>
  Got get(Got (Reflection::*one)(const Message&, const FieldDescriptor*) const,
          Got (Reflection::*repeated)(const Message&, const FieldDescriptor*, int) const) const {
    return index_ < 0 ? (reflection_.*one)(message_, &field_) : (reflection_.*repeated)(message_, &field_, index_);
  }

  const Message& message_;
  const Reflection& reflection_;
  const FieldDescriptor& field_;
  const int index_;
};

Json json_of_field(const Message& message, const FieldDescriptor& field, Mask* mask) {
  const auto one = [&](int index) {
    Json json = Value(message, field, index).json(mask);
    return mask != nullptr && is_identity(field) ? Json(mask->masked(field, json.dump())) : json;
  };
  if (!field.is_repeated()) return one(-1);
  Json all = Json::array();
  for (int i = 0; i < message.GetReflection()->FieldSize(message, &field); ++i) all.push_back(one(i));
  return all;
}

}  // namespace

Json json_of(const Message& message, Mask* mask) {
  Json json = Json::object();
  std::vector<const FieldDescriptor*> fields;
  message.GetReflection()->ListFields(message, &fields);
  for (const FieldDescriptor* const field : fields) json[field->name()] = json_of_field(message, *field, mask);
  const auto& unknown = message.GetReflection()->GetUnknownFields(message);
  if (unknown.empty()) return json;
  std::string bytes;
  (void)unknown.SerializeToString(&bytes);
  json["unknown_fields"] = mask == nullptr ? in_hex(bytes) : "*";
  return json;
}

}  // namespace kelvane_hub
