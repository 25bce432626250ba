#include <gmock/gmock.h>

#include <vector>

#include "store/reading_rules.h"
#include "tests/store/scratch_key.h"

using RegistryObject = ScratchKeyTest;
using testing::Each;
using testing::ElementsAre;

namespace {

BYTE* Bytes(CString& text) { return reinterpret_cast<BYTE*>(text.data()); }

}  // namespace

TEST_F(RegistryObject, StoresTextsWithoutTerminator) {
  const struct {
    const char* name;
    const char* text;
    DWORD type;
    const char* stored;
  } cases[] = {{"Plain", "yes", REG_SZ, "yes"},
               {"Empty", "", REG_SZ, ""},
               {nullptr, "default", REG_SZ, "default"},
               {"Expand", "%SystemRoot%\\x", REG_EXPAND_SZ, "%SystemRoot%\\x"}};
  for (const auto& c : cases) {
    ASSERT_EQ(key.SetStringValue(c.name, c.text, c.type), 0u);
    DWORD type = 0;
    CString buffer(32, 'x');
    DWORD size = 32;
    EXPECT_EQ(RegQueryValueExA(key.GetKey(), c.name, nullptr, &type, Bytes(buffer), &size), 0);
    EXPECT_EQ(buffer.substr(0, size), c.stored);
    EXPECT_EQ(type, c.type);
  }
}

TEST_F(RegistryObject, ReadsWhatFitsWithAZeroBehindIt) {
  const struct {
    DWORD stored;
    DWORD status;
  } cases[] = {{0, 0}, {1, 0}, {259, 0}, {260, ERROR_MORE_DATA}, {2000, ERROR_MORE_DATA}};
  for (const auto& c : cases) {
    const CString data(c.stored, 'a');
    ASSERT_EQ(key.SetBinaryValue("Value", data, REG_SZ), 0u);
    CString buffer(260, 'x');
    EXPECT_EQ(key.GetStringValue("Value", Bytes(buffer), 260), c.status) << c.stored;
    const CString expected = c.status == 0 ? data : "";
    EXPECT_EQ(text::UpToZero(buffer), expected);
    EXPECT_THAT(buffer.substr(expected.size()), Each('\0'));

    DWORD size = 260;
    EXPECT_EQ(key.GetStringValueEx("Value", Bytes(buffer), &size), c.status);
    EXPECT_EQ(size, c.stored);
    EXPECT_EQ(key.GetStringValue("Value"), data) << "texts of any length come whole";
  }
  CString buffer(8, 'x');
  DWORD size = 8;
  EXPECT_EQ(key.GetStringValueEx("Missing", Bytes(buffer), &size), 0u);
  EXPECT_EQ(size, 0u);
  EXPECT_THAT(buffer, Each('\0'));
}

TEST_F(RegistryObject, ReadsNumbers) {
  DWORD value = 7;
  EXPECT_EQ(key.GetDWORDValue(&value, "Missing"), 0u);
  EXPECT_EQ(value, 0u);
  EXPECT_EQ(key.SetDWORDValue(0x80000001, "Number"), 0u);
  EXPECT_EQ(key.GetDWORDValue(&value, "Number"), 0u);
  EXPECT_EQ(value, 0x80000001u);
  ASSERT_EQ(key.SetStringValue("Number", "12345678"), 0u);
  EXPECT_EQ(key.GetDWORDValue(&value, "Number"), DWORD{ERROR_MORE_DATA});
  EXPECT_EQ(value, 0u);
}

TEST_F(RegistryObject, WithoutKeyWritesFailAndReadsAreEmpty) {
  CTesselRegObject closed;
  CString buffer(8, 'x');
  DWORD value = 7;
  EXPECT_EQ(closed.SetStringValue("a", "b"), 0xFFFFFFFFu);
  EXPECT_EQ(closed.SetBinaryValue("a", Bytes(buffer), 8, REG_BINARY), 0xFFFFFFFFu);
  EXPECT_EQ(closed.SetDWORDValue(1, "a"), 0xFFFFFFFFu);
  EXPECT_EQ(closed.GetStringValue("a", Bytes(buffer), 8), 0u);
  EXPECT_EQ(closed.GetDWORDValue(&value, "a"), 0u);
  EXPECT_TRUE(closed.GetSubKeys().empty());
  SetLastError(99);
  EXPECT_EQ(closed.KeyExists("Software"), 1);
  EXPECT_EQ(GetLastError(), 0u);
  EXPECT_EQ(closed.CreateKey("Software"), 0);
}

