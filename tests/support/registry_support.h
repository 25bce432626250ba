#pragma once

// What the tests of the registry share: a scratch key, and its values and subkeys as plain lists.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/win32.h"
#include "tests/support/scratch_home.h"

namespace registry_test {

using Names = std::vector<std::string>;

constexpr char kScratch[] = "Software\\RegistryTest";

inline LONG Set(HKEY key, const char* name, const std::string& data, DWORD type = REG_BINARY) {
  const auto* bytes = reinterpret_cast<const BYTE*>(data.data());
  return RegSetValueExA(key, name, 0, type, bytes, static_cast<DWORD>(data.size()));
}

inline std::string Get(HKEY key, const char* name) {
  std::string data(70000, '\0');
  auto size = static_cast<DWORD>(data.size());
  const LONG status =
      RegQueryValueExA(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(data.data()), &size);
  return status == ERROR_SUCCESS ? data.substr(0, size) : "error " + std::to_string(status);
}

inline Names Values(HKEY key) {
  Names names;
  char name[20000];
  DWORD size = sizeof name;
  for (DWORD i = 0; RegEnumValueA(key, i, name, &size, nullptr, nullptr, nullptr, nullptr) == 0; ++i) {
    names.emplace_back(name, size);
    size = sizeof name;
  }
  return names;
}

inline Names Subkeys(HKEY key) {
  Names names;
  char name[1024];
  DWORD size = sizeof name;
  for (DWORD i = 0; RegEnumKeyExA(key, i, name, &size, nullptr, nullptr, nullptr, nullptr) == 0; ++i) {
    names.emplace_back(name, size);
    size = sizeof name;
  }
  return names;
}

inline LONG Make(HKEY key, const char* path) {
  HKEY made = nullptr;
  const LONG status = RegCreateKeyExA(key, path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &made, nullptr);
  if (status == ERROR_SUCCESS) RegCloseKey(made);
  return status;
}

inline LONG CanOpen(HKEY key, const char* path, REGSAM access = KEY_READ) {
  HKEY opened = nullptr;
  const LONG status = RegOpenKeyExA(key, path, 0, access, &opened);
  if (status == ERROR_SUCCESS) RegCloseKey(opened);
  return status;
}

inline void DeleteTree(HKEY parent, const char* name, REGSAM view = 0) {
  HKEY key = nullptr;
  if (RegOpenKeyExA(parent, name, 0, KEY_READ | view, &key) != ERROR_SUCCESS) return;
  for (const std::string& child : Subkeys(key)) DeleteTree(key, child.c_str());
  RegCloseKey(key);
  RegDeleteKeyExA(parent, name, view, 0);
}

class ScratchKey : public ::testing::Test {
 protected:
  void SetUp() override {
    DeleteTree(HKEY_LOCAL_MACHINE, kScratch);
    ASSERT_EQ(
        RegCreateKeyExA(HKEY_LOCAL_MACHINE, kScratch, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr),
        ERROR_SUCCESS);
  }
  void TearDown() override {
    RegCloseKey(key);
    DeleteTree(HKEY_LOCAL_MACHINE, kScratch);
  }
  HKEY key = nullptr;
};

}  // namespace registry_test
