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
  static const Table kTable;
};

using R = AccessControlRecord;
using C = CPrpAccessControl::Controls;
using V = CPrpAccessControl::StoredValues;

constexpr C::R kControls[] = {
    C::CheckBox("Allow Port Forwarding", &R::allowTcpForwarding),
    C::CheckBox("Allow Remote Port Forwarding", &R::allowRemoteTcpForwarding),
    C::CheckBox("Allow SFTP Access", &R::allowSftp),
    C::CheckBox("Allow Logon/Shell Access", &R::allowShell),
    C::CheckBox("Allow SCP Access", &R::allowScp),
};

constexpr Value<R> kValues[] = {
    V::Flag("AllowShellAccess", &R::allowShell, ReadRule::TrueUnlessNo),
    V::Flag("AllowSFTPSubSystems", &R::allowSftp, ReadRule::TrueUnlessNo),
    V::Flag("AllowTCPForwarding", &R::allowTcpForwarding, ReadRule::TrueUnlessNo),
    V::Flag("AllowRemoteTCPForwarding", &R::allowRemoteTcpForwarding, ReadRule::TrueUnlessNo),
    V::Flag("AllowSCPSubSystems", &R::allowScp, ReadRule::TrueUnlessNo),
};

constexpr CPrpAccessControl::Table CPrpAccessControl::kTable = {
    .caption = "Access Control",
    .helpTopic = "::IDH_AccessControl.htm",
    .controls = kControls,
    .values = kValues,
};

}  // namespace

std::unique_ptr<CTesselPropertyPage> MakeAccessControlPage(const PageArguments& arguments) {
  return std::make_unique<CPrpAccessControl>(arguments);
}
