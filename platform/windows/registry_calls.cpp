#define REGISTRY_CALLS_AS_THEY_ARE
#include <cstring>
#include <mutex>
#include <optional>
#include <unordered_map>

#include "platform/text.h"
#include "platform/win32.h"
#include "platform/windows/pictures.h"

namespace registry_calls {

namespace {

using pictures::Place;

// What the open keys are, of those under HKEY_LOCAL_MACHINE. The calls may come from any thread.
class OpenKeys {
 public:
  std::optional<Place> Of(HKEY key) const {
    if (key == HKEY_LOCAL_MACHINE) return Place{};
    const std::lock_guard lock(m_mutex);
    const auto found = m_places.find(key);
    return found == m_places.end() ? std::nullopt : std::optional(found->second);
  }
  void Add(HKEY key, const Place& place) {
    const std::lock_guard lock(m_mutex);
    if (key != HKEY_LOCAL_MACHINE) m_places[key] = place;
  }
  void Remove(HKEY key) {
    const std::lock_guard lock(m_mutex);
    m_places.erase(key);
  }

 private:
  mutable std::mutex m_mutex;
  std::unordered_map<HKEY, Place> m_places;
};

OpenKeys& Open() {
  static OpenKeys open;
  return open;
}

// To where 32-bit programs find what they call by this path. This program is a 64-bit one.
void EnterView(std::string& path) {
  constexpr std::string_view kSoftware = "Software\\";
  constexpr std::string_view kNode = "Wow6432Node\\";
  if (!text::EqualNoCase(path.substr(0, kSoftware.size()), kSoftware)) return;
  if (text::EqualNoCase((path + '\\').substr(kSoftware.size(), kNode.size()), kNode)) return;
  path.insert(kSoftware.size(), kNode);
}

std::optional<Place> Below(HKEY parent, LPCSTR path, REGSAM access) {
  std::optional<Place> place = Open().Of(parent);
  if (!place) return {};
  std::string below = path != nullptr ? path : "";
  while (below.ends_with('\\')) below.pop_back();
  if (!place->path.empty() && !below.empty()) place->path += '\\';
  place->path += below;
  if ((access & KEY_WOW64_32KEY) != 0) EnterView(place->path);
  return place;
}

LSTATUS Added(LSTATUS status, const std::optional<Place>& place, const HKEY* key) {
  if (status == ERROR_SUCCESS && place) Open().Add(*key, *place);
  return status;
}

void KeepKey(HKEY key) {
  if (const auto place = Open().Of(key)) pictures::KeepKey(*place);
}

}  // namespace

LSTATUS RegConnectRegistryA(LPCSTR machine, HKEY hive, PHKEY connected) {
  std::optional<Place> place;
  if (hive == HKEY_LOCAL_MACHINE) place = pictures::PlaceOn(machine, "");
  return Added(::RegConnectRegistryA(machine, hive, connected), place, connected);
}

LSTATUS RegOpenKeyA(HKEY parent, LPCSTR path, PHKEY opened) {
  return Added(::RegOpenKeyA(parent, path, opened), Below(parent, path, 0), opened);
}

LSTATUS RegOpenKeyExA(HKEY parent, LPCSTR path, DWORD options, REGSAM access, PHKEY opened) {
  return Added(::RegOpenKeyExA(parent, path, options, access, opened), Below(parent, path, access), opened);
}

LSTATUS RegCreateKeyA(HKEY parent, LPCSTR path, PHKEY made) {
  const auto place = Below(parent, path, 0);
  if (place) pictures::KeepCreation(*place);
  return Added(::RegCreateKeyA(parent, path, made), place, made);
}

LSTATUS RegCreateKeyExA(HKEY parent, LPCSTR path, DWORD reserved, LPSTR type, DWORD options, REGSAM access,
                        LPSECURITY_ATTRIBUTES security, PHKEY made, LPDWORD disposition) {
  const auto place = Below(parent, path, access);
  if (place) pictures::KeepCreation(*place);
  return Added(::RegCreateKeyExA(parent, path, reserved, type, options, access, security, made, disposition),
               place, made);
}

LSTATUS RegCloseKey(HKEY key) {
  Open().Remove(key);
  return ::RegCloseKey(key);
}

LSTATUS RegSetValueExA(HKEY key, LPCSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size) {
  KeepKey(key);
  return ::RegSetValueExA(key, name, reserved, type, data, size);
}

LSTATUS RegDeleteValueA(HKEY key, LPCSTR name) {
  KeepKey(key);
  return ::RegDeleteValueA(key, name);
}

LSTATUS RegDeleteKeyA(HKEY parent, LPCSTR name) {
  if (const auto place = Below(parent, name, 0)) pictures::KeepKey(*place);
  return ::RegDeleteKeyA(parent, name);
}

LSTATUS RegDeleteKeyExA(HKEY parent, LPCSTR name, REGSAM view, DWORD reserved) {
  if (const auto place = Below(parent, name, view)) pictures::KeepKey(*place);
  return ::RegDeleteKeyExA(parent, name, view, reserved);
}

LSTATUS RegRestoreKeyA(HKEY key, LPCSTR file, DWORD flags) {
  if (const auto place = Open().Of(key)) pictures::KeepTree(*place);
  return ::RegRestoreKeyA(key, file, flags);
}

LSTATUS RegSetKeySecurity(HKEY key, SECURITY_INFORMATION what, PSECURITY_DESCRIPTOR descriptor) {
  if (const auto place = Open().Of(key)) pictures::KeepAccess(*place);
  return ::RegSetKeySecurity(key, what, descriptor);
}

FARPROC GetProcAddress(HMODULE library, LPCSTR name) {
  const FARPROC found = ::GetProcAddress(library, name);
  if (found == nullptr || IS_INTRESOURCE(name)) return found;
  void* own = nullptr;
  if (std::strcmp(name, "RegDeleteKeyA") == 0) own = reinterpret_cast<void*>(&RegDeleteKeyA);
  if (std::strcmp(name, "RegDeleteKeyExA") == 0) own = reinterpret_cast<void*>(&RegDeleteKeyExA);
  return own != nullptr ? reinterpret_cast<FARPROC>(own) : found;
}

}  // namespace registry_calls
