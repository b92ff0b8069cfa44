// Bytes on their way to clients.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <utility>

namespace kelvane_hub {

/// A frame that waits for one client or for several, who share it. It counts as long as one of them has not taken it.
class Outgoing {
 public:
  /// `total`, to which its size is added, outlives it.
  Outgoing(std::string bytes, std::size_t& total) : bytes_(std::move(bytes)), total_(total) { total_ += bytes_.size(); }
  ~Outgoing() { total_ -= bytes_.size(); }
  Outgoing(const Outgoing&) = delete;
  Outgoing& operator=(const Outgoing&) = delete;

  const std::string& bytes() const { return bytes_; }

 private:
  const std::string bytes_;
  std::size_t& total_;
};

using SharedOutgoing = std::shared_ptr<const Outgoing>;

}  // namespace kelvane_hub
