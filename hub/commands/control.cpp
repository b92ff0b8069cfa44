#include <unistd.h>

#include <filesystem>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "hub/base/concat.h"
#include "hub/base/input_error.h"
#include "hub/commands/commands.h"
#include "hub/commands/hub_connection.h"
#include "hub/commands/order_completion.h"
#include "hub/commands/outputs.h"
#include "hub/commands/prompt.h"

namespace kelvane_hub {
namespace {

/// The file of a command "NAME FILE"; none if the command is another one.
std::optional<std::string> file_of(const std::string& command, std::string_view name) {
  constexpr std::string_view blanks = " \t";
  const auto begin = std::min(command.find_first_not_of(blanks), command.size());
  const auto end = std::min(command.find_first_of(blanks, begin), command.size());
  if (std::string_view(command).substr(begin, end - begin) != name) return std::nullopt;
  const auto file = std::min(command.find_first_not_of(blanks, end), command.size());
  return command.substr(file, command.find_last_not_of(blanks) + 1 - file);
}

/// The hub may be in another folder than whoever names a file to it.
std::string from_any_folder(const std::string& command) {
  const auto captured = file_of(command, "capture");
  if (!captured || captured->empty() || *captured == "stop" || *captured == "-") return command;
  std::error_code error;
  const auto file = std::filesystem::absolute(*captured, error);
  if (error) throw InputError(concat("kelvane-hub control: cannot tell which folder this is: ", error.message()));
  return "capture " + file.string();
}

/// Returns whether it was carried out.
bool carry_out(HubConnection& hub, const std::string& command) {
  const auto file = file_of(command, "record");
  if (file && file->empty()) {
    write_output("KO: expected a file to write, found none\n", "-");
    return false;
  }
  HubAnswer answer = hub.ask(file ? "record" : from_any_folder(command));
  if (file && answer.is_ok()) {
    try {
      write_output(answer.lines, *file);
      if (*file == "-") return true;
    } catch (const InputError& error) {
      answer.last = concat("KO: ", error.what());
    }
    answer.lines.clear();
  }
  write_output(answer.lines + answer.last + "\n", "-");
  return answer.is_ok();
}

/// The next line of standard input; none at its end.
using LineReader = std::function<std::optional<std::string>()>;

LineReader plain_reader() {
  const bool prompts = isatty(STDIN_FILENO) == 1 && isatty(STDOUT_FILENO) == 1;
  return [prompts]() -> std::optional<std::string> {
    if (prompts) write_output("> ", "-");
    std::string line;
    if (!std::getline(std::cin, line)) return std::nullopt;
    return line;
  };
}

/// Of `hub`, while it lives.
LineReader editing_reader(HubConnection& hub) {
  const auto prompt = std::make_shared<Prompt>([&hub](std::string_view typed) { return complete_order(hub, typed); });
  return [prompt] { return prompt->read_line(); };
}

/// Commands from standard input; blank lines and comments are none.
bool carry_out_all(HubConnection& hub) {
  const LineReader read_line = Prompt::is_possible() ? editing_reader(hub) : plain_reader();
  bool all = true;
  while (const auto line = read_line()) {
    const auto begin = line->find_first_not_of(" \t\r");
    if (begin == std::string::npos || (*line)[begin] == '#') continue;
    const bool is_done = carry_out(hub, *line);
    all = all && is_done;
    if (is_done && line->substr(begin, 4) == "quit") break;
  }
  return all;
}

}  // namespace

bool control(const ControlOptions& options) {
  HubConnection hub(options.socket, "control");
  if (options.command.empty()) return carry_out_all(hub);
  std::string command;
  for (const std::string& word : options.command) {
    if (word.find('\n') != std::string::npos) {
      throw InputError("kelvane-hub control: expected a command on one line, found one of several");
    }
    command += (command.empty() ? "" : " ") + word;
  }
  return carry_out(hub, command);
}

}  // namespace kelvane_hub
