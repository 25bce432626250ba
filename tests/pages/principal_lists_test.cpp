#include <tuple>

#include "tests/pages/principal_pages.h"

using namespace principal_pages;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

TEST_F(PrincipalsTest, ACopyTakesEditsThatWait) {
  PageDriver::Store("HomeDir", "C:\\stored", Key("Users\\Default"));
  driver.Show(environment, "Users::Default::Environment Variables");
  driver.Put("Variable", "LANG");
  driver.Press("Set");
  driver.Show(general, "Users::Default");
  driver.Put("Home Directory", "D:\\edited");
  driver.Show(users);
  PressWith("New User", {"User Name=alice", "Domain=CORP", "OK"});
  EXPECT_THAT(Rows("Users"), ElementsAre("CORP\\alice", "Default"));
  EXPECT_THAT(KeysOf("Users"), ElementsAre("Default")) << "nothing reaches the store until Apply";
  EXPECT_THAT(std::vector(driver.hostCalls.end() - 2, driver.hostCalls.end()),
              ElementsAre("add Users::CORP\\alice", "refresh Users::CORP\\alice"));
  ASSERT_TRUE(driver.Apply());
  EXPECT_EQ(PageDriver::Stored("HomeDir", Key("Users\\CORP?alice")), "D:\\edited");
  EXPECT_THAT(ValuesOf("Users\\CORP?alice\\Environment"), ElementsAre("LANG=,"));
}

// The store knows no case in names of keys: another spelling of the one that is there is nothing to write.
TEST_F(PrincipalsTest, AnotherCaseOfANameIsNoEditOfTheList) {
  for (const char* name : {"Default", "bob"}) PageDriver::MakeKey(Key("Users\\" + std::string(name)));
  driver.Show(users);
  driver.Put("Users", "bob");
  PressWith("Delete User", {"Yes"});
  EXPECT_TRUE(driver.Modified());
  PressWith("New User", {"User Name=BOB", "OK"});
  EXPECT_FALSE(driver.Modified());
}

TEST_F(PrincipalsTest, NamesOfUsersAreTakenAsTheyAreTyped) {
  for (const char* name : {"Default", "Bob", "CORP?alice"})
    PageDriver::MakeKey(Key("Users\\" + std::string(name)));
  driver.Show(users);
  PressWith("New User", {"OK", "User Name=bob", "OK"});
  PressWith("New User", {"User Name=Bob", "OK"});
  PressWith("New User", {"User Name=alice", "Domain=CORP", "OK"});
  PressWith("New User", {"User Name=what?", "OK"});
  PressWith("New User", {"User Name=never", "Cancel"});
  EXPECT_THAT(Rows("Users"), ElementsAre("Bob", "bob", "CORP\\alice", "Default", "what\\"));
  EXPECT_THAT(driver.frontEnd.Messages(),
              ElementsAre("Must enter user name.", "Cannot add user. User Bob already exists.",
                          "Cannot add user. User CORP?alice already exists."));
  ASSERT_TRUE(driver.Apply());
  EXPECT_THAT(KeysOf("Users"), ElementsAre("Bob", "CORP?alice", "Default", "what?"));
}

TEST_F(PrincipalsTest, AnEmptyListOfUsersShowsDefaultAndMakesIt) {
  driver.Show(users);
  EXPECT_THAT(Rows("Users"), ElementsAre("Default"));
  ASSERT_TRUE(driver.Apply());
  EXPECT_THAT(KeysOf("Users"), ElementsAre("Default"));
  driver.Show(ranges);
  EXPECT_THAT(Rows("IP Range"), IsEmpty());
}

