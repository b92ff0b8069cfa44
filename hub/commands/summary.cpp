#include "hub/analysis/digest_json.h"
#include "hub/analysis/digest_table.h"
#include "hub/commands/commands.h"
#include "hub/commands/load_evaluated.h"
#include "hub/commands/outputs.h"

namespace kelvane_hub {

void summary(const SummaryOptions& options) {
  std::string text;
  for (const std::string& name : options.files) {
    const EvaluatedFile file = load_evaluated(name);
    const Digest digest = digest_of(file);
    const bool is_json = options.format == "json";
    if (!is_json && !text.empty()) text += '\n';
    text += is_json ? json_of(file, digest) : table_of(file, digest);
  }
  write_output(text, "-");
}

}  // namespace kelvane_hub
