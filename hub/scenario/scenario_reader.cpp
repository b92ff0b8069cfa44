#include "hub/scenario/scenario_reader.h"

#include <google/protobuf/text_format.h>

#include <utility>
#include <vector>

#include "hub/base/input_error.h"
#include "hub/scenario/plausibility.h"
#include "hub/scenario/scenario_check.h"
#include "hub/scenario/spliced_text.h"
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

class Reader {
 public:
  Reader(const std::string& name, Mistakes* doubts) : mistakes_(name), parser_(mistakes_), doubts_(doubts) {}

  PackedScenario read(const std::string& text) {
    FieldScanner fields({text, {}});
    while (const auto field = fields.next()) take(*field);
    // What is no field goes to the parser, which knows best what is wrong with it.
    const bool is_understood = is_blank(fields.rest());
    if (!is_understood) head_text_.add(fields.rest());
    read_head();
    if (well_formed_) check_.tell(mistakes_, mistakes_.empty());
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
      if (field.name == "repeat_after") places_.repeat_after = field.whole.begin;
      if (!messages) return;
      if (field.name == "sensors") add_places(places_.sensors, *messages);
      if (field.name == "faults") add_places(places_.faults, *messages);
    }
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
    check_.check_step(parsed, step.place);
    if (doubts_ != nullptr) check_plausibility(parsed, step.body, *doubts_);
    read_.add_step(parsed);
  }

  void read_head() {
    scenario head;
    if (!parser_.parse(head_text_, head)) well_formed_ = false;
    if (!well_formed_) return;
    check_.check_head(head, places_);
    read_.set_head(std::move(head));
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
};

}  // namespace

PackedScenario read_scenario(const std::string& text, const std::string& name, Mistakes* doubts) {
  return Reader(name, doubts).read(text);
}

}  // namespace kelvane_hub
