// Messages by the names of their fields, as tables have them.
#pragma once

#include <google/protobuf/message.h>

#include <string_view>

namespace kelvane_hub {

/// The field of that name. Throws std::logic_error if there is none: then the table that names it is wrong.
const google::protobuf::FieldDescriptor& field_of(const google::protobuf::Descriptor& type, std::string_view name);

/// The message in a field of `message`; null if it is absent.
const google::protobuf::Message* member_of(const google::protobuf::Message& message,
                                           const google::protobuf::FieldDescriptor& field);

}  // namespace kelvane_hub
