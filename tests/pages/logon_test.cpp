#include "tests/pages/session_pages.h"

using namespace session_pages;

namespace {

const Scenario kLogonScenarios[] = {
    {"an empty key", "", "",
     "Map User Drives=on; Map drives in background=off; Run Windows Logon Script=off; Ask for Terminal "
     "Type=off; Ask for Screen Mode=off; Ask for Color Mode=off; Ask for CharacterMap=off",
     "Map drives in background=1", false, ""},
    {"every box turned", "",
     "Run Windows Logon Script=on; Map drives in background=on; Map User Drives=off; Ask for Color Mode=on",
     "Map drives in background=on", "Map drives in background=0", true,
     "AskForConsoleMode=no; AskForColor=yes; AskForTermType=no; RunNTScript=yes; AskForCharMap=no; "
     "MapUserDrives=no; ThreadDriveMap=yes"},
    {"the other ones", "", "Ask for Terminal Type=on; Ask for CharacterMap=on; Ask for Screen Mode=on", "",
     "", true,
     "AskForConsoleMode=yes; AskForColor=no; AskForTermType=yes; RunNTScript=no; AskForCharMap=yes; "
     "MapUserDrives=yes; ThreadDriveMap=no"},
    {"showing a principal leaves the background's box enabled", "MapUserDrives=no; ThreadDriveMap=YES", "",
     "Map User Drives=off; Map drives in background=on", "Map drives in background=1", false,
     "ThreadDriveMap=YES"},
    {"only yes is on", "MapUserDrives=true; RunNTScript=1", "",
     "Map User Drives=off; Run Windows Logon Script=off", "", false, ""},
};

TEST(SessionPages, Logon) {
  for (const Scenario& scenario : kLogonScenarios) Expect(kLogon, scenario);
}

}  // namespace
