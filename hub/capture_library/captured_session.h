#pragma once

#include <memory>

#include "hub/capture_library/capture_file.h"
#include "kelvane/session.h"

namespace kelvane_hub {

/// A session that passes everything on to `inner` and back as it is, and on the way into `file`, which outlives it: a
/// request before `inner` is given it, an event before the client is. Takes `inner`, which is destroyed with it or, if
/// another thread is using it then, when that thread has left it. Throws std::bad_alloc, and `inner` is destroyed.
std::unique_ptr<com::tarn::kelvane::session::V1_0::ISession> capture_session(
    std::unique_ptr<com::tarn::kelvane::session::V1_0::ISession> inner, CaptureFile& file);

}  // namespace kelvane_hub
