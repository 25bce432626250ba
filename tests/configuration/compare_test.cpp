#include <gtest/gtest.h>

#include <array>

#include "configuration/cached_records.h"
#include "configuration/settings_compare.h"
#include "tests/configuration/scratch_settings.h"

namespace {

using namespace std::string_literals;
using registry_test::Set;
using registry_test::Values;

class Compare : public ScratchSettings {
 protected:
  // What is lost of the store on its way through a file that is written now.
  void Losses(const CStringList* outward, const CStringList* inward, bool withCredentials,
              const std::function<void(const SettingsLoss& loss)>& visit) {
    answer = withCredentials;
    const CString text = Export(outward);
    XmlReader reader(MemorySource(text));
    const char* const paths[] = {kSshd.c_str()};
    FindLosses(reader, {}, paths, outward, inward, withCredentials, visit);
  }
  ChangeVisitor Collect() {
    return [this](const SettingsChange& change) {
      const char* const kinds[] = {"added", "changed", "removed", "same"};
      changes += kinds[static_cast<int>(change.kind)];
      changes += " " + change.key.substr(change.key.find("SSHD")) + "|" + change.name;
      if (change.kind == ChangeKind::Changed) changes += " " + change.before + " -> " + change.after;
      changes += "\n";
    };
  }
  CString changes;
};

SettingsSnapshot Snapshot(const CString& text) {
  SettingsSnapshot snapshot;
  XmlReader reader(MemorySource(text));
  EXPECT_FALSE(ReadSnapshot(reader, {}, nullptr, snapshot));
  return snapshot;
}

}  // namespace

TEST_F(Compare, PreviewSaysWhatAnImportThenDoes) {
  const UniqueKey sshd = Key("SSHD");
  Set(sshd.get(), "Level", "7", REG_SZ);
  Set(sshd.get(), "Same", "yes", REG_SZ);
  Set(sshd.get(), "Kind", "1", REG_SZ);
  Set(sshd.get(), nullptr, "d", REG_SZ);
  const CString text = Chained(
      "<v name=\"LEVEL\" value=\"3\"/><v name=\"Same\" value=\"yes\"/><v name=\"(Default)\" value=\"e\"/>"
      "<v name=\"Kind\" value=\"0x00000001 (1)\" type=\"REG_DWORD\"/><v name=\"New\" "
      "value=\"$(ComputerName)\"/>"
      "<v name=\"Bad\" value=\"1\" type=\"REG_BINARY\"/><k name=\"Made\"><k name=\"Below\"><v name=\"x\" "
      "value=\"\"/>"
      "</k></k><k name=\"made\"></k>");
  XmlReader reader(MemorySource(text));
  EXPECT_EQ(PreviewImport(reader, {}, &kInward, Collect()), 1);
  EXPECT_EQ(changes,
            "changed SSHD|LEVEL 7 -> 3\n"
            "same SSHD|Same\n"
            "changed SSHD|(Default) d -> e\n"
            "changed SSHD|Kind 1 -> 0x00000001 (1)\n"
            "added SSHD|New\n"
            "added SSHD\\Made|\n"
            "added SSHD\\Made\\Below|\n"
            "added SSHD\\Made\\Below|x\n");
  EXPECT_EQ(Values(sshd.get()).size(), 4u);

  Import(text, &kInward);
  changes.clear();
  EXPECT_EQ(PreviewImport(reader, {}, &kInward, Collect()), 1);
  EXPECT_EQ(changes.find("added"), CString::npos) << changes;
  EXPECT_EQ(changes.find("changed"), CString::npos) << changes;
  XmlReader unknown(MemorySource("<k name=\"HKEY_OTHER\">"));
  EXPECT_EQ(PreviewImport(unknown, {}, nullptr, Collect()), 0);
}

TEST_F(Compare, SnapshotsDifferWhereSettingsDo) {
  const SettingsSnapshot before = Snapshot(Chained(
      "<v name=\"A\" value=\"1\"/><v name=\"B\" value=\"1\"/><v name=\"C\" value=\"1\"/><k name=\"Old\"><v "
      "name=\"x\" "
      "value=\"\"/></k><k name=\"PAD\"><k name=\"anna\"><v name=\"(Default)\" value=\"secret\"/></k></k>"));
  const SettingsSnapshot after =
      Snapshot(Chained("<k name=\"PAD\"><k name=\"anna\"><v name=\"(Default)\" value=\"other\"/></k></k>"
                       "<v name=\"c\" value=\"1\"/><v name=\"b\" value=\"2\"/><v name=\"d\" value=\"1\"/>"));
  CompareSnapshots(before, after, Collect());
  EXPECT_EQ(changes,
            "removed SSHD|A\n"
            "changed SSHD|b 1 -> 2\n"
            "same SSHD|c\n"
            "added SSHD|d\n"
            "removed SSHD\\Old|\n"
            "removed SSHD\\Old|x\n"
            "changed SSHD\\PAD\\anna|(Default) (cached credential) -> (cached credential)\n");
}

