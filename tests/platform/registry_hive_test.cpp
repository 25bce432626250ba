// Hive files: what is saved comes back, and what is no hive or a damaged one changes nothing.

#include <filesystem>
#include <fstream>

#include "platform/embedded/controls.h"
#include "platform/embedded/regf.h"
#include "platform/embedded/regf_format.h"
#include "platform/embedded/store.h"
#include "platform/machine.h"
#include "tests/support/registry_support.h"

namespace {

namespace fs = std::filesystem;
using namespace registry_test;
using embedded::HiveKey;
using namespace std::string_literals;

class RegistryHive : public ScratchKey {
 protected:
  void SetUp() override {
    ScratchKey::SetUp();
    drive = embedded::ComputerFolder("") + "/drives/c";
    fs::create_directories(drive);
    fs::remove(File());
  }
  void TearDown() override {
    fs::remove(File());
    machine::BeginEvent();
    ScratchKey::TearDown();
    machine::CommitEvent();
  }
  std::string File() const { return drive + "/saved.tcfg"; }
  std::string Bytes() const {
    std::ifstream stream(File(), std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }
  void Write(const std::string& bytes) const { std::ofstream(File(), std::ios::binary) << bytes; }

  std::string drive;
};

// A key and all below it as text: names, types, bytes and lists, in their order.
std::string Dump(HKEY key) {
  std::string result;
  for (const std::string& name : Values(key)) {
    DWORD type = 0;
    RegQueryValueExA(key, name.c_str(), nullptr, &type, nullptr, nullptr);
    result += "value " + name + " " + std::to_string(type) + " [" + Get(key, name.c_str()) + "]\n";
  }
  BYTE bytes[1024];
  DWORD size = sizeof bytes;
  LPSTR text = nullptr;
  constexpr SECURITY_INFORMATION kAll =
      OWNER_SECURITY_INFORMATION | GROUP_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;
  if (RegGetKeySecurity(key, kAll, bytes, &size) == 0 &&
      ConvertSecurityDescriptorToStringSecurityDescriptorA(bytes, SDDL_REVISION_1, kAll, &text, nullptr)) {
    result += text + "\n"s;
    LocalFree(text);
  }
  for (const std::string& name : Subkeys(key)) {
    HKEY below = nullptr;
    EXPECT_EQ(RegOpenKeyExA(key, name.c_str(), 0, KEY_READ, &below), 0) << name;
    result += "key " + name + "\n" + Dump(below) + "end\n";
    RegCloseKey(below);
  }
  return result;
}

void FillKey(HKEY key) {
  std::string all;
  for (int i = 0; i < 256; ++i) all += static_cast<char>(i);
  for (const auto& [name, data, type] : {std::tuple{"zebra", "yes"s, REG_SZ},
                                         {"", "default\0"s, REG_SZ},
                                         {"Gr\u00f6\u00dfe \u20ac", "\u00e4\U0001F600"s, REG_EXPAND_SZ},
                                         {"multi", "one\0two\0\0"s, REG_MULTI_SZ},
                                         {"bytes", all, REG_BINARY},
                                         {"\u0085", "a control character"s, REG_SZ},
                                         {"odd", "\x01\x02\x03"s, 0x1234},
                                         {"four", "\x01\x02\x03\x04"s, REG_DWORD},
                                         {"large", std::string(60000, 'L'), REG_BINARY},
                                         {"none", ""s, REG_NONE}}) {
    ASSERT_EQ(Set(key, name, data, static_cast<DWORD>(type)), 0);
  }
  machine::BeginEvent();
  HKEY open = nullptr;
  for (const char* path : {"b\\deep\\deeper", "A", "\u00dcber", "c"}) ASSERT_EQ(Make(key, path), 0);
  for (int i = 0; i < 1200; ++i) ASSERT_EQ(Make(key, ("many\\Sub" + std::to_string(i)).c_str()), 0);
  ASSERT_TRUE(machine::CommitEvent());
  ASSERT_EQ(RegOpenKeyExA(key, "b\\deep", 0, KEY_ALL_ACCESS, &open), 0);
  ASSERT_EQ(Set(open, "v", "below"), 0);
  PSECURITY_DESCRIPTOR list = nullptr;
  ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorA(
      "O:BAG:SYD:PAI(A;CI;KA;;;SY)(D;;KW;;;S-1-5-21-1-2-3-1001)", SDDL_REVISION_1, &list, nullptr));
  ASSERT_EQ(RegSetKeySecurity(open, OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION, list), 0);
  LocalFree(list);
  RegCloseKey(open);
}

TEST_F(RegistryHive, WhatIsSavedComesBackWhole) {
  ASSERT_EQ(Make(key, "from"), 0);
  ASSERT_EQ(Make(key, "to\\gone"), 0);
  HKEY from = nullptr;
  HKEY to = nullptr;
  HKEY gone = nullptr;
  ASSERT_EQ(RegOpenKeyExA(key, "from", 0, KEY_ALL_ACCESS, &from), 0);
  ASSERT_EQ(RegOpenKeyExA(key, "to", 0, KEY_ALL_ACCESS, &to), 0);
  ASSERT_EQ(RegOpenKeyExA(to, "gone", 0, KEY_ALL_ACCESS, &gone), 0);
  FillKey(from);
  ASSERT_EQ(Set(to, "gone too", "1"), 0);
  ASSERT_EQ(RegSaveKeyA(from, "C:\\saved.tcfg", nullptr), 0);
  EXPECT_EQ(fs::status(File()).permissions(), fs::perms(0600));
  EXPECT_LT(fs::file_size(File()), 400000u) << "a file grows with its keys, not with their square";
  EXPECT_EQ(RegSaveKeyA(from, "C:\\saved.tcfg", nullptr), ERROR_ALREADY_EXISTS);
  EXPECT_EQ(RegSaveKeyA(from, "C:\\nowhere\\saved.tcfg", nullptr), ERROR_PATH_NOT_FOUND);

  EXPECT_EQ(RegRestoreKeyA(to, "C:\\saved.tcfg", 0), ERROR_ACCESS_DENIED) << "a key below is open";
  machine::SetCaller({.sids = {}, .limit = KEY_READ});
  EXPECT_EQ(RegRestoreKeyA(to, "C:\\saved.tcfg", REG_FORCE_RESTORE), ERROR_ACCESS_DENIED);
  machine::SetCaller({});
  EXPECT_EQ(Get(to, "gone too"), "1");
  ASSERT_EQ(RegRestoreKeyA(to, "C:\\saved.tcfg", REG_FORCE_RESTORE), 0);
  EXPECT_EQ(Dump(to), Dump(from));
  EXPECT_EQ(Set(gone, "v", "1"), ERROR_KEY_DELETED);
  FILETIME saved{};
  FILETIME restored{};
  for (auto& [root, time] : {std::pair<HKEY, FILETIME&>{from, saved}, {to, restored}}) {
    HKEY deep = nullptr;
    ASSERT_EQ(RegOpenKeyExA(root, "b\\deep", 0, KEY_READ, &deep), 0);
    EXPECT_EQ(RegQueryInfoKeyA(deep, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                               nullptr, nullptr, &time),
              0);
    RegCloseKey(deep);
  }
  EXPECT_EQ(saved.dwLowDateTime, restored.dwLowDateTime);
  for (const HKEY one : {from, to, gone}) RegCloseKey(one);
}

// Texts are 16-bit units in the file, as Windows has them.
TEST_F(RegistryHive, TheFileHoldsWhatWindowsHolds) {
  ASSERT_EQ(Set(key, "text", "yes\u20ac", REG_SZ), 0);
  ASSERT_EQ(Set(key, "bytes", "yes"), 0);
  ASSERT_EQ(RegSaveKeyA(key, "C:\\saved.tcfg", nullptr), 0);
  HiveKey root;
  ASSERT_EQ(embedded::ReadHive(File(), root), 0);
  ASSERT_EQ(root.values.size(), 2u);
  EXPECT_EQ(root.values[0].data, "y\0e\0s\0\xac\x20"s);
  EXPECT_EQ(root.values[1].data, "yes");
}

TEST_F(RegistryHive, ABadFileIsToldAndChangesNothing) {
  FillKey(key);
  ASSERT_EQ(RegSaveKeyA(key, "C:\\saved.tcfg", nullptr), 0);
  const std::string good = Bytes();
  const std::string before = Dump(key);
  std::string bad_sum = good;
  bad_sum[0x20] ^= 1;
  const std::pair<std::string, LONG> cases[] = {
      {"", ERROR_NOT_REGISTRY_FILE},
      {"Windows Registry Editor Version 5.00\r\n", ERROR_NOT_REGISTRY_FILE},
      {std::string(9000, 'x'), ERROR_NOT_REGISTRY_FILE},
      {good.substr(0, 600), ERROR_BADDB},
      {good.substr(0, good.size() - 4096), ERROR_BADDB},
      {bad_sum, ERROR_BADDB},
  };
  EXPECT_EQ(RegRestoreKeyA(key, "C:\\nope", REG_FORCE_RESTORE), ERROR_FILE_NOT_FOUND);
  for (const auto& [bytes, status] : cases) {
    Write(bytes);
    EXPECT_EQ(RegRestoreKeyA(key, "C:\\saved.tcfg", REG_FORCE_RESTORE), status) << bytes.size();
    EXPECT_EQ(Dump(key), before);
  }
  // Whatever is wrong inside, the file is read or refused.
  HKEY small = nullptr;
  ASSERT_EQ(RegOpenKeyExA(key, "b", 0, KEY_READ, &small), 0);
  fs::remove(File());
  ASSERT_EQ(RegSaveKeyA(small, "C:\\saved.tcfg", nullptr), 0);
  RegCloseKey(small);
  const std::string sound = Bytes();
  uint32_t random = 99;
  for (int i = 0; i < 400; ++i) {
    std::string bytes = sound;
    for (int changes = 0; changes < 4; ++changes) {
      random = random * 1664525u + 1013904223u;
      bytes[4096 + (random >> 4) % (bytes.size() - 4096)] = static_cast<char>(random >> 24);
    }
    Write(bytes);
    HiveKey root;
    const LONG status = embedded::ReadHive(File(), root);
    EXPECT_TRUE(status == 0 || status == ERROR_BADDB) << status;
  }
}

// Each key of the file claims the values of the first.
TEST_F(RegistryHive, AFileThatIsFarLargerInMemoryIsRefused) {
  HiveKey root;
  root.values.push_back({"large", REG_BINARY, std::string(60000, 'L')});
  for (int i = 0; i < 100; ++i) root.subkeys.emplace_back().name = "sub" + std::to_string(i);
  ASSERT_EQ(embedded::WriteHive(File(), root), 0);
  std::string bytes = Bytes();
  embedded::KeyCell first{};
  for (size_t at = embedded::kPage; at + sizeof first < bytes.size(); at += 8) {
    embedded::KeyCell cell;
    embedded::Get(bytes, at, cell);
    if (std::memcmp(cell.magic, "nk", 2) != 0) continue;
    if (first.values == 0) first = cell;
    cell.values = first.values;
    cell.value_list = first.value_list;
    embedded::Put(bytes, at, cell);
  }
  ASSERT_EQ(first.values, 1u);
  Write(bytes);
  HiveKey read;
  EXPECT_EQ(embedded::ReadHive(File(), read), ERROR_BADDB);
}

}  // namespace
