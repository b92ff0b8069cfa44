#include "hub/scenario/scenario_reader.h"

#include <google/protobuf/text_format.h>

#include <map>
#include <utility>
#include <vector>

#include "hub/base/input_error.h"
#include "hub/scenario/expansion.h"
#include "hub/scenario/part.h"
#include "hub/scenario/plausibility.h"
#include "hub/scenario/scenario_check.h"
#include "hub/scenario/spliced_text.h"
#include "hub/scenario/step.h"
#include "hub/scenario/text_fields.h"

namespace kelvane_hub {
namespace {

/// Parses parts of a file, and tells of the mistakes in them where these stand in the file.
class PartParser final : google::protobuf::io::ErrorCollector {
 public:
  explicit PartParser(Mistakes& mistakes) : mistakes_(mistakes) {
    parser_.SetRecursionLimit(deepest_nesting);
    parser_.AllowUnknownField(true);  // so that it goes on; each is a mistake all the same
    parser_.RecordErrorsTo(this);
  }

  /// False if the form is not right. An unknown field is a mistake of another kind.
  bool parse(const SplicedText& text, scenario& parsed) {
    text_ = &text;
    return parser_.ParseFromString(text.text(), &parsed);
  }

 private:
  void AddError(int line, google::protobuf::io::ColumnNumber column, const std::string& message) override {
    mistakes_.add(text_->origin_of({line, column}), message);
  }
  void AddWarning(int line, google::protobuf::io::ColumnNumber column, const std::string& message) override {
    AddError(line, column, message);
  }

  Mistakes& mistakes_;
  google::protobuf::TextFormat::Parser parser_;
  const SplicedText* text_ = nullptr;
};

/// The seed in the text, which may stand behind whatever needs it; 0 if there is none. What is wrong with it is told
/// when the whole is parsed.
std::uint64_t seed_in(const std::string& text) {
  scenario head;
  Mistakes ignored("");
  PartParser parser(ignored);
  FieldScanner fields({text, {}});
  while (const auto field = fields.next()) {
    if (field->name != "seed") continue;
    SplicedText part;
    part.add(field->whole);
    (void)parser.parse(part, head);
  }
  return head.seed();
}

class Reader {
 public:
  Reader(const std::string& name, Mistakes* doubts, std::optional<std::uint64_t> seed)
      : mistakes_(name), parser_(mistakes_), doubts_(doubts), seed_(seed) {}

  PackedScenario read(const std::string& text) {
    text_ = &text;
    FieldScanner fields({text, {}});
    while (const auto field = fields.next()) take(*field);
    // What is no field goes to the parser, which knows best what is wrong with it.
    const bool is_understood = is_blank(fields.rest());
    if (!is_understood) head_text_.add(fields.rest());
    expansion_.finish();
    read_head();
    if (well_formed_) {
      check_.tell(mistakes_, mistakes_.empty());
      expansion_.tell(mistakes_);
    }
    mistakes_.throw_if_any();
    if (!well_formed_ || !is_understood) {
      throw InputError(mistakes_.file() + ": expected a scenario in protobuf text format, found something else");
    }
    return std::move(read_);
  }

 private:
  void take(const TextField& field) {
    const auto messages = messages_of(field);
    if (field.name == "steps" && messages) {
      take_steps(field, *messages);
    } else {
      head_text_.add(field.whole);
      are_steps_last_ = false;
      note_place(field);
      if (!messages) return;
      if (field.name == "sensors") add_places(places_.sensors, *messages);
      if (field.name == "faults") add_places(places_.faults, *messages);
    }
  }

  void note_place(const TextField& field) {
    static const std::map<std::string_view, TextPlace HeadPlaces::*> numbers{
        {"repeat_after", &HeadPlaces::repeat_after},
        {"repeat", &HeadPlaces::repeat},
        {"start", &HeadPlaces::start},
        {"duration", &HeadPlaces::duration},
    };
    const auto found = numbers.find(field.name);
    if (found != numbers.end()) places_.*found->second = field.whole.begin;
  }

  static void add_places(std::vector<TextPlace>& places, const std::vector<TextMessage>& messages) {
    for (const auto& message : messages) places.push_back(message.place);
  }

  void take_steps(const TextField& field, const std::vector<TextMessage>& steps) {
    // In their place the parser sees a list of none: what stands around them means to it what it did.
    if (!are_steps_last_) head_text_.add({"steps[];", field.whole.begin});
    are_steps_last_ = true;
    for (const auto& step : steps) read_step(step);
  }

  void read_step(const TextMessage& step) {
    step_text_.clear();
    step_text_.add({"steps", step.body.begin});
    step_text_.add(step.body);
    if (!parser_.parse(step_text_, parsed_)) well_formed_ = false;
    if (!well_formed_) return;
    const scenario_step& parsed = parsed_.steps(0);
    is_shorthand(parsed) ? check_.check_shorthand(parsed, step.place) : check_.check_step(parsed, step.place);
    if (doubts_ != nullptr) check_plausibility(parsed, step.body, *doubts_);
    expansion_.take(parsed, step);
  }

  void read_head() {
    scenario head;
    if (!parser_.parse(head_text_, head)) well_formed_ = false;
    if (!well_formed_) return;
    // Where steps are missing, what is wrong with them is told first.
    const bool are_all_there = !expansion_.has_mistakes();
    check_.check_part(head, places_, are_all_there ? std::optional(read_.last_time()) : std::nullopt);
    read_.set_head(std::move(head));
    const bool is_part = read_.head().has_start() || read_.head().has_duration();
    // Likewise of steps in which nothing happens no part can be made.
    const bool can_cut = are_all_there && mistakes_.empty() && check_.empty();
    if (is_part && can_cut) read_ = part_of(read_);
    check_.check_head(read_.head(), places_, !are_all_there || (is_part && !can_cut) ? 0 : read_.last_time());
  }

  Mistakes mistakes_;
  PartParser parser_;
  Mistakes* doubts_;
  SplicedText head_text_;
  bool are_steps_last_ = false;  // of head_text_
  HeadPlaces places_;
  SplicedText step_text_;
  scenario parsed_;  // with one step; kept for its memory
  bool well_formed_ = true;
  ScenarioCheck check_;
  PackedScenario read_;
  const std::string* text_ = nullptr;
  std::optional<std::uint64_t> seed_;  // once it is known
  Expansion expansion_{read_,
                       [this] {
                         if (!seed_) seed_ = seed_in(*text_);
                         return *seed_;
                       },
                       doubts_};
};

}  // namespace

PackedScenario read_scenario(const std::string& text, const std::string& name, Mistakes* doubts,
                             std::optional<std::uint64_t> seed) {
  return Reader(name, doubts, seed).read(text);
}

}  // namespace kelvane_hub
