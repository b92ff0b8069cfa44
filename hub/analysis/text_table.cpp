#include "hub/analysis/text_table.h"

#include <algorithm>
#include <cstddef>

namespace kelvane_hub {

std::string TextTable::text() const {
  if (rows_.size() == 1) return "";
  std::vector<std::size_t> widths(rows_.front().size());
  for (const auto& row : rows_) {
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  }
  std::string text = "\n";
  for (const auto& row : rows_) {
    std::string line = " ";
    for (std::size_t i = 0; i < row.size(); ++i) {
      const std::string gap(widths[i] - row[i].size(), ' ');
      line += i == 0 ? " " + row[i] + gap : "  " + gap + row[i];
    }
    text += line.substr(0, line.find_last_not_of(' ') + 1) + '\n';
  }
  return text;
}

}  // namespace kelvane_hub