TEST_F(RegistryObject, FindsKeysUnderTheOpenKeyOrTheHive) {
  Make("Child");
  EXPECT_TRUE(Exists("Child"));
  EXPECT_FALSE(Exists("Software"));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_FILE_NOT_FOUND});
  key.CloseKey();
  EXPECT_TRUE(Exists("Software"));
  EXPECT_EQ(key.OpenKey(nullptr, HKEY_LOCAL_MACHINE, Under("Missing").c_str()), DWORD{ERROR_FILE_NOT_FOUND});
  EXPECT_EQ(key.GetKey(), nullptr);
}

TEST_F(RegistryObject, ReachesAKeyOfTheOtherViewThere) {
  const CString path = Under("Only32");
  UniqueKey made;
  HKEY created = nullptr;
  ASSERT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, Under("Only32\\Child").c_str(), 0, nullptr, 0,
                            KEY_ALL_ACCESS | KEY_WOW64_32KEY, nullptr, &created, nullptr),
            0);
  made.reset(created);
  CTesselRegObject other;
  ASSERT_EQ(other.OpenKey(nullptr, HKEY_LOCAL_MACHINE, path.c_str()), 0u);
  EXPECT_EQ(other.GetAccess(), 0xF023Fu);
  EXPECT_TRUE(other.KeyExists("Child"));
  other.CloseKey();
  made.reset();
  EXPECT_EQ(DeleteRegistryKeyA(HKEY_LOCAL_MACHINE, path.c_str(), KEY_ALL_ACCESS),
            DWORD{ERROR_FILE_NOT_FOUND});
  EXPECT_EQ(DeleteRegistryKeyA(HKEY_LOCAL_MACHINE, path.c_str(), other.GetAccess()), 0u);
  EXPECT_EQ(other.OpenKey(nullptr, HKEY_LOCAL_MACHINE, path.c_str()), DWORD{ERROR_FILE_NOT_FOUND});
}

TEST_F(RegistryObject, EnumeratesValuesThatFitAndSubkeysFromTheLast) {
  ASSERT_EQ(key.SetBinaryValue("Fits", CString(260, 'f'), REG_BINARY), 0u);
  RegistryValue value;
  EXPECT_EQ(key.EnumValue(0, value), 0u);
  EXPECT_EQ(value.name, "Fits");
  EXPECT_EQ(value.type, DWORD{REG_BINARY});
  EXPECT_EQ(value.data, CString(260, 'f'));
  EXPECT_EQ(key.EnumValue(1, value), DWORD{ERROR_NO_MORE_ITEMS});
  ASSERT_EQ(key.SetBinaryValue("Fits", CString(261, 'f'), REG_BINARY), 0u);
  EXPECT_EQ(key.EnumValue(0, value), DWORD{ERROR_MORE_DATA});
  key.DeleteValue("Fits");
  EXPECT_EQ(key.EnumValue(0, value), DWORD{ERROR_NO_MORE_ITEMS});

  for (const char* name : {"beta", "Alpha", "gamma"}) Make(name);
  EXPECT_THAT(key.GetSubKeys(), ElementsAre("gamma", "beta", "Alpha"));
}

