#include "store/registry_object.h"

#include <array>
#include <cstring>
#include <utility>

#include "platform/machine.h"
#include "store/diagnostic_log.h"
#include "store/service_control.h"

namespace {

constexpr DWORD kNoKey = 0xFFFFFFFF;

// The service that serves a computer's registry to others.
constexpr char kRemoteRegistry[] = "RemoteRegistry";

// The bit of the registry view that an unqualified open does not show.
DWORD OtherView() {
  SYSTEM_INFO info = {};
  GetSystemInfo(&info);
  return info.wProcessorArchitecture == PROCESSOR_ARCHITECTURE_AMD64 ? KEY_WOW64_32KEY : KEY_WOW64_64KEY;
}

// RegDeleteKeyExA where the system has it, since it alone can name the view; else RegDeleteKeyA.
class KeyDeletion {
 public:
  KeyDeletion() : m_library(LoadLibraryA("advapi32.dll")) {
    m_withView = Find<WithView>("RegDeleteKeyExA");
    if (!m_withView) m_plain = Find<Plain>("RegDeleteKeyA");
    if (!m_withView && !m_plain) m_status = GetLastError();
  }
  ~KeyDeletion() {
    if (m_library) FreeLibrary(m_library);
  }
  KeyDeletion(const KeyDeletion&) = delete;
  KeyDeletion& operator=(const KeyDeletion&) = delete;

  bool Found() const { return m_withView || m_plain; }
  DWORD Status() const { return m_status; }
  DWORD Delete(HKEY parent, const char* name, DWORD access) const {
    return m_withView ? m_withView(parent, name, access, 0) : m_plain(parent, name);
  }

 private:
  using WithView = LONG(WINAPI*)(HKEY, LPCSTR, REGSAM, DWORD);
  using Plain = LONG(WINAPI*)(HKEY, LPCSTR);

  template <typename Function>
  Function Find(const char* name) const {
    if (!m_library) return nullptr;
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(m_library, name)));
  }

  HMODULE m_library;
  WithView m_withView = nullptr;
  Plain m_plain = nullptr;
  DWORD m_status = ERROR_SUCCESS;
};

// Names of the subkeys in the order of enumeration, taken before anything is done to them: deleting or
// creating keys would move the indexes.
CStringList SubkeyNames(HKEY key) {
  CStringList names;
  std::array<char, 260> name;
  for (DWORD index = 0;; ++index) {
    DWORD length = name.size();
    if (RegEnumKeyExA(key, index, name.data(), &length, nullptr, nullptr, nullptr, nullptr) !=
        ERROR_SUCCESS) {
      return names;
    }
    names.emplace_back(name.data(), length);
  }
}

DWORD DeleteTree(HKEY parent, const char* name, DWORD access, const KeyDeletion& deletion) {
  UniqueKey key;
  const DWORD status = OpenUniqueKey(parent, name, access, key);
  if (status != ERROR_SUCCESS) return status;
  for (const CString& child : SubkeyNames(key.get())) {
    LogPrint(0, "DeleteSubRegistryKeyA\n");
    DeleteTree(key.get(), child.c_str(), access, deletion);
  }
  key.reset();
  return deletion.Delete(parent, name, access);
}

void CopyValues(HKEY source, HKEY destination) {
  DWORD count = 0;
  RegQueryInfoKeyA(source, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &count, nullptr, nullptr,
                   nullptr, nullptr);
  std::array<char, 260> name;
  std::array<BYTE, 2048> data;
  for (DWORD index = 0; index < count; ++index) {
    DWORD nameLength = name.size();
    DWORD size = data.size();
    DWORD type = REG_NONE;
    // A value that does not fit is passed over.
    if (RegEnumValueA(source, index, name.data(), &nameLength, nullptr, &type, data.data(), &size) !=
        ERROR_SUCCESS) {
      continue;
    }
    if (RegSetValueExA(destination, name.data(), 0, type, data.data(), size) != ERROR_SUCCESS) {
      LogPrint(0, "unable to set value ValueName\r\n");
    }
  }
}

}  // namespace

DWORD OpenUniqueKey(HKEY parent, const char* path, DWORD access, UniqueKey& key) {
  HKEY opened = nullptr;
  const DWORD status = RegOpenKeyExA(parent, path, 0, access, &opened);
  key.reset(status == ERROR_SUCCESS ? opened : nullptr);
  return status;
}

