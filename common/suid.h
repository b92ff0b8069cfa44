#pragma once

#include "kelvane/session.h"

namespace cellscope {

using com::tarn::kelvane::suid;

}  // namespace cellscope
