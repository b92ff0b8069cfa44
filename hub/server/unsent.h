// Bytes that wait to be sent.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace kelvane_hub {

/// What is added last is sent last. To drop some of it costs no more than to have added it, however much waits.
class Unsent {
 public:
  Unsent& operator+=(std::string_view bytes) {
    bytes_ += bytes;
    return *this;
  }
  std::string_view view() const { return std::string_view(bytes_).substr(dropped_); }
  std::size_t size() const { return bytes_.size() - dropped_; }
  bool empty() const { return size() == 0; }
  void clear() { drop(size()); }

  /// The first `size` bytes, of those that there are.
  void drop(std::size_t size) {
    dropped_ += size;
    if (dropped_ < bytes_.size() - dropped_) return;
    bytes_.erase(0, dropped_);
    dropped_ = 0;
  }

 private:
  std::string bytes_;
  std::size_t dropped_ = 0;
};

}  // namespace kelvane_hub
