#include "store/key_security.h"

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "store/error_text.h"
#include "store/registry_object.h"

namespace key_security {
namespace {

struct HandleCloser {
  void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using UniqueHandle = std::unique_ptr<std::remove_pointer_t<HANDLE>, HandleCloser>;

struct SidFreer {
  void operator()(PSID sid) const { FreeSid(sid); }
};
using UniqueSid = std::unique_ptr<std::remove_pointer_t<PSID>, SidFreer>;

// The right to take ownership, held by the process for as long as this object lives.
class TakeOwnershipPrivilege {
 public:
  TakeOwnershipPrivilege() {
    HANDLE token = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &token)) return;
    m_token.reset(token);
    TOKEN_PRIVILEGES wanted = {};
    wanted.PrivilegeCount = 1;
    wanted.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
    if (!LookupPrivilegeValueA(nullptr, "SeTakeOwnershipPrivilege", &wanted.Privileges[0].Luid)) return;
    DWORD size = 0;
    GetTokenInformation(token, TokenPrivileges, nullptr, 0, &size);
    if (size == 0) return;
    m_previous.resize(size);
    m_asked = true;
    // A caller without the privilege goes on without it: the call then succeeds and enables nothing.
    if (!AdjustTokenPrivileges(token, FALSE, &wanted, size, Previous(), &size)) m_status = GetLastError();
  }
  ~TakeOwnershipPrivilege() {
    if (m_asked) AdjustTokenPrivileges(m_token.get(), FALSE, Previous(), 0, nullptr, nullptr);
  }
  TakeOwnershipPrivilege(const TakeOwnershipPrivilege&) = delete;
  TakeOwnershipPrivilege& operator=(const TakeOwnershipPrivilege&) = delete;

  bool Asked() const { return m_asked; }
  DWORD Status() const { return m_status; }

 private:
  TOKEN_PRIVILEGES* Previous() { return reinterpret_cast<TOKEN_PRIVILEGES*>(m_previous.data()); }

  UniqueHandle m_token;
  std::vector<BYTE> m_previous;
  bool m_asked = false;
  DWORD m_status = ERROR_SUCCESS;
};

UniqueSid MakeSid(SID_IDENTIFIER_AUTHORITY authority, DWORD subAuthority) {
  PSID sid = nullptr;
  AllocateAndInitializeSid(&authority, 1, subAuthority, 0, 0, 0, 0, 0, 0, 0, &sid);
  return UniqueSid(sid);
}

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

  const TakeOwnershipPrivilege privilege;
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
  const UniqueSid world = MakeSid(SECURITY_WORLD_SID_AUTHORITY, SECURITY_WORLD_RID);
  const UniqueSid system = MakeSid(SECURITY_NT_AUTHORITY, SECURITY_LOCAL_SYSTEM_RID);
  if (!world || !system) return ERROR_SUCCESS;
  // Two entries, each without the first four bytes of its identifier, which the length counts.
  const DWORD size = GetLengthSid(world.get()) + GetLengthSid(system.get()) + sizeof(ACL) +
                     2 * (sizeof(ACCESS_ALLOWED_ACE) - sizeof(DWORD));
  const LocalMemory<ACL> list(static_cast<ACL*>(LocalAlloc(LPTR, size)));
  SECURITY_DESCRIPTOR descriptor = {};
  if (!list || !InitializeAcl(list.get(), size, ACL_REVISION) ||
      !AddAccessAllowedAce(list.get(), ACL_REVISION, KEY_ALL_ACCESS, system.get()) ||
      !AddAccessAllowedAce(list.get(), ACL_REVISION, KEY_ALL_ACCESS, world.get()) ||
      !InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION) ||
      !SetSecurityDescriptorDacl(&descriptor, TRUE, list.get(), FALSE)) {
    return ERROR_SUCCESS;
  }
  return SetKeySecurity(root, path, access, &descriptor);
}

}  // namespace key_security
