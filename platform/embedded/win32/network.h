#pragma once

// Network management (lmaccess.h, lmapibuf.h): the groups of a computer. There is no domain.

#include "platform/embedded/win32/types.h"

using NET_API_STATUS = DWORD;
#define MAX_PREFERRED_LENGTH 0xFFFFFFFFu

struct LOCALGROUP_INFO_0 {
  LPWSTR lgrpi0_name;
};
using PLOCALGROUP_INFO_0 = LOCALGROUP_INFO_0*;
struct GROUP_INFO_0 {
  LPWSTR grpi0_name;
};
using PGROUP_INFO_0 = GROUP_INFO_0*;

NET_API_STATUS NetApiBufferAllocate(DWORD bytes, LPVOID* buffer);
NET_API_STATUS NetApiBufferFree(LPVOID buffer);
NET_API_STATUS NetGetAnyDCName(LPCWSTR server, LPCWSTR domain, LPBYTE* name);
NET_API_STATUS NetLocalGroupEnum(LPCWSTR server, DWORD level, LPBYTE* buffer, DWORD preferred, LPDWORD read,
                                 LPDWORD total, DWORD_PTR* resume);
NET_API_STATUS NetGroupEnum(LPCWSTR server, DWORD level, LPBYTE* buffer, DWORD preferred, LPDWORD read,
                            LPDWORD total, DWORD_PTR* resume);
