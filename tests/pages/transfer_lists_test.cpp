#include "store/directories.h"
#include "tests/pages/transfer_pages.h"

using namespace transfer_pages;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

// What the two keys of a list hold, what the list shows of it after a person's acts, whether there is
// something to apply then, and what the keys hold afterwards.
struct Scenario {
  const char* what;
  PageIndex page;
  const char* list;
  Texts server;
  Texts stored;
  Texts keys;
  std::string order;
  Texts acts;
  Texts shown;
  Texts rows;
  bool modified;
  Texts serverAfter;
  Texts storedAfter;
  Texts keysAfter;
};

constexpr const char* kSftpOn = "Only Allow Configured Users Access to SFTP=on";
constexpr const char* kSftpOff = "Only Allow Configured Users Access to SFTP=off";
constexpr const char* kScpOn = "Only Allow Configured Users Access to SCP=on";
constexpr const char* kScpOff = "Only Allow Configured Users Access to SCP=off";

const Scenario kScenarios[] = {
    {"an empty list shows Default, and makes it", I::Sftp, "SFTP Users", "", "", "", "", "",
     "Logging=Off; Directory for Log Files=", "Default", false, "AllowSFTPByUser=no",
     "LoggingLevel=0; LogDirectory=", "Default"},
    {"the switch is written in small letters, beside the server's values", I::Sftp, "SFTP Users", "", "",
     "CORP?alice; bob", "", kSftpOn, "", "bob; CORP\\alice", true, "AllowSFTPByUser=yes",
     "LoggingLevel=0; LogDirectory=", "bob; CORP?alice"},
    {"it is read whatever its case, and only yes is yes", I::Sftp, "SFTP Users", "AllowSFTPByUser=YES", "",
     "bob", "", "", kSftpOn, "bob", false, "AllowSFTPByUser=YES", "", "bob"},
    {"anything else is no", I::Scp, "SCP Users", "AllowSCPByUser=true", "", "bob", "", "", kScpOff, "bob",
     false, "AllowSCPByUser=true", "", "bob"},
    {"another level alone leaves nothing to apply", I::Sftp, "SFTP Users", "", "", "bob", "",
     "Logging=Status", "Logging=Status", "bob", false, "", "", "bob"},
    {"it is written with something else", I::Sftp, "SFTP Users", "AllowSFTPByUser=yes", "", "bob", "",
     std::string("Logging=Detailed; ") + kSftpOff, "", "bob", true, "AllowSFTPByUser=no",
     "LoggingLevel=2; LogDirectory=", "bob"},
    {"a level of two digits stays as it is", I::Sftp, "SFTP Users", "", "LoggingLevel=12", "bob", "", kSftpOn,
     "Logging=", "bob", true, "AllowSFTPByUser=yes", "LoggingLevel=12; LogDirectory=", "bob"},
    {"a directory's case is no difference", I::Sftp, "SFTP Users", "",
     "LoggingLevel=1; LogDirectory=d:\\Logs", "bob", "", "Directory for Log Files=D:\\LOGS",
     "Logging=Transfers", "bob", false, "", "LoggingLevel=1; LogDirectory=d:\\Logs", "bob"},
    {"the other list of users has no log", I::Scp, "SCP Users", "", "", "bob", "", kScpOn, "", "bob", true,
     "AllowSCPByUser=yes", "", "bob"},
    {"a group without a rank has no row and goes", I::SftpGroup, "SFTP Groups", "", "", "A; B; C?d",
     "C\\d,X,A", "Only allow configured groups sftp access=on", "", "C\\d; X; A", true,
     "AllowSFTPByGroup=yes", "", "A; C?d; X"},
    {"a rank without a group has a row and makes it", I::ScpGroup, "SCP Groups", "", "", "A", "X,A",
     "Only allow configured groups scp access=on; SCP Groups=A; press Up", "", "A; X", true,
     "AllowSCPByGroup=yes", "", "A; X"},
};

