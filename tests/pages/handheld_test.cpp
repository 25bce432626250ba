#include "tests/pages/session_pages.h"

using namespace session_pages;

namespace {

const Scenario kHandheldScenarios[] = {
    {"an empty key", "", "",
     "Server to client heartbeat=off; hours=0; minutes=0; seconds=0; Reconnect Sessions=No; hours#2=0; "
     "minutes#2=0; seconds#2=0",
     "hours=0; minutes=0; seconds=0; hours#2=0; minutes#2=0; seconds#2=0", false, ""},
    {"all of it", "",
     "Server to client heartbeat=on; hours=1; minutes=2; seconds=3; Reconnect Sessions=Ask; hours#2=10000; "
     "minutes#2=90; seconds#2=4",
     "", "hours=1; minutes=1; seconds=1; hours#2=1; minutes#2=1; seconds#2=1", true,
     "UseHeartbeat=yes; ServerHeartbeat=3723; ReconnectSessions=Ask; ReconnectWindow=36005404"},
    {"a time shows with its box empty", "ServerHeartbeat=3661", "",
     "Server to client heartbeat=off; hours=1; minutes=1; seconds=1", "hours=0", false, ""},
    {"a box is ticked without a time", "ServerHeartbeat=0; UseHeartbeat=YES", "",
     "Server to client heartbeat=on; hours=0; seconds=0", "hours=1", false, ""},
    {"where the word can't be read the time says it", "ServerHeartbeat=5; UseHeartbeat=" + Times(260, 'n'),
     "", "Server to client heartbeat=on; seconds=5", "", false, ""},
    {"also that there is none", "ServerHeartbeat=0; UseHeartbeat=" + Times(260, 'y'), "",
     "Server to client heartbeat=off", "", false, ""},
    {"a time that can't be read is none",
     "ServerHeartbeat=" + Times(260, '1') + "; ReconnectSessions=" + Times(260, 'Y') +
         "; ReconnectWindow=" + Times(260, '1'),
     "", "hours=0; Reconnect Sessions=No; hours#2=", "", false, ""},
    {"a choice that is no row is an edit as it is shown", "ReconnectSessions=Never", "",
     "Reconnect Sessions=", "hours#2=1", true, "ReconnectSessions="},
    {"one that begins a row counts as that row", "ReconnectSessions=n; ReconnectWindow=61", "",
     "Reconnect Sessions=No; minutes#2=1; seconds#2=1", "hours#2=0", true,
     "ReconnectSessions=No; ReconnectWindow=61"},
    {"case is no difference", "ReconnectSessions=yes", "", "Reconnect Sessions=Yes", "hours#2=1", false,
     "ReconnectSessions=yes"},
};

TEST(SessionPages, Handheld) {
  for (const Scenario& scenario : kHandheldScenarios) Expect(kHandheld, scenario);
}

TEST(SessionPages, TheChoiceOnTheScreenIsWrittenForAll) {
  PageDriver driver;
  CTesselPropertyPage& page = Add(driver, kHandheld);
  for (const char* name : {"ann", "bob"}) PageDriver::MakeKey(Key(std::string("Users\\") + name));
  driver.Show(page, "Users::ann::Handheld");
  Perform(driver, "Reconnect Sessions=Ask; minutes#2=5");
  driver.Show(page, "Users::bob::Handheld");
  Perform(driver, "Reconnect Sessions=Yes");
  EXPECT_TRUE(driver.Apply());
  test_support::ExpectWritten(Key("Users\\ann"), {"UseHeartbeat=no", "ServerHeartbeat=0",
                                                  "ReconnectSessions=Yes", "ReconnectWindow=300"});
  server_pages::ExpectStored("ReconnectSessions=Yes; ReconnectWindow=0", Key("Users\\bob"));
}

}  // namespace