TEST_F(RegistryObject, DeletesRenamesAndCopiesTrees) {
  Make("Tree\\One\\Two\\Three", "deep");
  Make("Tree\\Other", "other");
  CTesselRegObject tree;
  ASSERT_EQ(tree.OpenKey(nullptr, HKEY_LOCAL_MACHINE, Under("Tree").c_str()), 0u);
  ASSERT_EQ(tree.SetBinaryValue("Large", CString(2049, 'l'), REG_BINARY), 0u);
  ASSERT_EQ(tree.SetStringValue("Small", "kept"), 0u);

  // A copy below the source ends, and holds the source as it was before.
  EXPECT_EQ(CTesselRegObject::CopyKeyTree(key.GetKey(), "Tree", key.GetKey(), "Tree\\Copy", KEY_ALL_ACCESS),
            0u);
  EXPECT_TRUE(Exists("Tree\\Copy\\One\\Two\\Three"));
  EXPECT_FALSE(Exists("Tree\\Copy\\Copy"));
  CTesselRegObject copy;
  ASSERT_EQ(copy.OpenKey(nullptr, HKEY_LOCAL_MACHINE, Under("Tree\\Copy").c_str()), 0u);
  EXPECT_EQ(copy.GetStringValue("Small"), "kept");
  EXPECT_EQ(copy.GetValueSize("Large"), 0u) << "over the 2048 bytes that a copy carries";
  copy.CloseKey();

  EXPECT_EQ(CTesselRegObject::MoveKeyTree(key.GetKey(), "Missing", key.GetKey(), "X", KEY_ALL_ACCESS),
            DWORD{ERROR_FILE_NOT_FOUND});
  EXPECT_EQ(CTesselRegObject::MoveKeyTree(key.GetKey(), "Tree\\Copy", key.GetKey(), "Moved", KEY_ALL_ACCESS),
            0u);
  EXPECT_TRUE(Exists("Moved\\Other"));
  EXPECT_FALSE(Exists("Tree\\Copy"));

  for (const char* refused : {"", "a\\b", "Tree", "tree", "Moved"})
    EXPECT_FALSE(tree.RenameKey(refused)) << refused;
  EXPECT_TRUE(Exists("Tree\\One\\Two\\Three"));
  EXPECT_TRUE(tree.RenameKey("Renamed"));
  EXPECT_EQ(tree.GetKeyPath(), Under("Renamed"));
  EXPECT_EQ(tree.GetStringValue("Small"), "kept");
  EXPECT_FALSE(Exists("Tree"));
  EXPECT_TRUE(Exists("Renamed\\One\\Two\\Three"));
  tree.CloseKey();

  EXPECT_TRUE(key.DeleteKey("Renamed"));
  EXPECT_FALSE(Exists("Renamed"));
  EXPECT_FALSE(key.DeleteKey("Renamed"));
  EXPECT_TRUE(Exists("Moved"));
}

TEST_F(RegistryObject, ReadingRulesDifferForAllButYesAndNo) {
  const struct {
    const char* stored;  // null: no such value
    bool unlessNo;
    bool onlyIfYes;
    const char* ifNotEmpty;
    const char* asIs;
  } cases[] = {{nullptr, true, false, "old", ""},    {"", true, false, "old", ""},
               {"no", false, false, "no", "no"},     {"NO", false, false, "NO", "NO"},
               {"yes", true, true, "yes", "yes"},    {"YeS", true, true, "YeS", "YeS"},
               {"none", true, false, "none", "none"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.stored ? c.stored : "(missing)");
    key.DeleteValue("Value");
    if (c.stored) {
      ASSERT_EQ(key.SetStringValue("Value", c.stored), 0u);
    }
    bool unlessNo = !c.unlessNo;
    bool onlyIfYes = !c.onlyIfYes;
    CString ifNotEmpty = "old";
    CString asIs = "old";
    EXPECT_EQ(ReadFlag(key, "Value", ReadRule::TrueUnlessNo, unlessNo), 0u);
    EXPECT_EQ(ReadFlag(key, "Value", ReadRule::TrueOnlyIfYes, onlyIfYes), 0u);
    EXPECT_EQ(ReadText(key, "Value", ReadRule::TextIfNotEmpty, ifNotEmpty), 0u);
    EXPECT_EQ(ReadText(key, "Value", ReadRule::TextAsIs, asIs), 0u);
    EXPECT_EQ(unlessNo, c.unlessNo);
    EXPECT_EQ(onlyIfYes, c.onlyIfYes);
    EXPECT_EQ(ifNotEmpty, c.ifNotEmpty);
    EXPECT_EQ(asIs, c.asIs);
  }

  ASSERT_EQ(key.SetStringValue("Value", CString(260, 'n')), 0u);
  bool flags[] = {false, true};
  CString field = "old";
  EXPECT_EQ(ReadFlag(key, "Value", ReadRule::TrueUnlessNo, flags[0]), DWORD{ERROR_MORE_DATA});
  EXPECT_EQ(ReadFlag(key, "Value", ReadRule::TrueOnlyIfYes, flags[1]), DWORD{ERROR_MORE_DATA});
  EXPECT_EQ(ReadText(key, "Value", ReadRule::TextAsIs, field), DWORD{ERROR_MORE_DATA});
  EXPECT_THAT(flags, ElementsAre(false, true));
  EXPECT_EQ(field, "old");
  EXPECT_EQ(ReadText(key, "Value", ReadRule::TextAsIs, field, 4096), 0u);
  EXPECT_EQ(field.size(), 260u);
}
