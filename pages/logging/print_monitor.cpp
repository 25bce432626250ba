// Longer than most pages: ports are keys of their own, and another key holds the monitor that Windows runs.

#include <algorithm>

#include "framework/directory_offer.h"
#include "framework/form_dialog.h"
#include "framework/record_page.h"
#include "pages/pages.h"
#include "store/places.h"
#include "store/service_control.h"

namespace {

struct PrinterInfo {
  CString portName;  // "LPT1:"
  bool sendFormFeed = false;
  CString formFeedValue;

  bool operator==(const PrinterInfo&) const = default;
};

struct PrintInfoRecord {
  bool enable = false;
  bool saveJobs = false;
  CString saveDir;
  CString spoolDir;
  std::vector<PrinterInfo> ports;
  bool recordPrintJobs = false;
  // What the screen shows of the port that is selected; the port itself holds it.
  bool sendFormFeed = false;
  CString formFeedValue;
};

struct Port {
  int kind = 0;
  CString number;
};

class CDlgAddPort final : public FormDialog<CDlgAddPort, Port> {
 public:
  CDlgAddPort() : FormDialog("Add Printer Port") {}
  static const std::span<const Row> kControls;

  // The number stands as it was typed.
  CString GetPort() const { return (Data().kind == 0 ? "LPT" : "COM") + Data().number + ':'; }
};

using D = Rows<Port>;
constexpr Row kPortControls[] = {
    D::Radio<&Port::kind>("Parallel Port", 0),
    D::Radio<&Port::kind>("Serial Port", 1),
    D::Edit<&Port::number>("Number"),
    D::Button("OK").Default().On<&CDlgAddPort::OnOK>(),
    D::Button("Cancel").On<&CDialog::OnCancel>(),
};
const std::span<const Row> CDlgAddPort::kControls = kPortControls;

class CPrpPrintInfo final : public RecordPage<CPrpPrintInfo, PrintInfoRecord> {
 public:
  using RecordPage::RecordPage;
  static const PageTable kTable;

  void ShowRecord(const PrintInfoRecord& record) override;
  void ReadScreen(PrintInfoRecord& record) override;
  bool Differs(const PrintInfoRecord& a, const PrintInfoRecord& b) const override {
    return RecordPage::Differs(a, b) || a.ports != b.ports;
  }
  void UpdateModified() override;

  void Enable();
  void ChoosePort();
  void Add();
  void Delete();

  CButton* m_enable = nullptr;
  CListBox* m_list = nullptr;

 protected:
  void LoadFrom(const CTesselRegObject& key, PrintInfoRecord& record, KeyOf which) override;
  SaveResult SaveTo(CTesselRegObject& key, const PrintInfoRecord& record, KeyOf which) override;
  void AfterSave(const PrintInfoRecord& record) override;

 private:
  // The entry of the line that is selected, the first one of that name; null for none.
  PrinterInfo* SelectedPort();
  void ShowFormFeed(bool send, const CString& value);
  DWORD SaveMonitor(CTesselRegObject& key, const PrintInfoRecord& record);
  void RestartSpooler();