CTesselRegObject::~CTesselRegObject() {
  if (m_key) RegCloseKey(m_key);
}

DWORD CTesselRegObject::OpenWith(DWORD access) {
  m_access = access;
  UniqueKey key;
  const DWORD status = OpenUniqueKey(m_hive, m_keyPath.c_str(), access, key);
  if (m_key) RegCloseKey(m_key);
  m_key = key.release();
  return status;
}

DWORD CTesselRegObject::OpenKey(const char* computer, HKEY hive, const char* path) {
  m_computer = computer ? computer : "";
  m_keyPath = path ? path : "";
  m_hive = nullptr;
  DWORD status = RegConnectRegistryA(computer, hive, &m_hive);
  if (status != ERROR_SUCCESS) {
    status = StartRemoteRegistry(computer, hive, &m_hive);
    if (status != ERROR_SUCCESS) return status;
  }
  for (const DWORD access : {DWORD{KEY_ALL_ACCESS}, DWORD{KEY_READ}}) {
    status = OpenWith(access);
    if (status == ERROR_FILE_NOT_FOUND) status = OpenWith(access | OtherView());
    if (status != ERROR_ACCESS_DENIED) break;
  }
  return status;
}

DWORD CTesselRegObject::StartRemoteRegistry(const char* computer, HKEY hive, HKEY* out) {
  OpenedService remote(computer, kRemoteRegistry);
  if (!remote.service) return GetLastError();
  SERVICE_STATUS state = {};
  if (!QueryServiceStatus(remote.service.get(), &state)) {
    // Nothing is known of the service, so it is left as it is, handles included; opening the key then fails
    // for want of a connection.
    (void)remote.service.release();
    (void)remote.manager.release();
    return ERROR_SUCCESS;
  }
  if (state.dwCurrentState == SERVICE_STOPPED) {
    StartServiceA(remote.service.get(), 0, nullptr);
    for (int query = 0; query < 20000; ++query) {
      if (QueryServiceStatus(remote.service.get(), &state) && state.dwCurrentState == SERVICE_RUNNING) {
        m_startedRemoteRegistry = 1;
        break;
      }
    }
  }
  return RegConnectRegistryA(computer, hive, out);
}

void CTesselRegObject::StopRemoteRegistry() {
  const OpenedService remote(m_computer.empty() ? nullptr : m_computer.c_str(), kRemoteRegistry);
  SERVICE_STATUS state = {};
  if (!remote.service || !QueryServiceStatus(remote.service.get(), &state)) return;
  if (state.dwCurrentState == SERVICE_RUNNING) {
    ControlService(remote.service.get(), SERVICE_CONTROL_STOP, &state);
  }
  m_startedRemoteRegistry = 0;
}

void CTesselRegObject::CloseKey() {
  if (m_key) {
    RegCloseKey(m_key);
    m_key = nullptr;
  }
  if (m_startedRemoteRegistry) StopRemoteRegistry();
}

int CTesselRegObject::CreateKey(const char* path) {
  HKEY created = nullptr;
  if (RegCreateKeyExA(m_hive, path, 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr, &created,
                      nullptr) != ERROR_SUCCESS) {
    return 0;
  }
  if (m_key) RegCloseKey(m_key);
  m_key = created;
  m_keyPath = path;
  return 1;
}

int CTesselRegObject::KeyExists(const char* path) const {
  const HKEY base = m_key ? m_key : m_hive;
  DWORD status = ERROR_SUCCESS;
  if (base) {
    UniqueKey key;
    status = OpenUniqueKey(base, path, m_access, key);
  }
  SetLastError(status);
  return status == ERROR_SUCCESS;
}

CString* CTesselRegObject::GetKeyPath(CString* out) const {
  *out = m_keyPath;
  return out;
}

void CTesselRegObject::NoteRead(std::string_view below) const {
  if (!m_keyPath.empty())
    machine::NoteRead(m_computer, m_keyPath + (below.empty() ? "" : "\\") + CString(below));
}

