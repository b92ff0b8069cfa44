// The colours of a picture.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace kelvane_hub {

/// A colour on a light background, and the one in its place on a dark one; as "#rrggbb".
struct Colour {
  std::string_view light;
  std::string_view dark;
};

inline constexpr Colour paper{"#FDFDFD", "#16181D"};
inline constexpr Colour ink{"#000000", "#D8DADF"};
inline constexpr Colour grid_lines{"#D0D0D0", "#3A3D45"};
inline constexpr Colour outage_shade{"#C4C4C4", "#4A4D55"};
inline constexpr Colour perhaps_shade{"#EAEAEA", "#2A2D34"};
inline constexpr Colour change_marks{"#6A6A6A", "#A4A8B2"};
inline constexpr Colour plain_state{"#7F7F7F", "#8E939E"};  // of a strip that has one state only

/// That of an RRC state.
const Colour& rrc_colour(std::int32_t state);

Colour technology_colour(std::int32_t cell_type);

/// All of them.
std::vector<Colour> palette();

}  // namespace kelvane_hub
