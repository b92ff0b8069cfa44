// Where a person types lines: they can be edited, completed with Tab, and fetched again with the up arrow.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kelvane_hub {

/// What can stand where the cursor is.
struct Completions {
  std::size_t typed = 0;                  // how many bytes of each candidate stand before the cursor already
  std::vector<std::string> candidates{};  // with the blank behind them, if one belongs there
  std::string hint{};                     // to be shown where there is no candidate
};

/// Of a line, what stands before the cursor. May throw: whoever reads the line is told.
using Completer = std::function<Completions(std::string_view before_cursor)>;

/// Standard input and output, which are a terminal. To be used while there is one thread.
///
/// The terminal is another one only while a line is typed: in between, while the completer is asked, and when a signal
/// ends or stops the program, it is as it was found.
class Prompt {
 public:
  /// Whether lines can be edited: standard input and output are a terminal, and one that moves its cursor.
  static bool is_possible();

  explicit Prompt(Completer completer);
  ~Prompt();
  Prompt(const Prompt&) = delete;
  Prompt& operator=(const Prompt&) = delete;

  /// The next line, without newline; none if Ctrl-D or the end of the terminal came instead. Throws what the completer
  /// throws.
  std::optional<std::string> read_line();

 private:
  class Editor;
  std::unique_ptr<Editor> editor_;
};

}  // namespace kelvane_hub