DWORD CTesselRegObject::GetValueSize(const char* name) const {
  DWORD size = 0;
  if (!m_key) return 0;
  NoteRead();
  return RegQueryValueExA(m_key, name, nullptr, nullptr, nullptr, &size) == ERROR_SUCCESS ? size : 0;
}

DWORD CTesselRegObject::GetStringValue(const char* name, BYTE* buffer, DWORD size, DWORD* type) const {
  return GetStringValueEx(name, buffer, &size, type);
}

DWORD CTesselRegObject::GetStringValueEx(const char* name, BYTE* buffer, DWORD* size, DWORD* type) const {
  const DWORD capacity = *size;
  std::memset(buffer, 0, capacity);
  *size = GetValueSize(name);
  if (*size == 0) return ERROR_SUCCESS;
  if (*size >= capacity) return ERROR_MORE_DATA;
  *size = capacity - 1;
  const DWORD status = RegQueryValueExA(m_key, name, nullptr, type, buffer, size);
  if (status == ERROR_SUCCESS) {
    buffer[*size] = 0;
  } else {
    std::memset(buffer, 0, capacity);
  }
  return status;
}

CString CTesselRegObject::GetStringValue(const char* name) const {
  return CString(text::UpToZero(GetBinaryValue(name)));
}

CString CTesselRegObject::GetBinaryValue(const char* name) const {
  DWORD size = GetValueSize(name);
  CString data(size, '\0');
  if (size == 0) return data;
  if (RegQueryValueExA(m_key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(data.data()), &size) !=
      ERROR_SUCCESS) {
    return {};
  }
  data.resize(size);
  return data;
}

DWORD CTesselRegObject::GetDWORDValue(DWORD* out, const char* name) const {
  *out = 0;
  if (GetValueSize(name) == 0) return ERROR_SUCCESS;
  DWORD value = 0;
  DWORD size = sizeof(value);
  const DWORD status =
      RegQueryValueExA(m_key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(&value), &size);
  if (status == ERROR_SUCCESS) *out = value;
  return status;
}

DWORD CTesselRegObject::SetStringValue(const char* name, const char* text, DWORD type) {
  return SetBinaryValue(name, std::string_view(text ? text : ""), type);
}

DWORD CTesselRegObject::SetBinaryValue(const char* name, std::string_view data, DWORD type) {
  return SetBinaryValue(name, reinterpret_cast<const BYTE*>(data.data()), static_cast<DWORD>(data.size()),
                        type);
}

DWORD CTesselRegObject::SetBinaryValue(const char* name, const BYTE* data, DWORD size, DWORD type) {
  if (!m_key) return kNoKey;
  const bool isText = type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ;
  if (!isText || size == 0 || data[size - 1] == 0) return RegSetValueExA(m_key, name, 0, type, data, size);
  // Windows looks at the byte behind a text and stores a zero that it finds there; no zero, no addition.
  CString guarded(reinterpret_cast<const char*>(data), size);
  guarded += '\x01';
  return RegSetValueExA(m_key, name, 0, type, reinterpret_cast<const BYTE*>(guarded.data()), size);
}

DWORD CTesselRegObject::SetDWORDValue(DWORD value, const char* name) {
  return SetBinaryValue(name, reinterpret_cast<const BYTE*>(&value), sizeof(value), REG_DWORD);
}

void CTesselRegObject::DeleteValue(const char* name) { RegDeleteValueA(m_key, name); }

CStringList CTesselRegObject::GetSubKeys() const {
  if (m_key) NoteRead();
  CStringList names = m_key ? SubkeyNames(m_key) : CStringList();
  std::reverse(names.begin(), names.end());
  return names;
}

DWORD CTesselRegObject::EnumValue(DWORD index, char* name, DWORD* nameSize, DWORD* type, BYTE* data,
                                  DWORD* dataSize) const {
  if (m_key) NoteRead();
  return RegEnumValueA(m_key, index, name, nameSize, nullptr, type, data, dataSize);
}

DWORD CTesselRegObject::EnumValue(DWORD index, RegistryValue& out) const {
  std::array<char, kValueBufferSize> name;
  std::array<BYTE, kValueBufferSize> data;
  DWORD nameSize = name.size();
  DWORD dataSize = data.size();
  DWORD type = REG_NONE;
  const DWORD status = EnumValue(index, name.data(), &nameSize, &type, data.data(), &dataSize);
  if (status != ERROR_SUCCESS) return status;
  out.name.assign(name.data(), nameSize);
  out.type = type;
  out.data.assign(reinterpret_cast<const char*>(data.data()), dataSize);
  return ERROR_SUCCESS;
}