TEST(TransferLists, KeepWhatTheyAreGiven) {
  for (const Scenario& scenario : kScenarios) {
    SCOPED_TRACE(scenario.what);
    Pages pages;
    const CStringList words = text::Split(scenario.list, ' ');
    const std::string service = Key(words[0]);
    const std::string folder = service + "\\" + words[1];
    Store(Key("SSHD"), scenario.server);
    Store(service, scenario.stored);
    for (const std::string& key : scenario.keys) PageDriver::MakeKey(folder + "\\" + key);
    if (!scenario.order.empty()) PageDriver::Store("Order", scenario.order, folder);
    pages.Show(scenario.page);
    pages.Do(scenario.acts);
    pages.ExpectShown(scenario.shown);
    EXPECT_EQ(pages.Rows(scenario.list), scenario.rows);
    EXPECT_EQ(pages.driver.Modified(), scenario.modified);
    EXPECT_TRUE(pages.driver.Apply());
    ExpectValues(Key("SSHD"), scenario.serverAfter);
    ExpectValues(service, scenario.storedAfter);
    EXPECT_EQ(KeysOf(folder), scenario.keysAfter);
    const CString order = text::Joined(scenario.rows, ",");
    EXPECT_EQ(PageDriver::Stored("Order", folder).value_or(order), order);
  }
}

TEST(TransferLists, KeepBothKeysInOneUnderAConfiguration) {
  Pages pages(true);
  for (const char* key : {R"(SFTP\Users\bob)", R"(SCP\Groups\A)"}) PageDriver::MakeKey(ConfigurationKey(key));
  Store(ConfigurationKey(R"(SCP\Groups)"), {"Order=A"});
  pages.Show(I::Sftp, "pagetest::SFTP Users");
  pages.Do(kSftpOn);
  pages.Show(I::ScpGroup, "pagetest::SCP Groups");
  pages.Do("Only allow configured groups scp access=on");
  EXPECT_TRUE(pages.driver.Apply());
  ExpectValues(ConfigurationKey("SFTP"), "AllowSFTPByUser=yes; LoggingLevel=0; LogDirectory=");
  ExpectValues(ConfigurationKey("SCP"), "AllowSCPByGroup=yes");
  ExpectValues(ConfigurationKey("SSHD"), {});
  ExpectValues(Key("SSHD"), {});
}

class LogDirectory : public ::testing::Test {
 protected:
  static constexpr const char* kFolder = "C:\\PageTest\\sftp logs";
  void SetUp() override {
    CreateDirectoryA("C:\\PageTest", nullptr);
    RemoveDirectoryA(kFolder);
  }
  void TearDown() override { RemoveDirectoryA(kFolder); }
  // Applies the setting; what the page tells, the question first.
  Texts Told(const char* level, const std::string& folder, const char* answer,
             std::string_view computer = "") {
    Pages pages(false, computer);
    PageDriver::MakeKey(Key("SFTP\\Users\\bob"));
    pages.Show(I::Sftp);
    pages.Do({std::string("Logging=") + level});
    EXPECT_EQ(pages.driver.Enabled("Directory for Log Files"), std::string_view(level) != "Off");
    pages.driver.frontEnd.AddPath(folder);
    pages.driver.Press("Browse");
    Texts told;
    pages.driver.frontEnd.standingAnswer = [&](std::string_view question) {
      EXPECT_EQ(PageDriver::Stored("LogDirectory", Key("SFTP")), folder)
          << "it asks when the value is written";
      told.emplace_back(question);
      return std::optional<std::string>(answer);
    };
    EXPECT_TRUE(pages.driver.Apply());
    for (const std::string& message : pages.driver.frontEnd.Messages()) told.push_back(message);
    return told;
  }
  static bool Exists() { return DirectoryExists(kFolder); }
};

