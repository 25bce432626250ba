#include "store/key_security.h"

#include <array>
#include <string>

#include "store/accounts.h"
#include "store/privilege.h"
#include "store/registry_object.h"

namespace key_security {
namespace {

// Applies to each subkey; what fails there is passed over. The status is that of the enumeration.
DWORD ApplyToSubkeys(HKEY key, void* securityDescriptor, DWORD mask) {
  std::array<char, 260> name;
  for (DWORD index = 0;; ++index) {
    DWORD length = name.size();
    const DWORD status = RegEnumKeyExA(key, index, name.data(), &length, nullptr, nullptr, nullptr, nullptr);
    if (status != ERROR_SUCCESS) return status == ERROR_NO_MORE_ITEMS ? ERROR_SUCCESS : status;
    ApplyKeySecurity(key, name.data(), securityDescriptor, true, mask);
  }
}

}  // namespace

void* GetKeySecurity(const char* path) {
  UniqueKey key;
  if (OpenUniqueKey(HKEY_LOCAL_MACHINE, path, READ_CONTROL, key) != ERROR_SUCCESS) return nullptr;
  DWORD size = 0;
  if (RegGetKeySecurity(key.get(), DACL_SECURITY_INFORMATION, nullptr, &size) != ERROR_INSUFFICIENT_BUFFER) {
    return nullptr;
  }
  void* descriptor = LocalAlloc(LPTR, size);
  if (descriptor) RegGetKeySecurity(key.get(), DACL_SECURITY_INFORMATION, descriptor, &size);
  return descriptor;
}

DWORD ApplyKeySecurity(HKEY parent, const char* name, void* securityDescriptor, bool topDown, DWORD mask) {
  UniqueKey key;
  DWORD status = OpenUniqueKey(parent, name, mask, key);
  if (status != ERROR_SUCCESS) return status;
  if (topDown) {
    status = RegSetKeySecurity(key.get(), DACL_SECURITY_INFORMATION, securityDescriptor);
    if (status != ERROR_SUCCESS) return status;
    key.reset();
  }
  UniqueKey walked;
  status = OpenUniqueKey(parent, name, mask | KEY_ENUMERATE_SUB_KEYS, walked);
  if (status == ERROR_SUCCESS) status = ApplyToSubkeys(walked.get(), securityDescriptor, mask);
  if (topDown) return status;
  return RegSetKeySecurity(key.get(), DACL_SECURITY_INFORMATION, securityDescriptor);
}

DWORD SetKeySecurity(HKEY root, const char* path, DWORD access, void* securityDescriptor) {
  const std::string whole = path ? path : "";
  const size_t split = whole.rfind('\\');
  if (split == std::string::npos) return ERROR_INVALID_PARAMETER;

  const HeldPrivilege privilege(SE_TAKE_OWNERSHIP_NAME);
  if (!privilege.Asked()) return ERROR_SUCCESS;
  if (privilege.Status() != ERROR_SUCCESS) return privilege.Status();
  const DWORD view = access & KEY_WOW64_64KEY ? KEY_WOW64_64KEY : access & KEY_WOW64_32KEY;
  const DWORD mask = WRITE_DAC | view;
  UniqueKey parent;
  const DWORD status = OpenUniqueKey(root, whole.substr(0, split).c_str(), mask, parent);
  if (status != ERROR_SUCCESS) return status;
  return ApplyKeySecurity(parent.get(), whole.c_str() + split + 1, securityDescriptor, true, mask);
}

DWORD ClearKeySecurity(HKEY root, const char* path, DWORD access) {
  const SidBytes world = WellKnownSid(WinWorldSid);
  const SidBytes system = WellKnownSid(WinLocalSystemSid);
  // Two entries, each without the first four bytes of its identifier, which the length counts.
  AccessList list(world.size() + system.size() + sizeof(ACL) +
                  2 * (sizeof(ACCESS_ALLOWED_ACE) - sizeof(DWORD)));
  if (!list.Allow(system, KEY_ALL_ACCESS) || !list.Allow(world, KEY_ALL_ACCESS)) return ERROR_SUCCESS;
  return SetKeySecurity(root, path, access, list.Descriptor());
}

}  // namespace key_security
