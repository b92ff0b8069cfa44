#include "hub/plot/script.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <iomanip>
#include <map>
#include <set>
#include <sstream>
#include <string_view>
#include <utility>

#include "hub/base/concat.h"
#include "hub/messages/technologies.h"
#include "hub/plot/layout.h"
#include "hub/plot/palette.h"
#include "hub/plot/time_axis.h"

namespace kelvane_hub {
namespace {

/// In gnuplot's double quotes, with whatever means something to it there by its octal number. (It does not read every
/// text in single quotes that has such in it.)
std::string in_quotes(std::string_view text) {
  std::string quoted = "\"";
  for (const char character : text) {
    const bool is_special = std::string_view("\"\\`@").find(character) != std::string_view::npos;
    quoted += is_special ? concat("\\", std::oct, std::setfill('0'), std::setw(3), int{character})
                         : std::string(1, character);
  }
  return quoted + "\"";
}

/// As short as it can be without another value.
std::string number(double value) {
  std::array<char, 32> text{};
  const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), value);
  return {text.data(), end};
}

/// The data blocks of a script, and what it says after these.
class Script {
 public:
  void say(std::string_view line) { commands_.append(line) += '\n'; }

  /// To be drawn with the next draw(): `rows`, a line for each point; an empty one ends a stretch.
  void plot(const std::string& rows, std::string_view how) {
    if (rows.empty()) return;
    const std::string name = "$data" + std::to_string(++blocks_);
    data_ += name + " << END\n" + rows + "END\n";
    plots_ += concat(plots_.empty() ? "plot " : ", \\\n  ", name, " ", how);
  }

  /// Draws all that is to be drawn in one panel; its axes appear even if that is nothing.
  void draw() { say(plots_.empty() ? "plot NaN notitle" : std::exchange(plots_, "")); }

  std::string text() const { return data_ + commands_; }

 private:
  int blocks_ = 0;
  std::string data_;
  std::string commands_;
  std::string plots_;
};

std::string drawn_in(const Colour& colour) { return concat("linecolor rgb '", colour.light, "'"); }

std::string titled(std::string_view title) { return title.empty() ? "notitle" : "title " + in_quotes(title); }

// ---- boxes ----

/// A row of data for a box.
std::string box(const Span& span, double low, double high) {
  return concat(number(span.begin), " ", number(low), " ", number(span.begin), " ", number(span.end), " ", number(low),
                " ", number(high), "\n");
}

std::string boxes(const std::vector<Span>& spans, double low, double high) {
  std::string rows;
  for (const Span& span : spans) rows += box(span, low, high);
  return rows;
}

void plot_boxes(Script& script, const std::string& rows, const Colour& colour, std::string_view title) {
  script.plot(rows,
              concat("axes x1y2 with boxxyerror fillstyle solid noborder ", drawn_in(colour), " ", titled(title)));
}

bool is_rrc(Strip strip) { return strip == Strip::rrc_lte || strip == Strip::rrc_nr || strip == Strip::rrc_wcdma; }

struct StateLook {
  Colour box;
  Colour text;
  std::string name;    // in the box; empty: none
  std::string legend;  // empty: none
};

StateLook look_of(Strip strip, std::int32_t state) {
  if (strip == Strip::technology) {
    return {technology_colour(state), paper, std::string(find_technology(state)->name), ""};
  }
  if (!is_rrc(strip)) return {plain_state, paper, "", ""};
  constexpr std::int32_t last_light = 2;
  const Colour& text = state >= 0 && state <= last_light ? ink : paper;
  return {rrc_colour(state), text, std::to_string(state), concat("RRC state ", state)};
}

// ---- panels ----

class ScriptBuilder {
 public:
  ScriptBuilder(const Track& track, const std::string& source, const PictureFormat& format)
      : track_(track),
        source_(source),
        layout_(layout_of(track, source)),
        axis_(time_axis(track.begin, track.end)),
        format_(format) {}

  std::string build() {
    open_picture();
    for (const Panel& panel : layout_.panels) add(panel);
    script_.say("unset multiplot");
    return script_.text();
  }

 private:
  /// `name` where it is to stand in a legend: once for each subscription.
  std::string once(const Panel& panel, std::string_view name) {
    if (std::exchange(legend_of_, panel.track) != panel.track) in_legend_.clear();
    return !name.empty() && in_legend_.emplace(name).second ? std::string(name) : "";
  }

