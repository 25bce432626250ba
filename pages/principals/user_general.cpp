#include <string>

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
  static const Table kTable;

  void ShowRecord(const UserGenRecord& record) override;
  void ChooseTerminal();
  void Browse();
};

using R = UserGenRecord;
using C = CPrpUserGen::Controls;
using V = CPrpUserGen::StoredValues;

constexpr std::string_view kScreenMode = "Default Screen Mode";
constexpr std::string_view kScreenModes[] = {"Full Console", "Advanced Console", "Stream", "Full Stream"};
constexpr std::string_view kHomeDirectory = "Home Directory";
constexpr std::string_view kTerminal = "Default Terminal Type";
constexpr std::string_view kTerminals[] = {"", "vtxxx", "ansi", "wyse 60 and above", "wyse-50", "ibm3151"};
// The one terminal that has a turnaround character.
constexpr std::string_view kIbmTerminal = "ibm3151";
constexpr std::string_view kTurnaround = "IBM Turnaround Character";

constexpr C::R kControls[] = {
    C::DropDown(kScreenMode, &R::screenMode, kScreenModes),
    C::CheckBox("Idle Session Timeout", &R::useIdleTimeout),
    C::Edit("hours", &R::idleHours).DigitsOnly().Range(0, 9999).EnabledBy(&R::useIdleTimeout),
    C::Edit("minutes", &R::idleMinutes).DigitsOnly().Range(0, 59).EnabledBy(&R::useIdleTimeout),
    C::Edit("seconds", &R::idleSeconds).DigitsOnly().Range(0, 59).EnabledBy(&R::useIdleTimeout),
    C::CheckBox("User Session Limit", &R::useSessionLimit),
    C::Edit("User Session Limit", &R::sessionLimit).DigitsOnly().EnabledBy(&R::useSessionLimit),
    C::Edit(kHomeDirectory, &R::homeDir),
    C::Button("Browse", &CPrpUserGen::Browse),
    C::DropDown(kTerminal, &R::defaultTerm, kTerminals).On(&CPrpUserGen::ChooseTerminal),
    C::Edit(kTurnaround, &R::ltaChar),
    C::CheckBox("Monitor Child Processes", &R::monitorChildren),
    C::CheckBox("Record Terminated Processes", &R::logTerminated),
    C::CheckBox("Allow system beep to pass to client", &R::passBeep),
    C::CheckBox("CodePage Translation", &R::cpTranslate),
    C::DropDown("CodePage Translation", &R::codePage, kCodePages).Editable().EnabledBy(&R::cpTranslate),
    C::CheckBox("Use Elevated Token (if available)", &R::elevateToken),
};

void LoadIdleTimeout(const CTesselRegObject& key, R& record) {
  CString stored;
  if (ReadText(key, "IdleSessionTimeOut", ReadRule::TextAsIs, stored) != ERROR_SUCCESS) return;
  const int seconds = text::ToInt(stored);
  record.idleHours = std::to_string(seconds / 3600);
  record.idleMinutes = std::to_string(seconds % 3600 / 60);
  record.idleSeconds = std::to_string(seconds % 60);
}

DWORD SaveIdleTimeout(CTesselRegObject& key, const R& record) {
  const long long minutes = text::ToInt(record.idleMinutes) + 60LL * text::ToInt(record.idleHours);
  return WriteText(key, "IdleSessionTimeOut", std::to_string(minutes * 60 + text::ToInt(record.idleSeconds)));
}

// Asked for by another spelling than it is written by: the store knows no case in names. Without an answer
// the parts of the time say whether it is in force, as texts: they stand above in the table, read already.
void LoadUseIdleTimeout(const CTesselRegObject& key, R& record) {
  CString stored;
  if (ReadText(key, "UseIdleSessionTimeOut", ReadRule::TextAsIs, stored) != ERROR_SUCCESS) return;
  record.useIdleTimeout = stored.empty()
                              ? record.idleHours > "0" || record.idleMinutes > "0" || record.idleSeconds > "0"
                              : FlagOf(ReadRule::TrueOnlyIfYes, stored);
}

// Three texts are taken when the session limit's switch can be read. A text that can't be read itself then
// counts as empty.
void LoadWithSessionLimit(const CTesselRegObject& key, const char* name, CString& field,
                          std::string_view absent) {
  bool ignored = false;
  if (ReadFlag(key, "UseSessionLimit", ReadRule::TrueOnlyIfYes, ignored) != ERROR_SUCCESS) return;
  CString stored;
  ReadText(key, name, ReadRule::TextAsIs, stored);
  field = stored.empty() ? CString(absent) : stored;
}

