// Who may administer: the list as it is read from an access list, edited and written back.

#include "pages/configuration/administrators.h"

#include "pages/pages.h"
#include "store/accounts.h"
#include "store/privilege.h"
#include "tests/support/access_list.h"
#include "tests/support/page_driver.h"

namespace {

using test_support::PageDriver;

constexpr const char* kServerKey = R"(Software\TesselWorks\SSHD)";
constexpr const char* kList = "Configuration Administrators";

// "name: access" of each entry.
std::string Lines(const AdminList& list) {
  std::string lines;
  for (const CAdminStruct& entry : list) lines += entry.name + ": " + AccessText(entry) + "\n";
  return lines;
}

// Of the server's key, which the page reads whatever its own key is.
bool SetList(const char* sddl) {
  PSECURITY_DESCRIPTOR made = nullptr;
  if (!ConvertStringSecurityDescriptorToSecurityDescriptorA(sddl, SDDL_REVISION_1, &made, nullptr))
    return false;
  const LocalMemory<void> held(made);
  return key_security::SetKeySecurity(HKEY_LOCAL_MACHINE, kServerKey, KEY_ALL_ACCESS, made) == 0;
}

class Administrators : public ::testing::Test {
 protected:
  void SetUp() override {
    PageDriver::MakeKey(kServerKey);
    before.reset(key_security::GetKeySecurity(kServerKey));
    ASSERT_NE(before, nullptr);
    ASSERT_TRUE(SetList("D:(A;CI;KA;;;BA)(A;CI;KR;;;BU)"));
    driver.Show(page);
  }
  void TearDown() override {
    key_security::SetKeySecurity(HKEY_LOCAL_MACHINE, kServerKey, KEY_ALL_ACCESS, before.get());
  }
  std::string Shown() {
    std::string rows;
    for (const CListCtrl::Row& row : driver.Get<CListCtrl>(kList).Rows())
      rows += row.cells[0] + ": " + row.cells[1] + "\n";
    return rows;
  }
  // Presses the button with those answers.
  void Press(std::string_view button, std::initializer_list<const char*> answers) {
    for (const char* answer : answers) driver.frontEnd.AddAnswer(answer);
    driver.Press(button);
    EXPECT_EQ(driver.frontEnd.Unanswered(), "");
    EXPECT_EQ(driver.frontEnd.Refusal(), "");
  }
  CString LastMessage() const {
    return driver.frontEnd.Messages().empty() ? "" : driver.frontEnd.Messages().back();
  }

  PageDriver driver;
  LocalMemory<void> before;
  CTesselPropertyPage& page =
      driver.Add(PageIndex::CfgSettings, MakeCfgSettingsPage, "Configuration Management", "", kServerKey);
};

}  // namespace

TEST(AdministratorsOfAText, AreKnownByTheirCodes) {
  constexpr const char* kNames =
      "AN Anonymous;AO Account Operators;AU Authenticated Users;BA Administrators;BG Guests;"
      "BO Backup Operators;BU Users;CA Certificate Administrators;CG Creator Group;CO Creator Owner;"
      "DA Domain Administrators;DC Domain Computers;DD Domain Controllers;DG Domain Guests;DU Domain Users;"
      "EA Enterprise Admins;ED Enterprise Domain Controllers;IU INTERACTIVE;LA Local Administrator;"
      "LG Local Guests;LS Local Service;MU Performance Monitor users;NO Network Configuration Operators;"
      "NS Network Service;NU Network logon user;PA Group Policy Administrators;PO Printer Operators;"
      "PS Principal Self;PU Power Users;RC Restricted Code;RD Terminal Server Users;RE Replicator;"
      "RO Enterprise Read-only domain controllers;RS RAS servers group;SA Schema Administrators;"
      "SO Server Operations;SU Service;SY SYSTEM;WD Everyone";
  for (const CString& pair : text::Split(kNames, ';'))
    EXPECT_EQ(Lines(AdministratorsIn("D:(A;;KR;;;" + pair.substr(0, 2) + ")")), pair.substr(3) + ": Read\n");
}

TEST(AdministratorsOfAText, HaveTheRightsOfTheirFirstEntry) {
  struct Case {
    const char* descriptor;
    const char* expected;
  };
  constexpr Case kCases[] = {
      {"D:PAI", ""},
      {"D:P(A;OICI;GA;;;BU)(A;CI;KR;;;BU)(A;CI;GR;;;SY)", "SYSTEM: Read\nUsers: Read/Write\n"},
      {"D:(A;CI;KR;;;bu)(A;;0x1f;;;wd)(A;;kr;;;AU)",
       "Authenticated Users: Read\nEveryone: Read/Write\nUsers: Read\n"},
      {"D:(A;;KA;;;S-1-5-21-1-2-3-4444)(A;;KA;;;no)(A;;KW;;;S-1-1-0)",
       "Network Configuration Operators: Read/Write\n\\Everyone: Read/Write\n"},
  };
  for (const auto& [descriptor, expected] : kCases) {
    std::string lines = Lines(AdministratorsIn(descriptor));
    EXPECT_EQ(lines, expected) << descriptor;
  }
}

