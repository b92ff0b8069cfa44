// What says where a phone is, hidden.
#pragma once

#include <google/protobuf/descriptor.h>

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace kelvane_hub {

/// Whether the field says which cell it is, in which network or where: all of a cell's identity but its channel.
bool is_identity(const google::protobuf::FieldDescriptor& field);

/// All such fields of the messages that there are.
std::vector<const google::protobuf::FieldDescriptor*> identities();

/// Gives values other names: the same value of a field gets the same name, so that it still shows when it changes.
class Mask {
 public:
  /// "*1", "*2" …, in the order in which the values of a field of that name are first seen.
  std::string masked(const google::protobuf::FieldDescriptor& field, const std::string& value);

 private:
  std::map<std::string, std::map<std::string, std::size_t>> seen_;  // by the field's name
};

}  // namespace kelvane_hub
