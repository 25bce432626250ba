#include "pages/pages.h"
#include "pages/principals/group_list_page.h"
#include "pages/principals/principals.h"

namespace {

using GroupListRecord = OrderedListRecord;

class CPrpGroupsMain final : public GroupListPage<CPrpGroupsMain, GroupListRecord> {
 public:
  using GroupListPage::GroupListPage;
  static const PageTable kTable;
  static const ListRules kList;
  static constexpr Counted kCounted = Counted::NamedInOrder;
};

using R = GroupListRecord;
using V = CPrpGroupsMain::StoredValues;

constexpr auto kControls =
    GroupListControls<CPrpGroupsMain>("Only allow configured groups shell access", "Groups");

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

constexpr ListRules CPrpGroupsMain::kList = [] {
  ListRules rules = kGroupListRules;
  rules.settings = kCopiedSettings;
  rules.applied = kCopiedSettings;
  return rules;
}();

}  // namespace

std::unique_ptr<CTesselPropertyPage> MakeGroupsMainPage(const PageArguments& arguments) {
  return std::make_unique<CPrpGroupsMain>(arguments);
}
