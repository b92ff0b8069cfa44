// Text in protobuf's text format, taken apart into its fields without a look at what they mean.
#pragma once

#include <optional>
#include <string_view>
#include <vector>

namespace kelvane_hub {

/// Counted from 0, as protobuf's parser counts: in bytes, and a tab goes on to the next multiple of 8.
struct TextPlace {
  int line = 0;
  int column = 0;
};

/// A part of a text, and where it begins. Whoever made it keeps the text.
struct TextPart {
  std::string_view text;
  TextPlace begin;
};

struct TextField {
  TextPart whole;  // name, colon, value and separator, as far as they are there
  std::string_view name;
  TextPart value;  // with its brackets
};

/// Walks over the fields of a text once. Takes whatever protobuf's parser takes, and some of what it does not.
class FieldScanner {
 public:
  explicit FieldScanner(TextPart text) : rest_(text) {}

  /// The next field; none at the end, or if something else comes next.
  std::optional<TextField> next();

  /// What stands behind the last field that was handed out.
  const TextPart& rest() const { return rest_; }

 private:
  TextPart rest_;
};

/// Whether there is nothing but blanks and comments.
bool is_blank(const TextPart& part);

struct TextMessage {
  TextPart body;    // with its brackets
  TextPlace place;  // of its field, or in a list of its own bracket
};

/// The messages that the field holds, its only one or those of a list; none if it holds something else.
std::optional<std::vector<TextMessage>> messages_of(const TextField& field);

/// All messages of the fields of that name within the message `body`.
std::vector<TextMessage> messages_in(const TextPart& body, std::string_view name);

/// Where the first field of that name stands within the message `body`.
std::optional<TextPlace> place_in(const TextPart& body, std::string_view name);

}  // namespace kelvane_hub
