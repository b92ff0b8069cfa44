#include "hub/analysis/difference.h"

#include <google/protobuf/text_format.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "hub/analysis/alignment.h"
#include "hub/base/concat.h"
#include "hub/messages/catalogue.h"
#include "hub/scenario/seconds.h"

namespace kelvane_hub {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

/// Calls `change` with each set of cells in `message`.
template <class Change>
void for_each_cells(Message& message, const Change& change) {
  using google::protobuf::DynamicCastToGenerated;
  if (auto* const info = DynamicCastToGenerated<mox_wwan_event_serving_neighboring_cell_info>(&message)) change(*info);
  if (auto* const all = DynamicCastToGenerated<mox_wwan_get_cell_location_info_response>(&message)) {
    for (auto& info : *all->mutable_cells()) change(info);
  }
}

void clear_timestamps(Message& message) {
  for_each_cells(message, [](mox_wwan_event_serving_neighboring_cell_info& info) {
    for (auto& cell : *info.mutable_cells()) cell.clear_timestamp();
  });
}

bool is_zero(const Message& message, const FieldDescriptor& field) {
  const auto& reflection = *message.GetReflection();
  switch (field.cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
      return reflection.GetInt32(message, &field) == 0;
    case FieldDescriptor::CPPTYPE_UINT32:
      return reflection.GetUInt32(message, &field) == 0;
    case FieldDescriptor::CPPTYPE_UINT64:
      return reflection.GetUInt64(message, &field) == 0;
    case FieldDescriptor::CPPTYPE_BOOL:
      return !reflection.GetBool(message, &field);
    default:
      return false;
  }
}

/// Makes absent what is 0, and what is empty then.
void clear_zeros(Message& message) {  // NOLINT(misc-no-recursion): as deep as the messages
  const auto& reflection = *message.GetReflection();
  std::vector<const FieldDescriptor*> fields;
  reflection.ListFields(message, &fields);
  for (const FieldDescriptor* const field : fields) {
    if (field->is_repeated()) {
      for (int i = 0; i < reflection.FieldSize(message, field); ++i) {
        clear_zeros(*reflection.MutableRepeatedMessage(&message, field, i));
      }
    } else if (field->message_type() != nullptr) {
      Message& part = *reflection.MutableMessage(&message, field);
      clear_zeros(part);
      if (part.ByteSizeLong() == 0) reflection.ClearField(&message, field);
    } else if (is_zero(message, *field)) {
      reflection.ClearField(&message, field);
    }
  }
}

/// Of which kinds of reports there are messages as sent, and of which as printed.
class Faithfulness {
 public:
  void note(const Observation& seen) { kinds_[seen.message.GetDescriptor()][seen.is_as_sent] = true; }
  bool is_mixed(const Message& message) const {
    const auto& ways = kinds_.at(message.GetDescriptor());
    return ways[0] && ways[1];
  }

 private:
  std::map<const Descriptor*, std::array<bool, 2>> kinds_;
};

/// Reports by what they say.
class Contents {
 public:
  explicit Contents(const Faithfulness& faithfulness) : faithfulness_(faithfulness) {}

  /// The number of what `said` says; the same for what says the same.
  std::uint32_t number_of(const Message& said) {
    const std::unique_ptr<Message> message(said.New());
    message->CopyFrom(said);
    clear_timestamps(*message);
    if (faithfulness_.is_mixed(said)) clear_zeros(*message);
    const MessageKind* const kind = find_event_kind(*said.GetDescriptor());
    const auto [known, is_new] = numbers_.try_emplace({kind, message->SerializeAsString()}, by_number_.size());
    if (is_new) by_number_.push_back(&known->first);
    return static_cast<std::uint32_t>(known->second);
  }

  /// "voice_calls { sub: 0 }".
  std::string text_of(std::uint32_t number) const {
    const auto& [kind, bytes] = *by_number_[number];
    const std::unique_ptr<Message> message(kind->payload()->New());
    (void)message->ParseFromString(bytes);
    google::protobuf::TextFormat::Printer printer;
    printer.SetSingleLineMode(true);
    std::string text;
    printer.PrintToString(*message, &text);
    return concat(kind->name, " { ", text, "}");
  }

 private:
  using Content = std::pair<const MessageKind*, std::string>;

