#include "framework/record_page.h"
#include "pages/pages.h"

namespace {

struct AccessControlRecord {
  bool allowTcpForwarding = false;
  bool allowRemoteTcpForwarding = false;
  bool allowSftp = false;
  bool allowShell = false;
  bool allowScp = false;
};

class CPrpAccessControl final : public RecordPage<CPrpAccessControl, AccessControlRecord> {
 public:
  using RecordPage::RecordPage;
  static const PageTable kTable;
};

using R = AccessControlRecord;
using C = CPrpAccessControl::Controls;
using V = CPrpAccessControl::StoredValues;

constexpr Row kControls[] = {
    C::CheckBox<&R::allowTcpForwarding>("Allow Port Forwarding"),
    C::CheckBox<&R::allowRemoteTcpForwarding>("Allow Remote Port Forwarding"),
    C::CheckBox<&R::allowSftp>("Allow SFTP Access"),
    C::CheckBox<&R::allowShell>("Allow Logon/Shell Access"),
    C::CheckBox<&R::allowScp>("Allow SCP Access"),
};

constexpr Value kValues[] = {
    V::Flag<&R::allowShell>("AllowShellAccess", ReadRule::TrueUnlessNo),
    V::Flag<&R::allowSftp>("AllowSFTPSubSystems", ReadRule::TrueUnlessNo),
    V::Flag<&R::allowTcpForwarding>("AllowTCPForwarding", ReadRule::TrueUnlessNo),
    V::Flag<&R::allowRemoteTcpForwarding>("AllowRemoteTCPForwarding", ReadRule::TrueUnlessNo),
    V::Flag<&R::allowScp>("AllowSCPSubSystems", ReadRule::TrueUnlessNo),
};

constexpr PageTable CPrpAccessControl::kTable = {
    .caption = "Access Control",
    .helpTopic = "::IDH_AccessControl.htm",
    .controls = kControls,
    .values = kValues,
};

}  // namespace

std::unique_ptr<CTesselPropertyPage> MakeAccessControlPage(const PageArguments& arguments) {
  return std::make_unique<CPrpAccessControl>(arguments);
}
