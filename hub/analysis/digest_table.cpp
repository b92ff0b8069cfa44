#include "hub/analysis/digest_table.h"

#include <google/protobuf/text_format.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <span>

#include "hub/analysis/text_table.h"
#include "hub/base/concat.h"
#include "hub/messages/reflection.h"

namespace kelvane_hub {
namespace {

// Of each list; the rest is one row.
constexpr std::size_t longest_list = 15;
constexpr std::size_t longest_label = 51;
constexpr std::size_t longest_states = 46;

std::string with_decimal(double value) {
  char text[64];
  (void)std::snprintf(text, sizeof text, "%.1f", value);
  return text;
}

std::string seconds(double value) { return with_decimal(value) + " s"; }

/// "" of nothing.
std::string share(double part, double whole) { return whole > 0 ? with_decimal(100 * part / whole) + " %" : ""; }

std::string counted(std::size_t count, const char* one, const char* several) {
  return concat(count, ' ', count == 1 ? one : several);
}

/// "LTE 272-1 CI 5 TAC 40": the identity of a cell, its network in front, as far as there is room.
std::string label_of(const CellTime& cell) {
  const auto* const identity = find_part(cell.cell, *cell.technology, identity_part);
  std::string label(cell.technology->name);
  if (identity == nullptr) return label + " identity not known";
  bool has_country = false;
  for (const PrintedField& printed : cell.technology->parts.front().fields) {
    const auto& field = field_of(*identity->GetDescriptor(), printed.name);
    if (!identity->GetReflection()->HasField(*identity, &field)) continue;
    std::string value;
    google::protobuf::TextFormat::PrintFieldValueToString(*identity, &field, -1, &value);
    const bool is_network = printed.name == "mcc" || printed.name == "mnc";
    const std::string named = concat(printed.label.substr(0, printed.label.find(':')), ' ', value);
    const std::string added = (has_country && printed.name == "mnc" ? "-" : " ") + (is_network ? value : named);
    has_country = has_country || printed.name == "mcc";
    if (label.size() + added.size() <= longest_label) label += added;
  }
  return label;
}

class TableWriter {
 public:
  explicit TableWriter(const Digest& digest) : digest_(digest), whole_(digest.extent.end) {}

  std::string text(const EvaluatedFile& file) {
    add_head(file);
    for (const auto& subscription : digest_.subscriptions) add_subscription(subscription);
    if (digest_.subscriptions.empty()) text_ += "\n  no reports of cells, calls or RRC states\n";
    return text_;
  }

 private:
  void add_head(const EvaluatedFile& file) {
    text_ += concat(file.name, "\n  ", name_of(file.kind), ", ", counted(digest_.reports, "report", "reports"), " in ",
                    seconds(whole_), " by ", digest_.extent.clock, '\n');
    if (digest_.undated > 0) {
      text_ += concat("  without a time of their own, but with one between those around them: ", digest_.undated, '\n');
    }
    if (digest_.silence.seconds > 0) {
      text_ += concat("  longest time without a report: ", seconds(digest_.silence.seconds), ", from ",
                      seconds(digest_.silence.begin), '\n');
    }
  }

  void add_subscription(const SubscriptionDigest& subscription) {
    text_ += concat("\nsubscription ", subscription.sub, '\n');
    add_technologies(subscription);
    add_cells(subscription);
    if (subscription.before_cells < whole_ || !subscription.cells.empty()) {
      text_ += concat("\n  changes: ", subscription.cell_changes, " of the cell within its technology, ",
                      subscription.technology_changes, " of the technology;\n  back in the cell before within ",
                      longest_ping_pong, " s: ", subscription.ping_pongs, '\n');
    }
    add_outages(subscription.outages);
    add_statistics(subscription.statistics);
    add_calls(subscription.calls);
    add_rrc(subscription);
  }

