#include "hub/plot/plot.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>

#include "hub/messages/technologies.h"
#include "hub/plot/gnuplot.h"

namespace kelvane_hub {
namespace {

/// A file may have any bytes in its name, a picture only UTF-8.
std::string as_utf8(const std::string& text) {
  using nlohmann::json;
  return json::parse(json(text).dump(-1, ' ', false, json::error_handler_t::replace)).get<std::string>();
}

/// In gnuplot's single quotes.
std::string in_quotes(const std::string& text) {
  std::string quoted = "'";
  for (const char character : as_utf8(text)) {
    if (character == '\'') quoted += '\'';
    quoted += static_cast<unsigned char>(character) < ' ' ? ' ' : character;
  }
  return quoted + "'";
}

/// Collects data blocks and what is drawn of them.
class Script {
 public:
  /// `rows` is a line for each point; an empty one ends a stretch.
  void plot(const std::string& rows, const std::string& how) {
    if (rows.empty()) return;
    const std::string name = "$data" + std::to_string(++blocks_);
    data_ += name + " << END\n" + rows + "END\n";
    plots_ += (plots_.empty() ? "plot " : ", \\\n  ") + name + " " + how;
  }

  std::string text(const std::string& settings) const { return data_ + settings + plots_ + "\n"; }
  bool empty() const { return plots_.empty(); }

 private:
  int blocks_ = 0;
  std::string data_;
  std::string plots_;
};

std::string rows_of(const std::vector<Stretch>& stretches) {
  std::ostringstream rows;
  for (const Stretch& stretch : stretches) {
    for (const Point& point : stretch) rows << point.time << ' ' << point.dbm << '\n';
    rows << '\n';
  }
  return rows.str();
}

/// What begins and ends in the same second of log time has no line to be seen.
std::string dots_of(const std::vector<Stretch>& stretches) {
  std::ostringstream rows;
  for (const Stretch& stretch : stretches) {
    if (stretch.front().time == stretch.back().time) rows << stretch.back().time << ' ' << stretch.back().dbm << '\n';
  }
  return rows.str();
}

void add_curves(Script& script, const Track& track) {
  const bool several_subs = !track.curves.empty() && track.curves.front().sub != track.curves.back().sub;
  for (const Curve& curve : track.curves) {
    const Technology& technology = *find_technology(curve.cell_type);
    std::string name(technology.name);
    if (several_subs) name += ", sub " + std::to_string(curve.sub);
    script.plot(rows_of(curve.stretches), "with steps linewidth " + std::string(curve.sub == 0 ? "2.2" : "1.2") +
                                              " linecolor rgb '" + technology.colour + "' dashtype " + technology.dash +
                                              " title " + in_quotes(name));
    script.plot(dots_of(curve.stretches),
                "with points pointtype 5 pointsize 0.3 linecolor rgb '" + std::string(technology.colour) + "' notitle");
  }
}

void add_marks(Script& script, const Track& track) {
  std::ostringstream changes;
  for (const double time : track.cell_changes) changes << time << " 0.02\n";
  script.plot(changes.str(),
              "axes x1y2 with points pointtype 9 pointsize 0.5 linecolor rgb '#808080' title 'cell change'");
  std::ostringstream calls;
  for (const auto& [begin, end] : track.calls) calls << begin << " 0.97 " << end - begin << " 0\n";
  script.plot(calls.str(), "axes x1y2 with vectors nohead linewidth 6 linecolor rgb '#56B4E9' title 'voice call'");
}

std::string settings(const Track& track, const std::string& title) {
  constexpr double an_hour = 3600;
  std::ostringstream text;
  text << "set terminal svg size 1000,460 dynamic font 'sans-serif,13' background rgb '#FDFDFD'\n"
       << "set title " << in_quotes(title) << " noenhanced\n"
       << "set key outside right top Left reverse noenhanced\n"
       << "set grid xtics ytics linecolor rgb '#B0B0B0' linewidth 0.5 dashtype 1\n"
       << "set border 3\n"
       << "set tics nomirror out\n"
       << "set xlabel 'time (" << track.clock << (track.end < an_hour ? ", min:s" : ", h:min:s") << ")'\n"
       << "set ylabel 'signal of the serving cell (dBm)'\n"
       << "set xtics time\n"
       << "set format x " << (track.end < an_hour ? "'%tM:%tS'" : "'%tH:%tM:%tS'") << '\n'
       << "set xrange [0:" << std::max(track.end, 1.0) << "]\n"
       << "set offsets graph 0, 0, graph 0.08, graph 0.08\n"
       << "set y2range [0:1]\n"
       << "unset y2tics\n";
  return text.str();
}

/// The picture has a background of its own, for pages that are dark without saying so; where they say so, it is dark.
constexpr std::string_view dark_mode = R"(<style>
  @media (prefers-color-scheme: dark) {
    [fill="#fdfdfd"] { fill: #16181d; }
    [color="black"] { color: #d8dadf; }
    [fill="black"], text { fill: #d8dadf; }
    [stroke="black"] { stroke: #d8dadf; }
  }
</style>
)";

std::string with_dark_mode(std::string svg) {
  const auto end_of_opener = svg.find(">\n", svg.find("<svg"));
  if (end_of_opener != std::string::npos) svg.insert(end_of_opener + 2, dark_mode);
  return svg;
}

}  // namespace

std::string draw(const Track& track, const std::string& title) {
  Script script;
  add_curves(script, track);
  add_marks(script, track);
  // Something has to be plotted for axes to appear.
  if (script.empty()) script.plot("0 0\n", "with points pointtype 0 notitle");
  return with_dark_mode(run_gnuplot(script.text(settings(track, title))));
}

}  // namespace kelvane_hub
