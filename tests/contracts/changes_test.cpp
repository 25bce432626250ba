// What an event tells of its writes: what is not as it was before, whatever was written in between.

#include <functional>

#include "platform/machine.h"
#include "platform/text.h"
#include "tests/support/registry_support.h"

namespace {

using namespace registry_test;

std::string Shown(const std::optional<machine::StoredValue>& value) {
  return value ? std::to_string(value->type) + ":" + value->data : "-";
}

// One line for each change below the scratch key: its path, the value's name in brackets, before and after.
Names Changes() {
  const std::string scratch = std::string("HKEY_LOCAL_MACHINE\\") + kScratch;
  Names lines;
  machine::ForEachChange([&](const machine::Change& change) {
    EXPECT_TRUE(text::EqualNoCase(change.key.substr(0, scratch.size()), scratch)) << change.key;
    EXPECT_EQ(change.computer, "");
    lines.push_back(change.key.substr(scratch.size()) + (change.isKey ? " " : " [" + change.name + "] ") +
                    Shown(change.before) + " > " + Shown(change.after));
  });
  return lines;
}

class EventChanges : public ScratchKey {
 protected:
  void TearDown() override {
    machine::AbandonEvent();
    ScratchKey::TearDown();
  }
  HKEY Below(const char* path) const {
    HKEY below = nullptr;
    EXPECT_EQ(RegCreateKeyExA(key, path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &below, nullptr), 0);
    return below;
  }
};

TEST_F(EventChanges, OfValuesAreThoseThatDiffer) {
  for (const char* name : {"same", "Changed", "back", "gone", "again", "type", "z"}) Set(key, name, "1234");
  machine::BeginEvent();
  EXPECT_EQ(Changes(), Names{});
  Set(key, "same", "1234");
  Set(key, "z", "");
  Set(key, "CHANGED", "1");
  Set(key, "CHANGED", "5678");
  Set(key, "back", "1");
  Set(key, "BACK", "1234");
  RegDeleteValueA(key, "gone");
  RegDeleteValueA(key, "again");
  Set(key, "again", "1234");
  Set(key, "type", "1234", REG_DWORD);
  Set(key, "brief", "1");
  RegDeleteValueA(key, "brief");
  Set(key, "New", "1");
  Set(key, nullptr, "default");
  const Names changes = {
      " [] - > 3:default", " [Changed] 3:1234 > 3:5678", " [gone] 3:1234 > -",
      " [New] - > 3:1",    " [type] 3:1234 > 4:1234",    " [z] 3:1234 > 3:",
  };
  EXPECT_EQ(Changes(), changes);
  EXPECT_EQ(Changes(), changes) << "asking changes nothing";
  ASSERT_TRUE(machine::CommitEvent());
  EXPECT_EQ(Changes(), Names{});
  machine::BeginEvent();
  EXPECT_EQ(Changes(), Names{});
}

TEST_F(EventChanges, OfKeysTellWhatWasInThem) {
  HKEY old = Below("old");
  HKEY deep = Below("old\\b\\deep");
  HKEY remade = Below("Remade\\below");
  Set(old, "v", "1");
  Set(deep, "w", "2");
  for (const char* name : {"same", "other", "gone"}) Set(remade, name, "1");
  for (const HKEY open : {old, deep, remade}) RegCloseKey(open);
  Make(key, "swapped\\first");
  machine::BeginEvent();
  DeleteTree(key, "old");
  DeleteTree(key, "remade");
  remade = Below("remade\\below");
  Set(remade, "same", "1");
  Set(remade, "other", "2");
  Set(remade, "new", "3");
  RegCloseKey(remade);
  DeleteTree(key, "swapped");
  Make(key, "swapped\\second");
  Make(key, "brief\\below");
  DeleteTree(key, "brief");
  HKEY made = Below("a\\Inner");
  Set(made, "x", "1");
  RegCloseKey(made);
  Make(key, "a b");
  EXPECT_EQ(Changes(), (Names{
                           "\\a - > 0:",
                           "\\a\\Inner - > 0:",
                           "\\a\\Inner [x] - > 3:1",
                           "\\a b - > 0:",
                           "\\old 0: > -",
                           "\\old [v] 3:1 > -",
                           "\\old\\b 0: > -",
                           "\\old\\b\\deep 0: > -",
                           "\\old\\b\\deep [w] 3:2 > -",
                           "\\remade\\below [gone] 3:1 > -",
                           "\\remade\\below [new] - > 3:3",
                           "\\remade\\below [other] 3:1 > 3:2",
                           "\\swapped\\first 0: > -",
                           "\\swapped\\second - > 0:",
                       }));
}

TEST_F(EventChanges, OfTheKeyItselfStandFirst) {
  Set(key, "v", "1");
  machine::BeginEvent();
  DeleteTree(HKEY_LOCAL_MACHINE, kScratch);
  EXPECT_EQ(Changes(), (Names{" 0: > -", " [v] 3:1 > -"}));
}

TEST_F(EventChanges, OfTheOtherViewAreToldAndTakenBack) {
  DeleteTree(HKEY_LOCAL_MACHINE, kScratch, KEY_WOW64_32KEY);
  machine::BeginEvent();
  HKEY narrow = nullptr;
  ASSERT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, kScratch, 0, nullptr, 0, KEY_ALL_ACCESS | KEY_WOW64_32KEY,
                            nullptr, &narrow, nullptr),
            0);
  Set(narrow, "v", "1");
  RegCloseKey(narrow);
  Names keys;
  machine::ForEachChange([&keys](const machine::Change& change) {
    keys.push_back(text::Lower(change.key) + " " + change.name);
  });
  constexpr char kPath[] = "hkey_local_machine\\software\\wow6432node\\registrytest ";
  EXPECT_EQ(keys, (Names{kPath, kPath + std::string("v")}));
  EXPECT_TRUE(machine::AbandonEvent());
  EXPECT_EQ(CanOpen(HKEY_LOCAL_MACHINE, kScratch, KEY_READ | KEY_WOW64_32KEY), ERROR_FILE_NOT_FOUND);
}

