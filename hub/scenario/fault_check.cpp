#include "hub/scenario/fault_check.h"

#include <algorithm>
#include <optional>
#include <span>

#include "hub/base/concat.h"
#include "hub/messages/catalogue.h"
#include "hub/scenario/fault_scope.h"
#include "hub/scenario/seconds.h"

namespace kelvane_hub {
namespace {

// Of a fault, in seconds; as of a scenario.
constexpr double longest = 1e7;

constexpr std::uint32_t highest_field = (1U << 29) - 1;

std::string name_of(scenario_fault::Direction direction) {
  return direction == scenario_fault::REQUEST ? "request" : "event";
}

std::span<const MessageKind> kinds_of(scenario_fault::Direction direction) {
  return direction == scenario_fault::REQUEST ? request_kinds() : event_kinds();
}

class Check {
 public:
  Check(const scenario_fault& fault, const FaultSurroundings& surroundings)
      : fault_(fault), surroundings_(surroundings), direction_(direction_of(fault)) {}

  std::vector<std::string> run() {
    check_messages();
    if (fault_.has_count() && fault_.count() == 0) complain("expected a count of 1 or more, found 0");
    if (fault_.has_session() && fault_.session() == 0) complain("expected a session from 1 on, found 0");
    // Not a number fails this comparison, too.
    if (fault_.has_probability() && !(fault_.probability() >= 0 && fault_.probability() <= 1)) {
      complain("expected a probability from 0 to 1, found " + shown_seconds(fault_.probability()));
    }
    check_kind();
    return std::move(mistakes_);
  }

 private:
  template <class... Parts>
  void complain(const Parts&... parts) {
    mistakes_.push_back(concat(parts...));
  }

  void check_messages() {
    const FaultScope scope = scope_of(fault_.what_case());
    const auto msg_id = msg_id_of(fault_);
    if (scope.direction && direction_ != *scope.direction) {
      complain("expected ", name_of(*scope.direction), "s for ", kind_of(fault_),
               ", found direction: ", scenario_fault::Direction_Name(direction_));
    } else if (scope.msg_id && msg_id != scope.msg_id) {
      complain("expected msg_id ", *scope.msg_id, " or none for ", kind_of(fault_), ", found ", *msg_id);
    } else if (msg_id && !is_known(*msg_id)) {
      std::vector<std::uint32_t> known;
      for (const MessageKind& kind : kinds_of(direction_)) known.push_back(kind.id);
      complain("expected the msg_id of a ", direction_ == scenario_fault::REQUEST ? "request" : "hub's event", ", ",
               alternatives(known), ", found ", *msg_id);
    }
    if (fault_.has_sensor() && !surroundings_.data_types.contains(fault_.sensor())) {
      complain("expected the data_type of a sensor, ", alternatives(surroundings_.data_types), ", found ",
               quoted(fault_.sensor()));
    }
  }

  bool is_known(std::uint32_t msg_id) const {
    if (direction_ == scenario_fault::EVENT && surroundings_.raw_events.contains(msg_id)) return true;
    return std::ranges::find(kinds_of(direction_), msg_id, &MessageKind::id) != kinds_of(direction_).end();
  }

  void check_kind() {
    switch (fault_.what_case()) {
      case scenario_fault::WHAT_NOT_SET:
        return complain("expected what goes wrong (drop, delay, …), found a fault without it");
      case scenario_fault::kDelay:
        return check_seconds(fault_.delay());
      case scenario_fault::kLateAttributes:
        return check_seconds(fault_.late_attributes());
      case scenario_fault::kSensorGone:
        if (fault_.sensor_gone().has_back_after()) check_seconds(fault_.sensor_gone().back_after());
        return;
      case scenario_fault::kTruncate:
        return check_bytes(fault_.truncate());
      case scenario_fault::kCorrupt:
        return check_bytes(fault_.corrupt());
      case scenario_fault::kUnknownField:
        return check_field();
      case scenario_fault::kUnknownId:
        if (is_known(fault_.unknown_id())) {
          complain("expected an unknown_id that no ", name_of(direction_), " has, found ", fault_.unknown_id());
        }
        return;
      default:
        return;
    }
  }

  void check_seconds(double seconds) {
    if (seconds > 0 && seconds <= longest) return;
    complain("expected more than 0 and at most 10000000 seconds of ", kind_of(fault_), ", found ",
             shown_seconds(seconds));
  }

  void check_bytes(std::uint32_t bytes) {
    if (bytes == 0) complain("expected 1 byte or more to ", kind_of(fault_), ", found 0");
  }

  void check_field() {
    const std::uint32_t number = fault_.unknown_field();
    if (number == 0 || number > highest_field) {
      return complain("expected an unknown_field from 1 to ", highest_field, ", found ", number);
    }
    const auto msg_id = msg_id_of(fault_);
    for (const MessageKind& kind : kinds_of(direction_)) {
      if ((msg_id && kind.id != *msg_id) || kind.payload == nullptr) continue;
      const auto* const field = kind.payload()->GetDescriptor()->FindFieldByNumber(static_cast<int>(number));
      if (field == nullptr) continue;
      return complain("expected an unknown_field that no such payload has, found ", number, ", which is ", kind.name,
                      "'s ", field->name());
    }
  }

  const scenario_fault& fault_;
  const FaultSurroundings& surroundings_;
  const scenario_fault::Direction direction_;
  std::vector<std::string> mistakes_;
};

}  // namespace

std::vector<std::string> mistakes_in(const scenario_fault& fault, const FaultSurroundings& surroundings) {
  return Check(fault, surroundings).run();
}

}  // namespace kelvane_hub
