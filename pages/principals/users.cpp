#include "pages/pages.h"
#include "pages/principals/principals.h"
#include "pages/principals/user_list_page.h"

namespace {

using UserListRecord = PrincipalListRecord;

class CPrpUsersMain final : public UserListPage<CPrpUsersMain, UserListRecord> {
 public:
  using UserListPage::UserListPage;
  static const PageTable kTable;
  static const ListRules kList;
};

using R = UserListRecord;
using V = CPrpUsersMain::StoredValues;

constexpr auto kControls =
    UserListControls<CPrpUsersMain>("Only Allow Configured Users Access to Server", "Users");

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

constexpr ListRules CPrpUsersMain::kList = [] {
  ListRules rules = kUserListRules;
  rules.settings = kCopiedSettings;
  rules.applied = kApplied;
  return rules;
}();

}  // namespace

std::unique_ptr<CTesselPropertyPage> MakeUsersMainPage(const PageArguments& arguments) {
  return std::make_unique<CPrpUsersMain>(arguments);
}
