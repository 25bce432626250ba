// Longer than most pages: of its two lists one shows at a time, in a table that is edited by fields beside
// it.

#include <algorithm>

#include "framework/entry_table_page.h"
#include "framework/principal_page.h"
#include "pages/pages.h"

namespace {

struct UserAccessRecord {
  CString defaultAccess;
  CStringList granted;  // "server:port", where the default is denied
  CStringList denied;   // the same, where the default is granted
};

// An exception as a person edits it.
struct ServerAndPort {
  CString server;
  CString port;
};

class CPrpUserAccess final : public PrincipalPage<CPrpUserAccess, UserAccessRecord> {
 public:
  using PrincipalPage::PrincipalPage;
  static const PageTable kTable;

  void ShowRecord(const Record& record) override;
  void ReadScreen(Record& record) override;

  void ChooseDefault(const Row& row, Notice notice);
  void Set();
  void Delete();
  void TakeSelection();

  CListCtrl* m_table = nullptr;

 private:
  CStringList& ListAtHand();
  void ShowFields(const ServerAndPort& fields);

  CStringList m_rows;  // the entries in the table, from the top
};

using R = UserAccessRecord;
using C = CPrpUserAccess::Controls;
using F = Rows<ServerAndPort>;
using V = CPrpUserAccess::StoredValues;

constexpr std::string_view kTableColumns[] = {"Access", "Server", "Port"};
constexpr int kWidths[] = {100, 150, 50};

constexpr Row kControls[] = {
    C::Group("By default, port forwarding is:"),
    C::Radio<&R::defaultAccess>("Granted Access", "granted").On<&CPrpUserAccess::ChooseDefault>(),
    C::Radio<&R::defaultAccess>("Denied Access", "denied").On<&CPrpUserAccess::ChooseDefault>(),
    C::EndGroup(),
    C::Table("Port forwarding excluded from default access", kTableColumns, kWidths)
        .As<&CPrpUserAccess::m_table>()
        .On<&CPrpUserAccess::TakeSelection>(),
    F::Edit<&ServerAndPort::server>("Remote server name"),
    F::Edit<&ServerAndPort::port>("Port").DigitsOnly(),
    C::Button("Set").On<&CPrpUserAccess::Set>(),
    C::Button("Delete").On<&CPrpUserAccess::Delete>(),
    C::Note("Turn on the default port forwarding access for this user, either granted or denied.\r\n\r\nTo "
            "set an exception, enter the remote server and port for which connections are exempt from the "
            "default value."),
    C::Note("For example, to prevent all forwarding, except for forwarding to a remote telnet server: Click "
            "on denied access by default. Enter the telnet server host name and port 23. Then click Set."),
};

constexpr Value kValues[] = {
    V::Text<&R::defaultAccess>("DefaultFwdAccess").Absent("granted").FailedIsAbsent(),
    V::List<&R::denied>("DeniedFwdPorts", ',', ReadRule::TextIfNotEmpty).AnyOrder(),
    V::List<&R::granted>("GrantedFwdPorts", ',', ReadRule::TextIfNotEmpty).AnyOrder(),
};

// A principal's name stands twice in the key, which neither this page nor a list makes: without one of that
// name nothing is read and nothing is stored. Each value is written, whatever becomes of the others, and the
// page hears no message of its siblings: its edits wait for its own Apply, or for that of the users.
constexpr PageTable CPrpUserAccess::kTable = {
    .caption = "Access Control",
    .helpTopic = "::IDH_UserForwardingControl.htm",
    .routing = Routing::PrincipalForwarding,
    .hears = Hears::Nothing,
    .chain = Chain::GoesOn,
    .controls = kControls,
    .values = kValues,
};

// An entry is cut at its first colon, so the port of a server whose name holds one is not found.
ServerAndPort Cut(const CString& entry) {
  const size_t colon = std::min(entry.find(':'), entry.size());
  return {entry.substr(0, colon), entry.substr(std::min(colon + 1, entry.size()))};
}

CString EntryOf(const ServerAndPort& fields) { return fields.server + ':' + fields.port; }

void TakeOut(CStringList& list, const CString& entry) {
  const auto found = std::find(list.begin(), list.end(), entry);
  if (found != list.end()) list.erase(found);
}

// The exceptions of the other access are not shown. The word of a row goes by the stored text to the letter,
// unlike the buttons: "Granted" shows its exceptions as granted.
void CPrpUserAccess::ShowRecord(const Record& record) {
  PrincipalPage::ShowRecord(record);
  const CDialog::FillScope filling(*this);
  const CStringList& list =
      text::EqualNoCase(record.defaultAccess, "Denied") ? record.granted : record.denied;
  const char* const access = record.defaultAccess == "granted" ? "Denied" : "Granted";
  m_rows.assign(list.rbegin(), list.rend());
  m_table->DeleteAllItems();
  for (const CString& entry : m_rows) {
    const auto [server, port] = Cut(entry);
    m_table->InsertItem(m_table->GetItemCount(), {access, server, port});
  }
}

// An empty table changes no list: the last row leaves the record by the button alone.
void CPrpUserAccess::ReadScreen(Record& record) {
  PrincipalPage::ReadScreen(record);
  if (m_rows.empty()) return;
  (record.defaultAccess == "granted" ? record.denied : record.granted) = m_rows;
}

void CPrpUserAccess::ChooseDefault(const Row& row, Notice) {
  m_current.defaultAccess = row.text;
  ShowRecord(m_current);
  UpdateModified();
}

void CPrpUserAccess::Set() {
  ServerAndPort fields;
  m_form.Read(fields);
  if (fields.server.empty() || fields.port.empty()) return;
  CStringList& list = ListAtHand();
  if (const std::ptrdiff_t selected = m_table->GetSelected(); selected >= 0) {
    TakeOut(list, m_rows[static_cast<size_t>(selected)]);
  }
  list.push_back(EntryOf(fields));
  ShowFields({});
  ShowRecord(m_current);
  UpdateModified();
}

// What leaves the record is what the fields say: after they were edited, the row goes from the screen alone.
void CPrpUserAccess::Delete() {
  const std::ptrdiff_t selected = m_table->GetSelected();
  if (selected < 0) {
    AfxMessageBox(kNothingToDelete);
    return;
  }
  m_table->DeleteItem(static_cast<size_t>(selected));
  m_rows.erase(m_rows.begin() + selected);
  ServerAndPort fields;
  m_form.Read(fields);
  TakeOut(ListAtHand(), EntryOf(fields));
  ShowFields({});
  UpdateModified();
}

void CPrpUserAccess::TakeSelection() {
  const std::ptrdiff_t selected = m_table->GetSelected();
  if (selected >= 0) ShowFields(Cut(m_rows[static_cast<size_t>(selected)]));
}

// Where no default is stored this is not the list that is shown.
CStringList& CPrpUserAccess::ListAtHand() {
  return text::EqualNoCase(m_current.defaultAccess, "Granted") ? m_current.denied : m_current.granted;
}

void CPrpUserAccess::ShowFields(const ServerAndPort& fields) {
  const CDialog::FillScope filling(*this);
  m_form.Show(fields);
}

}  // namespace

std::unique_ptr<CTesselPropertyPage> MakeUserAccessPage(const PageArguments& arguments) {
  return std::make_unique<CPrpUserAccess>(arguments);
}
