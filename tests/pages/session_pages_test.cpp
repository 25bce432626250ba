// What the pages of a principal's session have in common, and who of them hears and does what.

#include "tests/pages/session_pages.h"

using namespace session_pages;

namespace {

constexpr const char* kClose = "Close cmd.exe shell after running startup program";

// Notes what a file dialog is asked.
struct NotingFrontEnd : ScriptedFrontEnd {
  std::optional<std::string> PickFile(const FileRequest& request) override {
    asked = request;
    return ScriptedFrontEnd::PickFile(request);
  }
  FileRequest asked;
};

TEST(SessionPages, BrowsingStartsAtTheProgramAndOnlyMarks) {
  constexpr const char* kShellFilter = "Programs (*.exe)|*.exe|All Files (*.*)|*.*||";
  constexpr const char* kStartupFilter =
      "Programs (*.exe)|*.exe|Batch Files (*.bat)|*.bat|All Files (*.*)|*.*||";
  const std::tuple<const SessionPage*, const char*, const char*, const char*> edits[] = {
      {&kConsole, "Shell/Custom Program", "Browse", kShellFilter},
      {&kConsole, "Startup Program", "Browse#2", kStartupFilter},
      {&kStream, "Shell/Custom Program", "Browse", kShellFilter},
      {&kStream, "Startup Program", "Browse#2", kStartupFilter},
      {&kNonInteractive, "Shell Spec", "Browse", kShellFilter},
  };
  const std::pair<const char*, const char*> starts[] = {
      {"\"C:\\Program Files\\a.exe\" /k", "C:\\Program Files\\a.exe"},
      {"\"C:\\open ended", "C:\\open ended"},
      {"cmd.exe /k", "cmd.exe"},
      {" blank", " blank"},
      {"\"\" x", "\"\" x"},
      {"", ""},
  };
  for (const auto& [tested, edit, button, filter] : edits) {
    SCOPED_TRACE(std::string(tested->node) + ": " + edit);
    PageDriver driver;
    NotingFrontEnd frontEnd;
    FrontEnd* const before = SetFrontEnd(&frontEnd);
    PageDriver::MakeKey(Key("Users\\joe"));
    driver.Show(Add(driver, *tested), std::string("Users::joe") + tested->node);
    for (const auto& [line, start] : starts) {
      driver.Put(edit, line);
      frontEnd.AddPath(line);
      driver.Press(button);
      EXPECT_EQ(frontEnd.asked.fileName, start);
      EXPECT_FALSE(frontEnd.asked.save);
    }
    EXPECT_EQ(frontEnd.asked.filter, filter);
    EXPECT_TRUE(driver.Modified()) << "a choice marks the page, also one that changes nothing";
    driver.Get<CEdit>(edit).LeaveFocus();
    EXPECT_TRUE(driver.Modified()) << "leaving the edit compares nothing";
    frontEnd.AddPath("C:\\cmd.exe");
    driver.Press(button);
    EXPECT_TRUE(driver.Apply());
    EXPECT_EQ(PageDriver::Stored(driver.Get<CEdit>(edit).storedAs.c_str(), Key("Users\\joe")), "C:\\cmd.exe");
    SetFrontEnd(before);
  }
}

// A choice does not reach the box; leaving the edit does.
TEST(SessionPages, LeavingTheShellEnablesItsBox) {
  for (const SessionPage* tested : {&kConsole, &kStream}) {
    PageDriver driver;
    PageDriver::MakeKey(Key("Users\\joe"));
    driver.Show(Add(driver, *tested), std::string("Users::joe") + tested->node);
    driver.frontEnd.AddPath("C:\\cmd.exe");
    driver.Press("Browse");
    EXPECT_FALSE(driver.Enabled(kClose));
    driver.Get<CEdit>("Shell/Custom Program").LeaveFocus();
    EXPECT_TRUE(driver.Enabled(kClose));
  }
}

// A visit alone makes an edit where no mode is stored.
TEST(SessionPages, AVisitStoresTheModeThatIsShown) {
  PageDriver driver;
  CTesselPropertyPage& commands = Add(driver, kNonInteractive);
  CTesselPropertyPage& other = Add(driver, kKeyboard);
  PageDriver::MakeKey(Key("IPs\\10.0.0.1-10.0.0.9"));
  driver.Show(commands, "IP Range::10.0.0.1-10.0.0.9::NonInteractive Command Settings");
  driver.Show(other, "IP Range::10.0.0.1-10.0.0.9::Keyboard");
  EXPECT_EQ(commands.m_pending.size(), 1u);
  EXPECT_EQ(other.m_pending.size(), 0u);
  EXPECT_TRUE(driver.Apply());
  server_pages::ExpectStored("NonInteractiveMode=Advanced Console", Key("IPs\\10.0.0.1-10.0.0.9"));
}

// A flag of one box alone, by the value that the server knows it by.
TEST(SessionPages, EachBoxHasAValueOfItsOwn) {
  const struct {
    const SessionPage* page;
    const char* caption;
    const char* value;
  } boxes[] = {
      {&kConsole, "Use Monochrome", "Monochrome"},
      {&kConsole, "Reverse Video", "ReverseVideo"},
      {&kConsole, "Use optimized screen read", "AdvancedScreenScraper"},
      {&kConsole, "Line by line screen comparison", "CompareByLine"},
      {&kConsole, "Clear to eoln outside of drawing rectangle", "ClearEOLNonRectDraw"},
      {&kConsole, "Enable Application Wrap", "AutoWrapApps"},
      {&kConsole, "Slow Network Connection", "SlowConnection"},
      {&kConsole, "Largest Packet Size", "UsePacketSize"},
      {&kConsole, "Close cmd.exe shell after running startup program", "CloseShell"},
      {&kStream, "Close cmd.exe shell after running startup program", "CloseStreamShell"},
      {&kStream, "Echo Input Characters", "LocalEcho_SMode"},
      {&kStream, "Process Input Lines", "ProcessLine_SMode"},
      {&kLogon, "Run Windows Logon Script", "RunNTScript"},
      {&kLogon, "Map drives in background", "ThreadDriveMap"},
      {&kLogon, "Ask for Terminal Type", "AskForTermType"},
      {&kLogon, "Ask for Screen Mode", "AskForConsoleMode"},
      {&kLogon, "Ask for Color Mode", "AskForColor"},
      {&kLogon, "Ask for CharacterMap", "AskForCharMap"},
  };
  for (const auto& box : boxes) {
    SCOPED_TRACE(box.caption);
    PageDriver driver;
    PageDriver::Store(box.value, "Yes", Key("Users\\joe"));
    CTesselPropertyPage& page = Add(driver, *box.page);
    driver.Show(page, std::string("Users::joe") + box.page->node);
    for (const auto& control : page.Controls()) {
      if (control->Kind() != ControlKind::CheckBox) continue;
      const bool ownDefault =
          control->caption == "Map User Drives" || control->caption == "Send terminal initialization string";
      EXPECT_EQ(control->Value(), control->caption == box.caption || ownDefault ? "on" : "off")
          << control->caption;
    }
  }
}

// Who hears that lists and the configuration page have changed something; the forwarding page waits.
TEST(SessionPages, HearTheirSiblings) {
  const std::pair<const SessionPage*, const char*> edits[] = {
      {&kConsole, "Rows=7"},
      {&kStream, "Startup Program=7"},
      {&kNonInteractive, "Shell Spec=7"},
      {&kKeyboard, "Re-Map ALT Key=7"},
      {&kLogon, "Ask for Color Mode=on"},
      {&kForwarding, "Denied Access=on"},
      {&kHandheld, "seconds#2=7"},
  };
  for (const auto& [tested, edit] : edits) {
    SCOPED_TRACE(tested->node);
    const bool hears = tested != &kForwarding;
    for (const unsigned code : {2u, 4u}) {
      PageDriver driver;
      for (const char* key : {"Users\\joe", "Users\\joejoe"}) PageDriver::MakeKey(Key(key));
      CTesselPropertyPage& page = Add(driver, *tested);
      driver.Show(page, std::string("Users::joe") + tested->node);
      if (tested == &kHandheld) driver.Put("Reconnect Sessions", "Yes");
      Perform(driver, edit);
      ASSERT_TRUE(page.OnKillActive());
      EXPECT_EQ(page.m_pending.size(), 1u);
      EXPECT_EQ(page.QuerySiblings(code, 0), 0);
      EXPECT_EQ(page.m_pending.empty(), hears) << code;
      EXPECT_EQ(driver.Modified(), !hears) << code;
      EXPECT_EQ(page.QuerySiblings(3, 0), 0);
    }
  }
}

// An import puts the stored record behind the screen, which follows when the page is next shown.
TEST(SessionPages, AnImportIsReadAgain) {
  PageDriver driver;
  CTesselPropertyPage& page = Add(driver, kKeyboard);
  const std::string key = Key("Users\\joe");
  PageDriver::MakeKey(key);
  driver.Show(page, "Users::joe::Keyboard");
  PageDriver::Store("AltKey", "5", key);
  EXPECT_EQ(page.QuerySiblings(1, 0), 0);
  EXPECT_EQ(driver.Value("Re-Map ALT Key"), "1");
  driver.Show(page, "Users::joe::Keyboard");
  EXPECT_EQ(driver.Value("Re-Map ALT Key"), "5");
}

}  // namespace

