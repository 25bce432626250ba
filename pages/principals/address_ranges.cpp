#include <string>

#include "pages/pages.h"
#include "pages/principals/principals.h"

namespace {

struct NoFields {};

class CDlgAddIPList final : public CDialog {
 public:
  CDlgAddIPList() : CDialog("Add IP Address") {}
  // Starts from a range, for example "10.0.0.1-10.0.0.9".
  explicit CDlgAddIPList(std::string_view range) : CDialog("Add IP Address"), m_range(range) {}

  // The two ends with a hyphen between.
  const CString& GetRange() const { return m_range; }

  void OnOK() override;

 protected:
  void BuildControls() override;
  bool OnInitDialog() override;

 private:
  Form<CDlgAddIPList, NoFields> m_form;
  CString m_range;
};

using RangeControls = Rows<CDlgAddIPList, NoFields>;

constexpr std::string_view kBegin = "Begin IP Address";
constexpr std::string_view kEnd = "End IP Address";
constexpr RangeControls::R kRangeControls[] = {
    RangeControls::Address(kBegin),
    RangeControls::Address(kEnd),
    RangeControls::Note("Leave blank for single IP address"),
};

CString Dotted(const CIPAddressCtrl& address) {
  CString text;
  for (const std::uint8_t part : address.GetAddress())
    text += (text.empty() ? "" : ".") + std::to_string(part);
  return text;
}

void CDlgAddIPList::BuildControls() { m_form.Build(*this, kRangeControls); }

bool CDlgAddIPList::OnInitDialog() {
  const size_t hyphen = m_range.find('-');
  if (hyphen == CString::npos) return true;
  const FillScope filling(*this);
  m_form.Get<CIPAddressCtrl>(kBegin).Put(m_range.substr(0, hyphen));
  m_form.Get<CIPAddressCtrl>(kEnd).Put(m_range.substr(hyphen + 1));
  return true;
}

// The order of the two ends is not checked.
void CDlgAddIPList::OnOK() {
  const auto& begin = m_form.Get<CIPAddressCtrl>(kBegin);
  const auto& end = m_form.Get<CIPAddressCtrl>(kEnd);
  m_range = Dotted(begin) + '-' + Dotted(end.IsBlank() ? begin : end);
  CDialog::OnOK();
}

using IpListRecord = PrincipalListRecord;

class CPrpCfgIpMain final : public ListPage<CPrpCfgIpMain, IpListRecord> {
 public:
  using ListPage::ListPage;
  static const Table kTable;
  static const ListRules kList;

 protected:
  void AddPrincipal(const CString& source, bool isCopy) override;
};

using R = IpListRecord;
using C = CPrpCfgIpMain::Controls;
using V = CPrpCfgIpMain::StoredValues;

// The box only carries the stored flag: the console does not offer to change it.
const C::R kControls[] = {
    C::CheckBox("Only Allow Configured IP Range Access to Server", &R::allowOnly).Hidden(),
    C::List("IP Range").Sorted(),
    C::Button("New IP Range", &CPrpCfgIpMain::NewPrincipal),
    C::Button("Copy Range", &CPrpCfgIpMain::CopyPrincipal),
    C::Button("Delete Range", &CPrpCfgIpMain::DeletePrincipal),
};

constexpr Value<R> kValues[] = {
    V::Flag("AllowByIP", &R::allowOnly, ReadRule::TrueOnlyIfYes).CapitalYes(),
};

// Help is that of the users.
constexpr CPrpCfgIpMain::Table CPrpCfgIpMain::kTable = {
    .caption = "IP Range",
    .helpTopic = "::IDH_UserManagement.htm",
    .routing = Routing::PrincipalList,
    .controls = kControls,
    .values = kValues,
};

constexpr ListRules CPrpCfgIpMain::kList = {
    .list = "IP Range",
    .folder = "IPs",
    .settings = kCopiedSettings,
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
  // A new range starts from the user of that name.
  CString from = PathOf(source);
  if (!isCopy) from = text::Replaced(from, "IP Range", "Users");
  RefreshNode(MakePrincipal(range, from));
  TakeChange();
}

}  // namespace

std::unique_ptr<CTesselPropertyPage> MakeCfgIpMainPage(const PageArguments& arguments) {
  return std::make_unique<CPrpCfgIpMain>(arguments);
}
