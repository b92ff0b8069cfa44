#include "hub/import/capture_import.h"

#include <algorithm>
#include <vector>

#include "hub/base/concat.h"
#include "hub/base/input_error.h"
#include "hub/import/capture_sensors.h"
#include "hub/report/captured_run.h"

namespace kelvane_hub {
namespace {

std::uint32_t chosen(const std::vector<std::uint32_t>& sessions, const std::string& name,
                     std::optional<std::uint32_t> session) {
  if (sessions.empty()) throw InputError(name + ": expected a session that configures a sensor, found none");
  if (!session) return sessions.front();
  if (std::ranges::find(sessions, *session) != sessions.end()) return *session;
  throw InputError(
      concat(name, ": expected a session that configures a sensor, ", alternatives(sessions), ", found ", *session));
}

std::string left_out(const Capture& capture, std::uint32_t session) {
  const auto reports = run_of_session(capture, session).run.events.size();
  return concat("left out: session ", session, " with ", reports, reports == 1 ? " report" : " reports", "; --session ",
                session, " imports that");
}

}  // namespace

ImportedRun to_scenario(const Capture& capture, const std::string& name, std::optional<std::uint32_t> session) {
  const auto sessions = configuring_sessions(capture);
  const std::uint32_t own = chosen(sessions, name, session);
  auto [sensors, remarks] = sensors_in(capture, own);
  for (const std::uint32_t other : sessions) {
    if (other != own) remarks.push_back(left_out(capture, other));
  }
  const CapturedRun found = run_of_session(capture, own);
  Conduct conduct = conduct_of(found.run);
  const auto refusals = refusals_in(capture, own, conduct);
  const RunPace pace = pace_of(found.run, found.times, conduct, name);
  return to_scenario({found.run, name, conduct, refusals, pace, sensors, remarks});
}

}  // namespace kelvane_hub