  void open_picture() {
    const double unit = format_.width_unit;
    script_.say(concat("set terminal ", format_.terminal, " size ", number(picture_width * unit), ",",
                       number(layout_.height * unit), " ", format_.settings, " background rgb '", paper.light, "'"));
    script_.say("set multiplot");
    script_.say(concat("set label 1 ", in_quotes(source_), " at screen ", across(panel_left), ", screen ", up(20),
                       " left noenhanced font ',15'"));
    script_.say("set tics nomirror out");
    script_.say(concat("set xrange [", number(track_.begin), ":", number(track_.end), "]"));
    script_.say(concat("set lmargin at screen ", across(panel_left)));
    script_.say(concat("set rmargin at screen ", across(panel_right)));
  }

  static std::string across(double x) { return number(x / picture_width); }
  std::string up(double y) const { return number(1 - y / layout_.height); }

  void add(const Panel& panel) {
    script_.say(concat("set tmargin at screen ", up(panel.top)));
    script_.say(concat("set bmargin at screen ", up(panel.bottom)));
    script_.say(concat("set key at screen ", across(panel_right + 14), ", screen ", up(panel.top - 4),
                       " left top Left reverse noenhanced samplen 1.6 spacing 1.1"));
    set_times(panel);
    switch (panel.content) {
      case PanelContent::curves:
        add_curves(panel);
        break;
      case PanelContent::strips:
        add_strips(panel);
        break;
      case PanelContent::message:
        add_message(panel);
        break;
    }
    script_.draw();
    script_.say("unset label");
  }

  void set_frame(std::string_view borders, std::string_view grid) {
    script_.say(concat("set border ", borders));
    script_.say("unset grid");
    if (!grid.empty()) {
      script_.say(concat("set grid ", grid, " back linetype 1 linewidth 0.6 linecolor rgb '", grid_lines.light, "'"));
    }
  }

  /// The times without a serving cell, over the height of the panel.
  void shade_outages(const Panel& panel, double height) {
    constexpr struct {
      Strip strip;
      Colour colour;
      std::string_view name;
    } shades[] = {{Strip::perhaps_outage, perhaps_shade, "perhaps no cell"},
                  {Strip::outage, outage_shade, "no serving cell"}};
    for (const auto& [strip, colour, name] : shades) {
      const auto spans = panel.track->strips.find(strip);
      if (spans == panel.track->strips.end()) continue;
      plot_boxes(script_, boxes(spans->second, 0, height), colour, once(panel, name));
    }
  }

  void set_times(const Panel& panel) {
    std::string ticks;
    for (const auto& [time, text] : axis_.ticks) {
      ticks += concat(ticks.empty() ? "" : ", ", in_quotes(panel.shows_times ? text : ""), " ", number(time));
    }
    script_.say(concat("set xtics scale ", panel.shows_times ? "0.6" : "0", " offset 0, 0.4 (", ticks, ")"));
    const auto last = std::ranges::find(layout_.panels.rbegin(), layout_.panels.rend(), true, &Panel::shows_times);
    if (last == layout_.panels.rend() || &panel != &*last) return;
    script_.say(concat("set label 3 'time (", track_.clock, ", ", axis_.unit, ")' at screen ",
                       across((panel_left + panel_right) / 2.0), ", screen ", up(panel.bottom + 36), " center"));
  }

  // ---- curves ----

  void add_curves(const Panel& panel) {
    const auto curves = curves_of(*panel.track, panel.kind);
    set_values(curves);
    set_heading(panel.heading);
    set_frame("3", "x y");
    shade_outages(panel, 1);
    for (const Curve* curve : curves) plot_curve(*curve);
  }

  void set_heading(const std::string& heading) {
    script_.say(concat("set label 2 ", in_quotes(heading), " at graph 0, graph 1 offset 0, 0.7 left noenhanced"));
  }

  /// From a round value below the lowest to one above the highest.
  void set_values(const std::vector<const Curve*>& curves) {
    double lowest = 1e9;
    double highest = -1e9;
    for (const Curve* curve : curves) {
      for (const Stretch& stretch : curve->stretches) {
        const auto [low, high] = std::ranges::minmax_element(stretch, {}, &Point::value);
        lowest = std::min(lowest, low->value);
        highest = std::max(highest, high->value);
      }
    }
    const double step = highest - lowest > 50 ? 20 : highest - lowest > 10 ? 10 : 5;
    const double bottom = std::floor((lowest - 1) / step) * step;
    const double top = std::max(std::ceil((highest + 1) / step) * step, bottom + 2 * step);
    script_.say(concat("set yrange [", number(bottom), ":", number(top), "]"));
    script_.say(concat("set ytics scale 0.6 ", number(step)));
    script_.say("set y2range [0:1]");
  }

