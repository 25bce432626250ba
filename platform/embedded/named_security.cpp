#include <cstring>
#include <string>
#include <string_view>

#include "platform/embedded/win32/registry.h"
#include "platform/embedded/win32/security.h"
#include "platform/embedded/win32/system.h"
#include "platform/text.h"

namespace {

struct Root {
  std::string_view name;
  ULONG_PTR key;
};
constexpr Root kRoots[] = {{"MACHINE", 0x80000002},
                           {"CURRENT_USER", 0x80000001},
                           {"CLASSES_ROOT", 0x80000000},
                           {"USERS", 0x80000003}};

// `[\\computer\]MACHINE\path`, opened for reading its descriptor.
DWORD OpenNamedKey(std::string_view name, HKEY* key) {
  std::string computer;
  if (name.starts_with("\\\\")) {
    const size_t end = std::min(name.find('\\', 2), name.size());
    computer = name.substr(0, end);
    name.remove_prefix(std::min(end + 1, name.size()));
  }
  const size_t slash = std::min(name.find('\\'), name.size());
  const std::string path(name.substr(std::min(slash + 1, name.size())));
  for (const Root& root : kRoots) {
    if (!text::EqualNoCase(name.substr(0, slash), root.name)) continue;
    // The predefined keys are sign-extended values of 32 bits.
    HKEY base = reinterpret_cast<HKEY>(static_cast<LONG_PTR>(static_cast<LONG>(root.key)));  // NOLINT
    if (!computer.empty()) {
      const LONG status = RegConnectRegistryA(computer.c_str(), base, &base);
      if (status != ERROR_SUCCESS) return static_cast<DWORD>(status);
    }
    const LONG status = RegOpenKeyExA(base, path.c_str(), 0, READ_CONTROL, key);
    if (!computer.empty()) RegCloseKey(base);
    return static_cast<DWORD>(status);
  }
  return ERROR_INVALID_PARAMETER;
}

// The key's descriptor in memory of LocalAlloc.
DWORD ReadDescriptor(HKEY key, SECURITY_INFORMATION information, PSECURITY_DESCRIPTOR* descriptor) {
  DWORD size = 0;
  LONG status = RegGetKeySecurity(key, information, nullptr, &size);
  if (status != ERROR_INSUFFICIENT_BUFFER) return static_cast<DWORD>(status);
  *descriptor = LocalAlloc(LMEM_FIXED, size);
  if (*descriptor == nullptr) return ERROR_NOT_ENOUGH_MEMORY;
  status = RegGetKeySecurity(key, information, *descriptor, &size);
  if (status != ERROR_SUCCESS) *descriptor = LocalFree(*descriptor);
  return static_cast<DWORD>(status);
}

}  // namespace

DWORD WINAPI GetNamedSecurityInfoA(LPCSTR name, SE_OBJECT_TYPE kind, SECURITY_INFORMATION information,
                                   PSID* owner, PSID* group, PACL* dacl, PACL* sacl,
                                   PSECURITY_DESCRIPTOR* descriptor) {
  if (name == nullptr || descriptor == nullptr) return ERROR_INVALID_PARAMETER;
  if (kind != SE_REGISTRY_KEY) return ERROR_NOT_SUPPORTED;
  HKEY key = nullptr;
  DWORD status = OpenNamedKey(name, &key);
  if (status != ERROR_SUCCESS) return status;
  PSECURITY_DESCRIPTOR result = nullptr;
  constexpr SECURITY_INFORMATION kRead =
      OWNER_SECURITY_INFORMATION | GROUP_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;
  status = ReadDescriptor(key, information & kRead, &result);
  RegCloseKey(key);
  if (status != ERROR_SUCCESS) return status;
  BOOL present = FALSE;
  BOOL defaulted = FALSE;
  if (owner != nullptr) GetSecurityDescriptorOwner(result, owner, &defaulted);
  if (group != nullptr) GetSecurityDescriptorGroup(result, group, &defaulted);
  if (dacl != nullptr) {
    *dacl = nullptr;
    GetSecurityDescriptorDacl(result, &present, dacl, &defaulted);
  }
  if (sacl != nullptr) *sacl = nullptr;
  *descriptor = result;
  return ERROR_SUCCESS;
}
