// Those who give orders to a hub, each on a connection of its own.
#pragma once

#include <poll.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "hub/capture/listener.h"
#include "hub/server/listener.h"
#include "hub/server/loop.h"
#include "hub/server/unsent.h"
#include "hub/server/voice.h"

namespace kelvane_hub {

/// Takes lines and writes answers, without ever waiting for anybody. Whoever does not take its answers is not heard
/// before it does; what one has said who has gone is carried out all the same. Whoever sends a line of more than 64 KiB
/// is told so and let go. At most 16 at a time are connected; others wait.
///
/// Who sends "monitor" is told of each message of clients and hub from then on, in lines of the form of to_line(). Of
/// those for whom more than 8 MiB would wait, some are not told, but whoever has less than 64 KiB waiting is told of
/// any: a line "lost N" says how many messages that were.
class Controllers final : public Party, public WireListener {
 public:
  /// What there is to say to a line, which comes without its newline: whole lines.
  using Answer = std::function<std::string(const std::string& line, Time now)>;

  /// `loop` and `voice` outlive this object.
  Controllers(Loop& loop, std::unique_ptr<ConnectionSource> source, Answer answer, Voice& voice);

  /// Returns when those who monitor have taken all that there is for them, or after a second.
  ~Controllers() override;
  Controllers(const Controllers&) = delete;
  Controllers& operator=(const Controllers&) = delete;

  /// Those who have sent more lines than fit into a turn have more to be done.
  std::optional<Time> next_due() const override;
  void advance(Time now) override;

  void hear(const Heard& message) override;
  bool is_listening() const override;

 private:
  struct Controller {
    UniqueFd socket;
    Loop::Entry entry;
    Interest interest{};  // as the loop knows it
    std::string unread{};
    Unsent unsent{};
    bool is_last = false;  // nothing more comes
    bool is_gone = false;  // takes no more answers
    bool is_monitor = false;
    std::uint64_t lost = 0;  // messages of which it has not been told

    bool has_line() const { return unread.find('\n') != std::string::npos; }
    bool is_deaf() const;
    void tell_lost();
  };

  void take_connection(Time now);
  void open_door(bool is_open);
  static void stop_answering(Controller& controller);
  static void read(Controller& controller);
  void take_lines(Controller& controller, Time now);
  static void write(Controller& controller);
  std::vector<pollfd> unfinished();
  void settle();
  bool settle(Controller& controller);

  Loop& loop_;
  std::unique_ptr<ConnectionSource> source_;
  Answer answer_;
  Voice& voice_;
  const Loop::Entry door_;
  std::optional<Time> door_due_;  // when to try again, if there were no descriptors left
  std::uint64_t last_ = 0;
  std::map<std::uint64_t, Controller> controllers_;
};

}  // namespace kelvane_hub
