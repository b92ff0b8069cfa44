// How much the sessions of a simulator ask and are told.
#pragma once

#include <cstddef>
#include <map>
#include <string>

#include "hub/simulator/watcher.h"

namespace kelvane_hub {

class Tally final : public Watcher {
 public:
  struct Counts {
    std::size_t requests = 0;
    std::size_t events = 0;
  };

  void on_request(const Link& from, const std::string&, Time) override {
    ++all_.requests;
    ++sessions_[from.session].requests;
  }
  void on_event(const Link& to, const std::string&, Time) override {
    ++all_.events;
    ++sessions_[to.session].events;
  }

  /// The session has ended; it counts on among all.
  void end_session(SessionId session) { sessions_.erase(session); }

  const Counts& all() const { return all_; }

  /// Of those that have asked for something and have not ended.
  const std::map<SessionId, Counts>& sessions() const { return sessions_; }

 private:
  Counts all_;
  std::map<SessionId, Counts> sessions_;
};

}  // namespace kelvane_hub
