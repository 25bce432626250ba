// The registry functions of Windows: what they promise about arguments and buffers, over the keys of
// registry_key.h.

#include <cstring>
#include <string>

#include "platform/embedded/codepage.h"
#include "platform/embedded/computers.h"
#include "platform/embedded/names.h"
#include "platform/embedded/registry_key.h"
#include "platform/embedded/services.h"
#include "platform/win32.h"

namespace embedded {
namespace {

// A name of the caller's, in UTF-8; null is the empty name.
class Name {
 public:
  explicit Name(LPCSTR text) : m_text(text == nullptr ? "" : text) {
    if (IsPlain(m_text) || GetACP() == CP_UTF8) return;
    m_converted = AcpToUtf8(m_text);
    m_text = m_converted;
  }
  operator std::string_view() const { return m_text; }  // NOLINT: stands for the text itself
  std::string_view Text() const { return m_text; }

 private:
  std::string_view m_text;
  std::string m_converted;
};

bool HasTwoViews(REGSAM access) { return (access & KEY_WOW64_RES) == KEY_WOW64_RES; }

LONG PublishInto(std::unique_ptr<Key> key, PHKEY result) {
  *result = Publish(std::move(key));
  return *result == nullptr ? ERROR_NO_SYSTEM_RESOURCES : ERROR_SUCCESS;
}

}  // namespace

}  // namespace embedded

using embedded::Key;

LONG WINAPI RegConnectRegistryA(LPCSTR computer, HKEY root, PHKEY result) {
  if (result == nullptr) return ERROR_INVALID_PARAMETER;
  const std::string_view given = computer == nullptr ? "" : computer;
  const std::optional<std::string> name = embedded::ComputerNamed(given);
  if (name && name->empty()) return RegOpenKeyA(root, nullptr, result);
  // Only these two roots belong to a computer and not to whoever sits at it.
  if (root != HKEY_LOCAL_MACHINE && root != HKEY_USERS) return ERROR_INVALID_HANDLE;
  if (!name || !embedded::ServiceIsRunning(*name, "RemoteRegistry")) return ERROR_BAD_NETPATH;
  std::unique_ptr<Key> key;
  const LONG status = embedded::OpenRoot(*name + (root == HKEY_USERS ? "\\USER" : "\\MACHINE"), key);
  return status != 0 ? status : embedded::PublishInto(std::move(key), result);
}

LONG WINAPI RegOpenKeyExA(HKEY handle, LPCSTR path, DWORD, REGSAM access, PHKEY result) {
  if (result == nullptr || embedded::HasTwoViews(access)) return ERROR_INVALID_PARAMETER;
  if (handle != nullptr) *result = nullptr;
  Key* key = nullptr;
  LONG status = embedded::FindKey(handle, key);
  if (status != 0) return status;
  const embedded::Name name(path);
  if (name.Text().empty() && embedded::IsPredefined(handle)) {
    *result = handle;
    return ERROR_SUCCESS;
  }
  if (name.Text().starts_with('\\')) return ERROR_BAD_PATHNAME;
  std::unique_ptr<Key> opened;
  status = key->Open(name, access, opened);
  return status != 0 ? status : embedded::PublishInto(std::move(opened), result);
}

LONG WINAPI RegOpenKeyA(HKEY handle, LPCSTR path, PHKEY result) {
  if (result == nullptr) return ERROR_INVALID_PARAMETER;
  if (path != nullptr && *path != '\0') return RegOpenKeyExA(handle, path, 0, MAXIMUM_ALLOWED, result);
  Key* key = nullptr;
  const LONG status = embedded::FindKey(handle, key);
  if (status == 0) *result = handle;
  return status;
}

LONG WINAPI RegCreateKeyExA(HKEY handle, LPCSTR path, DWORD reserved, LPSTR class_name, DWORD, REGSAM access,
                            LPSECURITY_ATTRIBUTES security, PHKEY result, LPDWORD disposition) {
  if (result == nullptr || reserved != 0 || embedded::HasTwoViews(access)) return ERROR_INVALID_PARAMETER;
  if (path == nullptr) return ERROR_BADKEY;
  Key* key = nullptr;
  LONG status = embedded::FindKey(handle, key);
  if (status != 0) return status;
  const embedded::Name name(path);
  const embedded::Name class_text(class_name);
  *result = nullptr;
  if (name.Text().starts_with('\\')) return ERROR_BAD_PATHNAME;
  DWORD how = 0;
  std::unique_ptr<Key> made;
  const PSECURITY_DESCRIPTOR descriptor = security == nullptr ? nullptr : security->lpSecurityDescriptor;
  status = key->Create({name, class_text, access, descriptor}, made, &how);
  if (status != 0) return status;
  if (disposition != nullptr) *disposition = how;
  return embedded::PublishInto(std::move(made), result);
}

LONG WINAPI RegCreateKeyA(HKEY handle, LPCSTR path, PHKEY result) {
  if (path == nullptr) path = "";
  if (*path == '\0' && embedded::IsPredefined(handle)) return RegOpenKeyA(handle, path, result);
  return RegCreateKeyExA(handle, path, 0, nullptr, REG_OPTION_NON_VOLATILE, MAXIMUM_ALLOWED, nullptr, result,
                         nullptr);
}

LONG WINAPI RegCloseKey(HKEY handle) { return embedded::CloseHandleOf(handle); }

LONG WINAPI RegFlushKey(HKEY handle) {
  Key* key = nullptr;
  const LONG status = embedded::FindKey(handle, key);
  return status != 0 ? status : key->Flush();
}

