// Fields of messages as a person names and sets them.
#pragma once

#include <google/protobuf/message.h>

#include <string>
#include <vector>

namespace kelvane_hub {

/// What fields_of() knows and set_field() takes: the fields with one value of `message` and of the messages in it, each
/// by the shortest end of its path that no other one has: "rsrp", or "signal_strength.dbm" if there are two of it. Of
/// several messages that exclude each other only that which is there counts.
std::vector<std::string> fields_of(const google::protobuf::Message& message);

/// Sets the field that `name`, its path or an end of it, names to `value`, in protobuf's text format; empty: it is
/// absent from now on. Throws InputError, and `message` is as before.
void set_field(google::protobuf::Message& message, const std::string& name, const std::string& value);

}  // namespace kelvane_hub
