// The form in which cellscope prints a cell.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace kelvane_hub {

/// What a value can be.
enum class Kind { int32, uint32, int64, uint64, flag };

struct Field {
  std::string_view label;  // as printed
  std::string_view key;    // its name for machines: that of the messages' field
  Kind kind = Kind::int32;
};

/// A line of a report: the opener, the fields with "," between them, and "}".
struct Block {
  std::string_view opener;
  std::string_view key;
  std::span<const Field> fields;
};

struct Technology {
  std::int64_t cell_type;
  std::string_view name;
  std::span<const Block> blocks;
  /// The field of the block "signal_strength" that says how strong the cell is, in dBm.
  std::string_view strength;
};

/// Every technology, by cell type.
std::span<const Technology> technologies();

/// The technology of that cell type; null if it is none that has blocks.
const Technology* find_technology(std::int64_t cell_type);

/// The line before the blocks.
std::span<const Field> cell_header();

}  // namespace kelvane_hub
