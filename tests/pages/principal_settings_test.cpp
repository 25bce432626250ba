#include "tests/pages/principal_pages.h"

using namespace principal_pages;
using ::testing::ElementsAre;

namespace {

struct Reading {
  const char* what;
  std::vector<std::pair<const char*, std::string>> stored;
  std::vector<std::pair<const char*, const char*>> shown;
};

const Reading kReadings[] = {
    {"nothing stored",
     {},
     {{"Default Screen Mode", "Full Console"},
      {"Idle Session Timeout", "off"},
      {"hours", "0"},
      {"seconds", "0"},
      {"User Session Limit#2", "0"},
      {"IBM Turnaround Character", "13"},
      {"Monitor Child Processes", "off"},
      {"Record Terminated Processes", "off"},
      {"Allow system beep to pass to client", "on"},
      {"CodePage Translation", "off"},
      {"CodePage Translation#2", "65001 Unicode (UTF-8)"},
      {"Use Elevated Token (if available)", "on"}}},
    {"a time-out says by itself that it is in force",
     {{"IdleSessionTimeOut", "3661"}},
     {{"Idle Session Timeout", "on"}, {"hours", "1"}, {"minutes", "1"}, {"seconds", "1"}}},
    {"unless a flag says otherwise",
     {{"IdleSessionTimeOut", "3661"}, {"UseIdleSessionTimeOut", "no"}},
     {{"Idle Session Timeout", "off"}, {"hours", "1"}}},
    {"flags that are true unless no, and one that is true only if yes",
     {{"MonitorChildProcess", "maybe"},
      {"CPTranslate", "maybe"},
      {"PassSystemBeep", "NO"},
      {"UseSessionLimit", "maybe"}},
     {{"Monitor Child Processes", "on"},
      {"CodePage Translation", "on"},
      {"Allow system beep to pass to client", "off"},
      {"User Session Limit", "off"}}},
    {"a zero byte is an empty value",
     {{"MonitorChildProcess", std::string(1, '\0')}, {"SessionLimit", std::string(1, '\0')}},
     {{"Monitor Child Processes", "off"}, {"User Session Limit#2", "0"}}},
    {"rows are found by their beginning, and a mode that begins none is the first",
     {{"DefaultScreenMode", "Teletype"}, {"DefaultTerm", "WYSE 60"}},
     {{"Default Screen Mode", "Full Console"}, {"Default Terminal Type", "wyse 60 and above"}}},
    {"three texts hang on the session limit's switch",
     {{"UseSessionLimit", std::string(300, 'y')}, {"HomeDir", "C:\\h"}, {"LTAChar", "9"}},
     {{"Home Directory", ""}, {"IBM Turnaround Character", ""}}},
    {"a text that can't be read is empty there, and the token's flag is then on",
     {{"HomeDir", std::string(300, 'h')},
      {"LTAChar", std::string(300, '1')},
      {"ElevateToken", std::string(300, 'n')}},
     {{"Home Directory", ""},
      {"IBM Turnaround Character", "13"},
      {"Use Elevated Token (if available)", "on"}}},
};

TEST(PrincipalPages, GeneralSettingsAreReadByTheRuleOfEach) {
  for (const Reading& reading : kReadings) {
    SCOPED_TRACE(reading.what);
    // Each with a principal and a page of its own: a value that can't be read keeps what was there.
    PageDriver fresh;
    auto& page = fresh.Add(PageIndex::UserGen, MakeUserGenPage, kFolders, "::*");
    PageDriver::MakeKey(Key("Users\\joe"));
    for (const auto& [name, data] : reading.stored) PageDriver::Store(name, data, Key("Users\\joe"));
    fresh.Show(page, "Users::joe");
    for (const auto& [caption, value] : reading.shown) EXPECT_EQ(fresh.Value(caption), value) << caption;
  }
}

TEST_F(PrincipalsTest, GeneralSettingsAreWrittenInTheirOrder) {
  PageDriver::MakeKey(Key("Groups\\CORP?staff"));
  driver.Show(general, "Groups::CORP\\staff");
  driver.Put("Idle Session Timeout", "on");
  driver.Put("minutes", "90");
  driver.Put("Default Terminal Type", "ibm3151");
  driver.Put("IBM Turnaround Character", "10");
  driver.frontEnd.AddPath("D:\\home");
  driver.Press("Browse");
  ASSERT_TRUE(driver.Apply());
  const Names written{"IdleSessionTimeOut=5400",
                      "SessionLimit=0",
                      "DefaultScreenMode=Full Console",
                      "HomeDir=D:\\home",
                      "DefaultTerm=ibm3151",
                      "LTAChar=10",
                      "MonitorChildProcess=no",
                      "UseIdleSessionTimeout=yes",
                      "ElevateToken=yes",
                      "UseSessionLimit=no",
                      "LogTerminatedProcs=no",
                      "PassSystemBeep=yes",
                      "CodePage=65001 Unicode (UTF-8)",
                      "CPTranslate=no"};
  Names sorted = written;
  std::sort(sorted.begin(), sorted.end(),
            [](const auto& a, const auto& b) { return text::CompareNoCase(a, b) < 0; });
  // Some systems list values by name.
  EXPECT_THAT(ValuesOf("Groups\\CORP?staff"), ::testing::AnyOf(written, sorted));
  EXPECT_EQ(driver.Value("hours") + ":" + driver.Value("minutes"), "1:30");
  // Only choosing the terminal enables its character: the page leaves the edit as the last principal did.
  EXPECT_TRUE(driver.Enabled("IBM Turnaround Character"));
  PageDriver::MakeKey(Key("Users\\joe"));
  driver.Show(general, "Users::joe");
  EXPECT_FALSE(driver.Enabled("IBM Turnaround Character"));
  driver.Show(general, "Groups::CORP\\staff");
  EXPECT_FALSE(driver.Enabled("IBM Turnaround Character"));
}

TEST_F(PrincipalsTest, AnEditThatWasPutBackIsStillWritten) {
  PageDriver::MakeKey(Key("Users\\joe"));
  for (const char* directory : {"D:\\first", "D:\\second", ""}) {
    driver.Show(general, "Users::joe");
    driver.Put("Home Directory", directory);
  }
  driver.Show(general, "Users::joe");
  EXPECT_EQ(driver.Value("Home Directory"), "D:\\second") << "the entry stays when its principal is shown";
  driver.Put("Home Directory", "");
  ASSERT_TRUE(driver.Apply());
  EXPECT_EQ(PageDriver::Stored("HomeDir", Key("Users\\joe")), "D:\\second");
  // A list takes its entry out, so what was put back there is not written.
  driver.Show(users, "Users");
  driver.Put("Only Allow Configured Users Access to Server", "on");
  driver.Show(users, "Users");
  driver.Put("Only Allow Configured Users Access to Server", "off");
  ASSERT_TRUE(driver.Apply());
  EXPECT_EQ(PageDriver::Stored("AllowByUser"), std::nullopt);
}

struct Variable {
  const char* name;
  const char* stored;
  const char* value;
  const char* location;
};

TEST_F(PrincipalsTest, VariablesAreCutAtTheLastComma) {
  const Variable variables[] = {
      {"1", "C:\\a,C:\\b,beginning", "C:\\a,C:\\b", "Beginning"},
      {"2", "plain", "plain", "End"},
      {"3", "x,Unknown", "x", "End"},
      {"4", "x,", "x", "End"},
      {"5", ",Replace", "", "Replace"},
  };
  const std::string key = Key("Users\\joe\\Environment");
  PageDriver::Store("", "the default value has no row", key);
  for (const Variable& variable : variables) PageDriver::Store(variable.name, variable.stored, key);
  PageDriver::Store("6", std::string(261, 'x'), key);
  PageDriver::Store("7", "a value that is too long ends the list", key);
  driver.Show(environment, "Users::joe::Environment Variables");
  const auto& table = driver.Get<CListCtrl>("Environment Variables for User Session");
  ASSERT_EQ(table.GetItemCount(), std::size(variables));
  for (size_t i = 0; i < std::size(variables); ++i) {
    const auto& cells = table.Rows()[std::size(variables) - 1 - i].cells;
    EXPECT_THAT(cells, ElementsAre(variables[i].name, variables[i].value, variables[i].location));
  }
}

TEST_F(PrincipalsTest, SavingATableDeletesEveryOtherValue) {
  const std::string key = Key("IPs\\10.0.0.1-10.0.0.9\\TerminateStrings");
  for (const char* name : {"a", "b", "c", "d", "e"}) PageDriver::Store(name, "^C", key);
  driver.Show(terminate, "IP Range::10.0.0.1-10.0.0.9::Graceful Termination");
  const std::string table = "Graceful Application Termination Strings";
  for (const char* name : {"a", "b", "c", "d"}) {
    driver.Put(table, name);
    driver.Press("Delete");
  }
  driver.Put(table, "e");
  driver.Put("Termination String", "quit");
  driver.Press("Set");
  ASSERT_TRUE(driver.Apply());
  EXPECT_THAT(ValuesOf("IPs\\10.0.0.1-10.0.0.9\\TerminateStrings"), ElementsAre("b=^C", "d=^C", "e=quit"));
}

TEST_F(PrincipalsTest, EachVisitTurnsATableRound) {
  const std::string node = "Users::joe::Environment Variables";
  PageDriver::MakeKey(Key("Users\\joe"));
  driver.Show(environment, "Users::nobody::Environment Variables");
  EXPECT_FALSE(PageDriver::HasKey(Key("Users\\nobody")));
  driver.Show(environment, node);
  EXPECT_TRUE(PageDriver::HasKey(Key("Users\\joe\\Environment"))) << "showing a principal makes the subkey";
  driver.Press("Delete");
  EXPECT_THAT(driver.frontEnd.Messages(), ElementsAre("Error: Must select item for deletion."));
  driver.Press("Set");
  EXPECT_FALSE(driver.Modified()) << "a variable without a name is not taken";
  driver.Put("Variable", "B");
  driver.Press("Set");
  driver.Put("Variable", "A");
  driver.Put("Location if exist", "Replace");
  driver.Press("Set");
  driver.Put("Environment Variables for User Session", "B");
  driver.Put("Value", "1");
  driver.Put("Location if exist", "Beginning");
  driver.Press("Set");
  EXPECT_THAT(Rows("Environment Variables for User Session"), ElementsAre("A", "B"));
  ASSERT_TRUE(driver.Apply());
  EXPECT_THAT(ValuesOf("Users\\joe\\Environment"), ElementsAre("A=,Replace", "B=1,Beginning"));
  EXPECT_THAT(Rows("Environment Variables for User Session"), ElementsAre("B", "A"));
  EXPECT_TRUE(environment.m_pending.empty());
  driver.Show(general, "Users::joe");
  EXPECT_TRUE(environment.m_pending.contains(node)) << "a mere visit leaves an entry";
  driver.Show(environment, node);
  EXPECT_THAT(Rows("Environment Variables for User Session"), ElementsAre("A", "B"));
}

}  // namespace
