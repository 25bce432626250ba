#pragma once

#include "platform/win32.h"

namespace embedded {

// The Windows error code of one of LMDB's, or of errno.
LONG Status(int lmdb);

}  // namespace embedded
