#pragma once

#include "store/error_text.h"
#include "store/key_security.h"

// The access list of a key under HKEY_LOCAL_MACHINE as text; empty if it has none.
inline CString ListOf(const CString& path) {
  const LocalMemory<void> descriptor(key_security::GetKeySecurity(path.c_str()));
  char* sddl = nullptr;
  if (!descriptor || !ConvertSecurityDescriptorToStringSecurityDescriptorA(
                         descriptor.get(), SDDL_REVISION_1, DACL_SECURITY_INFORMATION, &sddl, nullptr)) {
    return {};
  }
  return LocalMemory<char>(sddl).get();
}
