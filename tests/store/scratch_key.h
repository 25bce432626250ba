#pragma once

#include <gtest/gtest.h>

#include "store/registry_object.h"
#include "tests/support/scratch_home.h"

// A key for one test, empty at its start and gone at its end.
class ScratchKeyTest : public ::testing::Test {
 protected:
  static constexpr const char* kPath = "Software\\TesselWorks\\StoreTest";

  void SetUp() override {
    TearDown();
    CTesselRegObject root(HKEY_LOCAL_MACHINE);
    ASSERT_TRUE(root.CreateKey(kPath));
    ASSERT_EQ(key.OpenKey(nullptr, HKEY_LOCAL_MACHINE, kPath), 0u);
  }
  void TearDown() override {
    DeleteRegistryKeyA(HKEY_LOCAL_MACHINE, kPath, KEY_ALL_ACCESS);
    DeleteRegistryKeyA(HKEY_LOCAL_MACHINE, kPath, KEY_ALL_ACCESS | KEY_WOW64_32KEY);
  }

  static CString Under(std::string_view path) { return CString(kPath) + '\\' + CString(path); }
  // Makes the key, with a value that tells it from others, under the scratch key.
  static void Make(std::string_view path, const char* mark = "") {
    CTesselRegObject made(HKEY_LOCAL_MACHINE);
    ASSERT_TRUE(made.CreateKey(Under(path).c_str()));
    ASSERT_EQ(made.SetStringValue("mark", mark), 0u);
  }
  bool Exists(const char* path) const { return key.KeyExists(path) != 0; }

  CTesselRegObject key;
};
