#include "pages/principals/group_picker.h"

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "platform/win32.h"
#include "store/error_text.h"

namespace {

using C = Rows<CDlgAddGroups, GroupQuery>;

constexpr std::string_view kAllowed = "Allowed Groups";
constexpr std::string_view kAvailable = "Available Groups";

constexpr C::R kControls[] = {
    C::Edit(R"(Query System (\\machine_name or domain))", &GroupQuery::system),
    C::Button("Refresh", &CDlgAddGroups::Refresh),
    C::List(kAllowed).Sorted().On(&CDlgAddGroups::RemoveChosen),
    C::List(kAvailable).Sorted().On(&CDlgAddGroups::AddChosen),
    C::Button("<- Add", &CDlgAddGroups::AddChosen),
    C::Button("Remove ->", &CDlgAddGroups::RemoveChosen),
};

// Characters of a query, and bytes of a group's name and of a system message.
constexpr int kQuerySize = 520;
constexpr int kNameSize = 260;
constexpr DWORD kDomainSize = 300;
// Bytes of one page of a computer's groups.
constexpr DWORD kPageSize = 2048;

using WideText = std::basic_string<WCHAR>;

WideText Wide(const CString& text) {
  WCHAR buffer[kQuerySize] = {};
  if (MultiByteToWideChar(CP_ACP, 0, text.c_str(), -1, buffer, kQuerySize) == 0) return {};
  return buffer;
}

CString Narrow(LPCWSTR text) {
  char buffer[kNameSize] = {};
  if (WideCharToMultiByte(CP_ACP, 0, text, -1, buffer, kNameSize, nullptr, nullptr) == 0) return {};
  return buffer;
}

struct NetBufferFree {
  void operator()(void* buffer) const { NetApiBufferFree(buffer); }
};
template <class Entry>
using NetBuffer = std::unique_ptr<Entry, NetBufferFree>;

// Adds the groups that `next` gives page by page, and returns its last status.
template <class Info, class Next>
NET_API_STATUS AddGroups(CListBox& list, LPWSTR Info::*name, Next next) {
  DWORD_PTR resume = 0;
  for (;;) {
    LPBYTE page = nullptr;
    DWORD read = 0;
    DWORD total = 0;
    const NET_API_STATUS status = next(&page, &read, &total, &resume);
    const NetBuffer<Info> groups(reinterpret_cast<Info*>(page));
    if (groups == nullptr) return status;
    const bool good = status == NERR_Success || status == ERROR_MORE_DATA;
    for (const Info& group : std::span(groups.get(), good ? read : 0)) list.AddString(Narrow(group.*name));
    if (status != ERROR_MORE_DATA) return status;
  }
}

NET_API_STATUS AddGroupsOfComputer(CListBox& list, const WideText& computer) {
  return AddGroups(list, &LOCALGROUP_INFO_0::lgrpi0_name,
                   [&computer](LPBYTE* page, LPDWORD read, LPDWORD total, DWORD_PTR* resume) {
                     return NetLocalGroupEnum(computer.c_str(), 0, page, kPageSize, read, total, resume);
                   });
}

NET_API_STATUS AddGroupsOfDomain(CListBox& list, WideText domain) {
  LPBYTE controller = nullptr;
  if (NetGetAnyDCName(nullptr, domain.c_str(), &controller) == NERR_Success) {
    const NetBuffer<WCHAR> name(reinterpret_cast<WCHAR*>(controller));
    domain = name.get();
  }
  return AddGroups(list, &GROUP_INFO_0::grpi0_name,
                   [&domain](LPBYTE* page, LPDWORD read, LPDWORD total, DWORD_PTR* resume) {
                     return NetGroupEnum(domain.c_str(), 0, page, MAX_PREFERRED_LENGTH, read, total, resume);
                   });
}

CString MessageOf(DWORD code) {
  char buffer[kNameSize] = {};
  FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code, 0, buffer,
                 sizeof buffer, nullptr);
  // The network's own codes have no text among the system's.
  return buffer[0] != '\0' ? buffer : ErrorTextOf(code);
}

// The domain of an account as this computer knows it; empty for an unknown one.
CString DomainOf(const CString& account) {
  DWORD sidSize = 0;
  DWORD domainSize = 0;
  SID_NAME_USE use{};
  LookupAccountNameA(nullptr, account.c_str(), nullptr, &sidSize, nullptr, &domainSize, &use);
  if (GetLastError() != ERROR_INSUFFICIENT_BUFFER) return {};
  std::vector<BYTE> sid(sidSize);
  char domain[kDomainSize] = {};
  domainSize = kDomainSize;
  if (LookupAccountNameA(nullptr, account.c_str(), sid.data(), &sidSize, domain, &domainSize, &use) == 0)
    return {};
  return domain;
}

CString UpperAscii(CString text) {
  for (char& c : text) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - ('a' - 'A'));
  }
  return text;
}

}  // namespace

CDlgAddGroups::CDlgAddGroups() : CDialog("Group Access Control") {}

void CDlgAddGroups::BuildControls() { m_form.Build(*this, kControls); }

bool CDlgAddGroups::OnInitDialog() {
  char name[MAX_COMPUTERNAME_LENGTH + 1];
  DWORD size = sizeof name;
  if (GetComputerNameA(name, &size) != 0) m_query.system = CString(R"(\\)") + name;
  {
    const FillScope filling(*this);
    m_form.Show(m_query);
  }
  Refresh();
  return true;
}

// A list acts on a double click alone.
void CDlgAddGroups::OnControl(CWnd& control, Notice notice) {
  const auto* row = m_form.RowOf(control);
  if (row == nullptr || row->handler == nullptr) return;
  if (control.Kind() == ControlKind::ListBox && notice != Notice::DoubleClicked) return;
  (this->*row->handler)();
}

void CDlgAddGroups::Refresh() {
  m_form.Read(m_query);
  auto& list = m_form.Get<CListBox>(kAvailable);
  list.ResetContent();
  const WideText system = Wide(m_query.system);
  const bool computer = system.size() >= 2 && system[0] == '\\' && system[1] == '\\';
  const NET_API_STATUS status =
      computer ? AddGroupsOfComputer(list, system) : AddGroupsOfDomain(list, system);
  if (status != NERR_Success) AfxMessageBox(MessageOf(status));
}

// A group without a known domain begins with the backslash.
void CDlgAddGroups::AddChosen() {
  auto& available = m_form.Get<CListBox>(kAvailable);
  const std::ptrdiff_t row = available.GetCurSel();
  if (row < 0) return;
  const CString name = available.SelectedText();
  m_form.Get<CListBox>(kAllowed).AddString(UpperAscii(DomainOf(name)) + '\\' + name);
  available.DeleteString(static_cast<size_t>(row));
}

// The name keeps its domain.
void CDlgAddGroups::RemoveChosen() {
  auto& allowed = m_form.Get<CListBox>(kAllowed);
  const std::ptrdiff_t row = allowed.GetCurSel();
  if (row < 0) return;
  m_form.Get<CListBox>(kAvailable).AddString(allowed.SelectedText());
  allowed.DeleteString(static_cast<size_t>(row));
}

void CDlgAddGroups::OnOK() {
  const auto& allowed = m_form.Get<CListBox>(kAllowed);
  m_chosen.clear();
  for (size_t row = allowed.GetCount(); row > 0; --row) m_chosen.push_back(allowed.GetRow(row - 1));
  CDialog::OnOK();
}
