// A shared hub that is measured: a program of its own, on a processor of its own.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>

#include "hub/base/party.h"

namespace kelvane_hub::bench {

/// From now on this process has the last of the processors that it was given; hubs that it starts have the first.
/// Returns false, and nothing is changed, if there is one only.
bool split_processors();

/// Plays a scenario from the constructor on, once it listens; killed by the destructor.
class HubProcess {
 public:
  /// `program` is a kelvane-hub, `scenario` the text of a scenario file. Throws std::runtime_error if it does not
  /// listen.
  HubProcess(const std::string& program, const std::string& scenario);
  ~HubProcess();
  HubProcess(const HubProcess&) = delete;
  HubProcess& operator=(const HubProcess&) = delete;

  std::string socket() const { return folder_ / "hub.sock"; }

  /// The processor time, user and system, that it has had.
  Time processor_time() const;

 private:
  void start(const std::string& program);
  void end();

  std::filesystem::path folder_;
  pid_t process_ = -1;
  clockid_t clock_{};
};

}  // namespace kelvane_hub::bench
