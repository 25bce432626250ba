#pragma once

#include "platform/embedded/win32/system.h"

namespace embedded {

// Notes why a function of Windows failed. What it gives is FALSE, and 0 for those that give numbers.
inline BOOL Fail(DWORD code) {
  SetLastError(code);
  return FALSE;
}

}  // namespace embedded
