#include "pages/principals/group_picker.h"

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "platform/win32.h"
#include "store/error_text.h"

namespace {

using C = Rows<GroupQuery>;

// The lists act on a double click alone.
constexpr Row kPickerControls[] = {
    C::Edit<&GroupQuery::system>(R"(Query System (\\machine_name or domain))"),
    C::Button("Refresh").Default().On<&CDlgAddGroups::Refresh>(),
    C::List("Allowed Groups")
        .Sorted()
        .As<&CDlgAddGroups::m_allowed>()
        .OnDoubleClick<&CDlgAddGroups::RemoveChosen>(),
    C::List("Available Groups")
        .Sorted()
        .As<&CDlgAddGroups::m_available>()
        .OnDoubleClick<&CDlgAddGroups::AddChosen>(),
    C::Button("<- Add").On<&CDlgAddGroups::AddChosen>(),
    C::Button("Remove ->").On<&CDlgAddGroups::RemoveChosen>(),
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

const std::span<const Row> CDlgAddGroups::kControls = kPickerControls;

bool CDlgAddGroups::OnInitDialog() {
  char name[MAX_COMPUTERNAME_LENGTH + 1];
  DWORD size = sizeof name;
  if (GetComputerNameA(name, &size) != 0) m_data.system = CString(R"(\\)") + name;
  ShowData();
  Refresh();
  return true;
}

void CDlgAddGroups::Refresh() {
  m_form.Read(m_data);
  m_available->ResetContent();
  const WideText system = Wide(m_data.system);
  const bool computer = system.size() >= 2 && system[0] == '\\' && system[1] == '\\';
  const NET_API_STATUS status =
      computer ? AddGroupsOfComputer(*m_available, system) : AddGroupsOfDomain(*m_available, system);
  if (status != NERR_Success) AfxMessageBox(MessageOf(status));
}

// A group without a known domain begins with the backslash.
void CDlgAddGroups::AddChosen() {
  const std::ptrdiff_t row = m_available->GetCurSel();
  if (row < 0) return;
  const CString name = m_available->SelectedText();
  m_allowed->AddString(UpperAscii(DomainOf(name)) + '\\' + name);
  m_available->DeleteString(static_cast<size_t>(row));
}

// The name keeps its domain.
void CDlgAddGroups::RemoveChosen() {
  const std::ptrdiff_t row = m_allowed->GetCurSel();
  if (row < 0) return;
  m_available->AddString(m_allowed->SelectedText());
  m_allowed->DeleteString(static_cast<size_t>(row));
}

void CDlgAddGroups::OnOK() {
  m_chosen.clear();
  for (size_t row = m_allowed->GetCount(); row > 0; --row) m_chosen.push_back(m_allowed->GetRow(row - 1));
  FormDialog::OnOK();
}

CStringList PickGroups() {
  CDlgAddGroups dialog;
  if (dialog.DoModal() != Reply::Ok) return {};
  while (dialog.GetChosen().empty()) {
    AfxMessageBox("Group must be selected");
    if (dialog.DoModal() != Reply::Ok) return {};
  }
  return dialog.GetChosen();
}
