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
inline constexpr Colour outage_shade{"#D6D6D6", "#3D4049"};
inline constexpr Colour perhaps_shade{"#ECECEC", "#282B32"};
inline constexpr Colour change_marks{"#3C3C3C", "#C4C8D0"};
inline constexpr Colour plain_state{"#7F7F7F", "#8E939E"};  // of a strip that has one state only

/// That of an RRC state.
const Colour& rrc_colour(std::int32_t state);

Colour technology_colour(std::int32_t cell_type);

/// All of them.
std::vector<Colour> palette();

}  // namespace kelvane_hub
