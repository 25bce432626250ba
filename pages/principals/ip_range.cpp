// Longer than most pages: the dialog that asks for a range stands with its list.

#include <string>

#include "framework/form_dialog.h"
#include "pages/pages.h"
#include "pages/principals/principals.h"

namespace {

class CDlgAddIPList final : public FormDialog<CDlgAddIPList, NoFields> {
 public:
  CDlgAddIPList() : FormDialog("Add IP Address") {}
  // Starts from a range, for example "10.0.0.1-10.0.0.9".
  explicit CDlgAddIPList(std::string_view range) : FormDialog("Add IP Address"), m_range(range) {}
  static const std::span<const Row> kControls;

  // The two ends with a hyphen between.
  const CString& GetRange() const { return m_range; }

  void OnOK() override;

  CIPAddressCtrl* m_begin = nullptr;
  CIPAddressCtrl* m_end = nullptr;

 protected:
  bool OnInitDialog() override;

 private:
  CString m_range;
};

using D = Rows<NoFields>;
constexpr Row kRangeControls[] = {
    D::Address("Begin IP Address").As<&CDlgAddIPList::m_begin>(),
    D::Address("End IP Address").As<&CDlgAddIPList::m_end>(),
    D::Note("Leave blank for single IP address"),
};
const std::span<const Row> CDlgAddIPList::kControls = kRangeControls;

CString Dotted(const CIPAddressCtrl& address) {
  CString text;
  for (const std::uint8_t part : address.GetAddress())
    text += (text.empty() ? "" : ".") + std::to_string(part);
  return text;
}

bool CDlgAddIPList::OnInitDialog() {
  const size_t hyphen = m_range.find('-');
  if (hyphen == CString::npos) return true;
  const FillScope filling(*this);
  m_begin->Put(m_range.substr(0, hyphen));
  m_end->Put(m_range.substr(hyphen + 1));
  return true;
}

// The order of the two ends is not checked.
void CDlgAddIPList::OnOK() {
  m_range = Dotted(*m_begin) + '-' + Dotted(m_end->IsBlank() ? *m_begin : *m_end);
  FormDialog::OnOK();
}

using IpListRecord = PrincipalListRecord;

class CPrpCfgIpMain final : public ListPage<CPrpCfgIpMain, IpListRecord> {
 public:
  using ListPage::ListPage;
  static const PageTable kTable;
  static const ListRules kList;

 protected:
  void AddPrincipal(const CString& source, bool isCopy) override;
};

using R = IpListRecord;
using C = CPrpCfgIpMain::Controls;
using V = CPrpCfgIpMain::StoredValues;

// The box only carries the stored flag: the console does not offer to change it.
constexpr Row kControls[] = {
    C::CheckBox<&R::allowOnly>("Only Allow Configured IP Range Access to Server").Hidden(),
    C::List("IP Range").Sorted().As<&CPrpCfgIpMain::m_list>(),
    C::Button("New IP Range").On<&CPrpCfgIpMain::NewPrincipal>(),
    C::Button("Copy Range").On<&CPrpCfgIpMain::CopyPrincipal>(),
    C::Button("Delete Range").On<&CPrpCfgIpMain::DeletePrincipal>(),
};

constexpr Value kValues[] = {
    V::Flag<&R::allowOnly>("AllowByIP", ReadRule::TrueOnlyIfYes).Words("Yes", "no"),
};

// Help is that of the users.
constexpr PageTable CPrpCfgIpMain::kTable = {
    .caption = "IP Range",
    .helpTopic = "::IDH_UserManagement.htm",
    .routing = Routing::PrincipalList,
    .controls = kControls,
    .values = kValues,
};

constexpr ListRules CPrpCfgIpMain::kList = {
    .folder = "IPs",
    .settings = kCopiedSettings,
    .newFolder = "Users",  // a new range starts from the user of that name
    .ownFolder = "IP Range",
    .applied = kCopiedSettings,
    .selectToCopy = "Please Select User to copy",
    .selectToDelete = "Please Select User from List Box",
    .rowsAsStored = true,
};

void CPrpCfgIpMain::AddPrincipal(const CString& source, bool isCopy) {
  CDlgAddIPList dialog;
  if (dialog.DoModal() != Reply::Ok) return;
  const CString& range = dialog.GetRange();
  if (principal_list::Holds(m_current.names, range)) {
    AfxMessageBox("Range " + range + " already exists.");
    return;
  }
  RefreshNode(MakePrincipal(range, source, isCopy));
  TakeChange();
}

}  // namespace

std::unique_ptr<CTesselPropertyPage> MakeCfgIpMainPage(const PageArguments& arguments) {
  return std::make_unique<CPrpCfgIpMain>(arguments);
}