LONG WINAPI RegDeleteKeyExA(HKEY handle, LPCSTR path, REGSAM view, DWORD reserved) {
  if (path == nullptr || reserved != 0 || embedded::HasTwoViews(view)) return ERROR_INVALID_PARAMETER;
  Key* key = nullptr;
  const LONG status = embedded::FindKey(handle, key);
  if (status != 0) return status;
  const embedded::Name name(path);
  if (name.Text().starts_with('\\')) return ERROR_BAD_PATHNAME;
  return key->Delete(name, view & KEY_WOW64_RES);
}

LONG WINAPI RegDeleteKeyA(HKEY handle, LPCSTR path) { return RegDeleteKeyExA(handle, path, 0, 0); }

LONG WINAPI RegEnumKeyExA(HKEY handle, DWORD index, LPSTR name, LPDWORD name_size, LPDWORD reserved,
                          LPSTR class_name, LPDWORD class_size, PFILETIME last_write) {
  if (name == nullptr || name_size == nullptr || reserved != nullptr) return ERROR_INVALID_PARAMETER;
  if (class_name != nullptr && class_size == nullptr) return ERROR_INVALID_PARAMETER;
  Key* key = nullptr;
  const LONG status = embedded::FindKey(handle, key);
  if (status != 0) return status;
  return key->EnumKey(index, {name, name_size, class_name, class_size, last_write});
}

LONG WINAPI RegQueryInfoKeyA(HKEY handle, LPSTR class_name, LPDWORD class_size, LPDWORD reserved,
                             LPDWORD subkeys, LPDWORD longest_subkey, LPDWORD longest_class, LPDWORD values,
                             LPDWORD longest_value_name, LPDWORD longest_data, LPDWORD descriptor_size,
                             PFILETIME last_write) {
  if (reserved != nullptr || (class_name != nullptr && class_size == nullptr)) return ERROR_INVALID_PARAMETER;
  Key* key = nullptr;
  const LONG status = embedded::FindKey(handle, key);
  if (status != 0) return status;
  return key->QueryInfo({class_name, class_size, subkeys, longest_subkey, longest_class, values,
                         longest_value_name, longest_data, descriptor_size, last_write});
}

LONG WINAPI RegQueryValueExA(HKEY handle, LPCSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data,
                             LPDWORD size) {
  if ((data != nullptr && size == nullptr) || reserved != nullptr) return ERROR_INVALID_PARAMETER;
  Key* key = nullptr;
  LONG status = embedded::FindKey(handle, key);
  if (status != 0) return status;
  status = key->QueryValue(embedded::Name(name), {nullptr, nullptr, type, data, size});
  if (status != ERROR_FILE_NOT_FOUND) return status;
  if (type != nullptr) *type = REG_NONE;
  if (data == nullptr && size != nullptr) *size = 0;
  return status;
}

LONG WINAPI RegSetValueExA(HKEY handle, LPCSTR name, DWORD, DWORD type, const BYTE* data, DWORD size) {
  if (data == nullptr && size != 0) return ERROR_NOACCESS;
  Key* key = nullptr;
  const LONG status = embedded::FindKey(handle, key);
  if (status != 0) return status;
  return key->SetValue(embedded::Name(name), type, {reinterpret_cast<const char*>(data), size});
}

LONG WINAPI RegEnumValueA(HKEY handle, DWORD index, LPSTR name, LPDWORD name_size, LPDWORD reserved,
                          LPDWORD type, LPBYTE data, LPDWORD size) {
  if (name == nullptr || name_size == nullptr || reserved != nullptr) return ERROR_INVALID_PARAMETER;
  if (data != nullptr && size == nullptr) return ERROR_INVALID_PARAMETER;
  Key* key = nullptr;
  const LONG status = embedded::FindKey(handle, key);
  return status != 0 ? status : key->EnumValue(index, {name, name_size, type, data, size});
}

LONG WINAPI RegDeleteValueA(HKEY handle, LPCSTR name) {
  Key* key = nullptr;
  const LONG status = embedded::FindKey(handle, key);
  return status != 0 ? status : key->DeleteValue(embedded::Name(name));
}

LONG WINAPI RegSaveKeyA(HKEY handle, LPCSTR file, LPSECURITY_ATTRIBUTES) {
  if (file == nullptr) return ERROR_INVALID_PARAMETER;
  Key* key = nullptr;
  const LONG status = embedded::FindKey(handle, key);
  return status != 0 ? status : key->Save(file);
}

LONG WINAPI RegRestoreKeyA(HKEY handle, LPCSTR file, DWORD flags) {
  if (file == nullptr) return ERROR_INVALID_PARAMETER;
  Key* key = nullptr;
  const LONG status = embedded::FindKey(handle, key);
  return status != 0 ? status : key->Restore(file, flags);
}

LONG WINAPI RegGetKeySecurity(HKEY handle, SECURITY_INFORMATION what, PSECURITY_DESCRIPTOR descriptor,
                              LPDWORD size) {
  if (size == nullptr) return ERROR_INVALID_PARAMETER;
  Key* key = nullptr;
  const LONG status = embedded::FindKey(handle, key);
  return status != 0 ? status : key->GetSecurity(what, descriptor, size);
}

LONG WINAPI RegSetKeySecurity(HKEY handle, SECURITY_INFORMATION what, PSECURITY_DESCRIPTOR descriptor) {
  if (descriptor == nullptr) return ERROR_INVALID_PARAMETER;
  Key* key = nullptr;
  const LONG status = embedded::FindKey(handle, key);
  return status != 0 ? status : key->SetSecurity(what, descriptor);
}
