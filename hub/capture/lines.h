// Messages of a capture as lines for people and machines.
#pragma once

#include <google/protobuf/text_format.h>

#include <string>
#include <vector>

#include "hub/capture/filter.h"
#include "hub/capture/mask.h"

namespace kelvane_hub {

/// What is to be seen of a capture, and how.
struct View {
  std::string format = "text";        // or "json"
  std::vector<std::string> filter{};  // terms, as Filter has them
  bool masks = false;                 // identities
};

/// A line a message. One thread.
class Lines {
 public:
  /// Throws InputError for a filter that is none.
  explicit Lines(const View& view);
  Lines(const Lines&) = delete;
  Lines& operator=(const Lines&) = delete;

  /// What `record` holds, each line with its newline; empty if nothing passes the filter.
  std::string of(const CaptureRecord& record);

 private:
  std::string text_of(const Spoken& spoken);
  std::string json_of(const Spoken& spoken);
  std::string hex_of(const std::string& bytes) const;

  const View view_;
  const Filter filter_;
  Mask mask_;
  google::protobuf::TextFormat::Printer printer_;
};

}  // namespace kelvane_hub
