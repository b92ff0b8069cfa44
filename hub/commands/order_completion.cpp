#include "hub/commands/order_completion.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <sstream>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "hub/base/concat.h"

namespace kelvane_hub {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view blanks = " \t";

bool is_upper(std::string_view text) { return !text.empty() && std::isupper(static_cast<unsigned char>(text[0])) != 0; }

/// Behind "name=" stands its value, behind any other word a blank.
std::string as_candidate(std::string word) {
  if (!word.ends_with('=')) word += ' ';
  return word;
}

Completions beginning_with(std::string_view word, std::vector<std::string> candidates) {
  std::erase_if(candidates, [word](const std::string& candidate) { return !candidate.starts_with(word); });
  return {word.size(), std::move(candidates)};
}

std::vector<std::string> orders_of(HubConnection& hub) {
  std::vector<std::string> names;
  std::istringstream lines(hub.ask("help").lines);
  for (std::string line; std::getline(lines, line);) names.push_back(as_candidate(line.substr(0, line.find(' '))));
  return names;
}

/// Of its folder only the name is completed.
Completions files(std::string_view path) {
  const std::string_view folder = path.substr(0, path.rfind('/') + 1);
  const std::string_view name = path.substr(folder.size());
  std::vector<std::string> found;
  std::error_code error;
  for (fs::directory_iterator file(folder.empty() ? "." : folder, error), end; !error && file != end;
       file.increment(error)) {
    const std::string text = file->path().filename();
    const bool is_hidden = text.starts_with('.') && !name.starts_with('.');
    if (is_hidden || std::ranges::any_of(text, [](unsigned char byte) { return std::iscntrl(byte) != 0; })) continue;
    std::error_code ignored;
    found.push_back(text + (file->is_directory(ignored) ? '/' : ' '));
  }
  std::ranges::sort(found);
  return beginning_with(name, std::move(found));
}

/// The words of a form as "STATE|none [id=N]...", each once.
std::vector<std::string> words_of(std::string_view form) {
  constexpr std::string_view between = " |[]'";
  std::vector<std::string> words;
  for (std::size_t begin = 0; begin < form.size();) {
    const std::size_t end = std::min(form.find_first_of(between, begin), form.size());
    std::string_view word = form.substr(begin, end - begin);
    if (word.ends_with("...")) word.remove_suffix(3);
    if (!word.empty()) words.emplace_back(word);
    begin = end + 1;
  }
  return words;
}

/// What stands in a form or in a list of names as it is to be typed; capitals stand for what the user knows.
std::vector<std::string> typeable(const std::vector<std::string>& words) {
  std::vector<std::string> candidates;
  for (std::string word : words) {
    if (is_upper(word)) continue;
    const auto sign = word.find('=');
    if (sign != std::string::npos && is_upper(std::string_view(word).substr(sign + 1))) word.resize(sign + 1);
    std::string candidate = as_candidate(std::move(word));
    if (std::ranges::find(candidates, candidate) == candidates.end()) candidates.push_back(std::move(candidate));
  }
  return candidates;
}

/// What follows `typed`, which stands behind the order that `help` is the hub's own of: a line with its form, as
/// "error N: an error event", and names, a line each.
Completions complete_words(HubConnection& hub, const std::string& help, std::string_view typed) {
  std::istringstream lines(help);
  std::string first;
  std::getline(lines, first);
  const std::string_view form = std::string_view(first).substr(0, first.find(':'));
  std::vector<std::string> words = words_of(form.substr(std::min(form.find(' '), form.size())));
  const bool takes_file = std::ranges::find(words, "FILE") != words.end();
  const bool takes_order = std::ranges::find(words, "COMMAND") != words.end();
  for (std::string line; std::getline(lines, line);) {
    if (line.find(' ') == std::string::npos) words.push_back(line);
  }
  // A file's name may have blanks in it.
  const std::string_view word = takes_file ? typed : typed.substr(typed.find_last_of(blanks) + 1);
  Completions found = beginning_with(word, typeable(words));
  if (takes_file) {
    Completions more = files(typed);
    for (const std::string& candidate : found.candidates)
      more.candidates.push_back(candidate.substr(word.size() - more.typed));
    found = std::move(more);
  }
  if (takes_order && word == typed) found = beginning_with(word, orders_of(hub));
  if (found.candidates.empty() && word.empty()) found.hint = first;
  return found;
}

}  // namespace

Completions complete_order(HubConnection& hub, std::string_view before_cursor) {
  const std::string_view line =
      before_cursor.substr(std::min(before_cursor.find_first_not_of(blanks), before_cursor.size()));
  const std::size_t end = line.find_first_of(blanks);
  if (end == std::string_view::npos) return beginning_with(line, orders_of(hub));
  const HubAnswer help = hub.ask(concat("help ", line.substr(0, end)));
  if (!help.is_ok()) return {};
  const std::size_t begin = std::min(line.find_first_not_of(blanks, end), line.size());
  return complete_words(hub, help.lines, line.substr(begin));
}

}  // namespace kelvane_hub
