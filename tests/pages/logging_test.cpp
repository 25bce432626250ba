// The pages of logging and printing, and what they do besides their values.

#include "pages/logging/connection_report.h"
#include "pages/pages.h"
#include "store/directories.h"
#include "store/error_text.h"
#include "tests/pages/server_pages.h"
#include "tests/support/written.h"

using namespace server_pages;
using test_support::ExpectWritten;
using test_support::ValuesIn;
using test_support::Written;

namespace {

constexpr const char* kFolder = "C:\\LogTest";
constexpr const char* kOther = "C:\\LogTest\\other";
constexpr const char* kPrinter = R"(Software\TesselWorks\PageTest\SSHD\PrinterInfo)";
constexpr const char* kMonitor = R"(SYSTEM\CurrentControlSet\Control\Print\Monitors\Local Port)";
constexpr const char* kProduct = R"(Software\TesselWorks)";

CString Contents(const CString& file) {
  const HANDLE opened =
      CreateFileA(file.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
  if (opened == INVALID_HANDLE_VALUE) return "(no file)";
  char bytes[4096];
  DWORD size = 0;
  ReadFile(opened, bytes, sizeof bytes, &size, nullptr);
  CloseHandle(opened);
  return {bytes, size};
}

// A value of a key outside the scratch part, put back in the end.
class KeptValue {
 public:
  KeptValue(const char* path, const char* name)
      : m_path(path), m_name(name), m_before(PageDriver::Stored(name, path)) {}
  ~KeptValue() {
    CTesselRegObject key(HKEY_LOCAL_MACHINE);
    if (key.CreateKey(m_path) == 0) return;
    m_before ? static_cast<void>(key.SetBinaryValue(m_name, *m_before, REG_SZ)) : key.DeleteValue(m_name);
  }
  KeptValue(const KeptValue&) = delete;
  KeptValue& operator=(const KeptValue&) = delete;

 private:
  const char* m_path;
  const char* m_name;
  std::optional<CString> m_before;
};

class Folders : public ::testing::Test {
 protected:
  void SetUp() override { Clean(); }
  void TearDown() override { Clean(); }
  static void Clean() {
    RemoveDirectoryA(kOther);
    RemoveDirectoryA(kFolder);
  }
  CString LastMessage() const {
    return driver.frontEnd.Messages().empty() ? "" : driver.frontEnd.Messages().back();
  }
  // Applies with those answers, all of which are asked for.
  void Apply(std::initializer_list<const char*> answers = {}) {
    for (const char* answer : answers) driver.frontEnd.AddAnswer(answer);
    EXPECT_TRUE(driver.Apply());
    EXPECT_EQ(driver.frontEnd.Unanswered(), "");
    EXPECT_EQ(driver.frontEnd.AnswersLeft(), 0u);
  }

  PageDriver driver;
};

class Logging : public Folders {
 protected:
  void SetUp() override {
    Folders::SetUp();
    CreateDirectoryA(kFolder, nullptr);
  }
  CTesselPropertyPage& page = driver.Add(PageIndex::Logging, MakeLoggingPage, "Logging");
};

class PrintMonitor : public Folders {
 protected:
  void SetUp() override {
    Folders::SetUp();
    CreateDirectoryA(kFolder, nullptr);
    PageDriver::MakeKey(kPrinter);
    PageDriver::Store("Path", "C:\\Tessel\\", kProduct);
    PageDriver::Store("Driver", "other.dll", kMonitor);
  }
  // "PORT" or "PORT=form feed" of each port's key, in order.
  static std::string StoredPorts() {
    std::string ports;
    CTesselRegObject key;
    if (key.OpenKey(nullptr, HKEY_LOCAL_MACHINE, kPrinter) != 0) return "(no key)";
    for (const CString& name : key.GetSubKeys()) {
      const auto formFeed = PageDriver::Stored("FormFeed", CString(kPrinter) + "\\" + name);
      ports += name + (formFeed ? "=" + *formFeed : "") + " ";
    }
    return ports;
  }
  void AddPort(std::initializer_list<const char*> answers) {
    for (const char* answer : answers) driver.frontEnd.AddAnswer(answer);
    driver.Press("Add");
    EXPECT_EQ(driver.frontEnd.Refusal(), "");
  }

  KeptValue path{kProduct, "Path"};
  KeptValue monitor{kMonitor, "Driver"};
  CTesselPropertyPage& page =
      driver.Add(PageIndex::PrintInfo, MakePrintInfoPage, "Print Monitor", "", kPrinter);
};

}  // namespace

TEST_F(Logging, ReadsByTwoRulesAndWritesInOrder) {
  driver.Show(page);
  ExpectShown(driver,
              "Keep log file using HTML format=on; Keep log file using plain text format=on; Log output from "
              "server=off; Server Operation Logging=off; Server Operation Logging#2=0");
  Store(
      "LogFileHTML=No; LogFileText=off; LogToSystemEventLog=; LogOutput=1; LogInput=Yes; "
      "LogFileUserContext=YES; DebugLevel=; UseDebugLevel=true; LogFileDirectory=C:\\LogTest; "
      "DebugLogDir=C:\\LogTest");
  driver.Show(page);
  ExpectShown(
      driver,
      "Keep log file using HTML format=off; Keep log file using plain text format=on; Record logon/logoff "
      "events to event log. Viewable using the Windows Event Viewer.=on; Log output from server=off; Log "
      "input from client=on; Use user credentials for log files. Required for network directories=on; Server "
      "Operation Logging=off; Server Operation Logging#2=0; Trouble Shooting Log Files=0");
  Put(driver,
      "Server Operation Logging=on; Server Operation Logging#2=4; Keep log file using plain text format=off; "
      "Log output from server=on; Log input from client=off");
  Apply();
  ExpectStored(
      "LogToSystemEventLog=yes; LogFileHTML=no; LogFileText=no; LogUserSessions=no; "
      "LogFileDirectory=C:\\LogTest; LogOutput=yes; DebugLogDir=C:\\LogTest; LogInput=no; "
      "LogFileUserContext=yes; DebugLevel=4; UseDebugLevel=yes");
  // A level that can't be read counts as a missing one, other fields keep what they held.
  Store("DebugLevel=" + std::string(kValueBufferSize, '5') + "; LogInput=" + std::string(300, 'y'));
  driver.Show(page);
  ExpectShown(driver, "Server Operation Logging#2=0; Log input from client=off");
}

TEST_F(Logging, WritesEachValueUnderItsName) {
  driver.Show(page);
  Put(driver, "Log File Directory=C:\\LogTest; Keep log file using HTML format=off");
  Apply();
  ExpectWritten(PageDriver::kServer,
                Written{"LogToSystemEventLog=yes", "LogFileHTML=no", "LogFileText=yes", "LogUserSessions=yes",
                        "LogFileDirectory=C:\\LogTest", "LogOutput=no", "DebugLogDir=", "LogInput=no",
                        "LogFileUserContext=no", "DebugLevel=0", "UseDebugLevel=no"});
}

TEST_F(Logging, EnablesWhatTroubleShootingNeeds) {
  driver.Show(page);
  for (const char* box : {"Log output from server", "Log input from client", "Server Operation Logging"}) {
    EXPECT_FALSE(driver.Enabled("Directory")) << box;
    driver.Put(box, "on");
    EXPECT_TRUE(driver.Enabled("Directory")) << box;
    EXPECT_TRUE(driver.Enabled("Browse#2")) << box;
    EXPECT_EQ(driver.Enabled("Server Operation Logging#2"), std::string_view(box).starts_with("Server"));
    driver.Put(box, "off");
  }
}

TEST_F(Logging, RefusesToLogNowhere) {
  driver.Show(page);
  struct Case {
    const char* acts;
    bool good;
  };
  constexpr Case kCases[] = {
      {"Keep log file using HTML format=off", false},
      {"Keep log file using plain text format=off", true},
      {"Log input from client=on", false},
      {"Log input from client=off; Log output from server=on", false},
      {"Log output from server=off; Server Operation Logging=on", false},
      {"Directory=C:\\LogTest", true},
      {"Keep log file using HTML format=on", false},
      {"Log File Directory=C:\\LogTest", true},
  };
  bool stored = false;
  for (const auto& [acts, good] : kCases) {
    Put(driver, acts);
    EXPECT_EQ(driver.Apply(), good) << acts;
    EXPECT_EQ(driver.sheet.RefusedBy(), good ? nullptr : &page) << acts;
    stored = stored || good;
    EXPECT_EQ(!ValuesIn(PageDriver::kServer).empty(), stored) << acts;
    if (good) continue;
    EXPECT_EQ(LastMessage(), "Please enter a valid directory for log files.");
  }
}

TEST_F(Logging, OffersToMakeFoldersForAllUsers) {
  driver.Show(page);
  Put(driver, "Log File Directory=C:\\LogTest\\other; Log input from client=on; Directory=C:\\LogTest");
  Apply({"No"});
  EXPECT_FALSE(DirectoryExists(kOther));
  driver.frontEnd.standingAnswer = [](std::string_view question) -> std::optional<std::string> {
    EXPECT_EQ(question,
              "Directory C:\\LogTest\\other does not exist.  Create it?\r\nWrite access will be given to all "
              "Users.");
    return "Yes";
  };
  driver.Put("Log input from client", "off");
  Apply();
  EXPECT_TRUE(DirectoryExists(kOther));
  // The folder for trouble counts only while something goes there.
  driver.frontEnd.standingAnswer = {};
  Put(driver, "Log output from server=on; Directory=C:\\LogTest\\no\\such");
  Apply({"Yes"});
  EXPECT_EQ(LastMessage(), "Unable to create directory C:\\LogTest\\no\\such.");
}

TEST_F(Logging, HidesTheReportAndSaysWhereThereIsNoEventViewer) {
  driver.Show(page);
  EXPECT_FALSE(driver.Get<CButton>("Generate Report").IsWindowVisible());
  EXPECT_FALSE(page.Press("Generate Report"));
  driver.Press("View Event Log");
  EXPECT_EQ(LastMessage(), "Unable to open event viewer.");
}

TEST_F(Logging, WritesItsReport) {
  CDlgGenerateReport dialog;
  const auto generate = [&](std::initializer_list<const char*> fills) {
    for (const char* fill : fills) driver.frontEnd.AddAnswer(fill);
    for (const char* button : {"Report Filename=C:\\LogTest", "Generate", "Close"})
      driver.frontEnd.AddAnswer(button);
    dialog.DoModal();
    EXPECT_EQ(driver.frontEnd.Refusal(), "");
    const CString file = driver.frontEnd.Opened().empty() ? "" : driver.frontEnd.Opened().back();
    const CString text = Contents(file);
    DeleteFileA(file.c_str());
    return file.substr(file.size() < 4 ? 0 : file.size() - 4) + " " + text;
  };
  EXPECT_EQ(generate({"Date Range:   from=2026-01-09", "to=2026-12-31"}),
            ".txt Connection Report for 1/9/2026 to 12/31/2026\r\n"
            "Mira  10.0.1.8 1/1/2012\r\ntest1 domain 10.0.1.20 3/12/2012\r\n");
  EXPECT_TRUE(driver.frontEnd.Opened().back().starts_with("C:\\LogTest\\ConnectionReport"));
  EXPECT_EQ(generate({"Date Range:   from=", "Report Format=HTML", "Sort by:=Domain", "Username=off"}),
            ".htm <html><head></head><body>Connection Report for -1/-1/-1 to 12/31/2026<br/>"
            "Mira  10.0.1.8 1/1/2012<br/>test1 domain 10.0.1.20 3/12/2012<br/></body></html>");
  const size_t opened = driver.frontEnd.Opened().size();
  driver.frontEnd.AddAnswer("Report Filename=C:\\LogTest\\nowhere");
  driver.frontEnd.AddAnswer("Generate");
  driver.frontEnd.AddAnswer("Close");
  dialog.DoModal();
  EXPECT_EQ(driver.frontEnd.Opened().size(), opened);
}

TEST_F(PrintMonitor, PutsItsModuleInPlaceOfTheMonitorAndBack) {
  driver.Show(page);
  EXPECT_FALSE(driver.Enabled("Add"));
  Put(driver, "Enable Printer Monitoring=on; Directory for Spooled Jobs=C:\\LogTest");
  driver.frontEnd.standingAnswer = [](std::string_view question) -> std::optional<std::string> {
    EXPECT_EQ(question,
              "Do you wish to stop and restart the Spooler Service.\nThis is needed to implement your "
              "changes. Continue?");
    return "No";
  };
  Apply();
  ExpectWritten(kPrinter, Written{"PreviousPrintMonitor=other.dll", "EnablePrintMonitor=yes",
                                  "SpoolDir=C:\\LogTest", "SaveDir=", "SaveJobs=no", "RecordPrintJobs=no"});
  EXPECT_EQ(PageDriver::Stored("Driver", kMonitor), "C:\\Tessel\\Shared Files\\RemPrint.dll");

  // Our own module is never taken for the one of before.
  driver.Put("Record Print Jobs to Event Log", "on");
  Apply();
  EXPECT_EQ(PageDriver::Stored("PreviousPrintMonitor", kPrinter), "other.dll");
  driver.Put("Enable Printer Monitoring", "off");
  Apply();
  EXPECT_EQ(PageDriver::Stored("Driver", kMonitor), "other.dll");
  EXPECT_EQ(PageDriver::Stored("EnablePrintMonitor", kPrinter), "no");

  PageDriver::Store("Driver", "", kMonitor);
  driver.Put("Enable Printer Monitoring", "on");
  Apply();
  EXPECT_EQ(PageDriver::Stored("PreviousPrintMonitor", kPrinter), "localspl.dll");
  // Nothing is known to put back: what stands there stays.
  PageDriver::Store("PreviousPrintMonitor", "", kPrinter);
  driver.Put("Enable Printer Monitoring", "off");
  Apply();
  EXPECT_EQ(PageDriver::Stored("Driver", kMonitor), "C:\\Tessel\\Shared Files\\RemPrint.dll");
}

TEST_F(PrintMonitor, KeepsItsPortsAndTheirFormFeeds) {
  PageDriver::Store("EnablePrintMonitor", "YES", kPrinter);
  PageDriver::Store("SpoolDir", kFolder, kPrinter);
  PageDriver::Store("FormFeed", "\\f", CString(kPrinter) + "\\COM7:");
  driver.Show(page);
  EXPECT_EQ(driver.Get<CListBox>("Printer Ports").GetRow(0), "COM7:");
  EXPECT_FALSE(driver.Enabled("Form Feed"));
  AddPort({"Number=1", "OK"});
  AddPort({"Serial Port=on", "Number=2", "OK"});
  AddPort({"Number=9", "Cancel"});
  EXPECT_EQ(driver.Value("Printer Ports"), "COM2:");
  Put(driver, "Send Form Feed=on; Form Feed=XY");
  driver.Put("Printer Ports", "COM7:");
  EXPECT_EQ(driver.Value("Send Form Feed") + driver.Value("Form Feed"), "on\\f");
  driver.Put("Printer Ports", "LPT1:");
  EXPECT_EQ(driver.Value("Send Form Feed") + driver.Value("Form Feed"), "off");
  Apply({"No"});
  EXPECT_EQ(StoredPorts(), "LPT1: COM7:=\\f COM2:=XY ");

  driver.Put("Printer Ports", "COM7:");
  driver.Press("Delete");
  EXPECT_EQ(StoredPorts(), "LPT1: COM7:=\\f COM2:=XY ");
  driver.Put("Printer Ports", "COM2:");
  driver.Put("Send Form Feed", "off");
  Apply({"No"});
  EXPECT_EQ(StoredPorts(), "LPT1: COM2: ");
  driver.Press("Delete");
  EXPECT_EQ(LastMessage(), "Please choose a port from the List");
}

TEST_F(PrintMonitor, EnablesByItsBoxes) {
  driver.Show(page);
  struct Case {
    const char* act;
    const char* enabled;
  };
  constexpr Case kCases[] = {
      {"Record Print Jobs to Event Log=on", ""},
      {"Enable Printer Monitoring=on",
       "Printer Ports;Add;Delete;Send Form Feed;Directory for Spooled Jobs;Browse;Save Printed "
       "Files;Browse#2"},
      {"Save Printed Files=on",
       "Printer Ports;Add;Delete;Send Form Feed;Directory for Spooled Jobs;Browse;Save Printed "
       "Files;Directory for Saved Jobs;Browse#2"},
      {"Send Form Feed=on",
       "Printer Ports;Add;Delete;Send Form Feed;Form Feed;Directory for Spooled Jobs;Browse;Save Printed "
       "Files;Directory for Saved Jobs;Browse#2"},
      {"Enable Printer Monitoring=off", ""},
  };
  for (const auto& [act, enabled] : kCases) {
    Put(driver, act);
    std::string found;
    for (const char* control :
         {"Printer Ports", "Add", "Delete", "Send Form Feed", "Form Feed", "Directory for Spooled Jobs",
          "Browse", "Save Printed Files", "Directory for Saved Jobs", "Browse#2"}) {
      if (driver.Enabled(control)) found += (found.empty() ? "" : ";") + std::string(control);
    }
    EXPECT_EQ(found, enabled) << act;
  }
}

TEST_F(PrintMonitor, AsksForTheFoldersThatCount) {
  driver.Show(page);
  Put(driver,
      "Enable Printer Monitoring=on; Directory for Spooled Jobs=C:\\LogTest\\other; Save Printed Files=on; "
      "Directory for Saved Jobs=C:\\LogTest");
  std::vector<std::string> asked;
  driver.frontEnd.standingAnswer = [&](std::string_view question) -> std::optional<std::string> {
    asked.emplace_back(question.substr(0, 42));
    return question.starts_with("Directory") ? "Yes" : "No";
  };
  Apply();
  EXPECT_EQ(asked, (std::vector<std::string>{"Do you wish to stop and restart the Spoole",
                                             "Directory C:\\LogTest\\other does not exist."}));
  EXPECT_TRUE(DirectoryExists(kOther));
  RemoveDirectoryA(kOther);
  asked.clear();
  driver.Put("Enable Printer Monitoring", "off");
  Apply();
  EXPECT_EQ(asked.size(), 1u);
}

TEST_F(PrintMonitor, RestartsTheSpoolerOnceForAllNodes) {
  for (const char* node : {"a::Print Monitor", "b::Print Monitor"}) {
    driver.Show(page, node);
    driver.Put("Record Print Jobs to Event Log", "on");
  }
  int asked = 0;
  driver.frontEnd.standingAnswer = [&](std::string_view) -> std::optional<std::string> {
    ++asked;
    return "Yes";
  };
  Apply();
  EXPECT_EQ(asked, 1);
  // A person who says no is asked again at the next save.
  driver.frontEnd.standingAnswer = [&](std::string_view) -> std::optional<std::string> {
    ++asked;
    return "No";
  };
  for (const char* node : {"a::Print Monitor", "b::Print Monitor"}) {
    driver.Show(page, node);
    driver.Put("Record Print Jobs to Event Log", "off");
  }
  Apply();
  EXPECT_EQ(asked, 3);
}