// On also when it can't be read.
void LoadElevateToken(const CTesselRegObject& key, R& record) {
  CString stored;
  ReadText(key, "ElevateToken", ReadRule::TextAsIs, stored);
  record.elevateToken = FlagOf(ReadRule::TrueUnlessNo, stored);
}

constexpr Value<R> kValues[] = {
    V::Text("IdleSessionTimeOut", &R::idleHours).NoCase().LoadedBy(LoadIdleTimeout).SavedBy(SaveIdleTimeout),
    V::Text("IdleSessionTimeOut", &R::idleMinutes).NoCase().WithRowAbove(),
    V::Text("IdleSessionTimeOut", &R::idleSeconds).NoCase().WithRowAbove(),
    V::Text("SessionLimit", &R::sessionLimit).NoCase().Absent("0"),
    V::Text("DefaultScreenMode", &R::screenMode).NoCase().Absent("Full Console"),
    V::Text("HomeDir", &R::homeDir).NoCase().LoadedBy([](const CTesselRegObject& key, R& record) {
      LoadWithSessionLimit(key, "HomeDir", record.homeDir, "");
    }),
    V::Text("DefaultTerm", &R::defaultTerm).NoCase().LoadedBy([](const CTesselRegObject& key, R& record) {
      LoadWithSessionLimit(key, "DefaultTerm", record.defaultTerm, "");
    }),
    V::Text("LTAChar", &R::ltaChar).NoCase().LoadedBy([](const CTesselRegObject& key, R& record) {
      LoadWithSessionLimit(key, "LTAChar", record.ltaChar, "13");
    }),
    V::Flag("MonitorChildProcess", &R::monitorChildren, ReadRule::TrueUnlessNo).Absent(false),
    V::Flag("UseIdleSessionTimeout", &R::useIdleTimeout, ReadRule::TrueOnlyIfYes)
        .LoadedBy(LoadUseIdleTimeout),
    V::Flag("ElevateToken", &R::elevateToken, ReadRule::TrueUnlessNo).LoadedBy(LoadElevateToken),
    V::Flag("UseSessionLimit", &R::useSessionLimit, ReadRule::TrueOnlyIfYes),
    V::Flag("LogTerminatedProcs", &R::logTerminated, ReadRule::TrueUnlessNo).Absent(false),
    V::Flag("PassSystemBeep", &R::passBeep, ReadRule::TrueUnlessNo),
    V::Text("CodePage", &R::codePage).NoCase().Absent("65001 Unicode (UTF-8)"),
    V::Flag("CPTranslate", &R::cpTranslate, ReadRule::TrueUnlessNo).Absent(false),
};

constexpr CPrpUserGen::Table CPrpUserGen::kTable = {
    .caption = "General Settings",
    .helpTopic = "::IDH_UserGeneralSettings.htm",
    .routing = Routing::PrincipalGeneral,
    .hears = Hears::ListChangesToo,
    .controls = kControls,
    .values = kValues,
};

// A stored text selects the first row that it begins; one that begins none selects the first row.
void SelectRow(CComboBox& list, std::string_view stored) {
  list.SetCurSel(std::max<std::ptrdiff_t>(list.FindString(stored), 0));
}

void CPrpUserGen::ShowRecord(const UserGenRecord& record) {
  PrincipalPage::ShowRecord(record);
  SelectRow(m_form.Get<CComboBox>(kScreenMode), record.screenMode);
  SelectRow(m_form.Get<CComboBox>(kTerminal), record.defaultTerm);
  // Never enabled here: a principal with that terminal leaves the edit as the one before it did.
  if (!text::EqualNoCase(record.defaultTerm, kIbmTerminal)) {
    m_form.Get<CEdit>(kTurnaround).EnableWindow(false);
  }
}

void CPrpUserGen::ChooseTerminal() {
  TakeChange();
  m_form.Get<CEdit>(kTurnaround).EnableWindow(text::EqualNoCase(m_current.defaultTerm, kIbmTerminal));
}

void CPrpUserGen::Browse() {
  const std::optional<std::string> folder = CurrentFrontEnd().PickFolder(kHomeDirectory);
  if (!folder) return;
  {
    const FillScope filling(*this);
    m_form.Get<CEdit>(kHomeDirectory).SetText(*folder);
  }
  TakeChange();
}

}  // namespace

std::unique_ptr<CTesselPropertyPage> MakeUserGenPage(const PageArguments& arguments) {
  return std::make_unique<CPrpUserGen>(arguments);
}
