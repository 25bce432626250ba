#include <gtest/gtest.h>

#include <random>
#include <tuple>

#include "configuration/cached_records.h"
#include "configuration/settings_export.h"
#include "configuration/settings_import.h"
#include "configuration/value_text.h"
#include "tests/configuration/files.h"
#include "tests/configuration/scratch_settings.h"

namespace {

using namespace std::string_literals;
using registry_test::CanOpen;
using registry_test::DeleteTree;
using registry_test::Get;
using registry_test::Set;

class Engine : public ScratchSettings {};

// The loop in its plainest form, whose result the order of a file is.
void BubbleSort(std::vector<ValueEntry>& entries) {
  for (bool swapped = true; swapped;) {
    swapped = false;
    for (size_t i = 0; i + 1 < entries.size(); ++i) {
      if (IsDefaultName(entries[i].name) || text::CompareNoCase(entries[i].name, entries[i + 1].name) <= 0)
        continue;
      std::swap(entries[i], entries[i + 1]);
      swapped = true;
    }
  }
}

}  // namespace

TEST_F(Engine, ExportsAWholeFile) {
  const UniqueKey sshd = Key("SSHD");
  Set(sshd.get(), nullptr, "skipped", REG_SZ);
  Set(sshd.get(), "SomeText", "text", REG_SZ);
  Set(sshd.get(), "SomeNumber", "\x16\0\0\0"s, REG_DWORD);
  Set(sshd.get(), "Reversed", "\0\0\0\x01"s, REG_DWORD_BIG_ENDIAN);
  Set(sshd.get(), "None", "0"s, REG_NONE);
  Set(sshd.get(), "Nine", "9"s, 9);
  Set(sshd.get(), "List", "one\0two\0\0"s, REG_MULTI_SZ);
  Set(sshd.get(), "Large", "\0\0\0\0\x01\0\0\0"s, REG_QWORD);
  Set(sshd.get(), "Folder", "C:\\Prog\\bin;C:\\Prog\\lib\0"s, REG_EXPAND_SZ);
  Set(sshd.get(), "BANNER", "<Welcome> & \"hello\", it's HOST7\0"s, REG_SZ);
  Set(sshd.get(), "any", "\x0A\x0B", REG_BINARY);
  Set(sshd.get(), "Nothing", "", REG_BINARY);
  Set(sshd.get(), "Unset", "(value not set)", REG_SZ);
  Set(sshd.get(), "(Default)", "also skipped", REG_SZ);
  Set(Key("SSHD\\HOST7&co\\OnlyDefault").get(), nullptr, "x", REG_SZ);
  Key("SSHD\\HOST7&co\\EmptyKey");
  Set(Key("SSHD\\Child").get(), "Deep", "1", REG_SZ);
  Key("SCP");

  const ScratchFile scratch("export.xml");
  XmlWriter writer;
  writer.SetFileName(scratch.path);
  XmlElement registry("registry");
  registry.WriteStart(writer, 1, true, true);
  XmlElement product("product");
  product.SetAttribute("name", kSettingsProduct);
  product.WriteEmpty(writer, 1, true, true);
  for (const char* key : {"SSHD", "SFTP", "SCP"}) {
    const int done =
        ExportRegistryKey(writer, false, "HKEY_CURRENT_USER\\" + kRoot + "\\" + key, &kOutward, ui);
    EXPECT_EQ(done, CString(key) == "SFTP" ? 0 : 1);
  }
  registry.WriteEnd(writer, -1, true, true);
  writer.Close();
  EXPECT_EQ(ReadWholeFile(scratch.path), KeptFile("export.xml"));
  EXPECT_EQ(said, "");
}

TEST_F(Engine, ExportsTheCompactShape) {
  const UniqueKey sshd = Key("SSHD");
  Set(sshd.get(), "Number", "\x01\0\0\0"s, REG_DWORD);
  Set(sshd.get(), "Big", "a<b", REG_SZ);
  Set(Key("SSHD\\Empty").get(), "Only", "1", REG_SZ);
  Key("SSHD\\Full\\Leaf");
  XmlStringWriter writer;
  EXPECT_EQ(ExportRegistryKey(writer, true, kSshd, nullptr, ui), 1);
  EXPECT_EQ(writer.GetBuffer(), KeptFile("compact.xml"));
}

