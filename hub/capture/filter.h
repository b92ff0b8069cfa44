// Which messages of a capture one wants to see.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "hub/capture/spoken.h"

namespace kelvane_hub {

/// Of terms about the same thing one has to hold, of things every one.
class Filter {
 public:
  /// Terms are "session=2", "msg_id=1281", "name=voice_calls" or "direction=event", several with commas between them.
  /// Without any, everything passes. Throws InputError, "expected …, found …".
  explicit Filter(const std::vector<std::string>& terms = {});

  bool passes(const Spoken& spoken) const;

 private:
  void add(const std::string& term);

  std::set<std::uint32_t> sessions_;
  std::set<std::uint32_t> ids_;
  std::set<std::string, std::less<>> names_;
  std::set<Direction> directions_;
};

}  // namespace kelvane_hub