// All that is below the key: each key with its access list, its values in their order, and the keys below it.
void List(HKEY key, const std::string& path, Names& lines) {
  std::string descriptor(4096, '\0');
  auto size = static_cast<DWORD>(descriptor.size());
  EXPECT_EQ(RegGetKeySecurity(key, DACL_SECURITY_INFORMATION, descriptor.data(), &size), 0);
  lines.push_back(path + " " + descriptor.substr(0, size));
  for (const std::string& name : Values(key))
    lines.push_back(path + " [" + name + "] " + Get(key, name.c_str()));
  for (const std::string& name : Subkeys(key)) {
    HKEY below = nullptr;
    ASSERT_EQ(RegOpenKeyExA(key, name.c_str(), 0, KEY_READ, &below), 0);
    List(below, path + "\\" + name, lines);
    RegCloseKey(below);
  }
}

Names Listed(HKEY key) {
  Names lines;
  List(key, "", lines);
  return lines;
}

// Nobody but administrators, or everybody: a list that no key has by itself.
void GiveAccessList(HKEY key, const char* sddl) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  ASSERT_NE(ConvertStringSecurityDescriptorToSecurityDescriptorA(sddl, SDDL_REVISION_1, &descriptor, nullptr),
            FALSE);
  EXPECT_EQ(RegSetKeySecurity(key, DACL_SECURITY_INFORMATION, descriptor), 0);
  LocalFree(descriptor);
}

// One call alone, so that none is known by another one.
TEST_F(EventChanges, OfEachCallThatWritesAreTakenBack) {
  Set(key, "v", "1");
  Make(key, "below");
  const Names before = Listed(key);
  HKEY made = nullptr;
  const std::pair<const char*, std::function<void()>> calls[] = {
      {"set", [&] { Set(key, "v", "2"); }},
      {"delete a value", [&] { RegDeleteValueA(key, "v"); }},
      {"delete a key", [&] { RegDeleteKeyA(key, "below"); }},
      {"delete a key of a view", [&] { RegDeleteKeyExA(key, "below", 0, 0); }},
      {"make a key", [&] { RegCreateKeyA(key, "new", &made); }},
      {"give an access list", [&] { GiveAccessList(key, "D:P(A;;KA;;;BA)(A;;KA;;;WD)"); }},
  };
  for (const auto& [what, call] : calls) {
    machine::BeginEvent();
    call();
    if (made != nullptr) RegCloseKey(std::exchange(made, nullptr));
    EXPECT_NE(Listed(key), before) << what;
    EXPECT_TRUE(machine::AbandonEvent()) << what;
    EXPECT_EQ(Listed(key), before) << what;
  }
}

