#include "hub/testbench/status.h"

#include "hub/base/concat.h"
#include "hub/messages/catalogue.h"
#include "hub/scenario/seconds.h"
#include "hub/scenario/short_text.h"
#include "hub/simulator/registrations.h"

namespace kelvane_hub {
namespace {

std::string counted(const Tally::Counts& counts) {
  return concat(counts.requests, counts.requests == 1 ? " request, " : " requests, ", counts.events,
                counts.events == 1 ? " event" : " events");
}

std::string configured(const SensorUse& use) {
  switch (use.configuration) {
    case Configuration::none:
      return "not configured";
    case Configuration::on_change:
      return "configured for changes";
    case Configuration::periodic:
      return concat("configured for ", use.rate, use.rate == 1 ? " report a second" : " reports a second");
    case Configuration::when_asked:
      return "configured to be asked";
  }
  return "";
}

std::string registered(const Playback& playback, const UseKey& key) {
  std::string names;
  for (const Registration& known : registrations) {
    if (!playback.is_registered(key, known.event)) continue;
    names += concat(names.empty() ? "; registered for " : " and ", find_event_kind(known.event)->name);
  }
  return names;
}

std::string thresholds(const SensorUse& use) {
  std::string text;
  for (const auto& [sub, filter] : use.filters) {
    if (filter.config().threshold_infos().empty()) continue;
    text += concat("; thresholds { ", short_text(filter.config()), " }");
  }
  return text;
}

std::string uses_of(SessionId session, const Performance& performance) {
  const Playback& playback = performance.simulator().playback();
  std::string text;
  const auto& uses = playback.uses();
  for (auto use = uses.lower_bound({session, 0, 0}); use != uses.end() && std::get<0>(use->first) == session; ++use) {
    const suid sensor = link_of(use->first).sensor;
    text += concat("session ", session, ", ", performance.played().data_type_of(sensor), ": ", configured(use->second),
                   registered(playback, use->first), thresholds(use->second), "\n");
  }
  return text;
}

}  // namespace

std::string state_of(const Performance& performance) {
  const Timeline& timeline = performance.timeline();
  if (timeline.is_paused()) return "paused";
  if (!timeline.started()) return "waiting for a client to configure a sensor";
  if (timeline.is_held()) return "waiting for clients to ask for something";
  return timeline.ended() ? "over" : "running";
}

std::string status_of(const Performance& performance, const Tally& tally, Time now) {
  const Timeline& timeline = performance.timeline();
  std::string text = concat("scenario time ", in_seconds(timeline.at(now)), ", ", state_of(performance), ", speed ",
                            timeline.speed(), ", ", timeline.taken(), " steps\n");
  if (const std::string live = performance.live().under_way(); !live.empty()) text += concat("under way: ", live, "\n");
  text += concat("all sessions: ", counted(tally.all()), "\n");
  if (!performance.faults().all().empty()) text += concat("faults: ", performance.faults().all().size(), "\n");
  for (const auto& [session, counts] : tally.sessions()) {
    text += concat("session ", session, ": ", counted(counts), "\n", uses_of(session, performance));
  }
  return text;
}

}  // namespace kelvane_hub
