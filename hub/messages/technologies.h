// The radio technologies: all that the hub knows of each of them.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "mox_wwan_test.pb.h"

namespace kelvane_hub {

/// A value as cellscope prints it.
struct PrintedField {
  std::string_view name;   // of the message's field
  std::string_view label;  // what stands before the value
};

/// A part of a cell as cellscope prints it: "== TITLE == {", the fields with "," between them, and "}".
struct PrintedPart {
  std::string_view name;  // of the field of the technology's message
  std::string_view title;
  std::span<const PrintedField> fields;
};

/// The parts that every technology has.
inline constexpr std::string_view identity_part = "cell_identity";
inline constexpr std::string_view signal_part = "signal_strength";

struct Technology {
  std::int32_t cell_type;  // mox_wwan_cell_info.cell_type
  std::string_view name;
  mox_wwan_cell_info::CellInfoCase info;  // the member that holds the parts
  RadioAccessNetwork ran;                 // what thresholds call it
  std::string_view strength;              // the field of its signal_part that says how strong a cell is, in dBm
  const char* colour;                     // of its curve in a picture, "#rrggbb"
  const char* dark_colour;                // the same on a dark background
  std::span<const PrintedPart> parts;     // in the order in which cellscope prints them
};

/// Every technology, by cell type.
std::span<const Technology> technologies();

/// The technology of that cell type, or with that member; null if there is none.
const Technology* find_technology(std::int32_t cell_type);
const Technology* find_technology(mox_wwan_cell_info::CellInfoCase info);

/// The technology whose parts the cell has, whatever its cell_type says; null if it has none.
const Technology* technology_of(const mox_wwan_cell_info& cell);

/// The field of mox_wwan_cell_info that holds the parts of that technology, and among those a part. Throws
/// std::logic_error if it has no such part.
const google::protobuf::FieldDescriptor& info_field(const Technology& technology);
const google::protobuf::FieldDescriptor& part_field(const Technology& technology, std::string_view part);

/// A part of `cell` as a cell of that technology; null if it is absent, or the cell is of another one.
const google::protobuf::Message* find_part(const mox_wwan_cell_info& cell, const Technology& technology,
                                           std::string_view part);

/// What holds the parts of `cell`, which becomes a cell of that technology.
google::protobuf::Message& make_info(mox_wwan_cell_info& cell, const Technology& technology);

/// The same for a part, which is there from now on.
google::protobuf::Message& make_part(mox_wwan_cell_info& cell, const Technology& technology, std::string_view part);

}  // namespace kelvane_hub
