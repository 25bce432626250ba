#include "tests/pages/session_pages.h"

using namespace session_pages;

namespace {

constexpr const char* kClose = "Close cmd.exe shell after running startup program";

const Scenario kConsoleScenarios[] = {
    {"an empty key", "", "",
     "Shell/Custom Program=; Foreground=White; Background=Black; Columns=80; Rows=24; Initial=100; "
     "Increment=200; Maximum=3000; DEC Graphic Character Set=Supplemental; Enable Application Wrap=off; "
     "Custom Sequence=; Largest Packet Size=off",
     std::string(kClose) + "=0; Reverse Video=0; Largest Packet Size#2=0; Custom Sequence=0", false, ""},
    {"every text and list", "",
     "Shell/Custom Program=cmd.exe /k; Startup Program=run.bat; Rows=50; Columns=132; Foreground=Intense "
     "Green; Background=Blue; Use Monochrome=on; Default Character Mapping=Map; Initial=1; Increment=2; "
     "Maximum=3; Largest Packet Size=on; Largest Packet Size#2=512; DEC Graphic Character Set=Custom; Custom "
     "Sequence=abc",
     "", std::string(kClose) + "=1; Reverse Video=1; Largest Packet Size#2=1; Custom Sequence=1", true,
     "Monochrome=yes; AdvancedScreenScraper=no; AutoWrapApps=no; SlowConnection=no; PacketSize=512; "
     "UsePacketSize=yes; ReverseVideo=no; CharMap=Map; ScreenBackGround=Blue; ScreenForeGround=Intense "
     "Green; "
     "OA_WaitIncr=2; OA_WaitInit=1; OA_WaitMax=3; UserShell=cmd.exe /k; UserShellInitializer=run.bat; "
     "DefaultColumns=132; DefaultRows=50; CloseShell=no; DECCharSet=7; DECCustom=abc; CompareByLine=no; "
     "ClearEOLNonRectDraw=no"},
    {"what is left at its default is written too", "", "Use optimized screen read=on", "", "", true,
     "Monochrome=no; AdvancedScreenScraper=yes; AutoWrapApps=no; SlowConnection=no; PacketSize=; "
     "UsePacketSize=no; ReverseVideo=no; CharMap=; ScreenBackGround=Black; ScreenForeGround=White; "
     "OA_WaitIncr=200; OA_WaitInit=100; OA_WaitMax=3000; UserShell=; UserShellInitializer=; "
     "DefaultColumns=80; DefaultRows=24; CloseShell=no; DECCharSet=1; DECCustom=; CompareByLine=no; "
     "ClearEOLNonRectDraw=no"},
    {"five texts hang on the foreground",
     "ScreenForeGround=" + Times(260, 'W') +
         "; OA_WaitIncr=1; OA_WaitInit=2; OA_WaitMax=3; DefaultColumns=4; DefaultRows=5; "
         "ScreenBackGround=Red",
     "", "Increment=; Initial=; Maximum=; Columns=; Rows=; Background=Red", "", false, "OA_WaitIncr=1"},
    {"which makes a default of what can't be read",
     "OA_WaitIncr=" + Times(260, '1') + "; OA_WaitInit=" + Times(260, '1') + "; OA_WaitMax=" +
         Times(260, '1') + "; DefaultColumns=" + Times(260, '1') + "; DefaultRows=" + Times(260, '1'),
     "", "Increment=200; Initial=100; Maximum=3000; Columns=80; Rows=24", "", false,
     "DefaultRows=" + Times(260, '1')},
    {"the character set hangs on the shell's flag", "CloseShell=" + Times(260, 'y') + "; DECCharSet=3", "",
     "DEC Graphic Character Set=Ascii", "", false, "DECCharSet=3"},
    {"which makes a default of it likewise", "DECCharSet=" + Times(260, '3'), "",
     "DEC Graphic Character Set=Supplemental", "", false, ""},
    {"a character set beyond the table is no row, and looking at it no edit", "DECCharSet=8", "",
     "DEC Graphic Character Set=", "Custom Sequence=0", false, "DECCharSet=8"},
    {"one before it likewise", "DECCharSet=-2", "", "DEC Graphic Character Set=", "", false, "DECCharSet=-2"},
    {"it is lost with the next edit", "DECCharSet=2147483647", "Rows=1", "", "", true, "DECCharSet=-1"},
    {"a character set that is no number is the first one", "DECCharSet=x", "",
     "DEC Graphic Character Set=Ascii", "", false, "DECCharSet=x"},
    {"a packet size says by itself that it counts", "PacketSize=512", "", "Largest Packet Size=on",
     "Largest Packet Size#2=1", false, "UsePacketSize=(absent)"},
    {"also one of two zeros", "PacketSize=00", "", "Largest Packet Size=on", "", false, ""},
    {"but not one of one", "PacketSize=0", "", "Largest Packet Size=off", "", false, ""},
    {"and not against its flag", "PacketSize=512; UsePacketSize=no", "", "Largest Packet Size=off", "", false,
     ""},
    {"a flag is on for yes alone", "SlowConnection=YES; AutoWrapApps=true", "",
     "Slow Network Connection=on; Enable Application Wrap=off", "", false, ""},
    {"case is a difference of texts", "CharMap=map; UserShell=Cmd.exe", "Default Character Mapping=Map", "",
     std::string(kClose) + "=1", true, "CharMap=Map"},
    {"the shell's flag stays while its box is disabled", "UserShell=bash; CloseShell=yes", "Rows=1",
     std::string(kClose) + "=on", std::string(kClose) + "=0", true, "CloseShell=yes"},
    {"typing a shell enables it", "", "Shell/Custom Program=D:\\CMD.EXE; Shell/Custom Program=", "",
     std::string(kClose) + "=0", false, ""},
    {"another set disables the sequence", "DECCharSet=7", "DEC Graphic Character Set=Technical", "",
     "Custom Sequence=0", true, "DECCharSet=3"},
    {"the boxes disable what hangs on them", "Monochrome=yes; UsePacketSize=yes",
     "Use Monochrome=off; Largest Packet Size=off", "", "Reverse Video=0; Largest Packet Size#2=0", true,
     "Monochrome=no; UsePacketSize=no"},
};

TEST(SessionPages, ConsoleSettings) {
  for (const Scenario& scenario : kConsoleScenarios) Expect(kConsole, scenario);
}

}  // namespace
