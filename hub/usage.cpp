#include "hub/usage.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <iterator>
#include <numeric>
#include <string_view>
#include <vector>

#include "hub/base/concat.h"

namespace kelvane_hub {
namespace {

/// How many letters have to be put in, left out or replaced to make one word of the other.
std::size_t distance(std::string_view one, std::string_view other) {
  std::vector<std::size_t> row(other.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 1; i <= one.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i);
    for (std::size_t j = 1; j <= other.size(); ++j) {
      const std::size_t replaced = diagonal + (one[i - 1] == other[j - 1] ? 0 : 1);
      diagonal = std::exchange(row[j], std::min({replaced, row[j] + 1, row[j - 1] + 1}));
    }
  }
  return row.back();
}

/// `word` without dashes before it, in lower case.
std::string plain(std::string_view word) {
  std::string letters(word.substr(std::min(word.find_first_not_of('-'), word.size())));
  std::ranges::transform(letters, letters.begin(), [](unsigned char letter) { return std::tolower(letter); });
  return letters;
}

/// " (did you mean 'serve'?)", or nothing if none of `words` is like `written`.
std::string nearest(std::string_view written, const std::vector<std::string>& words) {
  const std::string given = plain(written);
  const auto closeness = [&given](const std::string& word) {
    const bool is_begun = plain(word).starts_with(given) && given.size() > 1;
    return is_begun ? 0 : distance(given, plain(word));
  };
  const auto best = std::ranges::min_element(words, {}, closeness);
  if (best == words.end() || closeness(*best) > given.size() / 3 + 1) return "";
  return " (did you mean '" + *best + "'?)";
}

/// Those that a user is told of.
std::vector<const CLI::Option*> options_of(const CLI::App& command) {
  return command.get_options([](const CLI::Option* option) { return !option->get_group().empty(); });
}

std::vector<std::string> long_names(const CLI::App& command) {
  std::vector<std::string> names;
  for (const CLI::Option* option : options_of(command)) {
    for (const auto& name : option->get_lnames()) names.push_back("--" + name);
  }
  return names;
}

std::vector<std::string> commands_of(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
    names.push_back(command->get_name());
  }
  return names;
}

std::string unknown_word(const CLI::App& command, const std::string& word) {
  const auto names = long_names(command);
  const auto commands = commands_of(command);
  const auto expected = word.starts_with('-') ? names : commands;
  const char* const none = word.starts_with('-') ? "no option" : "nothing more";
  auto words = expected;
  std::ranges::copy(word.starts_with('-') ? commands : names, std::back_inserter(words));
  return concat("expected ", expected.empty() ? none : alternatives(expected), ", found ", kelvane_hub::quoted(word),
                nearest(word, words));
}

/// What was left out that has to be there; empty: nothing.
std::string missing(const CLI::App& command) {
  for (const CLI::Option* option : command.get_options()) {
    if (!option->get_required() || option->count() != 0) continue;
    const std::string value = option->get_type_name();
    return concat("expected ", option->get_positional() ? value : option->get_name() + " " + value, ", found none");
  }
  const auto commands = commands_of(command);
  return commands.empty() ? "" : concat("expected ", alternatives(commands), ", found none");
}

/// Of "Could not convert: NAME = VALUE", which is said of a flag's value and of a number that is none.
std::string wrong_value(const CLI::App& command, const std::string& text) {
  const auto colon = text.find(": ");
  const auto equals = text.find(" = ");
  if (colon == std::string::npos || equals == std::string::npos) return text;
  const std::string name = text.substr(colon + 2, equals - colon - 2);
  const CLI::Option* const option = command.get_option_no_throw(name);
  const bool is_flag = option != nullptr && option->get_expected_max() == 0;
  const std::string variable = option == nullptr ? "" : option->get_envname();
  return concat(name, ": expected ", is_flag ? "true or false" : "a number", ", found ",
                kelvane_hub::quoted(text.substr(equals + 3)),
                variable.empty() ? "" : " (" + variable + " sets it, too)");
}

std::string problem(const CLI::App& command, const CLI::ParseError& error) {
  const auto extra = command.remaining();
  if (!extra.empty()) return unknown_word(command, extra.front());
  std::string text = error.what();
  const std::string name = text.substr(0, text.find(':'));
  if (auto left_out = missing(command); error.get_name() == "RequiredError" && !left_out.empty()) return left_out;
  if (error.get_name() == "ConversionError") return wrong_value(command, text);
  if (error.get_name() != "ArgumentMismatch") return text;
  const bool repeated = text.find("received") != std::string::npos;
  return repeated ? concat("expected ", name, " once") : concat("expected a value after ", name, ", found none");
}

}  // namespace

std::string usage_error(const CLI::App& app, const CLI::ParseError& error) {
  const auto chosen = app.get_subcommands();
  // What stands before the command is not the command's.
  if (chosen.empty() || !app.remaining().empty()) return concat(app.get_name(), ": ", problem(app, error));
  return concat(app.get_name(), " ", chosen.front()->get_name(), ": ", problem(*chosen.front(), error));
}

}  // namespace kelvane_hub