TEST(AdministratorLists, AreSortedByCaseAndSearchedWithoutIt) {
  const AdminList list = SortList({{"b", true, false}, {"a", false, true}, {"B"}, {"a", true, true}});
  EXPECT_EQ(Lines(list), "B: Read/Write\na: Write\na: Read/Write\nb: Read\n");
  EXPECT_TRUE(ContainsName(list, "A"));
  EXPECT_FALSE(ContainsName(list, "ab"));
  for (const char* access : {"Read", "Write", "Read/Write", ""})
    EXPECT_EQ(AccessText(EntryOf("x", access)), access);
}

TEST_F(Administrators, AreAddedEditedAndWrittenInOrderOfTheirNames) {
  EXPECT_EQ(Shown(), "Administrators: Read/Write\nUsers: Read\n");
  EXPECT_FALSE(driver.Enabled("Delete"));
  EXPECT_FALSE(driver.Enabled("Edit Access"));
  Press("Add User", {"User Name=Everyone", "OK"});
  Press("Add User", {"User Name=", "OK", "User Name=SYSTEM", "Domain=NT AUTHORITY", "OK"});
  EXPECT_EQ(LastMessage(), "Must enter user name.");
  EXPECT_EQ(Shown(),
            "Administrators: Read/Write\nEveryone: Read/Write\nNT AUTHORITY\\SYSTEM: Read/Write\nUsers: "
            "Read\n");
  driver.Put(kList, "Everyone");
  EXPECT_TRUE(driver.Enabled("Delete"));
  EXPECT_TRUE(driver.Enabled("Edit Access"));
  // What is written goes by the box of writing alone.
  Press("Edit Access", {"Read=off", "Write=off", "OK"});
  EXPECT_FALSE(driver.Enabled("Edit Access"));
  driver.Put(kList, "Administrators");
  Press("Edit Access", {"Read=off", "OK"});
  driver.Put(kList, "Users");
  Press("Edit Access", {"Write=on", "Cancel"});
  EXPECT_EQ(Shown(), "Administrators: Write\nEveryone: \nNT AUTHORITY\\SYSTEM: Read/Write\nUsers: Read\n");
  EXPECT_TRUE(driver.Modified());
  ASSERT_TRUE(driver.Apply());
  EXPECT_EQ(Shown(), "Administrators: Read/Write\nEveryone: Read\nSYSTEM: Read/Write\nUsers: Read\n");
  const CString list = ListOf(kServerKey);
  EXPECT_TRUE(list.ends_with("(A;OICI;GA;;;BA)(A;OICI;GR;;;WD)(A;OICI;GA;;;SY)(A;OICI;GR;;;BU)")) << list;
}

TEST_F(Administrators, AreRemovedTogetherAndTheUnknownDropOut) {
  Press("Add User", {"User Name=no such account", "OK"});
  auto& list = driver.Get<CListCtrl>(kList);
  list.SetSelected(0, true);
  list.SetSelected(1, true);
  Press("Delete", {"No"});
  EXPECT_EQ(Shown(), "Administrators: Read/Write\nUsers: Read\nno such account: Read/Write\n");
  Press("Delete", {"Yes"});
  EXPECT_EQ(Shown(), "no such account: Read/Write\n");
  ASSERT_TRUE(driver.Apply());
  // Nobody may open the key now, but for a caller whom lists don't hold.
  EXPECT_EQ(ListOf(kServerKey).find("A;"), CString::npos);
  if (page.m_shownStatus == ERROR_ACCESS_DENIED) return;
  EXPECT_EQ(Shown(), "");
}

TEST_F(Administrators, WaitPerNodeAndAreForgottenByCancel) {
  driver.Show(page, "a::Configuration Management");
  Press("Add User", {"User Name=Everyone", "OK"});
  driver.Show(page, "b::Configuration Management");
  EXPECT_EQ(Shown(), "Administrators: Read/Write\nUsers: Read\n");
  driver.Show(page, "a::Configuration Management");
  EXPECT_EQ(Shown(), "Administrators: Read/Write\nEveryone: Read/Write\nUsers: Read\n");
  driver.sheet.PressCancel();
  EXPECT_EQ(Shown(), "Administrators: Read/Write\nUsers: Read\n");
  EXPECT_FALSE(driver.Modified());
}

TEST(Accounts, AreFoundByNameAndByIdentifier) {
  for (const char* name : {"Everyone", "NT AUTHORITY\\SYSTEM", "BUILTIN\\Administrators"}) {
    SidBytes sid = SidOfAccount(name, AskedFor::PrimaryDomain);
    ASSERT_FALSE(sid.empty()) << name;
    const CString found = NameOfAccount(sid.data());
    EXPECT_EQ(found.substr(found.find_first_not_of('\\')), name);
  }
  EXPECT_TRUE(SidOfAccount("no such account").empty());
  // Those of this computer go by their bare names.
  char user[256];
  DWORD size = sizeof user;
  if (GetEnvironmentVariableA("USER", user, size) == 0) return;
  SidBytes own = SidOfAccount(user);
  if (own.empty()) return;
  EXPECT_EQ(NameOfAccount(own.data()), user);
}
