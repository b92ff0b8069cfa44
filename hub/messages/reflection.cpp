#include "hub/messages/reflection.h"

#include <stdexcept>
#include <string>

namespace kelvane_hub {

const google::protobuf::FieldDescriptor& field_of(const google::protobuf::Descriptor& type, std::string_view name) {
  const auto* const field = type.FindFieldByName(std::string(name));
  if (field == nullptr) throw std::logic_error(type.full_name() + " has no field " + std::string(name));
  return *field;
}

const google::protobuf::Message* member_of(const google::protobuf::Message& message,
                                           const google::protobuf::FieldDescriptor& field) {
  const auto* const reflection = message.GetReflection();
  return reflection->HasField(message, &field) ? &reflection->GetMessage(message, &field) : nullptr;
}

}  // namespace kelvane_hub