TEST_F(Engine, EscLeavesOutTheRestOfOneKey) {
  for (const char* name : {"SSHD\\a\\inner", "SSHD\\b", "SSHD\\c"}) Set(Key(name).get(), "v", "1", REG_SZ);
  // The walk counts the keys of all exports; one key a time brings it behind a turn.
  int atTurn = -1;
  ui.turn = [&](int keys) {
    atTurn = keys;
    return Turn::GoOn;
  };
  const UniqueKey leaf = Key("SSHD\\a\\inner");
  XmlStringWriter writer;
  for (int i = 0; i < 50 && atTurn < 0; ++i) ExportKeyTree(writer, false, "", leaf.get(), nullptr, ui);
  for (int i = 0; i < 46; ++i) ExportKeyTree(writer, false, "", leaf.get(), nullptr, ui);
  const int before = atTurn;
  int presses = 0;
  ui.turn = [&](int keys) {
    atTurn = keys;
    return presses++ == 0 ? Turn::Esc : Turn::GoOn;
  };
  const CString text = Export();
  EXPECT_EQ(atTurn, before + 50);
  EXPECT_EQ(presses, 2);  // the key that was left out does not count
  EXPECT_EQ(text.substr(text.find("     <k name=\"a\"")),
            "     <k name=\"a\">\r\n"
            "      <k name=\"inner\">\r\n"
            "       <v name=\"v\" value=\"1\"/>\r\n"
            "      </k>\r\n"
            "     </k>\r\n"
            "     <k name=\"b\">\r\n"
            "      <k name=\"c\">\r\n"
            "       <v name=\"v\" value=\"1\"/>\r\n"
            "      </k>\r\n"
            "     </k>\r\n"
            "    </k>\r\n"
            "   </k>\r\n"
            "  </k>\r\n");
}

// A walk that went on cut short would open an element for each of its keys, one deeper than the other.
TEST_F(Engine, WritesNothingMoreAtTheEndThatAPersonWants) {
  const UniqueKey sshd = Key("SSHD");
  for (int i = 0; i < 120; ++i) Key("SSHD\\a\\" + std::to_string(i));
  Set(Key("SSHD\\b").get(), "v", "1", REG_SZ);
  int turns = 0;
  ui.turn = [&](int) { return ++turns == 1 ? Turn::End : Turn::GoOn; };
  XmlStringWriter writer;
  ExportKeyTree(writer, false, "", sshd.get(), nullptr, ui);
  EXPECT_EQ(turns, 1);
  EXPECT_EQ(writer.GetBuffer().find("\"b\""), CString::npos);
  EXPECT_LT(text::Split(writer.GetBuffer(), '\n').size(), size_t{60});
}

TEST_F(Engine, ImportsAFileWrittenByHand) {
  const UniqueKey sshd = Key("SSHD");
  Set(sshd.get(), "Kept", "as it was", REG_SZ);
  Set(sshd.get(), "Number", "overwritten", REG_SZ);
  EXPECT_EQ(Import(KeptFile("import.xml"), &kInward), 1);
  EXPECT_EQ(said, "couldn't set value Bad\n");
  const struct {
    const char* name;
    std::string data;
  } values[] = {
      {nullptr, "of the key\0"s}, {"Kept", "as it was"}, {"Text", "in D:\\M\\x & <HERE\0"s},
      {"Number", "\x16\0\0\0"s},  {"Bytes", "\x0A\x0B"}, {"List", "one\0two\0\0"s},
      {"Unknown", "x\0"s},        {"Swapped", "\0"s},    {"Typeless", "y\0"s},
      {"Quoted", "single\0"s},
  };
  for (const auto& value : values) {
    const std::string stored = Get(sshd.get(), value.name);
    EXPECT_EQ(stored.substr(0, value.data.size()), value.data) << (value.name ? value.name : "(Default)");
  }
  EXPECT_EQ(CanOpen(sshd.get(), "Of HERE"), ERROR_SUCCESS);
  // The key's second name opened a key in the first one's, and the one end tag closed the second only.
  const UniqueKey two = Key("SSHD\\Two");
  EXPECT_EQ(Get(Key("SSHD\\Two\\Names").get(), "Inner"), "1\0"s);
  EXPECT_EQ(Get(two.get(), "Behind"), "2\0"s);
}