TEST_F(LogDirectory, IsMadeWherePeopleWantIt) {
  const std::string question = std::string("Directory ") + kFolder + " does not exist.  Create it?";
  EXPECT_THAT(Told("Off", kFolder, "Yes"), IsEmpty());
  EXPECT_THAT(Told("Status", "", "Yes"), IsEmpty());
  EXPECT_THAT(Told("Transfers", kFolder, "No"), ElementsAre(question));
  EXPECT_FALSE(Exists());
  EXPECT_THAT(Told("Status", kFolder, "Yes"), ElementsAre(question));
  EXPECT_TRUE(Exists());
  EXPECT_THAT(Told("Status", kFolder, "Yes"), IsEmpty());
  EXPECT_THAT(Told("Status", "C:\\PageTest\\none\\below", "Yes"),
              ElementsAre("Directory C:\\PageTest\\none\\below does not exist.  Create it?",
                          "Unable to create directory C:\\PageTest\\none\\below."));
}

// This computer by its name: the share is looked at, which is not there, though the folder itself is.
TEST_F(LogDirectory, OfANamedComputerIsSoughtByItsShareAndMadeHere) {
  char name[MAX_COMPUTERNAME_LENGTH + 1];
  DWORD size = sizeof name;
  ASSERT_TRUE(GetComputerNameA(name, &size));
  const std::string question = std::string("Directory ") + kFolder + " does not exist.  Create it?";
  EXPECT_THAT(Told("Status", kFolder, "Yes", name), ElementsAre(question));
  EXPECT_TRUE(Exists());
  EXPECT_THAT(Told("Status", kFolder, "Yes", name),
              ElementsAre(question, std::string("Unable to create directory ") + kFolder + "."));
}

// Two targets wait; what the screen shows is asked about for each whose folder is not there.
TEST_F(LogDirectory, IsAskedForByTheScreensText) {
  Pages pages(true);
  for (const char* target : {"pagetest::SFTP Users", "::own"}) {
    pages.Show(I::Sftp, target);
    pages.Do({"Logging=Status", std::string("Directory for Log Files=C:\\PageTest\\") +
                                    (*target == ':' ? "on screen" : "not there")});
  }
  Texts asked;
  pages.driver.frontEnd.standingAnswer = [&asked](std::string_view question) {
    asked.emplace_back(question);
    return std::optional<std::string>("No");
  };
  EXPECT_TRUE(pages.driver.Apply());
  const std::string question = "Directory C:\\PageTest\\on screen does not exist.  Create it?";
  EXPECT_THAT(asked, ElementsAre(question, question));
}

TEST(TransferLists, CopyWhatWaitsButNotTheTwoSteps) {
  Pages pages;
  Store(Key("SFTP\\Users\\alice"), {"StartDir=D:\\a", "MatchString=*.zip"});
  pages.Show(I::SftpUser, "SFTP Users::alice");
  pages.Do({"Show hidden files=on"});
  pages.Show(I::Sftp);
  pages.Do({"SFTP Users=alice", "press Copy User|User Name=bob|Domain=CORP|OK"});
  EXPECT_THAT(KeysOf(Key("SFTP\\Users")), ElementsAre("alice"));
  EXPECT_TRUE(pages.driver.Apply());
  ExpectValues(Key("SFTP\\Users\\CORP?bob"), {"StartDir=D:\\a", "MapUserDrives=no", "ThreadDriveMap=no",
                                              "ShowHiddenFiles=yes", "ClientRootMode=mroot", "vRoots:7=~"});
  pages.Do({"SFTP Users=CORP\\bob", "press Copy User|User Name=carol|OK", "SFTP Users=carol",
            "press Delete User|Yes"});
  EXPECT_FALSE(pages[I::SftpUser].m_pending.contains("SFTP Users::carol"));
  EXPECT_EQ(pages.driver.hostCalls.back(), "remove SFTP Users::carol with family");
  pages.Do({"SFTP Users=alice", "press Delete User|No", "press New User|User Name=alice|OK"});
  EXPECT_THAT(pages.driver.frontEnd.Messages(), ElementsAre("Cannot add user. User alice already exists."));
}

