#include "hub/capture/filter.h"

#include <algorithm>
#include <limits>
#include <sstream>

#include "hub/base/concat.h"
#include "hub/base/input_error.h"
#include "hub/base/numbers.h"

namespace kelvane_hub {
namespace {

template <class Set, class Value>
bool holds(const Set& wanted, const Value& found) {
  return wanted.empty() || wanted.contains(found);
}

std::uint32_t number_in(const std::string& value, const std::string& term) {
  if (const auto number = number_of<std::uint32_t>(value)) return *number;
  constexpr auto most = std::numeric_limits<std::uint32_t>::max();
  throw InputError(concat("expected a number from 0 to ", most, ", found ", quoted(term)));
}

std::string name_in(const std::string& value) {
  std::set<std::string_view> names{"unknown", "unreadable"};
  for (const auto kinds : {request_kinds(), event_kinds()}) {
    for (const MessageKind& kind : kinds) names.insert(kind.name);
  }
  if (names.contains(value)) return value;
  throw InputError(concat("expected the name ", alternatives(names), ", found ", quoted(value)));
}

Direction direction_in(const std::string& value) {
  for (const Direction direction : {Direction::request, Direction::event}) {
    if (value == name_of(direction)) return direction;
  }
  throw InputError(concat("expected the direction request or event, found ", quoted(value)));
}

}  // namespace

Filter::Filter(const std::vector<std::string>& terms) {
  for (const std::string& several : terms) {
    if (several.empty()) add(several);
    std::istringstream stream(several);
    for (std::string term; std::getline(stream, term, ',');) add(term);
  }
}

void Filter::add(const std::string& term) {
  const auto equals = std::min(term.find('='), term.size());
  const std::string name = term.substr(0, equals);
  const std::string value = term.substr(std::min(equals + 1, term.size()));
  if (name == "session") {
    sessions_.insert(number_in(value, term));
  } else if (name == "msg_id") {
    ids_.insert(number_in(value, term));
  } else if (name == "name") {
    names_.insert(name_in(value));
  } else if (name == "direction") {
    directions_.insert(direction_in(value));
  } else {
    throw InputError(
        concat("expected session=N, msg_id=N, name=NAME or direction=request|event, found ", quoted(term)));
  }
}

bool Filter::passes(const Spoken& spoken) const {
  return holds(sessions_, spoken.record->session) && holds(directions_, spoken.record->direction) &&
         (ids_.empty() || (spoken.msg_id && ids_.contains(*spoken.msg_id))) && holds(names_, name_of(spoken));
}

}  // namespace kelvane_hub