TEST_F(Engine, WhatDoesNotFitStaysSo) {
  const struct {
    const char* name;
    DWORD type;
    std::string data;
    DWORD backType;
    std::string back;  // nothing: the value is gone
  } cases[] = {
      {"plain", REG_SZ, "yes", REG_SZ, "yes\0"s},
      {"v", REG_SZ, "a>b\0"s, REG_SZ, ""},
      {"v", REG_SZ, "it's\0"s, REG_SZ, ""},
      {"v", REG_SZ, "'quoted'\0"s, REG_SZ, ""},
      {"v", REG_SZ, "\"quoted\"\0"s, REG_SZ, "\"quoted\"\0"s},
      {"v", REG_SZ, "&lt;&amp;&amp;amp;x\0"s, REG_SZ, "&lt;&&x\0"s},
      {"v", REG_SZ, "(value not set)", REG_SZ, ""},
      {"v", REG_SZ, "a\nb\r\n\0"s, REG_SZ, "a\r\nb\r\n\0"s},
      {"v", REG_SZ, "\r\nbehind an empty line\0"s, REG_SZ, "behind an empty line\0"s},
      {"v", REG_MULTI_SZ, "a\0\0b\0\0"s, REG_MULTI_SZ, "a\0b\0\0"s},
      {"v", REG_MULTI_SZ, "\0\0"s, REG_MULTI_SZ, "\0"s},
      {"v", REG_BINARY, "", REG_BINARY, "\0"s},
      {"v", REG_DWORD_BIG_ENDIAN, "\x01\x02\x03\x04", REG_DWORD, "\x04\x03\x02\x01"},
      {"v", REG_NONE, "n\0"s, REG_SZ, "n\0"s},
      {"v", 9, "n\0"s, REG_SZ, "n\0"s},
      {"v", REG_QWORD, "12345678", REG_QWORD, "12345678"},
      {"it's", REG_SZ, "x\0"s, REG_SZ, ""},
      {nullptr, REG_SZ, "x\0"s, REG_SZ, ""},
  };
  for (const auto& test : cases) {
    DeleteTree(HKEY_CURRENT_USER, kRoot.c_str());
    Set(Key("SSHD").get(), test.name, test.data, test.type);
    const CString text = Export();
    DeleteTree(HKEY_CURRENT_USER, kRoot.c_str());
    EXPECT_EQ(Import(text), 1);
    DWORD type = 0;
    BYTE data[64];
    DWORD size = sizeof data;
    const LONG status = RegQueryValueExA(Key("SSHD").get(), test.name, nullptr, &type, data, &size);
    if (test.back.empty()) {
      EXPECT_TRUE(status == ERROR_FILE_NOT_FOUND ||
                  (test.name != nullptr && std::string(data, data + size) != test.data))
          << text;
    } else {
      EXPECT_EQ(status, ERROR_SUCCESS) << text;
      EXPECT_EQ(type, test.backType) << text;
      EXPECT_EQ(std::string(data, data + size), test.back) << text;
    }
  }
}

TEST_F(Engine, SortsAsThePlainLoopDoesWithDefaultsAnywhere) {
  std::mt19937 random(3);
  const char* names[] = {"(Default)", "(DEFAULT)", "!", "#", "'", "(D", "(Default",
                         "(e",        "a",         "B", "b", "c", "Z",  "~"};
  for (int round = 0; round < 20000; ++round) {
    std::vector<ValueEntry> entries(random() % 12);
    for (ValueEntry& entry : entries) {
      entry = {names[random() % std::size(names)], std::to_string(random()), REG_SZ};
    }
    std::vector<ValueEntry> expected = entries;
    BubbleSort(expected);
    SortValueEntries(entries);
    for (size_t i = 0; i < entries.size(); ++i)
      ASSERT_EQ(entries[i].value, expected[i].value) << "round " << round;
  }
}

TEST_F(Engine, EndsAnImportWithAMessage) {
  EXPECT_EQ(Import("<k name=\"HKEY_OTHER\">"), 0);
  EXPECT_EQ(said, "");
  EXPECT_EQ(Import(Chained("<v name=\"a\" value=\"1\"/><")), 1);
  EXPECT_EQ(said, "Parse error in line 1 : ('<' symbol not allowed at the end of a line)\n");
  EXPECT_EQ(Get(Key("SSHD").get(), "a"), "1\0"s);
  said.clear();

  const CString longName(300, 'n');
  EXPECT_EQ(Import(Chained("<k name=\"" + longName + "\"><v name=\"b\" value=\"1\"/>")), 0);
  EXPECT_EQ(said.substr(0, said.find('\r')), "couldn't create key " + kSshd + "\\" + longName);
  said.clear();
  EXPECT_EQ(Import(Chained("<v name=\"n\" value=\"0x1\" type=\"REG_DWORD\"/><v name=\"c\" value=\"1\"/>")),
            0);
  EXPECT_EQ(said + Get(Key("SSHD").get(), "c"), "error 2");

  // Three messages of one kind, and one with the number of those that were not shown.
  CString empty;
  for (int i = 0; i < 100; ++i) empty += "<v name=\"v\" value=\"1\" type=\"REG_BINARY\"/>";
  EXPECT_EQ(Import(Chained(empty)), 1);
  EXPECT_EQ(
      said,
      "couldn't set value v\ncouldn't set value v\ncouldn't set value v\ncouldn't set 97 more values\n");
  said.clear();

  CString deep = Chained("");
  for (int i = 0; i < 1'000'000; ++i) deep += "<k name=\"d\">";
  EXPECT_EQ(Import(deep), 0);
  EXPECT_EQ(said.compare(0, 20, "couldn't create key "), 0) << said;
}

