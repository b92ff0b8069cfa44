// Drive-test recordings. What comes of a good one is a scenario that the hub can read.

#include <sys/mman.h>

#include <cstdlib>

#include "hub/base/input_error.h"
#include "hub/base/unique_fd.h"
#include "hub/import/drive_import.h"
#include "hub/scenario/scenario_file.h"

namespace kelvane_hub::fuzz {
namespace {

/// A file in memory that has a path.
class File {
 public:
  explicit File(const char* name) : fd_(memfd_create(name, 0)) {}
  std::string path() const { return "/proc/self/fd/" + std::to_string(fd_.get()); }
  void set(const void* data, std::size_t size) const {
    const bool filled = ftruncate(fd_.get(), 0) == 0 && pwrite(fd_.get(), data, size, 0) != -1;
    if (!filled) std::abort();
  }

 private:
  UniqueFd fd_;
};

}  // namespace
}  // namespace kelvane_hub::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const kelvane_hub::fuzz::File csv("csv");
  static const kelvane_hub::fuzz::File text("text");
  csv.set(data, size);
  text.set(nullptr, 0);
  scenario imported;
  try {
    imported = kelvane_hub::import_drive(csv.path(), kelvane_hub::Plmn{272, 1});
  } catch (const kelvane_hub::InputError&) {
    return 0;
  }
  kelvane_hub::write_scenario(imported, text.path());
  if (kelvane_hub::load_scenario(text.path()).steps_size() != imported.steps_size()) std::abort();
  return 0;
}
