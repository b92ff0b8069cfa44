#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <optional>
#include <string>

#include "hub/base/concat.h"
#include "hub/base/files.h"
#include "hub/base/input_error.h"
#include "hub/base/unix_socket.h"
#include "hub/commands/commands.h"
#include "hub/commands/outputs.h"
#include "hub/server/listener.h"

namespace kelvane_hub {
namespace {

constexpr std::chrono::seconds patience(10);

struct Answer {
  std::string lines;  // before the last one, each with its newline
  std::string last;   // "OK …" or "KO: …"

  bool is_ok() const { return last.starts_with("OK"); }
};

/// One's own end of a hub's control socket.
class Hub {
 public:
  /// Throws InputError if nobody listens there.
  explicit Hub(const std::string& given) : path_(find(given)), socket_(new_stream_socket()) {
    if (path_.empty() || path_.size() > UnixAddress::longest_path) {
      fail(concat("expected a path of 1 to ", UnixAddress::longest_path, " bytes, found one of ", path_.size()));
    }
    if (const int error = connect_at_once(socket_.get(), UnixAddress(path_)); error != 0) fail(strerror(error));
    ucred hub{};
    socklen_t size = sizeof hub;
    (void)getsockopt(socket_.get(), SOL_SOCKET, SO_PEERCRED, &hub, &size);
    if (hub.uid != geteuid() && hub.uid != 0) {
      fail(concat("it belongs to user ", hub.uid, ", expected user ", geteuid(), geteuid() == 0 ? "" : " or 0"));
    }
  }

  /// Throws InputError if the hub ends meanwhile, or hangs.
  Answer ask(const std::string& command) {
    if (!send_all(socket_.get(), command + "\n", patience)) fail("it ended the connection");
    Answer answer;
    for (answer.last = next_line(); answer.last.starts_with("| "); answer.last = next_line()) {
      answer.lines += answer.last.substr(2) + "\n";
    }
    return answer;
  }

 private:
  /// The control socket that belongs to a socket of clients, or else the socket itself.
  static std::string find(const std::string& given) {
    struct stat found {};
    const std::string beside = control_path_of(given);
    return lstat(beside.c_str(), &found) == 0 && S_ISSOCK(found.st_mode) ? beside : given;
  }

  [[noreturn]] void fail(const std::string& why) const {
    throw InputError(concat("kelvane-hub control: no answer from the hub at ", path_, ": ", why));
  }

  std::string next_line() {
    for (;;) {
      if (const auto end = unread_.find('\n', taken_); end != std::string::npos) {
        std::string line = unread_.substr(taken_, end - taken_);
        taken_ = end + 1;
        return line;
      }
      unread_.erase(0, std::exchange(taken_, 0));
      pollfd come{socket_.get(), POLLIN, 0};
      if (poll(&come, 1, static_cast<int>(std::chrono::milliseconds(patience).count())) == 0) fail("it hangs");
      std::array<char, 65536> buffer;
      const ssize_t received = receive_some(socket_.get(), buffer);
      if (received <= 0) fail("it ended the connection");
      unread_.append(buffer.data(), static_cast<std::size_t>(received));
    }
  }

  const std::string path_;
  UniqueFd socket_;
  std::string unread_;
  std::size_t taken_ = 0;  // of unread_
};

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
  if (!captured || captured->empty() || *captured == "stop") return command;
  return "capture " + std::filesystem::absolute(*captured).string();
}

/// Returns whether it was carried out.
bool carry_out(Hub& hub, const std::string& command) {
  const auto file = file_of(command, "record");
  if (file && file->empty()) {
    write_output("KO: expected a file to write, found none\n", "-");
    return false;
  }
  Answer answer = hub.ask(file ? "record" : from_any_folder(command));
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

/// Commands from standard input; blank lines and comments are none.
bool carry_out_all(Hub& hub) {
  const bool prompts = isatty(STDIN_FILENO) == 1 && isatty(STDOUT_FILENO) == 1;
  const auto prompt = [prompts] {
    if (prompts) write_output("> ", "-");
  };
  bool all = true;
  prompt();
  for (std::string line; std::getline(std::cin, line); prompt()) {
    const auto begin = line.find_first_not_of(" \t\r");
    if (begin == std::string::npos || line[begin] == '#') continue;
    all = carry_out(hub, line) && all;
    if (line.substr(begin, 4) == "quit" && all) break;
  }
  return all;
}

}  // namespace

bool control(const ControlOptions& options) {
  Hub hub(options.socket);
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
