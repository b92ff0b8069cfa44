#include "hub/base/diagnostic.h"

#include <cstdio>
#include <string>

namespace kelvane_hub {

void diagnose(std::string_view speaker, std::string_view line) {
  std::string text(speaker);
  text.append(": ").append(line).append("\n");
  (void)std::fwrite(text.data(), 1, text.size(), stderr);
}

}  // namespace kelvane_hub
