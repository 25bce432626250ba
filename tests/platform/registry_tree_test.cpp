// What the embedded registry adds to the promises of the functions: order, names, views, access lists, and
// events.

#include "platform/embedded/controls.h"
#include "platform/machine.h"
#include "tests/support/registry_support.h"

namespace {

using namespace registry_test;
using embedded::MakeSid;
using embedded::SidBytes;

class RegistryTree : public ScratchKey {
 protected:
  void TearDown() override {
    if (machine::InEvent()) machine::AbandonEvent();
    machine::SetCaller({});
    ScratchKey::TearDown();
  }
};

std::string Name(int i) { return "n" + std::to_string(i); }

TEST_F(RegistryTree, ValuesKeepTheirOrderAndSubkeysTheirs) {
  for (const char* name : {"zebra", "Apple", "mango"}) ASSERT_EQ(Set(key, name, name), 0);
  ASSERT_EQ(Set(key, "APPLE", "again"), 0);
  EXPECT_EQ(Values(key), (Names{"zebra", "Apple", "mango"}));
  EXPECT_EQ(Get(key, "aPPle"), "again");
  ASSERT_EQ(RegDeleteValueA(key, "ZEBRA"), 0);
  ASSERT_EQ(Set(key, "zebra", "later"), 0);
  EXPECT_EQ(Values(key), (Names{"Apple", "mango", "zebra"}));
  for (const char* name : {"b", "C", "a_", "A", "a"}) ASSERT_EQ(Make(key, name), 0);
  EXPECT_EQ(Subkeys(key), (Names{"A", "a_", "b", "C"}));
}

TEST_F(RegistryTree, NamesCompareByTheirUpperCase) {
  const std::string longest(255, 'k');
  std::string wide;  // 255 characters of three bytes: more than the store's order can hold.
  for (int i = 0; i < 254; ++i) wide += "\u20ac";
  const std::string wide_a = wide + "\u00e4";
  const std::string wide_o = wide + "\u00f6";
  struct Case {
    std::string name;
    std::string same;
  };
  for (const Case& c : {Case{"gr\u00fc\u00dfe", "GR\u00dc\u00dfE"}, Case{"\u03c3\u03c2", "\u03a3\u03c2"},
                        Case{"\u0436", "\u0416"}, Case{"\xff\x80 raw", "\xff\x80 RAW"},
                        Case{longest, longest}, Case{wide_a, wide + "\u00c4"}}) {
    ASSERT_EQ(Make(key, c.name.c_str()), 0) << c.name;
    EXPECT_EQ(CanOpen(key, c.same.c_str()), 0) << c.name;
    ASSERT_EQ(Set(key, c.name.c_str(), "1"), 0) << c.name;
    EXPECT_EQ(Get(key, c.same.c_str()), "1") << c.name;
    EXPECT_EQ(RegDeleteKeyA(key, c.same.c_str()), 0) << c.name;
    EXPECT_EQ(CanOpen(key, c.name.c_str()), ERROR_FILE_NOT_FOUND) << c.name;
  }
  ASSERT_EQ(Make(key, wide_a.c_str()), 0);
  EXPECT_EQ(CanOpen(key, wide_o.c_str()), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(Make(key, (longest + "k").c_str()), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(CanOpen(key, (longest + "k").c_str()), ERROR_FILE_NOT_FOUND);
  machine::BeginEvent();
  EXPECT_EQ(Make(key, ("above\\" + longest + "k").c_str()), ERROR_INVALID_PARAMETER);
  EXPECT_TRUE(machine::CommitEvent());
  EXPECT_EQ(CanOpen(key, "above"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(Set(key, std::string(16383, 'v').c_str(), "1"), 0);
  EXPECT_EQ(Set(key, std::string(16384, 'v').c_str(), "1"), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(Values(key).back().size(), 16383u);
}

TEST_F(RegistryTree, BytesComeBackAsTheyWent) {
  std::string all;
  for (int i = 0; i < 256; ++i) all += static_cast<char>(i);
  const std::string large(65000, 'x');
  for (const std::string& data : {std::string("yes"), all, large, std::string()}) {
    ASSERT_EQ(Set(key, "v", data, REG_SZ), 0);
    EXPECT_EQ(Get(key, "v"), data);
  }
  ASSERT_EQ(Set(key, "v", "12345", 0xFFFF0012), 0);
  DWORD type = 0;
  EXPECT_EQ(RegQueryValueExA(key, "v", nullptr, &type, nullptr, nullptr), 0);
  EXPECT_EQ(type, 0xFFFF0012u);
}

// Deleting moves the rest down at once, so that rising indexes skip and falling ones do not.
TEST_F(RegistryTree, IndexesAreLive) {
  for (const bool in_event : {false, true}) {
    if (in_event) machine::BeginEvent();
    for (int i = 0; i < 10; ++i) {
      ASSERT_EQ(Set(key, Name(i).c_str(), ""), 0);
      ASSERT_EQ(Make(key, Name(i).c_str()), 0);
    }
    char name[64];
    DWORD size;
    for (DWORD i = 0;
         size = sizeof name, RegEnumValueA(key, i, name, &size, nullptr, nullptr, nullptr, nullptr) == 0;
         ++i) {
      ASSERT_EQ(RegDeleteValueA(key, name), 0);
    }
    EXPECT_EQ(Values(key), (Names{"n1", "n3", "n5", "n7", "n9"}));
    for (DWORD i = 10; i-- > 0;) {
      size = sizeof name;
      ASSERT_EQ(RegEnumKeyExA(key, i, name, &size, nullptr, nullptr, nullptr, nullptr), 0);
      EXPECT_EQ(name, Name(static_cast<int>(i)));
      if (i % 2 == 0) {
        ASSERT_EQ(RegDeleteKeyA(key, name), 0);
      }
    }
    EXPECT_EQ(Subkeys(key), (Names{"n1", "n3", "n5", "n7", "n9"}));
    // An entry that comes while others are enumerated takes its place at once.
    size = sizeof name;
    ASSERT_EQ(RegEnumKeyExA(key, 1, name, &size, nullptr, nullptr, nullptr, nullptr), 0);
    ASSERT_EQ(Make(key, "n0"), 0);
    size = sizeof name;
    ASSERT_EQ(RegEnumKeyExA(key, 2, name, &size, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_STREQ(name, "n3");
    for (const std::string& left : Values(key)) RegDeleteValueA(key, left.c_str());
  }
}

// Jumps, and two keys in turn: whatever is remembered must not be believed wrongly.
TEST_F(RegistryTree, AnyIndexFindsItsEntry) {
  HKEY other = nullptr;
  machine::BeginEvent();
  ASSERT_EQ(RegCreateKeyA(key, "other", &other), 0);
  constexpr int kCount = 500;
  for (int i = 0; i < kCount; ++i) {
    ASSERT_EQ(Set(key, Name(i).c_str(), ""), 0);
    ASSERT_EQ(Set(other, ("o" + Name(i)).c_str(), ""), 0);
  }
  ASSERT_TRUE(machine::CommitEvent());
  char name[64];
  uint32_t random = 7;
  for (int i = 0; i < 3000; ++i) {
    random = random * 1664525u + 1013904223u;
    const int index = i % 3 == 0 ? static_cast<int>((random >> 8) % kCount) : i % kCount;
    const bool first = (random >> 30) != 0;
    if (i % 700 == 0) {
      ASSERT_EQ(Set(other, "on0", std::to_string(i)), 0);
    }
    DWORD size = sizeof name;
    ASSERT_EQ(RegEnumValueA(first ? key : other, static_cast<DWORD>(index), name, &size, nullptr, nullptr,
                            nullptr, nullptr),
              0);
    ASSERT_EQ(name, first ? Name(index) : "o" + Name(index));
  }
  RegCloseKey(other);
}

TEST_F(RegistryTree, TheOtherViewLiesInItsOwnNode) {
  constexpr char kPath[] = "Software\\ViewTest";
  DeleteTree(HKEY_LOCAL_MACHINE, kPath, KEY_WOW64_32KEY);
  HKEY narrow = nullptr;
  ASSERT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, kPath, 0, nullptr, 0, KEY_ALL_ACCESS | KEY_WOW64_32KEY,
                            nullptr, &narrow, nullptr),
            0);
  ASSERT_EQ(Make(narrow, "below"), 0);
  struct Case {
    const char* path;
    REGSAM view;
    LONG status;
  };
  const Case cases[] = {
      {kPath, 0, ERROR_FILE_NOT_FOUND},
      {kPath, KEY_WOW64_64KEY, ERROR_FILE_NOT_FOUND},
      {kPath, KEY_WOW64_32KEY, 0},
      {"Software\\WOW6432Node\\ViewTest\\below", 0, 0},
      {"software\\wow6432node\\ViewTest", KEY_WOW64_32KEY, 0},
      {"Software\\Classes", KEY_WOW64_32KEY, 0},
      {"SYSTEM\\CurrentControlSet", KEY_WOW64_32KEY, 0},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(CanOpen(HKEY_LOCAL_MACHINE, c.path, KEY_READ | c.view), c.status) << c.path << " " << c.view;
  }
  EXPECT_EQ(CanOpen(narrow, "below", KEY_READ), 0);
  HKEY software = nullptr;
  ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "Software", 0, KEY_READ, &software), 0);
  EXPECT_EQ(CanOpen(software, "ViewTest", KEY_READ | KEY_WOW64_32KEY), 0);
  EXPECT_EQ(RegDeleteKeyExA(software, "ViewTest", 0, 0), ERROR_FILE_NOT_FOUND);
  RegCloseKey(software);
  RegCloseKey(narrow);
  DeleteTree(HKEY_LOCAL_MACHINE, kPath, KEY_WOW64_32KEY);
  EXPECT_EQ(CanOpen(HKEY_LOCAL_MACHINE, kPath, KEY_READ | KEY_WOW64_32KEY), ERROR_FILE_NOT_FOUND);
}

TEST_F(RegistryTree, RootsHoldNoKeysOfOthers) {
  EXPECT_EQ(Make(HKEY_LOCAL_MACHINE, "Direct"), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(RegDeleteKeyA(HKEY_LOCAL_MACHINE, ""), ERROR_ACCESS_DENIED);
  EXPECT_EQ(CanOpen(HKEY_CLASSES_ROOT, ""), 0);
  EXPECT_EQ(Make(HKEY_CURRENT_USER, "Software\\Mine"), 0);
  EXPECT_EQ(CanOpen(HKEY_USERS, ".DEFAULT\\Software\\Mine"), 0);
  EXPECT_EQ(RegDeleteKeyA(HKEY_CURRENT_USER, "Software\\Mine"), 0);
}

// Access lists.

const SidBytes kUsers = MakeSid(5, {32, 545});
const SidBytes kAlice = MakeSid(5, {21, 1, 2, 3, 1001});

void SetList(HKEY key, const char* sddl, SECURITY_INFORMATION what = DACL_SECURITY_INFORMATION) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  ASSERT_TRUE(
      ConvertStringSecurityDescriptorToSecurityDescriptorA(sddl, SDDL_REVISION_1, &descriptor, nullptr));
  EXPECT_EQ(RegSetKeySecurity(key, what, descriptor), 0);
  LocalFree(descriptor);
}

std::string ListOf(HKEY parent, const char* path) {
  HKEY key = nullptr;
  if (RegOpenKeyExA(parent, path, 0, READ_CONTROL, &key) != 0) return "cannot be opened";
  BYTE bytes[1024];
  DWORD size = sizeof bytes;
  LPSTR text = nullptr;
  std::string result = "cannot be read";
  if (RegGetKeySecurity(key, DACL_SECURITY_INFORMATION, bytes, &size) == 0 &&
      ConvertSecurityDescriptorToStringSecurityDescriptorA(bytes, SDDL_REVISION_1, DACL_SECURITY_INFORMATION,
                                                           &text, nullptr)) {
    result = text;
    LocalFree(text);
  }
  RegCloseKey(key);
  return result;
}

TEST_F(RegistryTree, AccessListsDecideWhoOpens) {
  ASSERT_EQ(Make(key, "listed\\child"), 0);
  HKEY listed = nullptr;
  ASSERT_EQ(RegOpenKeyExA(key, "listed", 0, KEY_ALL_ACCESS, &listed), 0);
  struct Case {
    const char* list;
    REGSAM wanted;
    LONG status;
  };
  const Case cases[] = {
      {"D:(A;;KR;;;BU)", KEY_READ, 0},
      {"D:(A;;KR;;;BU)", GENERIC_READ, 0},
      {"D:(A;;KR;;;BU)", KEY_SET_VALUE, ERROR_ACCESS_DENIED},
      {"D:(A;;KR;;;BU)", MAXIMUM_ALLOWED, 0},
      {"D:(D;;0x1;;;BU)(A;;KA;;;BU)", KEY_READ, ERROR_ACCESS_DENIED},
      {"D:(A;;KA;;;BU)(D;;0x1;;;BU)", KEY_READ, 0},
      {"D:(A;CIIO;KA;;;BU)", KEY_READ, ERROR_ACCESS_DENIED},
      {"D:(A;;KA;;;BA)", READ_CONTROL, ERROR_ACCESS_DENIED},
      {"D:", KEY_READ, ERROR_ACCESS_DENIED},
      {"D:NO_ACCESS_CONTROL", KEY_ALL_ACCESS, 0},
  };
  for (const Case& c : cases) {
    machine::SetCaller({});
    SetList(listed, c.list);
    machine::SetCaller({.sids = {kAlice, kUsers}});
    EXPECT_EQ(CanOpen(key, "listed", c.wanted), c.status) << c.list << " " << std::hex << c.wanted;
  }
  // The owner can always mend the list; a parent's list does not stand in the way of its children.
  machine::SetCaller({});
  SetList(listed, "O:S-1-5-21-1-2-3-1001D:", OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION);
  machine::SetCaller({.sids = {kAlice, kUsers}});
  EXPECT_EQ(CanOpen(key, "listed", READ_CONTROL | WRITE_DAC), 0);
  EXPECT_EQ(CanOpen(key, "listed", KEY_QUERY_VALUE), ERROR_ACCESS_DENIED);
  EXPECT_EQ(CanOpen(key, "listed\\child", KEY_READ), 0);
  EXPECT_EQ(RegDeleteKeyA(key, "listed\\child"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(Make(key, "new"), ERROR_ACCESS_DENIED);
  machine::SetCaller({.sids = {}, .limit = KEY_READ});
  EXPECT_EQ(CanOpen(key, "listed", KEY_READ), 0);
  EXPECT_EQ(CanOpen(key, "listed", KEY_WRITE), ERROR_ACCESS_DENIED);
  EXPECT_EQ(Make(key, "new"), ERROR_ACCESS_DENIED);
  machine::SetCaller({});
  RegCloseKey(listed);
}

TEST_F(RegistryTree, NewKeysInheritWhatTheirParentHandsDown) {
  struct Case {
    const char* parent;
    const char* child;
    const char* grandchild;
  };
  const Case cases[] = {
      {"D:(A;CI;KR;;;BU)(A;;KA;;;BA)", "D:(A;CI;KR;;;BU)", "D:(A;CI;KR;;;BU)"},
      {"D:AI(A;CI;KR;;;BU)", "D:AI(A;CIID;KR;;;BU)", "D:AI(A;CIID;KR;;;BU)"},
      {"D:(A;CINP;KR;;;BU)", "D:(A;;KR;;;BU)", "D:(A;;KA;;;SY)(A;;KA;;;BA)"},
      {"D:(A;CIIO;KR;;;BU)", "D:(A;CI;KR;;;BU)", "D:(A;CI;KR;;;BU)"},
      {"D:(A;CI;GA;;;BU)", "D:(A;;KA;;;BU)(A;CIIO;GA;;;BU)", "D:(A;;KA;;;BU)(A;CIIO;GA;;;BU)"},
      {"D:(A;CI;KA;;;CO)", "D:(A;;KA;;;BA)(A;CIIO;KA;;;CO)", "D:(A;;KA;;;BA)(A;CIIO;KA;;;CO)"},
      {"D:(A;;KA;;;BU)", "D:(A;;KA;;;SY)(A;;KA;;;BA)", "D:(A;;KA;;;SY)(A;;KA;;;BA)"},
      {"D:(D;CI;KW;;;BU)(A;CI;KR;;;BU)", "D:(D;CI;KW;;;BU)(A;CI;KR;;;BU)", "D:(D;CI;KW;;;BU)(A;CI;KR;;;BU)"},
  };
  for (const Case& c : cases) {
    ASSERT_EQ(Make(key, "p"), 0);
    HKEY parent = nullptr;
    ASSERT_EQ(RegOpenKeyExA(key, "p", 0, WRITE_DAC, &parent), 0);
    SetList(parent, c.parent);
    RegCloseKey(parent);
    ASSERT_EQ(Make(key, "p\\c\\g"), 0);
    EXPECT_EQ(ListOf(key, "p\\c"), c.child) << c.parent;
    EXPECT_EQ(ListOf(key, "p\\c\\g"), c.grandchild) << c.parent;
    DeleteTree(key, "p");
  }
}

// Events.

TEST_F(RegistryTree, AnAbandonedEventLeavesNothing) {
  ASSERT_EQ(Set(key, "v", "before"), 0);
  ASSERT_EQ(Make(key, "old"), 0);
  HKEY made = nullptr;
  HKEY old = nullptr;
  ASSERT_EQ(RegOpenKeyExA(key, "old", 0, KEY_ALL_ACCESS, &old), 0);
  machine::BeginEvent();
  ASSERT_EQ(Set(key, "v", "during"), 0);
  ASSERT_EQ(Set(key, "w", "during"), 0);
  ASSERT_EQ(RegCreateKeyA(key, "made", &made), 0);
  ASSERT_EQ(Set(made, "x", "1"), 0);
  ASSERT_EQ(RegDeleteKeyA(key, "old"), 0);
  EXPECT_EQ(Get(key, "v"), "during");
  EXPECT_EQ(Values(key), (Names{"v", "w"}));
  EXPECT_EQ(Subkeys(key), (Names{"made"}));
  machine::AbandonEvent();
  EXPECT_EQ(Get(key, "v"), "before");
  EXPECT_EQ(Values(key), (Names{"v"}));
  EXPECT_EQ(Subkeys(key), (Names{"old"}));
  EXPECT_EQ(Set(old, "y", "1"), 0);
  // What takes the abandoned key's place is not it.
  ASSERT_EQ(Make(key, "another"), 0);
  EXPECT_EQ(Set(made, "x", "1"), ERROR_KEY_DELETED);
  EXPECT_EQ(RegCloseKey(made), 0);
  RegCloseKey(old);
}

TEST_F(RegistryTree, AListTooLongToHandDownIsTold) {
  std::string text = "D:";
  for (int i = 0; i < 1200; ++i) text += "(A;CI;GR;;;S-1-5-21-1-2-3-" + std::to_string(1000 + i) + ")";
  PSECURITY_DESCRIPTOR list = nullptr;
  ASSERT_TRUE(
      ConvertStringSecurityDescriptorToSecurityDescriptorA(text.c_str(), SDDL_REVISION_1, &list, nullptr));
  ASSERT_EQ(RegSetKeySecurity(key, DACL_SECURITY_INFORMATION, list), 0);
  LocalFree(list);
  EXPECT_EQ(Make(key, "below"), ERROR_BAD_INHERITANCE_ACL);
  EXPECT_EQ(CanOpen(key, "below"), ERROR_FILE_NOT_FOUND);
}

TEST_F(RegistryTree, ACommittedEventStaysAndAReadOneCostsNothing) {
  machine::BeginEvent();
  ASSERT_EQ(Set(key, "v", "1"), 0);
  EXPECT_TRUE(machine::CommitEvent());
  machine::BeginEvent();
  EXPECT_EQ(Get(key, "v"), "1");
  EXPECT_EQ(RegDeleteValueA(key, "nope"), ERROR_FILE_NOT_FOUND);
  EXPECT_TRUE(machine::CommitEvent());
  EXPECT_FALSE(machine::InEvent());
  EXPECT_EQ(Get(key, "v"), "1");
}

}  // namespace
