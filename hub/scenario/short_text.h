// Messages as text on one line, as a person types and reads them.
#pragma once

#include <google/protobuf/message.h>

#include <string>

namespace kelvane_hub {

/// "msg_id: 1281 drop { }"; empty if nothing is set.
std::string short_text(const google::protobuf::Message& message);

/// Makes of `message` what `text` in protobuf text format says. Throws InputError, whose lines begin with `name`, if
/// the form is not right.
void parse_short_text(const std::string& text, const std::string& name, google::protobuf::Message& message);

}  // namespace kelvane_hub
