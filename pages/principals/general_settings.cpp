#include "framework/principal_page.h"
#include "pages/pages.h"
#include "pages/principals/code_pages.h"

namespace {

struct UserGenRecord {
  CString screenMode;
  bool useIdleTimeout = false;
  CString idleHours;
  CString idleMinutes;
  CString idleSeconds;
  bool useSessionLimit = false;
  CString sessionLimit;
  CString homeDir;
  CString defaultTerm;
  CString ltaChar;
  bool monitorChildren = false;
  bool logTerminated = false;
  bool passBeep = false;
  CString codePage;
  bool cpTranslate = false;
  bool elevateToken = false;
};

class CPrpUserGen final : public PrincipalPage<CPrpUserGen, UserGenRecord> {
 public:
  using PrincipalPage::PrincipalPage;
  static const PageTable kTable;
};

using R = UserGenRecord;
using C = CPrpUserGen::Controls;
using V = CPrpUserGen::StoredValues;

constexpr std::string_view kScreenModes[] = {"Full Console", "Advanced Console", "Stream", "Full Stream"};
constexpr std::string_view kTerminals[] = {"", "vtxxx", "ansi", "wyse 60 and above", "wyse-50", "ibm3151"};

// The one terminal that has a turnaround character.
bool IsIbmTerminal(const R& record) { return text::EqualNoCase(record.defaultTerm, "ibm3151"); }

constexpr Row kControls[] = {
    C::DropDown<&R::screenMode>("Default Screen Mode", kScreenModes).ByBeginning(Otherwise::FirstRow),
    C::CheckBox<&R::useIdleTimeout>("Idle Session Timeout"),
    C::Edit<&R::idleHours>("hours").DigitsOnly().Range(0, 9999).EnabledBy<&R::useIdleTimeout>(),
    C::Edit<&R::idleMinutes>("minutes").DigitsOnly().Range(0, 59).EnabledBy<&R::useIdleTimeout>(),
    C::Edit<&R::idleSeconds>("seconds").DigitsOnly().Range(0, 59).EnabledBy<&R::useIdleTimeout>(),
    C::CheckBox<&R::useSessionLimit>("User Session Limit"),
    C::Edit<&R::sessionLimit>("User Session Limit").DigitsOnly().EnabledBy<&R::useSessionLimit>(),
    C::Edit<&R::homeDir>("Home Directory"),
    C::BrowseFolder<&R::homeDir>("Home Directory"),
    C::DropDown<&R::defaultTerm>("Default Terminal Type", kTerminals).ByBeginning(Otherwise::FirstRow),
    // Never enabled when it is shown: a principal with that terminal leaves the edit as the one before it
    // did.
    C::Edit<&R::ltaChar>("IBM Turnaround Character")
        .EnabledWhen<IsIbmTerminal, &R::defaultTerm>(Enabling::DisabledWhenShown),
    C::CheckBox<&R::monitorChildren>("Monitor Child Processes"),
    C::CheckBox<&R::logTerminated>("Record Terminated Processes"),
    C::CheckBox<&R::passBeep>("Allow system beep to pass to client"),
    C::CheckBox<&R::cpTranslate>("CodePage Translation"),
    C::DropDown<&R::codePage>("CodePage Translation", kCodePages).Editable().EnabledBy<&R::cpTranslate>(),
    C::CheckBox<&R::elevateToken>("Use Elevated Token (if available)"),
};

// Without an answer the parts of the time, which stand above in the table, say whether it is in force, as
// texts.
bool HasIdleTime(const R& record) {
  return record.idleHours > "0" || record.idleMinutes > "0" || record.idleSeconds > "0";
}

constexpr Value kValues[] = {
    V::Time<&R::idleHours, &R::idleMinutes, &R::idleSeconds>("IdleSessionTimeOut").NoCase(),
    V::Text<&R::sessionLimit>("SessionLimit").NoCase().Absent("0"),
    V::Text<&R::screenMode>("DefaultScreenMode").NoCase().Absent("Full Console"),
    // Three texts are taken when the session limit's switch can be read. A text that can't be read itself
    // then counts as empty.
    V::Text<&R::homeDir>("HomeDir").NoCase().TakenWith("UseSessionLimit"),
    V::Text<&R::defaultTerm>("DefaultTerm").NoCase().TakenWith("UseSessionLimit"),
    V::Text<&R::ltaChar>("LTAChar").NoCase().TakenWith("UseSessionLimit").Absent("13"),
    V::Flag<&R::monitorChildren>("MonitorChildProcess", ReadRule::TrueUnlessNo).Absent(false),
    // Asked for by another spelling than it is written by: the store knows no case in names.
    V::Flag<&R::useIdleTimeout>("UseIdleSessionTimeout", ReadRule::TrueOnlyIfYes)
        .ReadAs("UseIdleSessionTimeOut")
        .AbsentWhen<HasIdleTime>(),
    // On also when it can't be read.
    V::Flag<&R::elevateToken>("ElevateToken", ReadRule::TrueUnlessNo).FailedIsAbsent(),
    V::Flag<&R::useSessionLimit>("UseSessionLimit", ReadRule::TrueOnlyIfYes),
    V::Flag<&R::logTerminated>("LogTerminatedProcs", ReadRule::TrueUnlessNo).Absent(false),
    V::Flag<&R::passBeep>("PassSystemBeep", ReadRule::TrueUnlessNo),
    V::Text<&R::codePage>("CodePage").NoCase().Absent("65001 Unicode (UTF-8)"),
    V::Flag<&R::cpTranslate>("CPTranslate", ReadRule::TrueUnlessNo).Absent(false),
};

constexpr PageTable CPrpUserGen::kTable = {
    .caption = "General Settings",
    .helpTopic = "::IDH_UserGeneralSettings.htm",
    .routing = Routing::PrincipalGeneral,
    .hears = Hears::ListChangesToo,
    .controls = kControls,
    .values = kValues,
};

}  // namespace

std::unique_ptr<CTesselPropertyPage> MakeUserGenPage(const PageArguments& arguments) {
  return std::make_unique<CPrpUserGen>(arguments);
}