  void add_technologies(const SubscriptionDigest& subscription) {
    TextTable table({"technology", "time", "share"});
    const auto add = [&](std::string_view name, double time) {
      table.add({std::string(name), seconds(time), share(time, whole_)});
    };
    for (const auto& [cell_type, time] : subscription.technologies) add(find_technology(cell_type)->name, time);
    const bool was_out = !subscription.outages.empty();
    if (was_out) add("without service", subscription.out);
    if (subscription.unknown_technology > 0) add("unknown technology", subscription.unknown_technology);
    if (subscription.before_cells > 0) add("before any report of cells", subscription.before_cells);
    text_ += table.text();
  }

  void add_cells(const SubscriptionDigest& subscription) {
    TextTable table({"serving cell", "visits", "time", "share"});
    const auto& cells = subscription.cells;
    const std::size_t shown = std::min(cells.size(), longest_list);
    for (const CellTime& cell : std::span(cells).first(shown)) {
      table.add({label_of(cell), concat(cell.visits), seconds(cell.seconds), share(cell.seconds, whole_)});
    }
    double rest = 0;
    std::size_t visits = 0;
    for (const CellTime& cell : std::span(cells).subspan(shown)) rest += cell.seconds, visits += cell.visits;
    if (shown < cells.size()) {
      table.add({counted(cells.size() - shown, "other", "others"), concat(visits), seconds(rest), share(rest, whole_)});
    }
    text_ += table.text();
  }

  void add_outages(const std::vector<Outage>& outages) {
    TextTable table({"without service", "from", "for", ""});
    const std::size_t shown = std::min(outages.size(), longest_list);
    for (std::size_t i = 0; i < shown; ++i) {
      const Outage& outage = outages[i];
      const double unsure = outage.begin.seconds - outage.begin.earliest;
      std::string remark = outage.goes_on ? "to the end" : "";
      if (unsure > 1) remark += concat(remark.empty() ? "" : ", ", "perhaps from ", seconds(outage.begin.earliest));
      table.add({concat(i + 1), seconds(outage.begin.seconds), seconds(outage.seconds()), remark});
    }
    double rest = 0;
    for (const Outage& outage : std::span(outages).subspan(shown)) rest += outage.seconds();
    if (shown < outages.size()) table.add({concat(outages.size() - shown, " more"), "", seconds(rest)});
    text_ += table.text();
  }

  void add_statistics(const std::vector<Statistic>& statistics) {
    TextTable table({"measured", "unit", "count", "min", "5 %", "50 %", "95 %", "max"});
    for (const Statistic& of : statistics) {
      table.add({concat(find_technology(of.quantity->cell_type)->name, ' ', of.quantity->name),
                 std::string(of.quantity->unit_name), concat(of.count), concat(of.lowest), concat(of.percentile_5),
                 concat(of.median), concat(of.percentile_95), concat(of.highest)});
    }
    text_ += table.text();
  }

  void add_calls(const std::vector<Call>& calls) {
    TextTable table({"call", "from", "for", "states"});
    const std::size_t shown = std::min(calls.size(), longest_list);
    for (const Call& call : std::span(calls).first(shown)) {
      std::string states;
      for (const auto state : call.states) states += concat(states.empty() ? "" : " ", state);
      if (call.goes_on) states += " ...";
      if (states.size() > longest_states) states = "..." + states.substr(states.size() - longest_states + 3);
      table.add({concat(call.id), seconds(call.begin), seconds(call.seconds()), states});
    }
    double rest = 0;
    for (const Call& call : std::span(calls).subspan(shown)) rest += call.seconds();
    if (shown < calls.size()) table.add({concat(calls.size() - shown, " more"), "", seconds(rest)});
    text_ += table.text();
  }

  /// Shares are those of the time in which a state was known.
  void add_rrc(const SubscriptionDigest& subscription) {
    TextTable table({"RRC state", "time", "share"});
    for (const auto& [field, times] : subscription.rrc_times) {
      double known = 0;
      for (const auto& [state, time] : times) known += time;
      for (const auto& [state, time] : times) {
        table.add({concat(field, ' ', state), seconds(time), share(time, known)});
      }
    }
    text_ += table.text();
  }

  const Digest& digest_;
  const double whole_;
  std::string text_;
};

}  // namespace

std::string table_of(const EvaluatedFile& file, const Digest& digest) { return TableWriter(digest).text(file); }

}  // namespace kelvane_hub
