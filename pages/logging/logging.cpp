#include "framework/directory_offer.h"
#include "framework/record_page.h"
#include "pages/logging/connection_report.h"
#include "pages/pages.h"
#include "store/accounts.h"

namespace {

struct LoggingRecord {
  bool logFileHtml = false;
  bool logFileText = false;
  bool logToEventLog = false;
  CString logFileDirectory;
  bool logOutput = false;
  bool logInput = false;
  CString debugLogDir;
  bool logFileUserContext = false;
  CString debugLevel;
  bool useDebugLevel = false;
};

class CPrpLogging final : public RecordPage<CPrpLogging, LoggingRecord> {
 public:
  using RecordPage::RecordPage;
  static const PageTable kTable;

  bool OnApply() override;
  void ViewEventLog();
  void GenerateReport() { CDlgGenerateReport().DoModal(); }

 protected:
  void AfterSave(const LoggingRecord& record) override;
};

using R = LoggingRecord;
using C = CPrpLogging::Controls;
using V = CPrpLogging::StoredValues;

bool LogsSessions(const R& record) { return record.logFileHtml || record.logFileText; }
bool LogsForTrouble(const R& record) { return record.logInput || record.logOutput || record.useDebugLevel; }

constexpr int kLongestPath = 255;
constexpr int kHighestLevel = 6;
constexpr std::string_view kFolderTitle = "Logfile Directory";

constexpr Row kControls[] = {
    C::CheckBox<&R::logFileHtml>("Keep log file using HTML format"),
    C::CheckBox<&R::logFileText>("Keep log file using plain text format"),
    C::CheckBox<&R::logToEventLog>(
        "Record logon/logoff events to event log. Viewable using the Windows Event Viewer."),
    C::Button("View Event Log").On<&CPrpLogging::ViewEventLog>(),
    C::Group("Log File Directory"),
    C::Edit<&R::logFileDirectory>("").MaxLength(kLongestPath),
    C::BrowseFolder<&R::logFileDirectory>(kFolderTitle),
    C::Note("All server users must have write access to the configured log file drectory."),
    C::EndGroup(),
    C::Group("Trouble Shooting Log Files"),
    C::CheckBox<&R::logOutput>("Log output from server"),
    C::CheckBox<&R::logInput>("Log input from client"),
    C::Edit<&R::debugLogDir>("Directory:")
        .EnabledWhen<LogsForTrouble, &R::logOutput, &R::logInput, &R::useDebugLevel>(),
    C::BrowseFolder<&R::debugLogDir>(kFolderTitle)
        .EnabledWhen<LogsForTrouble, &R::logOutput, &R::logInput, &R::useDebugLevel>(),
    C::CheckBox<&R::useDebugLevel>("Server Operation Logging"),
    C::NumberEdit<&R::debugLevel>("Server Operation Logging")
        .Range(0, kHighestLevel)
        .EnabledBy<&R::useDebugLevel>(),
    C::Slider("").Range(0, kHighestLevel).EnabledBy<&R::useDebugLevel>(),
    C::EndGroup(),
    C::CheckBox<&R::logFileUserContext>(
        "Use user credentials for log files. Required for network directories"),
    // Nothing shows it: the report holds no connections of this server.
    C::Button("Generate Report").Hidden().On<&CPrpLogging::GenerateReport>(),
};

// The first three are on unless they say "no", the other flags off unless they say "yes": so the server takes
// them. It reads LogUserSessions too, which follows from the two formats.
constexpr Value kValues[] = {
    V::Flag<&R::logToEventLog>("LogToSystemEventLog", ReadRule::TrueUnlessNo),
    V::Flag<&R::logFileHtml>("LogFileHTML", ReadRule::TrueUnlessNo),
    V::Flag<&R::logFileText>("LogFileText", ReadRule::TrueUnlessNo),
    V::Derived<LogsSessions>("LogUserSessions"),
    V::Text<&R::logFileDirectory>("LogFileDirectory").NoCase(),
    V::Flag<&R::logOutput>("LogOutput", ReadRule::TrueOnlyIfYes),
    V::Text<&R::debugLogDir>("DebugLogDir").NoCase(),
    V::Flag<&R::logInput>("LogInput", ReadRule::TrueOnlyIfYes),
    V::Flag<&R::logFileUserContext>("LogFileUserContext", ReadRule::TrueOnlyIfYes),
    V::Text<&R::debugLevel>("DebugLevel").Absent("0").FailedIsAbsent().NoCase(),
    V::Flag<&R::useDebugLevel>("UseDebugLevel", ReadRule::TrueOnlyIfYes),
};

constexpr PageTable CPrpLogging::kTable = {
    .caption = "Logging",
    .helpTopic = "::IDH_LoggingOptions.htm",
    .controls = kControls,
    .values = kValues,
};

bool CPrpLogging::OnApply() {
  if ((LogsSessions(m_current) && m_current.logFileDirectory.empty()) ||
      (LogsForTrouble(m_current) && m_current.debugLogDir.empty())) {
    AfxMessageBox("Please enter a valid directory for log files.");
    return false;
  }
  return RecordPage::OnApply();
}

void CPrpLogging::ViewEventLog() {
  if (!CurrentFrontEnd().RunProgram("eventvwr.exe",
                                    R"(/l:"C:\Windows\System32\winevt\Logs\Tessel MarrowenSSH.evtx")")) {
    AfxMessageBox("Unable to open event viewer.");
  }
}

// Users of the server write the logs, each under their own account.
void CPrpLogging::AfterSave(const R& record) {
  const SidBytes system = WellKnownSid(WinLocalSystemSid);
  const SidBytes users = WellKnownSid(WinBuiltinUsersSid);
  const SidBytes administrators = WellKnownSid(WinBuiltinAdministratorsSid);
  AccessList list(sizeof(ACL) + 3 * sizeof(ACCESS_ALLOWED_ACE) + system.size() + users.size() +
                  administrators.size());
  for (const SidBytes* sid : {&system, &users, &administrators})
    list.Allow(*sid, GENERIC_ALL, NO_PROPAGATE_INHERIT_ACE);
  const auto offer = [&](const CString& directory) {
    OfferDirectory({.computer = m_computer,
                    .directory = directory,
                    .alsoSaid = "Write access will be given to all Users.",
                    .descriptor = list.Descriptor()});
  };
  if (LogsSessions(record)) offer(record.logFileDirectory);
  if (LogsForTrouble(record)) offer(record.debugLogDir);
}

}  // namespace

std::unique_ptr<CTesselPropertyPage> MakeLoggingPage(const PageArguments& arguments) {
  return std::make_unique<CPrpLogging>(arguments);
}
