#pragma once

#include <cstdint>

namespace cellscope {

/// Sets a field by its number. The platform declares such fields as enumerations of its own, the definitions of this
/// project as int32: `setter` takes either.
template <class Message, class Value>
void set_enumeration(Message& message, void (Message::*setter)(Value), std::int32_t number) {
  (message.*setter)(static_cast<Value>(number));
}

}  // namespace cellscope