namespace principal_pages {

// A copy takes what stands on seven pages; the other three start from their own defaults.
TEST_F(PrincipalsTest, ANewUserIsACopyOfDefaultButForThreePages) {
  for (const auto* page :
       {&kConsole, &kStream, &kNonInteractive, &kKeyboard, &kLogon, &kForwarding, &kHandheld})
    Add(driver, *page);
  const char* const values[] = {"UserShell", "UserShell_SMode", "AltKey", "NonInteractiveShell"};
  for (const char* value : values) PageDriver::Store(value, "9", Key("Users\\Default"));
  PageDriver::Store("RunNTScript", "yes", Key("Users\\Default"));
  PageDriver::Store("ServerHeartbeat", "60", Key("Users\\Default"));
  PageDriver::Store("DefaultFwdAccess", "denied", Key("Users\\DefaultDefault"));
  driver.Show(users);
  PressWith("New User", {"User Name=alice", "Domain=CORP", "OK"});
  ASSERT_TRUE(driver.Apply());
  server_pages::ExpectStored(
      "UserShell=9; UserShell_SMode=9; AltKey=9; RunNTScript=yes; NonInteractiveShell=(absent); "
      "ServerHeartbeat=(absent); DefaultFwdAccess=(absent)",
      Key("Users\\CORP?alice"));
  EXPECT_FALSE(PageDriver::HasKey(Key("Users\\CORP?aliceCORP?alice")));
}

// Once a list has made a principal, the users' Apply writes the forwarding page too, and two pages wait for
// their own.
TEST_F(PrincipalsTest, TheUsersApplyForwardingToo) {
  for (const auto* page : {&kNonInteractive, &kForwarding, &kHandheld}) Add(driver, *page);
  PageDriver::MakeKey(Key("Users\\joejoe"));
  driver.Show(users);
  PressWith("New User", {"User Name=joe", "OK"});
  ASSERT_TRUE(driver.Apply());
  const std::pair<const SessionPage*, const char*> edits[] = {{&kNonInteractive, "Shell Spec=7"},
                                                              {&kForwarding, "Denied Access=on"},
                                                              {&kHandheld, "Reconnect Sessions=Yes"}};
  for (const auto& [tested, edit] : edits) {
    driver.Show(*PageAt<CTesselPropertyPage>(tested->index), std::string("Users::joe") + tested->node);
    Perform(driver, edit);
  }
  driver.Show(general, "Users::joe");
  ASSERT_TRUE(users.OnApply());
  for (const auto& [tested, edit] : edits) {
    EXPECT_EQ(PageAt<CTesselPropertyPage>(tested->index)->m_pending.empty(), tested == &kForwarding);
  }
  server_pages::ExpectStored("DefaultFwdAccess=denied", Key("Users\\joejoe"));
}

}  // namespace principal_pages