TEST_F(Compare, AnExportDoesNotDifferFromItsStore) {
  const UniqueKey sshd = Key("SSHD");
  Set(sshd.get(), "Flag", "yes", REG_SZ);
  Set(sshd.get(), "Lost", "a>b", REG_SZ);
  Set(sshd.get(), "Here", "C:\\Prog\\HOST7", REG_SZ);
  Key("SSHD\\Empty");
  const char* const paths[] = {kSshd.c_str()};
  SettingsSnapshot store;
  EXPECT_FALSE(SnapshotOfStore(paths, &kOutward, ui, store));
  CompareSnapshots(Snapshot(Export(&kOutward)), store, Collect());
  EXPECT_EQ(changes, "same SSHD|Flag\nsame SSHD|Here\n");

  // What can't be read back is told, and not taken for missing.
  Set(sshd.get(), "Long", CString(9 << 20, 'x'), REG_SZ);
  EXPECT_EQ(SnapshotOfStore(paths, &kOutward, ui, store).code, DWORD{ERROR_INVALID_DATA});
}

TEST_F(Compare, LossesAreWhatARoundTripLoses) {
  const struct {
    const char* name;
    DWORD type;
    std::string data;
    const char* reason;
  } cases[] = {
      {"ok", REG_SZ, "yes", ""},
      {"ok", REG_SZ, "<\"a\" & &lt; $(x) C:\\Prog\\HOST7", ""},
      {"ok", REG_MULTI_SZ, "a\0b\0\0"s, ""},
      {"ok", REG_MULTI_SZ, "\0\0"s, ""},
      {"ok", REG_SZ, "line\r\nline\r\n", ""},
      {"ok", REG_DWORD, "\1\2\3\4", ""},
      {"v", REG_SZ, "a>b", "It does not come back: the \">\" in it ends what is read."},
      {"v", REG_SZ, "it's", "It does not come back: the \"'\" in it ends what is read."},
      {"it's", REG_SZ, "x", "It comes back under the name \"it\"."},
      {"a&amp;b", REG_SZ, "x", "It comes back under the name \"a&b\"."},
      {"v", REG_SZ, "a&amp;b", "It comes back as \"a&b\"."},
      {"v", REG_SZ, "\nx", "It comes back as \"x\"."},
      {"v", REG_SZ, "$(ComputerName)", "It comes back as \"HOST7\"."},
      {"v", REG_MULTI_SZ, "a\0\0b\0\0"s, "It comes back as \"a\r\nb\"."},
      {"v", REG_BINARY, "", "It comes back as \"00\"."},
      {"v", REG_DWORD, "\1", "It comes back as \"0x00000001 (1)\"."},
      {"v", REG_NONE, "x", "It comes back as REG_SZ."},
      {"v", REG_DWORD_BIG_ENDIAN, "1234", "It comes back as REG_DWORD."},
      {"v", 9, "x", "It comes back as REG_SZ."},
      {"v", REG_SZ, "(value not set)", "A value with the text of one that is not set is not written."},
      {"(Default)", REG_SZ, "x", "A value with the name of a default value is not written."},
      {"(default)", REG_SZ, "x", "It comes back as the default value of its key."},
      {nullptr, REG_SZ, "x", "The default value of a key is not written."},
  };
  const CStringList back = {kOutward[1], kOutward[0], kOutward[3], kOutward[2]};
  for (const auto& test : cases) {
    const UniqueKey sshd = Key("SSHD");
    Set(sshd.get(), test.name, test.data, test.type);
    CString found;
    Losses(&kOutward, &back, false, [&](const SettingsLoss& loss) {
      EXPECT_EQ(loss.key, kSshd);
      EXPECT_EQ(loss.name, test.name ? test.name : "(Default)");
      found += loss.reason;
    });
    EXPECT_EQ(found, test.reason) << test.data;

    // The same by doing it.
    const CString text = Export(&kOutward);
    TearDown();
    Import(text, &back);
    DWORD type = REG_NONE;
    std::array<char, 64> data{};
    auto size = static_cast<DWORD>(data.size());
    const LONG status = RegQueryValueExA(Key("SSHD").get(), test.name, nullptr, &type,
                                         reinterpret_cast<BYTE*>(data.data()), &size);
    const auto trimmed = [&test](CString bytes) {
      const bool isText = test.type == REG_SZ || test.type == REG_MULTI_SZ;
      while (isText && !bytes.empty() && bytes.back() == 0) bytes.pop_back();
      return bytes;
    };
    const bool same =
        status == ERROR_SUCCESS && type == test.type && trimmed({data.data(), size}) == trimmed(test.data);
    EXPECT_EQ(same, *test.reason == '\0') << text;
    TearDown();
  }
}

