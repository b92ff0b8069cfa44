// Stands where the client looks for the session library, and hands out the sessions of the one behind it.

#include <dlfcn.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "hub/base/diagnostic.h"
#include "hub/capture_library/captured_session.h"
#include "kelvane/session.h"

namespace kelvane_hub {
namespace {

using com::tarn::kelvane::session::V1_0::ISession;
using com::tarn::kelvane::session::V1_0::sessionFactory;

/// A member function that is not virtual takes its object first.
using GetSession = ISession*(sessionFactory*, int);
constexpr const char* get_session = "_ZN3com4tarn7kelvane7session4V1_014sessionFactory10getSessionEi";

const char* variable(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr && *value != '\0' ? value : nullptr;
}

bool is_of_this_library(void* function) {
  Dl_info found{};
  Dl_info own{};
  return dladdr(function, &found) != 0 && dladdr(reinterpret_cast<void*>(&is_of_this_library), &own) != 0 &&
         found.dli_fbase == own.dli_fbase;
}

/// Null, with a diagnostic, if there is none.
GetSession* find_function_behind() {
  const char* named = variable("KELVANE_CAPTURE_LIBRARY");
  void* const library = named != nullptr ? dlopen(named, RTLD_NOW | RTLD_LOCAL) : RTLD_NEXT;
  void* const function = library != nullptr ? dlsym(library, get_session) : nullptr;
  if (function != nullptr && !is_of_this_library(function)) return reinterpret_cast<GetSession*>(function);
  const char* const error = function == nullptr ? dlerror() : "it is this library itself";
  diagnose(capture_speaker, std::string("expected a session library behind this one: ") + error);
  return nullptr;
}

/// Null if nothing is to be captured. Made with the first session, not when the library is loaded: a hub that the
/// client starts has the same environment. Never destroyed: the client may use a session until the very end.
CaptureFile* capture_file() {
  static CaptureFile* const file = [] {
    const char* path = variable("KELVANE_CAPTURE");
    return path != nullptr ? new CaptureFile(path) : nullptr;
  }();
  return file;
}

}  // namespace
}  // namespace kelvane_hub

namespace com::tarn::kelvane::session::V1_0 {

[[gnu::visibility("default")]] ISession* sessionFactory::getSession(int hub_id) try {
  static kelvane_hub::GetSession* const behind = kelvane_hub::find_function_behind();
  std::unique_ptr<ISession> inner(behind != nullptr ? behind(this, hub_id) : nullptr);
  kelvane_hub::CaptureFile* const file = inner ? kelvane_hub::capture_file() : nullptr;
  return file != nullptr ? kelvane_hub::capture_session(std::move(inner), *file).release() : inner.release();
} catch (...) {
  return nullptr;
}

}  // namespace com::tarn::kelvane::session::V1_0
