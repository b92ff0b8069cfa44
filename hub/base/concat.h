// What readers of a person's input share.
#pragma once

#include <cstddef>
#include <iterator>
#include <sstream>
#include <string>
#include <string_view>

namespace kelvane_hub {

/// `text` in single quotes for an error message: one line, printable ASCII (other bytes as \xNN), cut after 40 bytes.
std::string quoted(std::string_view text);

/// `parts` as a stream shows them, one after the other.
template <class... Parts>
std::string concat(const Parts&... parts) {
  std::ostringstream out;
  (out << ... << parts);
  return out.str();
}

/// `items` as a stream shows them, "1, 2 or 3".
template <class Items>
std::string alternatives(const Items& items) {
  std::string list;
  std::size_t left = std::size(items);
  for (const auto& item : items) {
    --left;
    list += concat(list.empty() ? "" : left == 0 ? " or " : ", ", item);
  }
  return list;
}

/// Whether `text` is `form` with any digits in place of its zeros.
bool has_form(std::string_view text, std::string_view form);

}  // namespace kelvane_hub
