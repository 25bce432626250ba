#include "tests/pages/session_pages.h"

using namespace session_pages;

namespace {

constexpr const char* kSuppress = "Suppress Input Pipe  (Only valid in Full Stream Mode)";

const Scenario kNonInteractiveScenarios[] = {
    // A visit is enough: Apply follows it here.
    {"an empty key", "", "", "Execution Mode=Advanced Console", std::string(kSuppress) + "=0", false,
     "NonInteractiveShell=; NonInteractiveMode=Advanced Console; NonInteractiveInputSuppression=no"},
    {"all of it", "", "Execution Mode=Full Stream; Shell Spec=sh; " + std::string(kSuppress) + "=on", "",
     std::string(kSuppress) + "=1", true,
     "NonInteractiveShell=sh; NonInteractiveMode=Full Stream; NonInteractiveInputSuppression=yes"},
    {"a mode that is no row becomes the first", "NonInteractiveMode=Stream", "",
     "Execution Mode=Advanced Console", "", false, "NonInteractiveMode=Advanced Console"},
    {"one that begins a row becomes that, and the box follows what is stored", "NonInteractiveMode=full", "",
     "Execution Mode=Full Stream", std::string(kSuppress) + "=0", false, "NonInteractiveMode=Full Stream"},
    {"the box follows without regard to case", "NonInteractiveMode=FULL STREAM", "",
     "Execution Mode=Full Stream", std::string(kSuppress) + "=1", false, "NonInteractiveMode=Full Stream"},
    {"a disabled box keeps what is stored",
     "NonInteractiveMode=Full Stream; NonInteractiveInputSuppression=Yes", "Execution Mode=Advanced Console",
     std::string(kSuppress) + "=on", std::string(kSuppress) + "=0", true,
     "NonInteractiveInputSuppression=yes"},
    {"case is a difference of texts", "NonInteractiveMode=Full Stream; NonInteractiveShell=a", "Shell Spec=A",
     "", "", true, "NonInteractiveShell=A"},
};

TEST(SessionPages, NonInteractiveCommandSettings) {
  for (const Scenario& scenario : kNonInteractiveScenarios) Expect(kNonInteractive, scenario);
}

}  // namespace
