// A text put together from parts of another.
#pragma once

#include <string>
#include <vector>

#include "hub/scenario/text_fields.h"

namespace kelvane_hub {

/// Knows where what a parser complains of stands in the other text: places are counted on from each part's own.
class SplicedText {
 public:
  /// Begins anew with nothing; keeps its memory.
  void clear();

  /// Appends the part on a line of its own.
  void add(const TextPart& part);

  const std::string& text() const { return text_; }

  /// Where that which stands at `place` of text() came from.
  TextPlace origin_of(TextPlace place) const;

 private:
  struct Splice {
    TextPlace here;
    TextPlace origin;
  };

  std::string text_;
  int lines_ = 0;
  std::vector<Splice> splices_;  // in order of place
};

}  // namespace kelvane_hub