TEST_F(Engine, ImportsForOneProductOnly) {
  const CString head = "<?xml version=\"1.0\"?>\r\n<registry><product name=\"";
  const struct {
    CString text;
    int result;
    const char* said;
  } cases[] = {
      {head + "Tessel Marrowen SSH Server\"/>", 0, ""},
      {head + "TESSEL marrowen ssh server\"/>", 0, ""},
      {head + "Another\"/>", -1, ""},
      {"<registry><k name=\"Tessel Marrowen SSH Server\"/>", -1, ""},
      {"\x7F"
       "ELF",
       -1, "Parse error in line 1 : (Syntax error)\n"},
      {head + "Tessel Marrowen SSH Server\"/>" + Chained("<v name=\"a\" value=\"1\" type=\"REG_QWORD\"/>"),
       13, ""},
      {head + "Tessel Marrowen SSH Server\"/><k name=\"HKEY_OTHER\"/>", ERROR_BADKEY, ""},
  };
  const ScratchFile scratch("product.xml");
  for (const auto& test : cases) {
    WriteWholeFile(scratch.path, test.text);
    said.clear();
    EXPECT_EQ(ImportForProduct(kSettingsProduct, scratch.path, ui), test.result) << test.text;
    EXPECT_EQ(said, test.said) << test.text;
  }
}

TEST_F(Engine, AnImportEndedInPadLeavesNoTraceOfItInTheProcess) {
  CString pad = "<k name=\"PAD\"><k name=\"anna\">";
  for (int i = 0; i < 60; ++i) pad += "<k name=\"d\"/>";
  const ScratchFile scratch("ended.xml");
  WriteWholeFile(scratch.path,
                 "<registry><product name=\"Tessel Marrowen SSH Server\"/>" + Chained(pad + "</k></k>"));
  const PadState before = CurrentPadState();
  PadState meanwhile;
  ui.progress = [&meanwhile](int) {
    meanwhile = CurrentPadState();
    return false;
  };
  EXPECT_EQ(ImportForProduct(kSettingsProduct, scratch.path, ui), ERROR_CANCELLED);
  EXPECT_TRUE(meanwhile.inside);
  const PadState after = CurrentPadState();
  EXPECT_EQ(std::tie(after.inside, after.depth, after.entropy),
            std::tie(before.inside, before.depth, before.entropy));
}

