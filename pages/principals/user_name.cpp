#include "pages/principals/user_name.h"

#include "framework/form_dialog.h"

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

}  // namespace

CString AskUserName(char separator) {
  CDlgGetUserInfo dialog;
  if (dialog.DoModal() != Reply::Ok) return {};
  while (dialog.GetUserName().empty()) {
    AfxMessageBox("Must enter user name.");
    if (dialog.DoModal() != Reply::Ok) return {};
  }
  if (dialog.GetDomain().empty()) return dialog.GetUserName();
  return dialog.GetDomain() + separator + dialog.GetUserName();
}