TEST_F(PrincipalsTest, DeletionPassesOverTheKeyThatSlidesUp) {
  for (const char* name : {"a", "b", "c", "d", "e"})
    PageDriver::Store("v", "x", Key("Users\\" + std::string(name) + "\\deep"));
  driver.Show(users);
  for (const char* name : {"b", "c", "d"}) {
    driver.Put("Users", name);
    PressWith("Delete User", {"Yes"});
  }
  ASSERT_TRUE(driver.Apply());
  EXPECT_THAT(KeysOf("Users"), ElementsAre("a", "c", "e"));
  EXPECT_THAT(Rows("Users"), ElementsAre("a", "c", "e"));
  driver.Put("Users", "c");
  PressWith("Delete User", {"No"});
  PressWith("Delete User", {"Yes"});
  ASSERT_TRUE(driver.Apply());
  EXPECT_THAT(KeysOf("Users"), ElementsAre("a", "e"));
}

TEST_F(PrincipalsTest, DeletionForgetsWhatWaitsUnderTheBarePath) {
  Note(I::UserLogon, "Logon");
  for (const char* name : {"Default", "joe"}) PageDriver::MakeKey(Key("Users\\" + std::string(name)));
  driver.Show(environment, "Users::joe::Environment Variables");
  driver.Put("Variable", "LANG");
  driver.Press("Set");
  driver.Show(general, "Users::joe");
  driver.Put("Home Directory", "D:\\lost");
  driver.Show(users);
  driver.Press("Delete User");
  driver.Put("Users", "default");
  driver.Press("Delete User");
  driver.Put("Users", "joe");
  PressWith("Delete User", {"Yes"});
  EXPECT_THAT(driver.frontEnd.Messages(),
              ElementsAre("Please Select User from List Box", "Sorry, cannot delete user Default"));
  EXPECT_EQ(driver.hostCalls.back(), "remove Users::joe with family");
  EXPECT_FALSE(general.m_pending.contains("Users::joe"));
  EXPECT_TRUE(environment.m_pending.contains("Users::joe::Environment Variables"));
  EXPECT_THAT(NotingPage::noted, ElementsAre("drop Users::joe"));
  ASSERT_TRUE(driver.Apply());
  EXPECT_THAT(KeysOf("Users"), ElementsAre("Default"));
  // The same name again before Apply keeps the key.
  driver.Show(ranges);
  PageDriver::Store("HomeDir", "kept", Key("IPs\\1.1.1.1-1.1.1.1"));
  driver.Show(ranges);
  driver.Put("IP Range", "1.1.1.1-1.1.1.1");
  PressWith("Delete Range", {"Yes"});
  PressWith("New IP Range", {"Begin IP Address=1.1.1.1", "OK"});
  ASSERT_TRUE(driver.Apply());
  EXPECT_TRUE(PageDriver::HasKey(Key("IPs\\1.1.1.1-1.1.1.1")));
}

TEST(PrincipalPages, ListsAskTheSettingsPagesInTheirOrder) {
  using I = PageIndex;
  NotingPage::noted.clear();
  PageDriver other;
  auto& list = other.Add(I::UsersMain, MakeUsersMainPage, "Users");
  auto& rangeList = other.Add(I::CfgIpMain, MakeCfgIpMainPage, "IP Range");
  for (const auto& [index, node] : {std::pair(I::UserAccess, "8"),
                                    {I::UserTerminate, "7"},
                                    {I::UserStream, "6"},
                                    {I::UserLogon, "5"},
                                    {I::UserKeyboard, "4"},
                                    {I::UserFullCon, "3"},
                                    {I::UserEnv, "2"},
                                    {I::UserHandheld, "x"},
                                    {I::UserNonInteractive, "y"}}) {
    other.Add(index, NotingPage::Make, kFolders, "::*::" + std::string(node));
  }
  for (const char* folder : {"Users\\a", "IPs"}) PageDriver::MakeKey(Key(folder));
  other.Show(list);
  ASSERT_TRUE(list.OnApply());
  EXPECT_THAT(NotingPage::noted, IsEmpty()) << "no principal was made";
  other.frontEnd.AddAnswer("User Name=b");
  other.frontEnd.AddAnswer("OK");
  other.Put("Users", "a");
  other.Press("Copy User");
  EXPECT_THAT(NotingPage::noted, ElementsAre("Users::a::2 -> Users::b::2", "Users::a::3 -> Users::b::3",
                                             "Users::a::4 -> Users::b::4", "Users::a::5 -> Users::b::5",
                                             "Users::a::6 -> Users::b::6", "Users::a::7 -> Users::b::7"));
  for (int i = 0; i < 2; ++i) {
    NotingPage::noted.clear();
    ASSERT_TRUE(list.OnApply());
    EXPECT_THAT(NotingPage::noted, ElementsAre("apply::2", "apply::3", "apply::4", "apply::5", "apply::6",
                                               "apply::7", "apply::8"));
  }
  NotingPage::noted.clear();
  other.Show(rangeList);
  for (const char* answer : {"Begin IP Address=1.2.3.4", "OK"}) other.frontEnd.AddAnswer(answer);
  other.Press("New IP Range");
  EXPECT_EQ(NotingPage::noted.front(), "Users::Default::2 -> IP Range::1.2.3.4-1.2.3.4::2");
  NotingPage::noted.clear();
  ASSERT_TRUE(rangeList.OnApply());
  EXPECT_THAT(NotingPage::noted,
              ElementsAre("apply::2", "apply::3", "apply::4", "apply::5", "apply::6", "apply::7"));
}

