#include "hub/plot/layout.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <utility>

#include "hub/base/concat.h"

namespace kelvane_hub {
namespace {

constexpr int title_height = 34;
constexpr int heading_height = 28;
constexpr int times_height = 26;
constexpr int axis_name_height = 22;
constexpr int message_height = 90;
constexpr int row_height = 22;
constexpr int legend_line_height = 17;

constexpr struct {
  PanelKind kind;
  int height;
} curve_panels[] = {{PanelKind::strength, 210}, {PanelKind::quality, 100}, {PanelKind::noise, 90}};

constexpr struct {
  Strip strip;
  std::string_view name;
} state_rows[] = {{Strip::rrc_lte, "RRC LTE"}, {Strip::rrc_nr, "RRC NR"},     {Strip::rrc_wcdma, "RRC WCDMA"},
                  {Strip::calls, "calls"},     {Strip::rail_lte, "LTE rail"}, {Strip::rail_nr, "NR rail"}};

const std::vector<Span>* find_spans(const SubscriptionTrack& track, Strip strip) {
  const auto found = track.strips.find(strip);
  return found == track.strips.end() ? nullptr : &found->second;
}

std::vector<StripRow> rows_of(const SubscriptionTrack& track) {
  std::vector<StripRow> rows;
  if (const auto* const spans = find_spans(track, Strip::technology)) {
    rows.push_back({"technology", spans, Strip::technology});
  }
  if (!track.cell_changes.empty() || !track.technology_changes.empty()) {
    rows.push_back({"changes", nullptr, Strip::technology});
  }
  for (const auto& [strip, name] : state_rows) {
    if (const auto* const spans = find_spans(track, strip)) rows.push_back({std::string(name), spans, strip});
  }
  return rows;
}

/// Those of changes and RRC states.
int legend_lines_of(const SubscriptionTrack& track) {
  std::set<std::int32_t> states;
  for (const Strip strip : {Strip::rrc_lte, Strip::rrc_nr, Strip::rrc_wcdma}) {
    const auto* const spans = find_spans(track, strip);
    if (spans == nullptr) continue;
    for (const Span& span : *spans) states.insert(span.state);
  }
  return static_cast<int>(states.size()) + (track.cell_changes.empty() ? 0 : 1) +
         (track.technology_changes.empty() ? 0 : 1);
}

/// "RSRP, RSCP (dBm)": each quantity once.
std::string heading_of(const SubscriptionTrack& track, PanelKind kind) {
  std::string names;
  for (const Curve* curve : curves_of(track, kind)) {
    const std::string_view name = curve->quantity->name;
    if (names.find(name) == std::string::npos) names += concat(names.empty() ? "" : ", ", name);
  }
  return concat(names, " of the serving cell (", unit_of(kind), ")");
}

class LayoutBuilder {
 public:
  LayoutBuilder(const Track& track, const std::string& source) : track_(track), source_(source) {}

  Layout build() {
    for (const SubscriptionTrack& subscription : track_.subscriptions) add_panels_of(subscription);
    if (track_.subscriptions.empty()) {
      add({PanelContent::message, nullptr, PanelKind::strength, "no cell reports in " + source_, {}, false, 0, 0},
          message_height);
    } else {
      layout_.height += axis_name_height;
    }
    return std::move(layout_);
  }

 private:
  void add_panels_of(const SubscriptionTrack& subscription) {
    // Several subscriptions are told apart by what stands above the first panel of each.
    prefix_ = track_.subscriptions.size() > 1 ? concat("subscription ", subscription.sub, ": ") : "";
    for (const auto& [kind, height] : curve_panels) {
      if (curves_of(subscription, kind).empty()) continue;
      const std::string heading = std::exchange(prefix_, "") + heading_of(subscription, kind);
      add({PanelContent::curves, &subscription, kind, heading, {}, false, 0, 0}, height);
    }
    if (curves_of(subscription, PanelKind::strength).empty()) add_message(subscription);
    add_strips(subscription);
    if (layout_.panels.back().content != PanelContent::message) {
      layout_.panels.back().shows_times = true;
      layout_.height += times_height;
    }
  }

  void add_message(const SubscriptionTrack& subscription) {
    const std::string_view what =
        subscription.has_cell_reports ? "no signal of a serving cell in " : "no cell reports in ";
    add({PanelContent::message,
         &subscription,
         PanelKind::strength,
         concat(std::exchange(prefix_, ""), what, source_),
         {},
         false,
         0,
         0},
        message_height);
  }

  void add_strips(const SubscriptionTrack& subscription) {
    std::vector<StripRow> rows = rows_of(subscription);
    if (rows.empty()) return;
    const int height = static_cast<int>(rows.size()) * row_height;
    add({PanelContent::strips, &subscription, PanelKind::strength, "", std::move(rows), false, 0, 0}, height);
    // The legend may be longer than the strips.
    layout_.height += std::max(0, legend_lines_of(subscription) * legend_line_height - height - times_height);
  }

  void add(Panel panel, int height) {
    panel.top = layout_.height + (panel.content == PanelContent::strips ? heading_height / 2 : heading_height);
    panel.bottom = panel.top + height;
    layout_.height = panel.bottom;
    layout_.panels.push_back(std::move(panel));
  }

  const Track& track_;
  const std::string& source_;
  std::string prefix_;
  Layout layout_{{}, title_height};
};

}  // namespace

Layout layout_of(const Track& track, const std::string& source) { return LayoutBuilder(track, source).build(); }

std::vector<const Curve*> curves_of(const SubscriptionTrack& track, PanelKind kind) {
  std::vector<const Curve*> curves;
  for (const Curve& curve : track.curves) {
    if (curve.quantity->panel == kind) curves.push_back(&curve);
  }
  return curves;
}

}  // namespace kelvane_hub
