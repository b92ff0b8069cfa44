#include "hub/testbench/orders.h"

#include <algorithm>
#include <limits>
#include <sstream>
#include <type_traits>

#include "hub/base/concat.h"
#include "hub/base/input_error.h"
#include "hub/base/numbers.h"
#include "hub/scenario/seconds.h"

namespace kelvane_hub {
namespace {

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view blanks = " \t\r";
  const auto begin = text.find_first_not_of(blanks);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

bool is_value(const std::string& word) { return word.find('=') != std::string::npos; }

[[noreturn]] void refuse_again(std::string_view name) {
  throw InputError(concat("expected ", name, "= once, found it again"));
}

// As a person writes them: a stream would show 10000000 as 1e+07.
template <class Number>
std::string shown(Number number) {
  if constexpr (std::is_integral_v<Number>) {
    return std::to_string(number);
  } else {
    return shown_seconds(number);
  }
}

template <class Number>
Number parsed(std::string_view name, const std::string& word, Number lowest, Number highest) {
  // Not a number fails this comparison, too.
  if (const auto number = number_of<Number>(word); number && *number >= lowest && *number <= highest) return *number;
  throw InputError(
      concat(name, ": expected a number from ", shown(lowest), " to ", shown(highest), ", found ", quoted(word)));
}

}  // namespace

Orders::Orders(std::string_view text) : text_(trimmed(text)) {
  if (text_.size() > 1 && text_.front() == '\'' && text_.back() == '\'') text_ = text_.substr(1, text_.size() - 2);
  std::istringstream stream(text_);
  for (std::string word; stream >> word;) words_.push_back(word);
}

std::string Orders::take_word(std::string_view what) {
  const auto found = std::ranges::find_if_not(words_, is_value);
  if (found == words_.end()) {
    throw InputError(concat("expected ", what, ", found ", words_.empty() ? "none" : quoted(words_.front())));
  }
  std::string word = std::move(*found);
  words_.erase(found);
  return word;
}

std::optional<std::string> Orders::take(std::string_view name) {
  std::optional<std::string> value;
  const std::string begin = concat(name, "=");
  std::erase_if(words_, [&](const std::string& word) {
    if (!word.starts_with(begin)) return false;
    if (value) refuse_again(name);
    value = word.substr(begin.size());
    return true;
  });
  return value;
}

std::optional<std::uint32_t> Orders::take_number(std::string_view name) {
  const auto value = take(name);
  if (!value) return std::nullopt;
  return parsed<std::uint32_t>(name, *value, 0, std::numeric_limits<std::uint32_t>::max());
}

std::vector<NameAndValue> Orders::take_values() {
  std::vector<NameAndValue> values;
  std::erase_if(words_, [&values](const std::string& word) {
    if (!is_value(word)) return false;
    const std::string name = word.substr(0, word.find('='));
    if (std::ranges::find(values, name, &NameAndValue::first) != values.end()) refuse_again(name);
    values.emplace_back(name, word.substr(name.size() + 1));
    return true;
  });
  return values;
}

std::vector<NameAndValue> Orders::take_only_values() {
  auto values = take_values();
  if (!words_.empty()) throw InputError(concat("expected FIELD=VALUE, found ", quoted(words_.front())));
  return values;
}

void Orders::expect_none() const {
  if (!words_.empty()) throw InputError(concat("expected nothing more, found ", quoted(words_.front())));
}

double number_in(std::string_view name, const std::string& word, double lowest, double highest) {
  return parsed(name, word, lowest, highest);
}

std::int32_t whole_number_in(std::string_view name, const std::string& word) {
  return parsed(name, word, std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max());
}

}  // namespace kelvane_hub
