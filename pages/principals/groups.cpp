#include "framework/ordered_list_page.h"
#include "pages/pages.h"
#include "pages/principals/group_picker.h"
#include "pages/principals/principals.h"

namespace {

using GroupListRecord = OrderedListRecord;

class CPrpGroupsMain final : public OrderedListPage<CPrpGroupsMain, GroupListRecord> {
 public:
  using OrderedListPage::OrderedListPage;
  static const PageTable kTable;
  static const ListRules kList;
  static constexpr Counted kCounted = Counted::NamedInOrder;
  static constexpr std::string_view kSelectToMove = "Please Select Group";

 protected:
  void AddPrincipal(const CString& source, bool isCopy) override;
};

using R = GroupListRecord;
using C = CPrpGroupsMain::Controls;
using V = CPrpGroupsMain::StoredValues;

constexpr Row kControls[] = {
    C::CheckBox<&R::allowOnly>("Only allow configured groups shell access"),
    C::List("Groups").As<&CPrpGroupsMain::m_list>(),
    C::Button("New Group").On<&CPrpGroupsMain::NewPrincipal>(),
    C::Button("Copy Group").On<&CPrpGroupsMain::CopyPrincipal>(),
    C::Button("Delete Group").On<&CPrpGroupsMain::DeletePrincipal>(),
    C::Button("Up").On<&CPrpGroupsMain::MoveUp>(),
    C::Button("Down").On<&CPrpGroupsMain::MoveDown>(),
};

constexpr Value kValues[] = {
    V::Flag<&R::allowOnly>("AllowByGroup", ReadRule::TrueOnlyIfYes),
};

constexpr PageTable CPrpGroupsMain::kTable = {
    .caption = "Groups",
    .helpTopic = "::IDH_GroupManagement.htm",
    .routing = Routing::GroupList,
    .controls = kControls,
    .values = kValues,
};

constexpr ListRules CPrpGroupsMain::kList = {
    .folder = "Groups",
    .settings = kCopiedSettings,
    .newFolder = "Users",  // a new group starts from the user of that name
    .ownFolder = "Groups",
    .applied = kCopiedSettings,
    .selectToCopy = "Please Select Group to copy",
    .selectToDelete = "Please Select Group from List Box",
    .silentWithoutFolder = true,
};

void CPrpGroupsMain::AddPrincipal(const CString& source, bool isCopy) {
  CDlgAddGroups dialog;
  if (dialog.DoModal() != Reply::Ok) return;
  while (dialog.GetChosen().empty()) {
    AfxMessageBox("Group must be selected");
    if (dialog.DoModal() != Reply::Ok) return;
  }
  CString path;
  for (CString name : dialog.GetChosen()) {
    name.erase(0, name.find_first_not_of('\\'));
    if (m_list->FindStringExact(name) >= 0) {
      AfxMessageBox("Cannot add group. Group " + name + " already exists.");
      continue;
    }
    path = MakePrincipal(name, source, isCopy);
  }
  TakeChange();
  // Once for all of them, with the last one's node.
  RefreshNode(path);
}

}  // namespace

std::unique_ptr<CTesselPropertyPage> MakeGroupsMainPage(const PageArguments& arguments) {
  return std::make_unique<CPrpGroupsMain>(arguments);
}
