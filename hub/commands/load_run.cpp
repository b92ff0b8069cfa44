#include "hub/commands/load_run.h"

#include <cstdio>
#include <iostream>
#include <iterator>

#include "hub/base/files.h"
#include "hub/report/run_reader.h"

namespace kelvane_hub {
namespace {

std::string read_standard_input() { return {std::istreambuf_iterator(std::cin), {}}; }

}  // namespace

Run load_run(const std::string& file) {
  Run run = read_run(file == "-" ? read_standard_input() : read_file(file), file);
  if (run.cut_off != 0) {
    (void)std::fprintf(stderr, "%s:%zu: the report that begins here is cut off, and left out\n", file.c_str(),
                       run.cut_off);
  }
  return run;
}

}  // namespace kelvane_hub
