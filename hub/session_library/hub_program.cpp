#include "hub/session_library/hub_program.h"

#include <dlfcn.h>

#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace kelvane_hub {
namespace {

constexpr const char* name = "kelvane-hub";

// From this library's folder: of a build, and of an installation wherever it has been moved to.
constexpr const char* folders[] = {"", KELVANE_HUB_INSTALLED_FOLDER};

std::filesystem::path folder_of_this_library() {
  Dl_info library{};
  if (dladdr(reinterpret_cast<const void*>(&find_hub_program), &library) == 0) return {};
  std::error_code error;
  return std::filesystem::absolute(library.dli_fname, error).parent_path();
}

}  // namespace

HubProgram find_hub_program() {
  if (const char* named = std::getenv("KELVANE_HUB_PROGRAM"); named != nullptr && *named != '\0') return {named, ""};
  const std::filesystem::path here = folder_of_this_library();
  std::string looked_in;
  for (const char* folder : folders) {
    const std::filesystem::path program = (here / folder / name).lexically_normal();
    std::error_code error;
    if (std::filesystem::exists(program, error)) return {program, ""};
    looked_in += program.parent_path().string() + ", ";
  }
  return {name, "; looked in " + looked_in + "PATH; KELVANE_HUB_PROGRAM can name it"};
}

}  // namespace kelvane_hub
