// One's own end of a hub's control socket.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

#include "hub/base/unique_fd.h"

namespace kelvane_hub {

/// What a hub says to a command.
struct HubAnswer {
  std::string lines{};  // before the last one, each with its newline
  std::string last{};   // "OK …" or "KO: …"

  bool is_ok() const { return last.starts_with("OK"); }
};

class HubConnection {
 public:
  /// To the control socket beside that of clients, `given`, or to `given` itself. `subcommand` connects, for messages.
  /// Throws InputError if nobody listens there.
  HubConnection(const std::string& given, std::string subcommand);

  /// Throws InputError if the hub ends meanwhile, or hangs.
  HubAnswer ask(const std::string& command);

  /// The next line that the hub says, whenever that is, without newline; none if it has ended. Throws InputError if
  /// nobody reads `output` meanwhile, as watched_output() has it.
  std::optional<std::string> next_line(int output);

 private:
  static std::string find(const std::string& given);
  [[noreturn]] void fail(const std::string& why) const;
  std::string awaited_line();
  std::optional<std::string> take_line();
  bool receive();

  const std::string path_;
  const std::string subcommand_;
  UniqueFd socket_;
  std::string unread_;
  std::size_t taken_ = 0;  // of unread_
};

}  // namespace kelvane_hub
