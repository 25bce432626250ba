#include "framework/form_dialog.h"
#include "pages/pages.h"
#include "pages/principals/principals.h"

namespace {

struct UserName {
  CString name;
  CString domain;
};

class CDlgGetUserInfo final : public FormDialog<CDlgGetUserInfo, UserName> {
 public:
  CDlgGetUserInfo() : FormDialog("New User Name and Domain") {}
  static const std::span<const Row> kControls;

  const CString& GetUserName() const { return Data().name; }
  const CString& GetDomain() const { return Data().domain; }
};

constexpr Row kNameControls[] = {
    Rows<UserName>::Edit<&UserName::name>("User Name"),
    Rows<UserName>::Edit<&UserName::domain>("Domain"),
};
const std::span<const Row> CDlgGetUserInfo::kControls = kNameControls;

using UserListRecord = PrincipalListRecord;

class CPrpUsersMain final : public ListPage<CPrpUsersMain, UserListRecord> {
 public:
  using ListPage::ListPage;
  static const PageTable kTable;
  static const ListRules kList;

 protected:
  void AddPrincipal(const CString& source, bool isCopy) override;
};

using R = UserListRecord;
using C = CPrpUsersMain::Controls;
using V = CPrpUsersMain::StoredValues;

constexpr Row kControls[] = {
    C::CheckBox<&R::allowOnly>("Only Allow Configured Users Access to Server"),
    C::List("Users").Sorted().As<&CPrpUsersMain::m_list>(),
    C::Button("New User").On<&CPrpUsersMain::NewPrincipal>(),
    C::Button("Copy User").On<&CPrpUsersMain::CopyPrincipal>(),
    C::Button("Delete User").On<&CPrpUsersMain::DeletePrincipal>(),
};

constexpr Value kValues[] = {
    V::Flag<&R::allowOnly>("AllowByUser", ReadRule::TrueOnlyIfYes).Words("Yes", "no"),
};

constexpr PageTable CPrpUsersMain::kTable = {
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
    .folder = "Users",
    .settings = kCopiedSettings,
    .applied = kApplied,
    .emptyRow = "Default",
    .cannotDelete = "Default",
    .cannotDeleteText = "Sorry, cannot delete user Default",
    .selectToCopy = "Please Select User to copy",
    .selectToDelete = "Please Select User from List Box",
};

void CPrpUsersMain::AddPrincipal(const CString& source, bool isCopy) {
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
  RefreshNode(MakePrincipal(principal_list::DisplayName(name), source, isCopy));
  TakeChange();
}

}  // namespace

std::unique_ptr<CTesselPropertyPage> MakeUsersMainPage(const PageArguments& arguments) {
  return std::make_unique<CPrpUsersMain>(arguments);
}
