// What is typed after a command's name.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kelvane_hub {

using NameAndValue = std::pair<std::string, std::string>;

/// Words with blanks between them; those with an equals sign name what they give. Whoever takes one has it no more.
class Orders {
 public:
  /// Of all that stands behind the name.
  explicit Orders(std::string_view text);

  /// The text as it was typed, but for blanks, and single quotes if there are some around the whole.
  const std::string& text() const { return text_; }

  /// Those that were not taken.
  const std::vector<std::string>& words() const { return words_; }

  /// The next word without an equals sign. Throws InputError if there is none: "expected `what`, found none".
  std::string take_word(std::string_view what);

  /// The value of the word "`name`=VALUE"; none if there is no such word. Throws InputError if there are several.
  std::optional<std::string> take(std::string_view name);

  /// The same for a number from 0 on. Throws InputError.
  std::optional<std::uint32_t> take_number(std::string_view name);

  /// All other words "NAME=VALUE", in order. Throws InputError if a name comes twice.
  std::vector<NameAndValue> take_values();

  /// The same where nothing else may be left. Throws InputError if something is.
  std::vector<NameAndValue> take_only_values();

  /// Throws InputError if something is left.
  void expect_none() const;

 private:
  std::string text_;
  std::vector<std::string> words_;
};

/// A number within the bounds as the whole of a word. Throws InputError, "`name`: expected …, found …".
double number_in(std::string_view name, const std::string& word, double lowest, double highest);

/// A whole number likewise.
std::int32_t whole_number_in(std::string_view name, const std::string& word);

}  // namespace kelvane_hub
