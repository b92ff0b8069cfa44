// What stands where in a picture.
#pragma once

#include <string>
#include <vector>

#include "hub/plot/track.h"

namespace kelvane_hub {

// In pixels of a screen, like all sizes here.
inline constexpr int picture_width = 1000;
inline constexpr int panel_left = 100;
inline constexpr int panel_right = 808;  // the legends are beyond it

/// A row of a strip panel.
struct StripRow {
  std::string name;
  /// The strip whose states are boxes; none: the row of the marks of changes.
  const std::vector<Span>* spans;
  Strip strip;
};

enum class PanelContent : std::uint8_t { curves, strips, message };

struct Panel {
  PanelContent content;
  const SubscriptionTrack* track;  // null: of none
  PanelKind kind;                  // of curves
  std::string heading;             // or the message
  std::vector<StripRow> rows;      // of strips, from above
  bool shows_times;                // below it
  int top;
  int bottom;
};

struct Layout {
  std::vector<Panel> panels;  // from above; they point into the track
  int height;
};

/// The panels of each subscription of `track`, which outlives the layout: its curves, as far as there are any, and its
/// strips. Where there are no reports of cells, a message says so; `source` is what has none.
Layout layout_of(const Track& track, const std::string& source);

/// The curves of that panel, in the order of their legend.
std::vector<const Curve*> curves_of(const SubscriptionTrack& track, PanelKind kind);

}  // namespace kelvane_hub
