#include "configuration/settings_engine.h"

#include <array>
#include <vector>

namespace {

struct Hive {
  const char* name;
  HKEY key;
};

const Hive kHives[] = {
    {"HKEY_CLASSES_ROOT", HKEY_CLASSES_ROOT},     {"HKEY_CURRENT_USER", HKEY_CURRENT_USER},
    {"HKEY_LOCAL_MACHINE", HKEY_LOCAL_MACHINE},   {"HKEY_USERS", HKEY_USERS},
    {"HKEY_CURRENT_CONFIG", HKEY_CURRENT_CONFIG},
};

CString LocalComputerName() {
  std::array<char, kValueBufferSize> name{};
  auto size = static_cast<DWORD>(name.size());
  return GetComputerNameA(name.data(), &size) ? CString(name.data()) : CString();
}

}  // namespace

HKEY HiveNamed(std::string_view hive) {
  for (const Hive& known : kHives) {
    if (text::EqualNoCase(hive, known.name)) return known.key;
  }
  return nullptr;
}

LSTATUS OpenHivePath(std::string_view hive, const CString& path, UniqueKey& key) {
  const HKEY root = HiveNamed(hive);
  if (root == nullptr) return ERROR_BADKEY;
  HKEY opened = nullptr;
  const LSTATUS status = RegOpenKeyA(root, path.c_str(), &opened);
  if (status == ERROR_SUCCESS) key.reset(opened);
  return status;
}

LSTATUS QueryKeyInfo(HKEY key, KeyInfo& info) {
  return RegQueryInfoKeyA(key, nullptr, nullptr, nullptr, &info.subkeys, &info.longestSubkey, nullptr,
                          &info.values, &info.longestValueName, &info.longestData, nullptr, nullptr);
}

LSTATUS ForEachValue(
    HKEY key, const KeyInfo& info,
    const std::function<void(std::string_view name, DWORD type, std::span<const BYTE> data)>& visit) {
  if (info.values == 0 || info.values == 0xFFFFFFFF) return ERROR_SUCCESS;
  LSTATUS first = ERROR_SUCCESS;
  CString name(size_t{info.longestValueName} + 1, '\0');
  std::vector<BYTE> data(size_t{info.longestData} + 1);
  for (DWORD index = 0; index < info.values; ++index) {
    auto nameLength = static_cast<DWORD>(name.size());
    auto size = static_cast<DWORD>(data.size());
    DWORD type = REG_NONE;
    const LSTATUS status =
        RegEnumValueA(key, index, name.data(), &nameLength, nullptr, &type, data.data(), &size);
    if (status == ERROR_SUCCESS) {
      visit(std::string_view(name).substr(0, nameLength), type, std::span(data).first(size));
    } else if (first == ERROR_SUCCESS) {
      first = status;
    }
  }
  return first;
}

LSTATUS ForEachSubkey(HKEY key, const KeyInfo& info,
                      const std::function<void(const CString& name, HKEY subkey)>& visit,
                      const std::function<void(const CString& name, LSTATUS status)>& failed) {
  CString buffer(size_t{info.longestSubkey} + 1, '\0');
  for (DWORD index = 0;; ++index) {
    auto length = static_cast<DWORD>(buffer.size());
    LSTATUS status = RegEnumKeyExA(key, index, buffer.data(), &length, nullptr, nullptr, nullptr, nullptr);
    if (status == ERROR_NO_MORE_ITEMS && index >= info.subkeys) return ERROR_SUCCESS;
    if (status != ERROR_SUCCESS) return status;
    const CString name = buffer.substr(0, length);
    HKEY opened = nullptr;
    if (name.empty()) continue;
    status = RegOpenKeyA(key, name.c_str(), &opened);
    if (status != ERROR_SUCCESS) {
      if (failed) failed(name, status);
      continue;
    }
    const UniqueKey subkey(opened);
    visit(name, opened);
  }
}

CStringList ExportTokens(const CString& installFolder) {
  return {installFolder, "$(TesselInstallDir)\\", LocalComputerName(), "$(ComputerName)"};
}

CStringList ImportTokens(const CString& installFolder) {
  return {"$(TesselInstallDir)\\", installFolder, "$(ComputerName)", LocalComputerName()};
}

CString LocalInstallFolder() {
  CTesselRegObject server;
  if (server.OpenKey(nullptr, HKEY_LOCAL_MACHINE, "Software\\TesselWorks\\SSHD") != ERROR_SUCCESS) return {};
  return server.GetStringValue("Path");
}
