#include "pages/pages.h"
#include "pages/principals/principals.h"

namespace {

struct UserName {
  CString name;
  CString domain;
};

class CDlgGetUserInfo final : public CDialog {
 public:
  CDlgGetUserInfo() : CDialog("New User Name and Domain") {}

  const CString& GetUserName() const { return m_data.name; }
  const CString& GetDomain() const { return m_data.domain; }

  void OnOK() override {
    m_form.Read(m_data);
    CDialog::OnOK();
  }

 protected:
  void BuildControls() override;
  // What was typed stays when the dialog is shown again.
  bool OnInitDialog() override {
    const FillScope filling(*this);
    m_form.Show(m_data);
    return true;
  }

 private:
  Form<CDlgGetUserInfo, UserName> m_form;
  UserName m_data;
};

using NameControls = Rows<CDlgGetUserInfo, UserName>;

constexpr NameControls::R kNameControls[] = {
    NameControls::Edit("User Name", &UserName::name),
    NameControls::Edit("Domain", &UserName::domain),
};

void CDlgGetUserInfo::BuildControls() { m_form.Build(*this, kNameControls); }

using UserListRecord = PrincipalListRecord;

class CPrpUsersMain final : public ListPage<CPrpUsersMain, UserListRecord> {
 public:
  using ListPage::ListPage;
  static const Table kTable;
  static const ListRules kList;

 protected:
  void AddPrincipal(const CString& source, bool isCopy) override;
};

using R = UserListRecord;
using C = CPrpUsersMain::Controls;
using V = CPrpUsersMain::StoredValues;

const C::R kControls[] = {
    C::CheckBox("Only Allow Configured Users Access to Server", &R::allowOnly),
    C::List("Users").Sorted(),
    C::Button("New User", &CPrpUsersMain::NewPrincipal),
    C::Button("Copy User", &CPrpUsersMain::CopyPrincipal),
    C::Button("Delete User", &CPrpUsersMain::DeletePrincipal),
};

constexpr Value<R> kValues[] = {
    V::Flag("AllowByUser", &R::allowOnly, ReadRule::TrueOnlyIfYes).CapitalYes(),
};

constexpr CPrpUsersMain::Table CPrpUsersMain::kTable = {
    .caption = "Users",
    .helpTopic = "::IDH_UserManagement.htm",
    .routing = Routing::PrincipalList,
    .controls = kControls,
    .values = kValues,
};

// This list alone writes the forwarding pages too.
constexpr PageIndex kApplied[] = {
    PageIndex::UserGen,   PageIndex::UserEnv,    PageIndex::UserFullCon,   PageIndex::UserKeyboard,
    PageIndex::UserLogon, PageIndex::UserStream, PageIndex::UserTerminate, PageIndex::UserAccess,
};

constexpr ListRules CPrpUsersMain::kList = {
    .list = "Users",
    .folder = "Users",
    .settings = kCopiedSettings,
    .applied = kApplied,
    .emptyRow = "Default",
    .cannotDelete = "Default",
    .cannotDeleteText = "Sorry, cannot delete user Default",
    .selectToCopy = "Please Select User to copy",
    .selectToDelete = "Please Select User from List Box",
};

void CPrpUsersMain::AddPrincipal(const CString& source, bool) {
  CDlgGetUserInfo dialog;
  if (dialog.DoModal() != Reply::Ok) return;
  while (dialog.GetUserName().empty()) {
    AfxMessageBox("Must enter user name.");
    if (dialog.DoModal() != Reply::Ok) return;
  }
  CString name = dialog.GetUserName();
  if (!dialog.GetDomain().empty()) name = dialog.GetDomain() + '?' + name;
  // A name that differs by case alone passes, though the store takes both for one key.
  if (principal_list::Holds(m_current.names, name)) {
    AfxMessageBox("Cannot add user. User " + name + " already exists.");
    return;
  }
  RefreshNode(MakePrincipal(principal_list::DisplayName(name), PathOf(source)));
  TakeChange();
}

}  // namespace

std::unique_ptr<CTesselPropertyPage> MakeUsersMainPage(const PageArguments& arguments) {
  return std::make_unique<CPrpUsersMain>(arguments);
}
