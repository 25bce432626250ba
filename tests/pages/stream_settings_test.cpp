#include "tests/pages/session_pages.h"

using namespace session_pages;

namespace {

constexpr const char* kClose = "Close cmd.exe shell after running startup program";

const Scenario kStreamScenarios[] = {
    {"an empty key", "", "",
     "Send terminal initialization string=on; Convert single linefeed or carriage return input to CR/LF=off",
     std::string(kClose) + "=0", false, ""},
    {"all of it", "",
     "Shell/Custom Program=C:\\Cmd.exe; Startup Program=a.bat; Echo Input Characters=on; Convert single "
     "linefeed "
     "or carriage return input to CR/LF=on",
     "", std::string(kClose) + "=1", true,
     "UserShell_SMode=C:\\Cmd.exe; UserShellInitializerStream=a.bat; LocalEcho_SMode=yes; "
     "ProcessLine_SMode=no; CloseStreamShell=no; StreamPassThru=no; StreamInitTerm=yes"},
    {"input that is not converted passes", "",
     "Process Input Lines=on; Send terminal initialization string=off", "", "", true,
     "UserShell_SMode=; UserShellInitializerStream=; LocalEcho_SMode=no; ProcessLine_SMode=yes; "
     "CloseStreamShell=no; StreamPassThru=yes; StreamInitTerm=no"},
    {"only no converts", "StreamPassThru=NO", "",
     "Convert single linefeed or carriage return input to CR/LF=on", "", false, ""},
    {"any other text does not", "StreamPassThru=maybe; StreamInitTerm=maybe", "",
     "Convert single linefeed or carriage return input to CR/LF=off; Send terminal initialization string=off",
     "", false, ""},
    {"case is a difference of texts", "UserShell_SMode=a", "Shell/Custom Program=A", "", "", true,
     "UserShell_SMode=A"},
    {"the shell's flag stays while its box is disabled", "UserShell_SMode=bash; CloseStreamShell=yes",
     "Startup Program=x", "", std::string(kClose) + "=0", true, "CloseStreamShell=yes"},
};

TEST(SessionPages, StreamSettings) {
  for (const Scenario& scenario : kStreamScenarios) Expect(kStream, scenario);
}

}  // namespace