TEST_F(Compare, LossesNameKeysAndCredentials) {
  Set(Key("SSHD\\it's").get(), "hidden", "a>b", REG_SZ);
  const auto seal = [](const CString& user, const CString& password) {
    CString entropy = user;
    entropy.resize(password.size());
    const std::vector<BYTE> blob = MakeCachedRecord(password, "(Default)", entropy);
    return std::string(blob.begin(), blob.end());
  };
  Set(Key("SSHD\\PAD\\anna").get(), nullptr, seal("anna", "pass"), REG_BINARY);
  Set(Key("SSHD\\PAD\\bert").get(), nullptr, "\1\2", REG_BINARY);
  Set(Key("SSHD\\PAD\\carl").get(), nullptr, seal("carl", "it's"), REG_BINARY);
  for (const bool withCredentials : {false, true}) {
    CString found;
    Losses(nullptr, nullptr, withCredentials, [&](const SettingsLoss& loss) {
      found += loss.key.substr(kSshd.size()) + "|" + loss.name + "\n";
    });
    EXPECT_EQ(found,
              withCredentials ? "\\it's|\n\\PAD\\bert|(Default)\n\\PAD\\carl|(Default)\n" : "\\it's|\n");
  }
}

// An entry that is misread takes others with it: each is told by its own name.
TEST_F(Compare, LossesAreFoundWhereOneEntrySpoilsAnother) {
  const auto seal = [](const CString& user) {
    const std::vector<BYTE> blob = MakeCachedRecord(CString(user.size(), 'p'), "(Default)", user);
    Set(Key("SSHD\\PAD\\" + user).get(), nullptr, {blob.begin(), blob.end()}, REG_BINARY);
  };
  const auto losses = [this] {
    CString found;
    const CStringList back = {kOutward[1], kOutward[0], kOutward[3], kOutward[2]};
    Losses(&kOutward, &back, true, [&](const SettingsLoss& loss) {
      found += loss.key.substr(std::min(kSshd.size(), loss.key.size())) + "|" + loss.name + "|" +
               loss.reason + "\n";
    });
    return found;
  };
  for (const char* user : {"anna", "bert", "carl"}) seal(user);
  EXPECT_EQ(losses(), "");
  Set(Key("SSHD\\PAD\\anna").get(), "Comment", "it's a/b", REG_SZ);
  EXPECT_EQ(losses(),
            "\\PAD\\anna|Comment|It does not come back: the \"'\" in it ends what is read.\n"
            "\\PAD\\bert|(Default)|The credential comes back protected for \"anna\", not for \"bert\".\n"
            "\\PAD\\carl|(Default)|The credential comes back protected for \"anna\", not for \"carl\".\n");
  TearDown();
  seal("HOST7?ann");
  EXPECT_EQ(losses(),
            "\\PAD\\HOST7?ann|(Default)|The credential comes back protected for "
            "\"$(ComputerName)?ann\", not for \"HOST7?ann\".\n");
  TearDown();
  Set(Key("SSHD\\sub").get(), "v", "x", REG_SZ);
  Key("SSHD\\empty's <");
  Set(Key("SSHD").get(), "Long", CString(9 << 20, 'x'), REG_SZ);
  EXPECT_NE(losses().find("||An import refuses the whole file. "), CString::npos);
  EXPECT_NE(losses().find("|Long|Its text is longer than the 8 MiB that are read back."), CString::npos);
  EXPECT_EQ(losses().find("sub"), CString::npos);
}
