// What can be wrong with a scenario.
#pragma once

#include <google/protobuf/io/tokenizer.h>
#include <google/protobuf/text_format.h>

#include <string>

#include "scenario.pb.h"

namespace kelvane_hub {

/// Keeps what the parser and check_scenario() find, in the form that editors know how to jump to.
class Mistakes final : public google::protobuf::io::ErrorCollector {
 public:
  explicit Mistakes(std::string file) : file_(std::move(file)) {}

  /// Lines and columns come counted from 0.
  void AddError(int line, google::protobuf::io::ColumnNumber column, const std::string& message) override;

  /// What is unknown to the parser; it goes on after that and may find more.
  void AddWarning(int line, google::protobuf::io::ColumnNumber column, const std::string& message) override {
    AddError(line, column, message);
  }

  /// A line for each mistake, "file:line:column: …", with newlines between them; empty: none.
  const std::string& text() const { return text_; }

  /// Throws InputError whose text that is.
  void throw_if_any() const;

 private:
  std::string file_;
  std::string text_;
};

/// Checks what the text format cannot: the rules that scenario.proto states in words. `places` says where the parts of
/// `checked` stand.
void check_scenario(const scenario& checked, const google::protobuf::TextFormat::ParseInfoTree& places,
                    Mistakes& mistakes);

/// Throws InputError if a hub that plays the scenario at `speed` would be left no time for its clients: steps that
/// repeat may be 100,000 a second at the most.
void check_pace(const scenario& played, double speed);

}  // namespace kelvane_hub
