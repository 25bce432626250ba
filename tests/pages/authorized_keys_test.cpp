// The store of authorized keys through its page: what the registry holds, and the exchange file.

#include "pages/authentication/authorized_keys.h"

#include <gmock/gmock.h>

#include "platform/keymill.h"
#include "tests/support/page_driver.h"

using test_support::PageDriver;
using ::testing::ElementsAre;

namespace {

const CString kStore = CString(PageDriver::kServer) + "\\PAD";
constexpr const char* kFile = "C:\\authkeys.txt";
// Of RFC 8032's first test, as a line.
constexpr const char* kLine =
    "ssh-ed25519 AAAAC3NzaC1lZDI1NTE5AAAAINdamAGCsQq31Uv+08lkBzoO4XLz2qYjJa8CGmj3B1Ea box";

class AuthorizedKeys : public ::testing::Test {
 protected:
  void TearDown() override { DeleteFileA(kFile); }
  static void Store(const CString& user, const CString& name, const CString& text, const CString& comment) {
    const CString path = kStore + "\\" + user + "\\" + name;
    PageDriver::Store(nullptr, text, path, REG_BINARY);
    PageDriver::Store("Comment", comment, path);
  }
  CPrpAuthKeys& Show() {
    driver.Show(*page);
    return *page;
  }
  // "user|key|comment" of each row, from the top.
  std::vector<std::string> Rows() const {
    std::vector<std::string> rows;
    for (const AuthorizedKeyEntry& entry : page->Shown())
      rows.push_back(entry.userName + "|" + entry.keyText + "|" + entry.comment);
    return rows;
  }
  void Select(std::initializer_list<size_t> rows) const {
    for (size_t row = 0; row < page->m_list->GetItemCount(); ++row)
      page->m_list->SetSelected(row, std::find(rows.begin(), rows.end(), row) != rows.end());
  }
  static void Write(std::string_view bytes) {
    const HANDLE file = CreateFileA(kFile, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    DWORD written = 0;
    WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    CloseHandle(file);
  }
  static std::string Contents() {
    const HANDLE file = CreateFileA(kFile, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    char bytes[4096];
    DWORD size = 0;
    if (file == INVALID_HANDLE_VALUE) return "(no file)";
    ReadFile(file, bytes, sizeof bytes, &size, nullptr);
    CloseHandle(file);
    return {bytes, size};
  }
  static bool Has(const CString& below) { return PageDriver::HasKey(kStore + "\\" + below); }

  PageDriver driver;
  CPrpAuthKeys* page = static_cast<CPrpAuthKeys*>(&driver.Add(
      PageIndex::AuthPubKey,
      [](const PageArguments& arguments) -> std::unique_ptr<CTesselPropertyPage> {
        return std::make_unique<CPrpAuthKeys>(arguments);
      },
      "Authorized Keys", "", kStore));
};

}  // namespace

TEST_F(AuthorizedKeys, AreReadAndWrittenByUser) {
  Store("ann", "{A}", kLine, "mine");
  Store("ann", "{B}", "unreadable", "longer than the key");
  Store("bert", "{C}", kLine, "");
  Store("big", "{D}", CString(16384, 'x'), "");
  PageDriver::MakeKey(kStore + "\\nobody");
  Show();
  EXPECT_THAT(Rows(), ElementsAre("ann|unreadable|", "ann|" + CString(kLine) + "|mine",
                                  "bert|" + CString(kLine) + "|", "big||"));
  EXPECT_EQ(page->Shown()[0].fingerprint, "");
  EXPECT_EQ(page->Shown()[1].fingerprint, keymill::KGGetFingerprintStringFromBlob(kLine).value_or(""));
  EXPECT_FALSE(driver.Modified());

  // A user is moved to by name; the key keeps its own. Deleted ones go at Apply alone.
  Select({1});
  for (const char* answer : {"User:=carl", "Comment:=his", "OK"}) driver.frontEnd.AddAnswer(answer);
  driver.Press("Edit");
  EXPECT_EQ(page->m_list->GetItemText(1), "ann");
  Select({2});
  driver.Press("Delete");
  EXPECT_TRUE(Has("bert\\{C}"));
  ASSERT_TRUE(driver.Apply());
  EXPECT_TRUE(Has("carl\\{A}"));
  EXPECT_FALSE(Has("ann\\{A}"));
  EXPECT_TRUE(Has("ann\\{B}"));
  EXPECT_FALSE(Has("bert"));
  EXPECT_FALSE(Has("nobody")) << "a user without keys goes";
  EXPECT_EQ(PageDriver::Stored(nullptr, kStore + "\\carl\\{A}"), kLine);
  EXPECT_EQ(PageDriver::Stored("Comment", kStore + "\\carl\\{A}"), "his");
}

TEST_F(AuthorizedKeys, SkipOneBehindEachThatIsDeleted) {
  for (const char* name : {"{A}", "{B}", "{C}", "{D}"}) Store("ann", name, name, "");
  Show();
  EXPECT_THAT(Rows(), ElementsAre("ann|{D}|", "ann|{C}|", "ann|{B}|", "ann|{A}|"));
  // Of several selected rows the first goes, and then the one behind each other one.
  Select({0, 1});
  driver.Press("Delete");
  EXPECT_THAT(Rows(), ElementsAre("ann|{C}|", "ann|{A}|"));
  ASSERT_TRUE(driver.Apply());
  EXPECT_TRUE(Has("ann\\{A}"));
  EXPECT_FALSE(Has("ann\\{B}"));
  EXPECT_TRUE(Has("ann\\{C}"));
  EXPECT_FALSE(Has("ann\\{D}"));
}

// What slides into the place of a deleted key is looked at when the next save passes by.
TEST_F(AuthorizedKeys, PassOverWhatSlidesIntoADeletedPlace) {
  for (const char* name : {"{A}", "{B}", "{C}"}) Store("ann", name, name, "");
  Show();
  for (int twice = 0; twice < 2; ++twice) {
    Select({1});
    driver.Press("Delete");
  }
  EXPECT_THAT(Rows(), ElementsAre("ann|{C}|"));
  ASSERT_TRUE(driver.Apply());
  EXPECT_FALSE(Has("ann\\{A}"));
  EXPECT_TRUE(Has("ann\\{B}"));
  EXPECT_TRUE(Has("ann\\{C}"));
}

TEST_F(AuthorizedKeys, GoOutInBlocksAndComeBack) {
  Store("CORP?ann", "{A}", kLine, "my comment");
  Show();
  driver.Press("Export");
  EXPECT_EQ(driver.frontEnd.Unanswered(), "");
  Select({0});
  driver.frontEnd.AddPath(kFile);
  driver.Press("Export");
  EXPECT_EQ(
      Contents(),
      "# CORP?ann\r\r\n#  Tessel MarrowenSSH exported public key\r\r\n#\r\r\n# my comment\r\r\n#\r\r\n" +
          CString(kLine) + "\r\r\n");
  driver.frontEnd.AddPath(kFile);
  driver.Press("Import");
  EXPECT_THAT(Rows(), ElementsAre("CORP?ann|" + CString(kLine) + "\r\n|",
                                  "CORP?ann|" + CString(kLine) + "|my comment"));
  EXPECT_EQ(page->Shown()[0].fingerprint, page->Shown()[1].fingerprint);
  EXPECT_EQ(page->Shown()[0].keyName.size(), 38u);
  EXPECT_TRUE(driver.Modified());
}

TEST_F(AuthorizedKeys, TakeTheirUserFromTheFirstWordOfTheirComments) {
  Write("#\n#  ann  and more\n# not bert\n  key one\r\n\n \t\nkey two\n#\tcarl\nkey three");
  Show();
  driver.frontEnd.AddPath(kFile);
  driver.Press("Import");
  EXPECT_THAT(Rows(), ElementsAre("carl|key three|", "|key two\n|", "ann|  key one\n|"));
  // A file that is not there, and none at all.
  driver.frontEnd.AddPath("C:\\no such file");
  driver.Press("Import");
  driver.Press("Import");
  EXPECT_EQ(Rows().size(), 3u);
}