TEST_F(PrincipalsTest, OnlyTheGroupsKeepSilentWhereTheirFolderIsMissing) {
  const auto deleteFolder = [](const char* folder) {
    DeleteRegistryKeyA(HKEY_LOCAL_MACHINE, Key(folder).c_str(), KEY_ALL_ACCESS);
  };
  PageDriver::MakeKey(Key("Users\\joe"));
  const std::tuple<CTesselPropertyPage*, const char*, const char*, const char*, bool, const char*> cases[] = {
      {&groups, "Groups", "Only allow configured groups shell access", "AllowByGroup", false, "yes"},
      {&ranges, "IPs", nullptr, "AllowByIP", true, "Yes"},
      {&users, "Users", "Only Allow Configured Users Access to Server", "AllowByUser", true, "Yes"},
  };
  for (const auto& [page, folder, box, value, tells, yes] : cases) {
    SCOPED_TRACE(folder);
    PageDriver::MakeKey(Key("Users\\joe"));
    driver.Show(general, "Users::joe");
    driver.Put("Home Directory", folder);
    if (box == nullptr) PageDriver::Store(value, "YES");
    driver.Show(*page);
    if (box != nullptr) {
      driver.Put(box, "on");
    } else {
      driver.Get<CListBox>("IP Range").AddString("1.1.1.1-1.1.1.1");
    }
    deleteFolder(folder);
    ASSERT_TRUE(page->OnKillActive());
    ASSERT_TRUE(page->OnApply());
    EXPECT_EQ(PageDriver::Stored(value), yes);
    EXPECT_EQ(general.m_pending.empty(), tells);
    ASSERT_TRUE(page->OnSetActive());
  }
}

struct Ranking {
  const char* order;
  Names keys;
  Names rows;
  Names keysAfter;
};

TEST(PrincipalPages, GroupsStandByTheirOrder) {
  const Ranking rankings[] = {
      {"B,C\\d,A", {"A", "B", "C?d"}, {"B", "C\\d", "A"}, {"A", "B", "C?d"}},
      {",,X,B,,gone", {"B", "gone2"}, {"B"}, {"B"}},
      {"staff,B", {"B", "aff", "staff"}, {"staff", "B"}, {"B", "staff"}},
      {"", {"A"}, {}, {}},
      {"A,A", {"A"}, {"A", "A"}, {"A"}},
      {"a", {"A"}, {}, {}},
  };
  for (const Ranking& ranking : rankings) {
    SCOPED_TRACE(ranking.order);
    PageDriver fresh;
    auto& page = fresh.Add(PageIndex::GroupsMain, MakeGroupsMainPage, "Groups");
    for (const std::string& key : ranking.keys) PageDriver::MakeKey(Key("Groups\\" + key));
    PageDriver::MakeKey(Key("Groups"));
    PageDriver::Store("Order", ranking.order, Key("Groups"));
    fresh.Show(page);
    Names rows;
    for (size_t i = 0; i < fresh.Get<CListBox>("Groups").GetCount(); ++i)
      rows.push_back(fresh.Get<CListBox>("Groups").GetRow(i));
    EXPECT_EQ(rows, ranking.rows);
    fresh.Put("Only allow configured groups shell access", "on");
    ASSERT_TRUE(fresh.Apply());
    EXPECT_EQ(KeysOf("Groups"), ranking.keysAfter);
  }
}