  void plot_curve(const Curve& curve) {
    const Technology& technology = *find_technology(curve.quantity->cell_type);
    const std::string colour = drawn_in(technology_colour(technology.cell_type));
    std::string rows;
    std::string dots;  // of what is too short to be seen as a line
    for (const Stretch& stretch : curve.stretches) {
      for (const Point& point : stretch) rows += number(point.time) + " " + number(point.value) + "\n";
      rows += "\n";
      if (stretch.back().time - stretch.front().time < 2 * pixel()) {
        dots += number(stretch.back().time) + " " + number(stretch.back().value) + "\n";
      }
    }
    script_.plot(rows, concat("with steps linewidth 1.6 ", colour, " ",
                              titled(concat(technology.name, " ", curve.quantity->name))));
    script_.plot(dots, concat("with points pointtype 7 pointsize 0.25 ", colour, " notitle"));
  }

  double pixel() const { return (track_.end - track_.begin) / (panel_right - panel_left); }

  // ---- strips ----

  void add_strips(const Panel& panel) {
    const auto count = static_cast<double>(panel.rows.size());
    std::string names;
    for (std::size_t i = 0; i < panel.rows.size(); ++i) {
      names += concat(names.empty() ? "" : ", ", in_quotes(panel.rows[i].name), " ", number(middle(panel, i)));
    }
    set_frame("1", "x");
    script_.say(concat("set yrange [0:", number(count), "]"));
    script_.say(concat("set y2range [0:", number(count), "]"));
    script_.say(concat("set ytics scale 0 (", names, ")"));
    shade_outages(panel, count);
    for (std::size_t i = 0; i < panel.rows.size(); ++i) add_row(panel, i);
  }

  static double middle(const Panel& panel, std::size_t row) {
    return static_cast<double>(panel.rows.size() - row) - 0.5;
  }

  void add_row(const Panel& panel, std::size_t i) {
    const StripRow& row = panel.rows[i];
    if (row.spans == nullptr) return plot_changes(*panel.track, middle(panel, i));
    std::map<std::int32_t, std::vector<Span>> by_state;
    for (const Span& span : *row.spans) by_state[span.state].push_back(span);
    for (const auto& [state, spans] : by_state) plot_state(panel, look_of(row.strip, state), spans, middle(panel, i));
  }

  void plot_state(const Panel& panel, const StateLook& look, const std::vector<Span>& spans, double y) {
    constexpr double half_a_box = 0.34;
    plot_boxes(script_, boxes(spans, y - half_a_box, y + half_a_box), look.box, once(panel, look.legend));
    const double needed = pixel() * (10 + 8 * static_cast<double>(look.name.size()));
    std::string names;
    for (const Span& span : spans) {
      if (look.name.empty() || span.end - span.begin < needed) continue;
      names += concat(number((span.begin + span.end) / 2), " ", number(y), " ", look.name, "\n");
    }
    script_.plot(names,
                 concat("axes x1y2 with labels center font ',11' textcolor rgb '", look.text.light, "' notitle"));
  }

  void plot_changes(const SubscriptionTrack& track, double y) {
    const struct {
      const std::vector<double>& times;
      const char* mark;
      const char* name;
    } kinds[] = {{track.cell_changes, "pointtype 2 pointsize 0.55 linewidth 1.5", "cell change"},
                 {track.technology_changes, "pointtype 13 pointsize 0.6", "technology change"}};
    for (const auto& [times, mark, name] : kinds) {
      std::string rows;
      for (const double time : times) rows += number(time) + " " + number(y) + "\n";
      script_.plot(rows, concat("with points ", mark, " ", drawn_in(change_marks), " ", titled(name)));
    }
  }

  // ---- messages ----

  void add_message(const Panel& panel) {
    set_frame("0", "");
    script_.say("unset ytics");
    script_.say("set yrange [0:1]");
    script_.say(concat("set label 2 ", in_quotes(panel.heading), " at graph 0.5, graph 0.5 center noenhanced"));
  }

  const Track& track_;
  const std::string& source_;
  Layout layout_;
  TimeAxis axis_;
  const PictureFormat& format_;
  Script script_;
  const SubscriptionTrack* legend_of_ = nullptr;
  std::set<std::string, std::less<>> in_legend_;
};

}  // namespace

std::string script_of(const Track& track, const std::string& title, const PictureFormat& format) {
  return ScriptBuilder(track, title, format).build();
}

}  // namespace kelvane_hub