  const Faithfulness& faithfulness_;
  std::map<Content, std::size_t> numbers_;
  std::vector<const Content*> by_number_;
};

/// Whether cells are those that were told last of their subscription: nobody is told of them again.
class Repeats {
 public:
  bool is_one(const Observation& seen) {
    const auto* const told = payload_of<mox_wwan_event_serving_neighboring_cell_info>(seen);
    if (told == nullptr) return false;
    auto cells = *told;
    clear_timestamps(cells);
    std::string bytes = cells.SerializeAsString();
    const auto [last, is_new] = last_.try_emplace(cells.sub(), bytes);
    if (is_new || last->second == bytes) return !is_new;
    last->second = std::move(bytes);
    return false;
  }

 private:
  std::map<std::uint32_t, std::string> last_;  // by subscription
};

struct Sequence {
  std::vector<std::uint32_t> contents;
  std::vector<std::size_t> places;
  std::vector<double> times;  // seconds since the first
};

Sequence sequence_of(const EvaluatedFile& file, bool has_errors, Contents& contents) {
  Sequence sequence;
  std::optional<double> first;
  // What happens to a modem, rather than what was reported.
  const bool is_played = file.kind == FileKind::scenario || file.kind == FileKind::drive;
  Repeats repeats;
  (void)observe(file, [&](const Observation& seen) {
    if (seen.place == 0 || (is_played && repeats.is_one(seen))) return;
    if (!has_errors && find_event_kind(*seen.message.GetDescriptor())->id == error_event) return;
    if (!first) first = seen.time.seconds;
    sequence.contents.push_back(contents.number_of(seen.message));
    sequence.places.push_back(seen.place);
    sequence.times.push_back(seen.time.seconds - *first);
  });
  return sequence;
}

class DifferenceWriter {
 public:
  DifferenceWriter(const EvaluatedFile& before, const EvaluatedFile& after) : before_(before), after_(after) {
    Faithfulness& ways = faithfulness_;
    (void)observe(before, [&ways](const Observation& seen) { ways.note(seen); });
    (void)observe(after, [&ways](const Observation& seen) { ways.note(seen); });
    // A client tells errors, but not in what a run keeps.
    const bool has_errors = before.kind != FileKind::run && after.kind != FileKind::run;
    old_ = sequence_of(before, has_errors, contents_);
    new_ = sequence_of(after, has_errors, contents_);
  }

  std::string text(const std::optional<double>& tolerance) {
    const auto partners = align(old_.contents, new_.contents);
    std::size_t next = 0;  // of the new ones
    for (std::size_t i = 0; i < partners.size(); ++i) {
      const bool is_same = partners[i] && is_in_time(i, *partners[i], tolerance);
      // All that has gone stands before what has come in its place.
      if (is_same) add_new(next, *partners[i]);
      if (is_same) next = *partners[i] + 1;
      if (!is_same) add('-', before_, old_, i);
      if (partners[i] && !is_same) add_new(next, *partners[i] + 1), next = *partners[i] + 1;
    }
    add_new(next, new_.contents.size());
    if (text_.empty()) return "";
    return concat("--- ", before_.name, "\n+++ ", after_.name, '\n', text_);
  }

 private:
  bool is_in_time(std::size_t before, std::size_t after, const std::optional<double>& tolerance) const {
    // What adding up times makes of a difference is none.
    constexpr double inexactness = 1e-6;
    return !tolerance || std::abs(old_.times[before] - new_.times[after]) <= *tolerance + inexactness;
  }

  void add_new(std::size_t begin, std::size_t end) {
    for (std::size_t i = begin; i < end; ++i) add('+', after_, new_, i);
  }

  void add(char sign, const EvaluatedFile& file, const Sequence& sequence, std::size_t i) {
    const double milliseconds = std::round(sequence.times[i] * 1000) / 1000;
    text_ += concat(sign, place_name(file.kind), ' ', sequence.places[i], ", ", shown_seconds(milliseconds),
                    " s: ", contents_.text_of(sequence.contents[i]), '\n');
  }

  const EvaluatedFile& before_;
  const EvaluatedFile& after_;
  Faithfulness faithfulness_;
  Contents contents_{faithfulness_};
  Sequence old_;
  Sequence new_;
  std::string text_;
};

}  // namespace

std::string difference_of(const EvaluatedFile& before, const EvaluatedFile& after, std::optional<double> tolerance) {
  return DifferenceWriter(before, after).text(tolerance);
}

}  // namespace kelvane_hub