TEST_F(EventChanges, AreGoneOnceTheEventIsAbandoned) {
  for (const char* name : {"z", "Changed", "gone", "a", "type"}) Set(key, name, "1234");
  Set(key, nullptr, "default");
  HKEY deep = Below("old\\b\\deep");
  Set(deep, "w", "2");
  Set(deep, "v", std::string(5000, 'x'));
  GiveAccessList(deep, "D:P(A;;KA;;;BA)(A;;KA;;;WD)");
  RegCloseKey(deep);
  HKEY listed = Below("listed");
  GiveAccessList(listed, "D:P(A;;KA;;;WD)");
  const Names before = Listed(key);
  machine::BeginEvent();
  Set(key, "CHANGED", "5678");
  Set(key, "type", "1234", REG_DWORD);
  Set(key, "New", "1");
  Set(key, nullptr, "");
  RegDeleteValueA(key, "gone");
  DeleteTree(key, "old");
  Make(key, "new\\below");
  GiveAccessList(listed, "D:P(A;;KA;;;WD)(A;;KR;;;BU)");
  RegCloseKey(listed);
  EXPECT_NE(Listed(key), before);
  const machine::Outcome undone = machine::AbandonEvent();
  EXPECT_TRUE(undone) << undone.sentence;
  EXPECT_EQ(Listed(key), before);
  EXPECT_EQ(Get(key, "Changed"), "1234");
}

#ifdef _WIN32

// As another program does; the calls with wide texts tell of nothing.
void SetUnseen(HKEY key, const wchar_t* path) {
  HKEY made = nullptr;
  ASSERT_EQ(RegCreateKeyExW(key, path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &made, nullptr), 0);
  EXPECT_EQ(RegSetValueExW(made, L"theirs", 0, REG_BINARY, reinterpret_cast<const BYTE*>("1"), 1), 0);
  RegCloseKey(made);
}

// As another program does it; our own call is kept.
void ListUnseen(HKEY key, const char* sddl) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  ASSERT_NE(ConvertStringSecurityDescriptorToSecurityDescriptorA(sddl, SDDL_REVISION_1, &descriptor, nullptr),
            FALSE);
  const auto set = reinterpret_cast<LSTATUS(WINAPI*)(HKEY, SECURITY_INFORMATION, PSECURITY_DESCRIPTOR)>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("advapi32.dll"), "RegSetKeySecurity")));
  EXPECT_EQ(set(key, DACL_SECURITY_INFORMATION, descriptor), 0);
  LocalFree(descriptor);
}

TEST_F(EventChanges, OfOthersAreLeftToThem) {
  GiveAccessList(key, "D:P(A;;KA;;;WD)");
  machine::BeginEvent();
  Set(key, "mine", "1");
  ListUnseen(key, "D:P(A;;KA;;;BA)(A;;KA;;;WD)");
  const std::string theirs = Listed(key).front();
  SetUnseen(key, L"beside");
  Make(key, "made");
  EXPECT_EQ(Changes(), (Names{" [mine] - > 3:1", "\\made - > 0:"}));
  SetUnseen(key, L"made");
  EXPECT_TRUE(machine::AbandonEvent());
  EXPECT_EQ(Values(key), Names{});
  EXPECT_EQ(Listed(key).front(), theirs);
  EXPECT_EQ(Subkeys(key), (Names{"beside", "made"}));
}

#endif

// Only a volatile key can lie below a volatile one.
TEST_F(EventChanges, AreToldWhereTheyCanNotBeTakenBack) {
  HKEY kept = Below("swapped\\kept");
  Set(kept, "v", "1");
  RegCloseKey(kept);
  machine::BeginEvent();
  DeleteTree(key, "swapped");
  HKEY swapped = nullptr;
  ASSERT_EQ(RegCreateKeyExA(key, "swapped", 0, nullptr, REG_OPTION_VOLATILE, KEY_ALL_ACCESS, nullptr,
                            &swapped, nullptr),
            0);
  RegCloseKey(swapped);
  const machine::Outcome undone = machine::AbandonEvent();
  EXPECT_EQ(static_cast<bool>(undone), !machine::WritesCountAtOnce()) << undone.sentence;
  EXPECT_EQ(undone.sentence.find("\\swapped\\kept") != std::string::npos, machine::WritesCountAtOnce())
      << undone.sentence;
}

}  // namespace
