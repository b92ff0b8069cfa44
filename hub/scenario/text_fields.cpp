#include "hub/scenario/text_fields.h"

#include <cstddef>
#include <string>

namespace kelvane_hub {
namespace {

// As protobuf's tokenizer has them, whatever the locale.
bool is_digit(char c) { return c >= '0' && c <= '9'; }
bool is_letter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }
bool is_name_part(char c) { return is_letter(c) || is_digit(c); }
bool is_sign(char c) { return c == '-' || c == '+'; }
bool is_space(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
bool is_quote(char c) { return c == '\'' || c == '"'; }

/// The bracket that closes `c`; NUL if it opens none.
char closing(char c) {
  switch (c) {
    case '{':
      return '}';
    case '<':
      return '>';
    case '[':
      return ']';
    default:
      return '\0';
  }
}

/// Goes over tokens. Where it stands once a function has returned false, nobody knows.
class Cursor {
 public:
  explicit Cursor(const TextPart& text) : at_(text.text.data()), end_(at_ + text.text.size()), place_(text.begin) {}

  bool ended() const { return at_ == end_; }
  char look() const { return ended() ? '\0' : *at_; }
  TextPart rest() const { return {{at_, static_cast<std::size_t>(end_ - at_)}, place_}; }

  /// From where `earlier` stands to here.
  TextPart since(const Cursor& earlier) const {
    return {{earlier.at_, static_cast<std::size_t>(at_ - earlier.at_)}, earlier.place_};
  }

  bool skip_if(char wanted) {
    if (look() != wanted) return false;
    skip();
    return true;
  }

  void skip_blanks() {
    while (true) {
      skip_while(is_space);
      if (look() != '#') return;
      skip_while([](char c) { return c != '\n' && c != '\0'; });
    }
  }

  /// A field's name, or that of an extension in its brackets, or a number: unknown fields may have any.
  bool skip_name() {
    const char* const begin = at_;
    if (look() == '[') return skip_brackets();
    skip_while(is_name_part);
    return at_ != begin;
  }

  /// Without a colon before it there is no scalar.
  bool skip_value(bool has_colon) {
    if (closing(look()) != '\0') return skip_brackets();
    return has_colon && (is_quote(look()) ? skip_strings() : skip_scalar());
  }

  /// Up to the bracket that closes the one that stands here.
  bool skip_brackets() {
    std::string expected;
    do {
      const char c = look();
      if (ended() || c == '\0') return false;
      if (is_quote(c)) {
        if (!skip_string()) return false;
      } else if (c == '#') {
        skip_blanks();
      } else {
        if (const char close = closing(c); close != '\0') {
          expected.push_back(close);
        } else if (c == '}' || c == '>' || c == ']') {
          if (expected.back() != c) return false;
          expected.pop_back();
        }
        skip();
      }
    } while (!expected.empty());
    return true;
  }

 private:
  void skip() {
    const char c = *at_++;
    if (c == '\n') {
      place_ = {place_.line + 1, 0};
    } else if (c == '\t') {
      constexpr int tab = 8;
      place_.column += tab - place_.column % tab;
    } else {
      ++place_.column;
    }
  }

  template <class Is>
  void skip_while(Is is) {
    while (!ended() && is(*at_)) skip();
  }

  /// To the parser a string ends with its line at the latest; that is an error, but not one of what follows.
  bool skip_string() {
    const char quote = *at_;
    skip();
    while (look() != quote && look() != '\n') {
      if (look() == '\\') skip();
      if (look() == '\0') return false;
      if (look() != '\n') skip();
    }
    return skip_if(quote) || look() == '\n';
  }

  /// Strings one after the other are one.
  bool skip_strings() {
    Cursor behind = *this;
    while (is_quote(behind.look())) {
      if (!behind.skip_string()) return false;
      *this = behind;
      behind.skip_blanks();
    }
    return true;
  }

  bool skip_scalar() {
    if (skip_if('-')) skip_blanks();
    const char* const begin = at_;
    if (is_letter(look())) {
      skip_while(is_name_part);
    } else if (is_digit(look()) || look() == '.') {
      skip_number();
    }
    return at_ != begin;
  }

  /// Whatever begins with a digit or a dot; the parser refuses a name that follows without a blank.
  void skip_number() {
    char last = '\0';
    while (is_name_part(look()) || look() == '.' || (is_sign(look()) && (last == 'e' || last == 'E'))) {
      last = look();
      skip();
    }
  }

  const char* at_;
  const char* end_;
  TextPlace place_;
};

/// What stands between the brackets of `part`.
TextPart inside(const TextPart& part) {
  return {part.text.substr(1, part.text.size() - 2), {part.begin.line, part.begin.column + 1}};
}

bool is_message(char first) { return first == '{' || first == '<'; }

}  // namespace

std::optional<TextField> FieldScanner::next() {
  Cursor cursor(rest_);
  cursor.skip_blanks();
  const Cursor begin = cursor;
  if (!cursor.skip_name()) return {};
  const std::string_view name = cursor.since(begin).text;
  cursor.skip_blanks();
  const bool has_colon = cursor.skip_if(':');
  cursor.skip_blanks();
  const Cursor value_begin = cursor;
  if (!cursor.skip_value(has_colon)) return {};
  const TextPart value = cursor.since(value_begin);
  Cursor behind = cursor;
  behind.skip_blanks();
  if (behind.skip_if(';') || behind.skip_if(',')) cursor = behind;
  rest_ = cursor.rest();
  return TextField{cursor.since(begin), name, value};
}

bool is_blank(const TextPart& part) {
  Cursor cursor(part);
  cursor.skip_blanks();
  return cursor.ended();
}

std::optional<std::vector<TextMessage>> messages_of(const TextField& field) {
  if (is_message(field.value.text.front())) return {{{field.value, field.whole.begin}}};
  if (field.value.text.front() != '[') return {};
  std::vector<TextMessage> messages;
  Cursor cursor(inside(field.value));
  cursor.skip_blanks();
  if (cursor.ended()) return messages;
  do {
    cursor.skip_blanks();
    const Cursor begin = cursor;
    if (!is_message(cursor.look()) || !cursor.skip_brackets()) return {};
    const TextPart body = cursor.since(begin);
    messages.push_back({body, body.begin});
    cursor.skip_blanks();
  } while (cursor.skip_if(','));
  if (!cursor.ended()) return {};
  return messages;
}

std::vector<TextMessage> messages_in(const TextPart& body, std::string_view name) {
  std::vector<TextMessage> found;
  FieldScanner fields(inside(body));
  while (const auto field = fields.next()) {
    if (field->name != name) continue;
    const auto messages = messages_of(*field);
    if (messages) found.insert(found.end(), messages->begin(), messages->end());
  }
  return found;
}

std::optional<TextPlace> place_in(const TextPart& body, std::string_view name) {
  FieldScanner fields(inside(body));
  while (const auto field = fields.next()) {
    if (field->name == name) return field->whole.begin;
  }
  return {};
}

}  // namespace kelvane_hub
