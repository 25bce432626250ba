#include "pages/logging/connection_report.h"

#include <array>
#include <cstdio>
#include <ctime>
#include <memory>

#include "store/diagnostic_log.h"
#include "store/places.h"
#include "store/privilege.h"
#include "store/registry_object.h"

namespace {

using R = ReportRecord;
using D = Rows<R>;

constexpr std::string_view kTypes[] = {"Connections"};
constexpr std::string_view kFormats[] = {"Text", "HTML"};
constexpr std::string_view kColumns[] = {"Date/Time", "Username", "Domain", "Remote IP"};

constexpr Row kReportControls[] = {
    D::DropDown<&R::reportType>("Type of report:", kTypes).On<&CDlgGenerateReport::ReloadColumns>(),
    D::DropDown<&R::reportFormat>("Report Format", kFormats),
    D::Date<&R::fromDate>("Date Range:   from"),
    D::Date<&R::toDate>("to"),
    D::Group("Report Filename"),
    D::Edit<&R::reportDirectory>(""),
    D::BrowseFolder<&R::reportDirectory>("Report Directory"),
    D::EndGroup(),
    D::CheckList<&R::sortBy>("Columns:").As<&CDlgGenerateReport::m_columns>(),
    D::DropDown<&R::sortBy>("Sort by:", kColumns).As<&CDlgGenerateReport::m_sortBy>(),
    D::CheckBox<&R::showTotals>("Show connection totals."),
    D::Button("Generate").Default().On<&CDlgGenerateReport::Generate>(),
    D::Button("Close").On<&CDialog::OnCancel>(),
};

// A day as the heading and the rows show it; -1 stands for each part of one that is none.
struct Day {
  int year = -1;
  int month = -1;
  int day = -1;

  CString Text() const {
    return std::to_string(month) + '/' + std::to_string(day) + '/' + std::to_string(year);
  }
};

// Of a text that a date picker holds.
Day DayOf(const CString& picked) {
  const CStringList parts = text::Split(picked, '-');
  if (parts.size() != 3) return {};
  return {text::ToInt(parts[0]), text::ToInt(parts[1]), text::ToInt(parts[2])};
}

Day LocalDay(std::int64_t when) {
  const auto time = static_cast<std::time_t>(when);
  const std::tm* const local = std::localtime(&time);  // NOLINT(concurrency-mt-unsafe): one thread has pages
  return local == nullptr ? Day{} : Day{local->tm_year + 1900, local->tm_mon + 1, local->tm_mday};
}

std::int64_t StartOfDay(int year, int month, int day) {
  std::tm local{};
  local.tm_year = year - 1900;
  local.tm_mon = month - 1;
  local.tm_mday = day;
  local.tm_isdst = -1;
  return std::mktime(&local);
}

// The folder with a backslash at its end, of this computer whichever one the page edits.
CString InstallDirectory() {
  UniqueKey key;
  if (const DWORD status = OpenUniqueKey(HKEY_LOCAL_MACHINE, kSettingsRoot, KEY_READ, key);
      status != ERROR_SUCCESS) {
    LogPrint(2, "RegOpenKeyEx Error = %d\n", static_cast<int>(status));
    return "C:\\";
  }
  std::array<char, kValueBufferSize + 1> path{};
  DWORD size = kValueBufferSize;
  if (const LSTATUS status =
          RegQueryValueExA(key.get(), "Path", nullptr, nullptr, reinterpret_cast<BYTE*>(path.data()), &size);
      status != ERROR_SUCCESS) {
    LogPrint(2, "RegQueryValueEx Error = %d\n", static_cast<int>(status));
    return "C:\\";
  }
  CString directory = path.data();
  if (!directory.ends_with('\\')) directory += '\\';
  return directory;
}

CString ReportText(const R& report, bool html) {
  const char* const lineEnd = html ? "<br/>" : "\r\n";
  CString written = html ? "<html><head></head><body>" : "";
  written += "Connection Report for " + DayOf(report.fromDate).Text() + " to " + DayOf(report.toDate).Text();
  written += lineEnd;
  for (const ConnectionRecord& row : GetConnections()) {
    written += row.user + ' ' + row.domain + ' ' + row.remoteIp + ' ' + LocalDay(row.when).Text();
    written += lineEnd;
  }
  return html ? written + "</body></html>" : written;
}

bool WriteReport(const CString& file, std::string_view text) {
  const HANDLE opened = CreateFileA(file.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
  if (opened == INVALID_HANDLE_VALUE) return false;
  const UniqueHandle handle(opened);
  DWORD written = 0;
  return WriteFile(handle.get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr) != FALSE &&
         written == text.size();
}

}  // namespace

const std::span<const Row> CDlgGenerateReport::kControls = kReportControls;

ConnectionList GetConnections() {
  return {{"Mira", "", "10.0.1.8", StartOfDay(2012, 1, 1)},
          {"test1", "domain", "10.0.1.20", StartOfDay(2012, 3, 12)}};
}

CDlgGenerateReport::CDlgGenerateReport() : FormDialog("Generate Report") {
  m_data.reportDirectory = InstallDirectory();
  SYSTEMTIME now{};
  GetLocalTime(&now);
  std::array<char, 24> today{};
  std::snprintf(today.data(), today.size(), "%04d-%02d-%02d", now.wYear, now.wMonth, now.wDay);
  m_data.fromDate = m_data.toDate = today.data();
}

bool CDlgGenerateReport::OnInitDialog() {
  FormDialog::OnInitDialog();
  ReloadColumns();
  return true;
}

void CDlgGenerateReport::ReloadColumns() {
  const FillScope filling(*this);
  m_columns->DeleteAllItems();
  for (const std::string_view column : kColumns) {
    const size_t row = m_columns->GetItemCount();
    m_columns->InsertItem(row, {CString(column)});
    m_columns->SetCheck(row, true);
  }
  m_sortBy->SetCurSel(0);
}

// The numbers have no leading zeros, so two times may share a name, and the later report replaces the other.
void CDlgGenerateReport::Generate() {
  m_form.Read(m_data);
  SYSTEMTIME now{};
  GetLocalTime(&now);
  const bool html = m_data.reportFormat == "HTML";
  CString file = m_data.reportDirectory + "\\ConnectionReport";
  for (const WORD part : {now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond})
    file += std::to_string(part);
  file += html ? ".htm" : ".txt";
  if (WriteReport(file, ReportText(m_data, html))) CurrentFrontEnd().OpenDocument(file);
}