  std::vector<PrinterInfo> m_ports;
  bool m_spoolerRestartNeeded = false;
  bool m_justEnabled = false;
};

using R = PrintInfoRecord;
using C = CPrpPrintInfo::Controls;
using V = CPrpPrintInfo::StoredValues;

bool SendsFormFeed(const R& record) { return record.enable && record.sendFormFeed; }
bool SavesJobs(const R& record) { return record.enable && record.saveJobs; }

constexpr std::string_view kFolderTitle = "Logfile Directory";

constexpr Row kControls[] = {
    C::CheckBox<&R::enable>("Enable Printer Monitoring")
        .As<&CPrpPrintInfo::m_enable>()
        .On<&CPrpPrintInfo::Enable>(),
    C::Group("Printer Ports"),
    C::List("").As<&CPrpPrintInfo::m_list>().On<&CPrpPrintInfo::ChoosePort>().EnabledBy<&R::enable>(),
    C::Button("Add").On<&CPrpPrintInfo::Add>().EnabledBy<&R::enable>(),
    C::Button("Delete").On<&CPrpPrintInfo::Delete>().EnabledBy<&R::enable>(),
    C::CheckBox<&R::sendFormFeed>("Send Form Feed").EnabledBy<&R::enable>(),
    C::Edit<&R::formFeedValue>("Form Feed").EnabledWhen<SendsFormFeed, &R::enable, &R::sendFormFeed>(),
    C::EndGroup(),
    C::Edit<&R::spoolDir>("Directory for Spooled Jobs").EnabledBy<&R::enable>(),
    C::BrowseFolder<&R::spoolDir>(kFolderTitle).EnabledBy<&R::enable>(),
    C::CheckBox<&R::saveJobs>("Save Printed Files").EnabledBy<&R::enable>(),
    C::Edit<&R::saveDir>("Directory for Saved Jobs").EnabledWhen<SavesJobs, &R::enable, &R::saveJobs>(),
    C::BrowseFolder<&R::saveDir>(kFolderTitle).EnabledBy<&R::enable>(),
    C::CheckBox<&R::recordPrintJobs>("Record Print Jobs to Event Log"),
};

// The first is written together with the monitor that Windows runs.
constexpr Value kValues[] = {
    V::Flag<&R::enable>("EnablePrintMonitor", ReadRule::TrueOnlyIfYes),
    V::Text<&R::spoolDir>("SpoolDir").NoCase(),
    V::Text<&R::saveDir>("SaveDir").NoCase(),
    V::Flag<&R::saveJobs>("SaveJobs", ReadRule::TrueOnlyIfYes),
    V::Flag<&R::recordPrintJobs>("RecordPrintJobs", ReadRule::TrueOnlyIfYes),
};

constexpr PageTable CPrpPrintInfo::kTable = {
    .caption = "Printer Monitoring",
    .helpTopic = "::IDH_PrintMonitoring.htm",
    .routing = Routing::PrinterInfo,
    .controls = kControls,
    .values = kValues,
};

constexpr const char* kFormFeed = "FormFeed";
constexpr const char* kDriver = "Driver";
constexpr const char* kPreviousMonitor = "PreviousPrintMonitor";
constexpr const char* kMonitor = R"(SYSTEM\CurrentControlSet\Control\Print\Monitors\Local Port)";
constexpr const char* kMonitorOfWindows = "localspl.dll";

// The program folder with a backslash at its end, of the computer that the page edits.
CString ModulePath(const CString& computer) {
  CTesselRegObject product;
  product.OpenKey(computer.c_str(), HKEY_LOCAL_MACHINE, kSettingsRoot);
  return product.GetStringValue("Path") + R"(Shared Files\RemPrint.dll)";
}

DWORD SavePorts(const CTesselRegObject& key, const std::vector<PrinterInfo>& ports) {
  for (const CString& name : key.GetSubKeys()) DeleteRegistryKeyA(key.GetKey(), name.c_str(), KEY_ALL_ACCESS);
  for (const PrinterInfo& port : ports) {
    HKEY made = nullptr;
    const LSTATUS status = RegCreateKeyA(key.GetKey(), port.portName.c_str(), &made);
    if (status != ERROR_SUCCESS) return static_cast<DWORD>(status);
    CTesselRegObject ofPort(key.GetRoot(), made);
    if (!port.sendFormFeed) continue;
    if (const DWORD written = ofPort.SetStringValue(kFormFeed, port.formFeedValue); written != ERROR_SUCCESS)
      return written;
  }
  return ERROR_SUCCESS;
}

void CPrpPrintInfo::ShowRecord(const R& record) {
  m_ports = record.ports;
  {
    const FillScope filling(*this);
    m_list->ResetContent();
    for (const PrinterInfo& port : m_ports) m_list->AddString(port.portName);
  }
  RecordPage::ShowRecord(record);
}

// A port gets what the screen says of form feeds while it is the selected one.
void CPrpPrintInfo::ReadScreen(R& record) {
  RecordPage::ReadScreen(record);
  if (PrinterInfo* const port = SelectedPort()) {
    port->sendFormFeed = record.sendFormFeed;
    port->formFeedValue = record.formFeedValue;
  }
  record.ports = m_ports;
}

void CPrpPrintInfo::UpdateModified() {
  RecordPage::UpdateModified();
  if (Differs(m_current, m_saved)) m_spoolerRestartNeeded = true;
}

PrinterInfo* CPrpPrintInfo::SelectedPort() {
  if (m_list->GetCurSel() < 0) return nullptr;
  const CString name = m_list->SelectedText();
  const auto port =
      std::find_if(m_ports.begin(), m_ports.end(), [&name](const auto& own) { return own.portName == name; });
  return port == m_ports.end() ? nullptr : &*port;
}

void CPrpPrintInfo::ShowFormFeed(bool send, const CString& value) {
  m_form.Read(m_current);
  m_current.sendFormFeed = send;
  m_current.formFeedValue = value;
  {
    const FillScope filling(*this);
    m_form.Show(m_current);
  }
  m_form.EnableShown(m_current);
}

void CPrpPrintInfo::Enable() {
  TakeChange();
  m_justEnabled = m_enable->GetCheck();
}

void CPrpPrintInfo::ChoosePort() {
  if (const PrinterInfo* const port = SelectedPort()) {
    const PrinterInfo chosen = *port;
    ShowFormFeed(chosen.sendFormFeed, chosen.formFeedValue);
  }
}

void CPrpPrintInfo::Add() {
  CDlgAddPort dialog;
  if (dialog.DoModal() != Reply::Ok) return;
  const CString name = dialog.GetPort();
  m_list->AddString(name);
  m_ports.push_back({name, false, {}});
  ShowFormFeed(false, "");
  m_list->SetCurSel(static_cast<std::ptrdiff_t>(m_list->GetCount()) - 1);
  TakeChange();
}

// The store keeps the port's key until the page is applied: all of them are written anew then.
void CPrpPrintInfo::Delete() {
  const std::ptrdiff_t row = m_list->GetCurSel();
  if (row < 0) {
    AfxMessageBox("Please choose a port from the List");
    return;
  }
  const auto key = OpenTargetKey(m_target);
  if (key == nullptr) {
    AfxMessageBox("Unable to delete group.");
    return;
  }
  const CString name = m_list->SelectedText();
  UniqueKey ofPort;
  const DWORD status = OpenUniqueKey(key->GetKey(), name.c_str(), KEY_ALL_ACCESS, ofPort);
  if (status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND) {
    AfxMessageBox("Unable to delete port.");
    return;
  }
  if (const PrinterInfo* const port = SelectedPort())
    m_ports.erase(m_ports.begin() + (port - m_ports.data()));
  m_list->DeleteString(static_cast<size_t>(row));
  TakeChange();
}

void CPrpPrintInfo::LoadFrom(const CTesselRegObject& key, R& record, KeyOf which) {
  RecordPage::LoadFrom(key, record, which);
  record.ports.clear();
  for (const CString& name : key.GetSubKeys()) {
    PrinterInfo& port = record.ports.emplace_back(PrinterInfo{name, false, {}});
    UniqueKey opened;
    if (OpenUniqueKey(key.GetKey(), name.c_str(), KEY_ALL_ACCESS, opened) != ERROR_SUCCESS) continue;
    port.sendFormFeed = RegQueryValueExA(opened.get(), kFormFeed, nullptr, nullptr, nullptr, nullptr) == 0;
    port.formFeedValue = CTesselRegObject(key.GetRoot(), opened.release()).GetStringValue(kFormFeed);
  }
}

// Windows runs the monitor that its key names. The one of before is kept while ours stands there, and only
// when monitoring has just been switched on, so that ours is never taken for it.
DWORD CPrpPrintInfo::SaveMonitor(CTesselRegObject& key, const R& record) {
  const CString module = ModulePath(m_computer);
  CTesselRegObject monitor;
  monitor.OpenKey(m_computer.c_str(), HKEY_LOCAL_MACHINE, kMonitor);
  if (record.enable && m_justEnabled) {
    const CString driver = monitor.GetStringValue(kDriver);
    key.SetStringValue(kPreviousMonitor, driver.empty() ? kMonitorOfWindows : driver);
  }
  const SaveResult enabled = SaveValues(key, std::span(kValues).first(1), record);
  if (!enabled) return enabled.status;
  if (record.enable) return monitor.SetStringValue(kDriver, module);
  const CString previous = key.GetStringValue(kPreviousMonitor);
  return previous.empty() ? ERROR_SUCCESS : monitor.SetStringValue(kDriver, previous);
}

SaveResult CPrpPrintInfo::SaveTo(CTesselRegObject& key, const R& record, KeyOf) {
  if (const DWORD status = SaveMonitor(key, record); status != ERROR_SUCCESS)
    return {status, kValues[0].name};
  m_justEnabled = false;
  SaveResult result = SaveValues(key, std::span(kValues).subspan(1), record);
  if (result) result.status = SavePorts(key, record.ports);
  return result;
}

void CPrpPrintInfo::RestartSpooler() {
  if (!m_spoolerRestartNeeded) return;
  if (AfxMessageBox("Do you wish to stop and restart the Spooler Service.\n"
                    "This is needed to implement your changes. Continue?",
                    Buttons::YesNo) == Reply::No) {
    return;
  }
  m_spoolerRestartNeeded = false;
  std::uint64_t looks = 0;
  RestartService(m_computer, "Spooler",
                 {.pause = 500, .waits = [&looks] {
                    return CurrentFrontEnd().TakeTurn({++looks, "looks at the Spooler"});
                  }});
}

// Whether the folders count is what the screen says, whatever node the record is of.
void CPrpPrintInfo::AfterSave(const R& record) {
  RestartSpooler();
  R screen;
  m_form.Read(screen);
  if (!screen.enable) return;
  OfferDirectory({.computer = m_computer, .directory = record.spoolDir});
  if (screen.saveJobs) OfferDirectory({.computer = m_computer, .directory = record.saveDir});
}

}  // namespace

std::unique_ptr<CTesselPropertyPage> MakePrintInfoPage(const PageArguments& arguments) {
  return std::make_unique<CPrpPrintInfo>(arguments);
}
