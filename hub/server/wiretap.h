// Between what plays a scenario and the connections.
#pragma once

#include <algorithm>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "hub/capture/record_queue.h"
#include "hub/simulator/delivery.h"
#include "hub/testbench/capturing.h"

namespace kelvane_hub {

/// Hands events on to the clients' connections, and tells listeners of them and of the requests that have come.
class Wiretap final : public Delivery, public Capturing {
 public:
  /// `clients` outlives this object; `say` is told, by any thread, what becomes of captures.
  Wiretap(Delivery& clients, RecordQueue::Say say) : clients_(clients), say_(std::move(say)) {}

  /// From now on `listener` is told, until it is removed.
  void add(WireListener& listener) { listeners_.push_back(&listener); }
  void remove(WireListener& listener) { std::erase(listeners_, &listener); }

  /// A request has come, and nothing has been done with it yet.
  void note_request(const Link& from, const std::string& envelope);

  void deliver(const Link& to, const std::string& message) override;

  /// Prints what is said, a line a message, on standard output.
  void trace();

  void start_capture(const std::string& path) override;
  std::uint64_t stop_capture() override;

 private:
  void forget_ended();
  void tell(Direction direction, const Link& link, const std::string& message);

  Delivery& clients_;
  const RecordQueue::Say say_;
  std::vector<WireListener*> listeners_;
  std::string path_;  // of the capture
  std::unique_ptr<RecordQueue> capture_;
  std::list<std::unique_ptr<RecordQueue>> ended_;  // captures that are still being written
  std::optional<RecordQueue> trace_;
};

}  // namespace kelvane_hub