TEST_F(Engine, CachedCredentialsTravelByPermission) {
  const auto seal = [](HKEY key, const char* name, const char* text, CString entropy) {
    entropy.resize(std::strlen(text));  // as an import protects, whose entropy is as long as the text
    const std::vector<BYTE> blob = MakeCachedRecord(text, name ? name : "(Default)", entropy);
    Set(key, name, std::string(blob.begin(), blob.end()), REG_BINARY);
  };
  seal(Key("SSHD\\PAD\\anna").get(), nullptr, "p<ss", "anna");
  seal(Key("SSHD\\PAD\\anna\\Keys").get(), "AD2", "anna", "anna");
  Set(Key("SSHD\\PAD\\bert").get(), nullptr, "\x01\x02", REG_BINARY);
  Key("SSHD\\PAD\\carl");
  const CString question = "Do you want to export cached authentication keys?\n";
  EXPECT_EQ(Export().find("PAD"), CString::npos);
  answer = true;
  const CString text = Export();
  EXPECT_EQ(said, question + question);
  const char* const pad =
      "     <k name=\"PAD\">\r\n"
      "      <k name=\"anna\">\r\n"
      "       <v name=\"(Default)\" value=\"p&lt;ss\" type=\"REG_BINARY\"/>\r\n"
      "       <k name=\"Keys\">\r\n"
      "        <v name=\"(Default)\" value=\"(value not set)\"/>\r\n"
      "        <v name=\"AD2\" value=\"anna\" type=\"REG_BINARY\"/>\r\n"
      "       </k>\r\n"
      "      </k>\r\n"
      "      <k name=\"bert\">\r\n"
      "       <v name=\"(Default)\" value=\"01 02\" type=\"REG_BINARY\"/>\r\n"
      "      </k>\r\n"
      "      <k name=\"carl\"/>\r\n"
      "      <v name=\"(Default)\" value=\"(value not set)\"/>\r\n"
      "     </k>\r\n";
  EXPECT_NE(text.find(pad), CString::npos) << text;

  // The first PAD of the process takes its entropy from the user's key. What is shorter or longer than the
  // user's name comes back under an entropy that no export uses, and goes out in hexadecimal from then on.
  ASSERT_EQ(CurrentPadState().depth, 0);
  DeleteTree(HKEY_CURRENT_USER, kRoot.c_str());
  const CString longer(300, 'x');
  EXPECT_EQ(
      Import(text::Replaced(text, "carl\"/>", "carl\"><v name=\"(Default)\" value=\"" + longer + "\"/></k>")),
      1);
  EXPECT_EQ(CurrentPadState().depth, -1);
  CString back = Export();
  const size_t bert = back.find("<k name=\"bert\">");
  EXPECT_EQ(back.substr(0, bert), text.substr(0, text.find("<k name=\"bert\">")));
  EXPECT_EQ(back.find("value=\"01 02\""), CString::npos);
  EXPECT_EQ(ReadCachedRecord(MakeCachedRecord(longer, "(Default)", "carl"), "(Default)",
                             "carl" + CString(296, '\0')),
            CString(260, 'x'));

  // A second one begins a level further down: the name of the stamp's own key.
  DeleteTree(HKEY_CURRENT_USER, kRoot.c_str());
  EXPECT_EQ(Import(text), 1);
  back = Export();
  EXPECT_EQ(back.find("value=\"p&lt;ss\""), CString::npos);
  const std::string stamp = Get(Key("SSHD\\PAD\\anna\\Keys").get(), "AD2");
  EXPECT_EQ(ReadCachedRecord({reinterpret_cast<const BYTE*>(stamp.data()), stamp.size()}, "AD2", "Keys"),
            "Keys");
}

// What lies under PAD and is no record goes out as it stands: a number without data, and a record that names
// an impossible length.
TEST_F(Engine, OddRecordsGoOutAsTheyStand) {
  Set(Key("SSHD\\PAD\\dora").get(), nullptr, "", REG_QWORD);
  DATA_BLOB clear{};
  DATA_BLOB key{4, reinterpret_cast<BYTE*>(const_cast<char*>("emil"))};
  DATA_BLOB sealed{};
  std::string record(268, '\xFF');
  clear = {static_cast<DWORD>(record.size()), reinterpret_cast<BYTE*>(record.data())};
  ASSERT_TRUE(CryptProtectData(&clear, nullptr, &key, nullptr, nullptr, CRYPTPROTECT_LOCAL_MACHINE, &sealed));
  const std::string blob(reinterpret_cast<const char*>(sealed.pbData), sealed.cbData);
  LocalFree(sealed.pbData);
  Set(Key("SSHD\\PAD\\emil").get(), nullptr, blob, REG_BINARY);
  answer = true;
  const CString text = Export();
  EXPECT_NE(text.find("<v name=\"(Default)\" value=\"(value not set)\" type=\"REG_QWORD\"/>"), CString::npos)
      << text;
  EXPECT_NE(text.find("value=\"" +
                      FormatRegValue(REG_BINARY, {reinterpret_cast<const BYTE*>(blob.data()), blob.size()})),
            CString::npos);
}

// Progress is told every fifty keys, those of the chain included.
TEST_F(Engine, AnImportTellsHowFarItHasCome) {
  CString keys;
  for (int i = 0; i < 116; ++i) keys += "<k name=\"k" + std::to_string(i) + "\"></k>";
  std::vector<int> told;
  ui.progress = [&told](int keysRead) { return told.push_back(keysRead), true; };
  Import("<registry>" + Chained(keys) + "</k></k></k></k></registry>");
  EXPECT_EQ(told, (std::vector{50, 100}));
}