// The pages of SCP principals hear no list: what waits there is written when the sheet is.
TEST(TransferLists, LeaveCopiesOfScpToTheSheet) {
  Pages pages;
  Store(Key("SCP\\Users\\Default"), {"SCPHomeDir=D:\\d"});
  pages.Show(I::Scp);
  pages.Do({"press New User|User Name=bob|OK"});
  EXPECT_TRUE(pages[I::Scp].OnKillActive());
  EXPECT_TRUE(pages[I::Scp].OnApply());
  ExpectValues(Key("SCP\\Users\\bob"), {});
  EXPECT_TRUE(pages.driver.Apply());
  EXPECT_EQ(PageDriver::Stored("SCPHomeDir", Key("SCP\\Users\\bob")), "D:\\d");
}

TEST(TransferLists, StartGroupsFromTheUserDefault) {
  const struct {
    PageIndex list;
    const char* node;
    const char* service;
    const char* value;
  } cases[] = {{I::SftpGroup, "SFTP Groups", "SFTP", "StartDir"},
               {I::ScpGroup, "SCP Groups", "SCP", "SCPHomeDir"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.service);
    Pages pages;
    const std::string service = Key(c.service);
    Store(service + "\\Users\\Default", {std::string(c.value) + "=D:\\of users"});
    Store(service + "\\Groups\\Default", {std::string(c.value) + "=D:\\of groups"});
    Store(service + "\\Groups", {"Order=Default"});
    pages.Show(c.list);
    pages.Do({"press New Group|Available Groups=Users|<- Add|OK", std::string(c.node) + "=Default",
              "press Copy Group|Available Groups=Guests|<- Add|OK"});
    EXPECT_TRUE(pages.driver.Apply());
    EXPECT_EQ(PageDriver::Stored(c.value, service + "\\Groups\\BUILTIN?Users"), "D:\\of users");
    EXPECT_EQ(PageDriver::Stored(c.value, service + "\\Groups\\BUILTIN?Guests"), "D:\\of groups");
    EXPECT_EQ(PageDriver::Stored("Order", service + "\\Groups"), "Default,BUILTIN\\Users,BUILTIN\\Guests");
  }
}

// Which messages make a page write what waits: those of an export and those of the lists.
TEST(TransferPages, HearTheirSiblings) {
  for (const TransferPage& tested : kPages) {
    SCOPED_TRACE(tested.title + std::string(tested.appended));
    const bool list = *tested.secondKey != '\0';
    const bool deaf = tested.index == I::ScpUser || tested.index == I::ScpGroupUser ||
                      tested.index == I::SftpUserTempFeature;
    for (const unsigned code : {2u, 4u}) {
      Pages pages;
      const std::string node(text::Replaced(tested.title, "*SFTP Users|", ""));
      pages.Show(tested.index, node + text::Replaced(tested.appended, "*", "joe"));
      for (const auto& control : pages[tested.index].Controls()) {
        if (control->Kind() == ControlKind::CheckBox && control->IsWindowVisible() && control->Click()) break;
        if (control->Kind() == ControlKind::Edit && control->Put("D:\\x")) break;
      }
      EXPECT_TRUE(pages.driver.sheet.LeaveActivePage());
      EXPECT_EQ(pages[tested.index].m_pending.size(), 1u);
      EXPECT_EQ(pages[tested.index].OnQuerySiblings(code, 0), 0);
      EXPECT_EQ(pages[tested.index].m_pending.empty(), !deaf && (code == 2 || !list)) << code;
    }
  }
}

// The services' own keys name no help file.
TEST(TransferPages, FindTheirHelpByTheServersKey) {
  constexpr const char* kServerKey = R"(Software\TesselWorks\SSHD)";
  const auto before = PageDriver::Stored("HelpFile", kServerKey);
  Pages pages;
  Store(kServerKey, {"HelpFile=C:\\m.chm"});
  Store(Key("SSHD"), {"HelpFile=C:\\m.chm"});
  for (const TransferPage& page : kPages) {
    pages[page.index].WinHelp();
    EXPECT_EQ(pages.driver.frontEnd.Opened().back(), std::string("C:\\m.chm") + page.helpTopic);
  }
  CTesselRegObject key(HKEY_LOCAL_MACHINE);
  key.CreateKey(kServerKey);
  before ? static_cast<void>(key.SetStringValue("HelpFile", *before)) : key.DeleteValue("HelpFile");
}

}  // namespace
