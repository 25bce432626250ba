#include "configuration/settings_engine.h"

#include <array>

namespace {

struct Hive {
  const char* name;
  HKEY key;
};

// The last one as winreg.h defines it; an embedded computer has no such hive.
const Hive kHives[] = {
    {"HKEY_CLASSES_ROOT", HKEY_CLASSES_ROOT},
    {"HKEY_CURRENT_USER", HKEY_CURRENT_USER},
    {"HKEY_LOCAL_MACHINE", HKEY_LOCAL_MACHINE},
    {"HKEY_USERS", HKEY_USERS},
    {"HKEY_CURRENT_CONFIG", reinterpret_cast<HKEY>(static_cast<LONG_PTR>(static_cast<LONG>(0x80000005)))},
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