DWORD CTesselRegObject::SaveKey(const char* file) const {
  if (!m_key) return ERROR_INVALID_HANDLE;
  DeleteFileA(file);
  return RegSaveKeyA(m_key, file, nullptr);
}

DWORD CTesselRegObject::RestoreKey(const char* file) {
  return RegRestoreKeyA(m_key, file, REG_FORCE_RESTORE);
}

int CTesselRegObject::DeleteKey(const char* name) {
  LogPrint(0, "DeleteKey\n");
  return DeleteRegistryKeyA(m_key, name, m_access) == ERROR_SUCCESS;
}

int CTesselRegObject::RenameKey(const char* newName) {
  const std::string_view name = newName ? newName : "";
  if (!m_key || name.empty() || name.find('\\') != std::string_view::npos) return 0;
  const size_t leaf = m_keyPath.rfind('\\') + 1;  // 0 without a backslash
  const CString newPath = m_keyPath.substr(0, leaf) + CString(name);
  // A name that is taken, be it by this key itself, would be merged with or deleted below.
  UniqueKey key;
  if (OpenUniqueKey(m_hive, newPath.c_str(), m_access, key) != ERROR_FILE_NOT_FOUND) return 0;
  if (CopyKeyTree(m_hive, m_keyPath.c_str(), m_hive, newPath.c_str(), m_access) != ERROR_SUCCESS ||
      OpenUniqueKey(m_hive, newPath.c_str(), m_access, key) != ERROR_SUCCESS) {
    return 0;
  }
  RegCloseKey(m_key);
  m_key = key.release();
  const CString oldPath = std::exchange(m_keyPath, newPath);
  return DeleteRegistryKeyA(m_hive, oldPath.c_str(), m_access) == ERROR_SUCCESS;
}

DWORD CTesselRegObject::CopyKeyTree(HKEY source, const char* sourcePath, HKEY destination,
                                    const char* destinationPath, DWORD access) {
  UniqueKey from;
  const DWORD status = OpenUniqueKey(source, sourcePath, access, from);
  if (status != ERROR_SUCCESS) {
    for (int twice = 0; twice < 2; ++twice) {
      LogPrint(1, "szFrom = [%s] hr = %08X(%d)", sourcePath, static_cast<unsigned>(status),
               static_cast<int>(status));
    }
    return status;
  }
  // Before the destination is made, which may lie below the source.
  const CStringList children = SubkeyNames(from.get());
  HKEY created = nullptr;
  if (RegCreateKeyExA(destination, destinationPath, 0, nullptr, REG_OPTION_NON_VOLATILE, access, nullptr,
                      &created, nullptr) != ERROR_SUCCESS) {
    return ERROR_SUCCESS;
  }
  const UniqueKey to(created);
  CopyValues(from.get(), to.get());
  for (const CString& child : children) {
    CopyKeyTree(from.get(), child.c_str(), to.get(), child.c_str(), access);
  }
  return ERROR_SUCCESS;
}

DWORD CTesselRegObject::MoveKeyTree(HKEY source, const char* sourcePath, HKEY destination,
                                    const char* destinationPath, DWORD access) {
  const DWORD status = CopyKeyTree(source, sourcePath, destination, destinationPath, access);
  return status == ERROR_SUCCESS ? DeleteRegistryKeyA(source, sourcePath, access) : status;
}

DWORD DeleteRegistryKeyA(HKEY parent, const char* name, DWORD access) {
  LogPrint(0, "DeleteRegistryKeyA\n");
  const KeyDeletion deletion;
  return deletion.Found() ? DeleteTree(parent, name, access, deletion) : deletion.Status();
}

DWORD DeleteSubRegistryKeyA(HKEY parent, char* name, DWORD access) {
  LogPrint(0, "DeleteSubRegistryKeyA\n");
  const KeyDeletion deletion;
  return deletion.Found() ? DeleteTree(parent, name, access, deletion) : deletion.Status();
}
