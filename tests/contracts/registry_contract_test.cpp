// What the registry functions of Windows promise about arguments, sizes, terminators and errors. The cases
// use those functions alone: what holds here holds on Windows.

#include <cstring>

#include "tests/support/registry_support.h"

namespace {

using namespace registry_test;
using namespace std::string_literals;

using RegistryContract = ScratchKey;

const auto kUntouched = reinterpret_cast<HKEY>(ULONG_PTR{0x1234567});
const auto kNoHandle = reinterpret_cast<HKEY>(ULONG_PTR{0x12300});

TEST_F(RegistryContract, OpeningTellsWhatIsWrong) {
  ASSERT_EQ(Make(key, "Sub\\Deep"), 0);
  struct Case {
    const char* what;
    HKEY parent;
    const char* path;
    LONG status;
    HKEY result;  // null, kUntouched, the parent, or kNoHandle for a new handle.
  };
  const Case cases[] = {
      {"missing", key, "Nope", ERROR_FILE_NOT_FOUND, nullptr},
      {"missing parent", key, "Nope\\Deep", ERROR_FILE_NOT_FOUND, nullptr},
      {"a null handle", nullptr, "Sub", ERROR_INVALID_HANDLE, kUntouched},
      {"a wild handle", kNoHandle, "Sub", ERROR_INVALID_HANDLE, nullptr},
      {"a leading backslash", key, "\\Sub", ERROR_BAD_PATHNAME, nullptr},
      {"a trailing one", key, "Sub\\", ERROR_SUCCESS, kNoHandle},
      {"a double one", key, "Sub\\\\Deep", ERROR_SUCCESS, kNoHandle},
      {"another case", key, "sUB\\DEEP", ERROR_SUCCESS, kNoHandle},
      {"no path", key, nullptr, ERROR_SUCCESS, kNoHandle},
      {"an empty path", key, "", ERROR_SUCCESS, kNoHandle},
      {"a root", HKEY_LOCAL_MACHINE, nullptr, ERROR_SUCCESS, HKEY_LOCAL_MACHINE},
  };
  for (const Case& c : cases) {
    HKEY result = kUntouched;
    EXPECT_EQ(RegOpenKeyExA(c.parent, c.path, 0, KEY_READ, &result), c.status) << c.what;
    if (c.result != kNoHandle) {
      EXPECT_EQ(result, c.result) << c.what;
    } else {
      EXPECT_NE(result, c.parent) << c.what;
      EXPECT_EQ(RegCloseKey(result), 0) << c.what;
    }
  }
  HKEY same = nullptr;
  EXPECT_EQ(RegOpenKeyA(key, nullptr, &same), 0);
  EXPECT_EQ(same, key);
}

TEST_F(RegistryContract, CreatingTellsNewFromExisting) {
  const std::string longest(255, 'k');
  struct Case {
    std::string path;
    LONG status;
    DWORD disposition;
  };
  const Case cases[] = {
      {"a\\b\\c", 0, REG_CREATED_NEW_KEY}, {"A\\B", 0, REG_OPENED_EXISTING_KEY},
      {"x\\", 0, REG_CREATED_NEW_KEY},     {"\\x", ERROR_BAD_PATHNAME, 77},
      {longest, 0, REG_CREATED_NEW_KEY},
  };
  for (const Case& c : cases) {
    HKEY made = nullptr;
    DWORD disposition = 77;
    EXPECT_EQ(
        RegCreateKeyExA(key, c.path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &made, &disposition),
        c.status)
        << c.path;
    EXPECT_EQ(disposition, c.disposition) << c.path;
    if (made != nullptr) RegCloseKey(made);
  }
  HKEY made = nullptr;
  EXPECT_EQ(RegCreateKeyExA(key, "r", 1, nullptr, 0, KEY_READ, nullptr, &made, nullptr),
            ERROR_INVALID_PARAMETER);
  EXPECT_EQ(CanOpen(key, "r"), ERROR_FILE_NOT_FOUND);
}

TEST_F(RegistryContract, QueryingFillsWhatFits) {
  ASSERT_EQ(Set(key, "bin", "1234"), 0);
  ASSERT_EQ(Set(key, nullptr, "default"), 0);
  ASSERT_EQ(Set(key, "empty", ""), 0);
  ASSERT_EQ(Set(key, "text", "yes\0"s, REG_SZ), 0);
  struct Case {
    const char* name;
    bool wants_data;
    DWORD room;
    LONG status;
    DWORD type;
    DWORD size;
    const char* data;
  };
  const Case cases[] = {
      {"bin", true, 16, 0, REG_BINARY, 4, "1234~"},
      {"BIN", true, 4, 0, REG_BINARY, 4, "1234~"},
      {"bin", true, 3, ERROR_MORE_DATA, REG_BINARY, 4, "~"},
      {"bin", true, 0, ERROR_MORE_DATA, REG_BINARY, 4, "~"},
      {"bin", false, 1, 0, REG_BINARY, 4, "~"},
      {"", true, 16, 0, REG_BINARY, 7, "default~"},
      {nullptr, true, 16, 0, REG_BINARY, 7, "default~"},
      {"empty", true, 16, 0, REG_BINARY, 0, "~"},
      {"empty", true, 0, 0, REG_BINARY, 0, "~"},
      {"text", true, 4, 0, REG_SZ, 4, "yes"},
      {"nope", true, 16, ERROR_FILE_NOT_FOUND, REG_NONE, 16, "~"},
      {"nope", false, 16, ERROR_FILE_NOT_FOUND, REG_NONE, 0, "~"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.name == nullptr ? "(null)" : c.name) + " " + std::to_string(c.room));
    char data[32] = "~~~~~~~~~~~~~~~~~~~~";
    DWORD type = 77;
    DWORD size = c.room;
    auto* bytes = c.wants_data ? reinterpret_cast<BYTE*>(data) : nullptr;
    EXPECT_EQ(RegQueryValueExA(key, c.name, nullptr, &type, bytes, &size), c.status);
    EXPECT_EQ(type, c.type);
    EXPECT_EQ(size, c.size);
    EXPECT_EQ(std::string(data).substr(0, std::strlen(c.data)), c.data);
  }
  BYTE byte = 0;
  EXPECT_EQ(RegQueryValueExA(key, "bin", nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(RegQueryValueExA(key, "bin", nullptr, nullptr, &byte, nullptr), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(RegQueryValueExA(nullptr, "bin", nullptr, nullptr, nullptr, nullptr), ERROR_INVALID_HANDLE);
  // The size may come back in the place of the type.
  DWORD both = 4;
  EXPECT_EQ(RegQueryValueExA(key, "empty", nullptr, &both, &byte, &both), 0);
}

TEST_F(RegistryContract, EnumeratingValuesLeavesSizesThatDidNotFit) {
  ASSERT_EQ(Set(key, "name", "123456"), 0);
  struct Case {
    DWORD index, name_room, data_room;
    LONG status;
    DWORD name_size, data_size;
  };
  const Case cases[] = {
      {0, 16, 16, 0, 4, 6},
      {0, 5, 6, 0, 4, 6},
      {0, 4, 16, ERROR_MORE_DATA, 4, 6},
      {0, 0, 16, ERROR_MORE_DATA, 0, 6},
      {0, 16, 5, ERROR_MORE_DATA, 16, 6},
      {0, 4, 5, ERROR_MORE_DATA, 4, 6},
      {1, 16, 16, ERROR_NO_MORE_ITEMS, 16, 16},
  };
  char name[32];
  BYTE data[32];
  for (const Case& c : cases) {
    SCOPED_TRACE(std::to_string(c.name_room) + " " + std::to_string(c.data_room));
    DWORD name_size = c.name_room;
    DWORD data_size = c.data_room;
    EXPECT_EQ(RegEnumValueA(key, c.index, name, &name_size, nullptr, nullptr, data, &data_size), c.status);
    EXPECT_EQ(name_size, c.name_size);
    EXPECT_EQ(data_size, c.data_size);
  }
  DWORD size = sizeof name;
  EXPECT_EQ(RegEnumValueA(key, 0, nullptr, &size, nullptr, nullptr, nullptr, nullptr),
            ERROR_INVALID_PARAMETER);
  EXPECT_EQ(RegEnumValueA(key, 0, name, nullptr, nullptr, nullptr, nullptr, nullptr),
            ERROR_INVALID_PARAMETER);
  EXPECT_EQ(RegEnumValueA(key, 0, name, &size, nullptr, nullptr, data, nullptr), ERROR_INVALID_PARAMETER);
}

TEST_F(RegistryContract, KeysTellTheirClassAndCounts) {
  char class_name[] = "Printer";
  HKEY made = nullptr;
  ASSERT_EQ(RegCreateKeyExA(key, "child", 0, class_name, 0, KEY_ALL_ACCESS, nullptr, &made, nullptr), 0);
  ASSERT_EQ(Make(made, "grandchild"), 0);
  ASSERT_EQ(Set(made, "longest name", "12"), 0);
  ASSERT_EQ(Set(made, "n", "123456"), 0);
  char text[32];
  DWORD size = sizeof text;
  DWORD subkeys, longest_subkey, longest_class, values, longest_name, longest_data;
  FILETIME time = {};
  EXPECT_EQ(RegQueryInfoKeyA(made, text, &size, nullptr, &subkeys, &longest_subkey, &longest_class, &values,
                             &longest_name, &longest_data, nullptr, &time),
            0);
  EXPECT_EQ(std::string(text, size), "Printer");
  EXPECT_EQ((std::vector<DWORD>{subkeys, longest_subkey, longest_class, values, longest_name, longest_data}),
            (std::vector<DWORD>{1, 10, 0, 2, 12, 6}));
  EXPECT_GT(time.dwHighDateTime, 0x01D00000u);  // After 2014.
  size = 3;
  EXPECT_EQ(RegQueryInfoKeyA(made, text, &size, nullptr, &subkeys, nullptr, nullptr, nullptr, nullptr,
                             nullptr, nullptr, nullptr),
            ERROR_MORE_DATA);
  EXPECT_EQ(RegQueryInfoKeyA(made, text, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                             nullptr, nullptr, nullptr),
            ERROR_INVALID_PARAMETER);
  DWORD name_size = 5;
  char name[32];
  EXPECT_EQ(RegEnumKeyExA(key, 0, name, &name_size, nullptr, nullptr, nullptr, nullptr), ERROR_MORE_DATA);
  EXPECT_EQ(name_size, 5u);
  name_size = 6;
  size = sizeof text;
  EXPECT_EQ(RegEnumKeyExA(key, 0, name, &name_size, nullptr, text, &size, nullptr), 0);
  EXPECT_EQ(std::string(name, name_size) + "/" + std::string(text, size), "child/Printer");
  RegCloseKey(made);
}

TEST_F(RegistryContract, DeletedKeysAndHandlesAreTold) {
  ASSERT_EQ(Make(key, "parent\\child"), 0);
  EXPECT_EQ(RegDeleteKeyA(key, "parent"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(RegDeleteKeyA(key, "nope"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(RegDeleteValueA(key, "nope"), ERROR_FILE_NOT_FOUND);
  HKEY child = nullptr;
  ASSERT_EQ(RegOpenKeyExA(key, "parent\\child", 0, KEY_ALL_ACCESS, &child), 0);
  EXPECT_EQ(RegDeleteKeyA(child, ""), 0);
  char name[32];
  DWORD size = sizeof name;
  HKEY other = nullptr;
  EXPECT_EQ(Set(child, "a", "b"), ERROR_KEY_DELETED);
  EXPECT_EQ(Get(child, "a"), "error 1018");
  EXPECT_EQ(RegOpenKeyExA(child, "", 0, KEY_READ, &other), ERROR_KEY_DELETED);
  EXPECT_EQ(RegOpenKeyExA(child, "x", 0, KEY_READ, &other), ERROR_KEY_DELETED);
  EXPECT_EQ(RegCreateKeyA(child, "x", &other), ERROR_KEY_DELETED);
  EXPECT_EQ(RegEnumKeyExA(child, 0, name, &size, nullptr, nullptr, nullptr, nullptr), ERROR_KEY_DELETED);
  EXPECT_EQ(RegEnumValueA(child, 0, name, &size, nullptr, nullptr, nullptr, nullptr), ERROR_KEY_DELETED);
  EXPECT_EQ(RegDeleteValueA(child, "a"), ERROR_KEY_DELETED);
  EXPECT_EQ(RegDeleteKeyA(child, ""), ERROR_KEY_DELETED);
  EXPECT_EQ(RegFlushKey(child), ERROR_KEY_DELETED);
  // A key of the same name is another key.
  ASSERT_EQ(Make(key, "parent\\child"), 0);
  EXPECT_EQ(Set(child, "a", "b"), ERROR_KEY_DELETED);
  EXPECT_EQ(RegCloseKey(child), 0);
  EXPECT_EQ(RegCloseKey(child), ERROR_INVALID_HANDLE);
  EXPECT_EQ(RegCloseKey(nullptr), ERROR_INVALID_HANDLE);
  EXPECT_EQ(RegCloseKey(HKEY_LOCAL_MACHINE), 0);
}

TEST_F(RegistryContract, RightsOfTheHandleDecide) {
  ASSERT_EQ(Set(key, "v", "1"), 0);
  HKEY reader = nullptr;
  HKEY writer = nullptr;
  ASSERT_EQ(RegOpenKeyExA(key, "", 0, KEY_READ, &reader), 0);
  ASSERT_EQ(RegOpenKeyExA(key, "", 0, KEY_SET_VALUE, &writer), 0);
  char name[32];
  DWORD size = sizeof name;
  EXPECT_EQ(Set(reader, "v", "2"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(RegDeleteValueA(reader, "v"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(Get(writer, "v"), "error 5");
  EXPECT_EQ(RegEnumValueA(writer, 0, name, &size, nullptr, nullptr, nullptr, nullptr), ERROR_ACCESS_DENIED);
  EXPECT_EQ(RegEnumKeyExA(writer, 0, name, &size, nullptr, nullptr, nullptr, nullptr), ERROR_ACCESS_DENIED);
  EXPECT_EQ(Set(writer, "v", "2"), 0);
  EXPECT_EQ(Get(reader, "v"), "2");
  // Making and deleting keys goes by the key's list, not by the handle.
  EXPECT_EQ(Make(reader, "sub"), 0);
  EXPECT_EQ(RegDeleteKeyA(writer, "sub"), 0);
  RegCloseKey(reader);
  RegCloseKey(writer);
}

TEST_F(RegistryContract, ConnectingFindsTheComputer) {
  HKEY root = nullptr;
  EXPECT_EQ(RegConnectRegistryA(nullptr, HKEY_LOCAL_MACHINE, &root), 0);
  EXPECT_EQ(CanOpen(root, kScratch), 0);
  EXPECT_EQ(RegConnectRegistryA("\\\\NOSUCHMACHINE", HKEY_LOCAL_MACHINE, &root), ERROR_BAD_NETPATH);
  EXPECT_EQ(RegConnectRegistryA("", HKEY_LOCAL_MACHINE, nullptr), ERROR_INVALID_PARAMETER);
}

TEST_F(RegistryContract, DescriptorsNeedTheirRoomAndTheirForm) {
  DWORD size = 0;
  ASSERT_EQ(RegGetKeySecurity(key, DACL_SECURITY_INFORMATION, nullptr, &size), ERROR_INSUFFICIENT_BUFFER);
  std::vector<BYTE> bytes(size);
  DWORD short_size = size - 1;
  EXPECT_EQ(RegGetKeySecurity(key, DACL_SECURITY_INFORMATION, bytes.data(), &short_size),
            ERROR_INSUFFICIENT_BUFFER);
  EXPECT_EQ(short_size, size);
  ASSERT_EQ(RegGetKeySecurity(key, DACL_SECURITY_INFORMATION, bytes.data(), &size), 0);
  EXPECT_TRUE(IsValidSecurityDescriptor(bytes.data()));
  EXPECT_EQ(RegSetKeySecurity(key, DACL_SECURITY_INFORMATION, bytes.data()), 0);
  BYTE junk[64] = {};
  EXPECT_EQ(RegSetKeySecurity(key, DACL_SECURITY_INFORMATION, junk), ERROR_UNKNOWN_REVISION);
  EXPECT_EQ(RegSetKeySecurity(key, DACL_SECURITY_INFORMATION, nullptr), ERROR_INVALID_PARAMETER);
}

}  // namespace
