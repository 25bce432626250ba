#include "store/key_security.h"

#include <array>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "store/accounts.h"
#include "store/error_text.h"
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

// The lists of the keys that stand open: under the key's path the access mask and the descriptor. It is no
// part of what is exported.
constexpr char kOpenedKeys[] = "Software\\TesselWorks\\OpenedForExport";
// Held by the process that has keys open; the system lets go of it when that process ends.
constexpr char kOpenedMutex[] = "Global\\MarrowenOpenedForExport";

bool Take(HANDLE mutex) {
  if (mutex == nullptr) return false;
  const DWORD result = WaitForSingleObject(mutex, 0);
  return result == WAIT_OBJECT_0 || result == WAIT_ABANDONED;
}

// A recorded list as it lies in the registry.
struct Recorded {
  DWORD access = 0;
  LocalMemory<void> descriptor;
};

Recorded ReadRecord(HKEY root, const char* path) {
  DWORD size = 0;
  Recorded recorded;
  UniqueKey opened;
  if (OpenUniqueKey(root, kOpenedKeys, KEY_READ, opened) != ERROR_SUCCESS) return recorded;
  const HKEY records = opened.get();
  if (RegQueryValueExA(records, path, nullptr, nullptr, nullptr, &size) != ERROR_SUCCESS) return recorded;
  std::vector<BYTE> bytes(size);
  if (RegQueryValueExA(records, path, nullptr, nullptr, bytes.data(), &size) != ERROR_SUCCESS ||
      size <= sizeof recorded.access) {
    return recorded;
  }
  std::memcpy(&recorded.access, bytes.data(), sizeof recorded.access);
  const size_t length = size - sizeof recorded.access;
  recorded.descriptor.reset(LocalAlloc(LPTR, length));
  if (recorded.descriptor) {
    std::memcpy(recorded.descriptor.get(), bytes.data() + sizeof recorded.access, length);
  }
  return recorded;
}

void WriteRecord(HKEY root, const CString& path, DWORD access, void* descriptor) {
  HKEY opened = nullptr;
  if (RegCreateKeyExA(root, kOpenedKeys, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &opened, nullptr) !=
      ERROR_SUCCESS) {
    return;
  }
  const UniqueKey records(opened);
  const size_t length = LocalSize(descriptor);
  std::vector<BYTE> bytes(sizeof access + length);
  std::memcpy(bytes.data(), &access, sizeof access);
  std::memcpy(bytes.data() + sizeof access, descriptor, length);
  RegSetValueExA(opened, path.c_str(), 0, REG_BINARY, bytes.data(), static_cast<DWORD>(bytes.size()));
}

// The key of the records goes with the last of them.
void RemoveRecord(HKEY root, const char* path) {
  UniqueKey records;
  if (OpenUniqueKey(root, kOpenedKeys, KEY_ALL_ACCESS, records) != ERROR_SUCCESS) return;
  RegDeleteValueA(records.get(), path);
  DWORD left = 0;
  const bool counted = RegQueryInfoKeyA(records.get(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                        &left, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
  records.reset();
  if (counted && left == 0) RegDeleteKeyA(root, kOpenedKeys);
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

OpenedUp::OpenedUp(HKEY root, const CString& path, DWORD access)
    : m_root(root),
      m_path(path),
      m_access(access),
      m_mutex(CreateMutexA(nullptr, FALSE, kOpenedMutex)),
      m_isMine(Take(m_mutex)) {
  // A key that stands open has its own list in the record, and everyone's list now.
  const auto recorded = [&] { return ReadRecord(root, path.c_str()).descriptor; };
  m_saved = recorded();
  if (!m_saved) m_saved.reset(GetKeySecurity(path.c_str()));
  // Another process closes what it has open, whose list may be the one that was read.
  if (!m_isMine && recorded()) {
    m_saved.reset();
    return;
  }
  if (m_saved && m_isMine) WriteRecord(root, path, access, m_saved.get());
  ClearKeySecurity(root, path.c_str(), access);
}

OpenedUp::~OpenedUp() {
  if (m_saved) SetKeySecurity(m_root, m_path.c_str(), m_access, m_saved.get());
  if (m_isMine) {
    RemoveRecord(m_root, m_path.c_str());
    ReleaseMutex(m_mutex);
  }
  if (m_mutex != nullptr) CloseHandle(m_mutex);
}

void PutBackOpened(HKEY root) {
  UniqueKey records;
  if (OpenUniqueKey(root, kOpenedKeys, KEY_READ, records) != ERROR_SUCCESS) return;
  const HANDLE mutex = CreateMutexA(nullptr, FALSE, kOpenedMutex);
  if (Take(mutex)) {
    std::vector<CString> paths;
    std::array<char, 16384> name;
    for (DWORD index = 0, length = name.size();
         RegEnumValueA(records.get(), index, name.data(), &length, nullptr, nullptr, nullptr, nullptr) ==
         ERROR_SUCCESS;
         ++index, length = name.size()) {
      paths.emplace_back(name.data(), length);
    }
    for (const CString& path : paths) {
      const Recorded recorded = ReadRecord(root, path.c_str());
      const DWORD status =
          recorded.descriptor ? SetKeySecurity(root, path.c_str(), recorded.access, recorded.descriptor.get())
                              : ERROR_SUCCESS;
      // A key that has gone meanwhile needs no list.
      if (status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND) RemoveRecord(root, path.c_str());
    }
    ReleaseMutex(mutex);
  }
  if (mutex != nullptr) CloseHandle(mutex);
}

}  // namespace key_security