TEST_F(PrincipalsTest, GroupsMoveByOneRank) {
  for (const char* name : {"A", "B", "C"}) PageDriver::MakeKey(Key("Groups\\" + std::string(name)));
  PageDriver::Store("Order", "A,B,C", Key("Groups"));
  driver.Show(groups);
  driver.Press("Up");
  EXPECT_THAT(driver.frontEnd.Messages(), ElementsAre("Please Select Group"));
  driver.Put("Groups", "C");
  driver.Press("Down");
  driver.Press("Up");
  driver.Press("Up");
  driver.Press("Up");
  EXPECT_THAT(Rows("Groups"), ElementsAre("C", "A", "B"));
  ASSERT_TRUE(driver.Apply());
  EXPECT_EQ(PageDriver::Stored("Order", Key("Groups")), "C,A,B");
  driver.Press("Down");
  EXPECT_THAT(Rows("Groups"), ElementsAre("A", "C", "B")) << "the selection outlives Apply";
}

TEST_F(PrincipalsTest, PickedGroupsComeInReverse) {
  PageDriver::Store("HomeDir", "D:\\default", Key("Users\\Default"));
  driver.Show(groups);
  PressWith("New Group", {"OK", "Available Groups=Users", "<- Add", "Available Groups=Guests", "<- Add",
                          "Available Groups=Administrators", "<- Add", "Allowed Groups=BUILTIN\\Guests",
                          "Remove ->", "OK"});
  EXPECT_THAT(Rows("Groups"), ElementsAre("BUILTIN\\Users", "BUILTIN\\Administrators"));
  EXPECT_EQ(
      std::count(driver.hostCalls.begin(), driver.hostCalls.end(), "refresh Groups::BUILTIN\\Administrators"),
      1);
  PressWith("New Group", {"Available Groups=Users", "<- Add", "OK"});
  EXPECT_THAT(
      driver.frontEnd.Messages(),
      ElementsAre("Group must be selected", "Cannot add group. Group BUILTIN\\Users already exists."));
  ASSERT_TRUE(driver.Apply());
  EXPECT_EQ(PageDriver::Stored("HomeDir", Key("Groups\\BUILTIN?Users")), "D:\\default");
}

TEST_F(PrincipalsTest, RangesAreTakenAsTheyStand) {
  const std::pair<Names, const char*> inputs[] = {
      {{}, "0.0.0.0-0.0.0.0"},
      {{"Begin IP Address=010.0.0.9", "End IP Address=10.0.0.1"}, "10.0.0.9-10.0.0.1"},
      {{"Begin IP Address=10.0.0.10"}, "10.0.0.10-10.0.0.10"},
  };
  PageDriver::Store("AllowByIP", "yes");
  PageDriver::MakeKey(Key("IPs\\a?b"));
  driver.Show(ranges);
  Names added{"a?b"};
  for (const auto& [answers, range] : inputs) {
    Names all = answers;
    all.emplace_back("OK");
    PressWith("New IP Range", all);
    added.emplace_back(range);
  }
  EXPECT_THAT(Rows("IP Range"), ::testing::UnorderedElementsAreArray(added)) << "a row is what is stored";
  EXPECT_EQ(Rows("IP Range")[1], "10.0.0.10-10.0.0.10") << "they sort as text";
  PressWith("New IP Range", {"Begin IP Address=10.0.0.10", "End IP Address=10.0.0.10", "OK"});
  EXPECT_THAT(driver.frontEnd.Messages(), ElementsAre("Range 10.0.0.10-10.0.0.10 already exists."));
  ASSERT_TRUE(driver.Apply());
  EXPECT_EQ(PageDriver::Stored("AllowByIP"), "Yes");
}

}  // namespace
