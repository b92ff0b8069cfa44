// The forms that a picture can have.
#pragma once

#include <string>
#include <string_view>

namespace kelvane_hub {

struct PictureFormat {
  std::string_view ending;    // of the file's name
  std::string_view terminal;  // gnuplot's
  double width_unit;          // how much of the terminal's unit of size a pixel of the layout is
  std::string_view settings;  // of the terminal
  std::string_view begin;     // of a picture
  std::string_view end;
};

/// The format of a picture in `file`; "-", which is standard output, has SVG. Throws InputError if there is none for
/// such a name.
const PictureFormat& format_for(const std::string& file);

inline bool is_svg(const PictureFormat& format) { return format.ending == ".svg"; }

}  // namespace kelvane_hub
