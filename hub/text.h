// What readers of a person's input share.
#pragma once

#include <string>
#include <string_view>

namespace kelvane_hub {

/// `text` in single quotes for an error message: one line, printable ASCII (other bytes as \xNN), cut after 40 bytes.
std::string quoted(std::string_view text);

/// Whether `text` is `form` with any digits in place of its zeros.
bool has_form(std::string_view text, std::string_view form);

}  // namespace kelvane_hub
