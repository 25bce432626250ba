#include "framework/principal_page.h"
#include "pages/filetransfer/file_transfer.h"
#include "pages/pages.h"

namespace {

struct ScpRecord {
  bool allowed = true;
  CString homeDir;
  bool useDefaults = false;
  int rootMode = 1;
  CStringList vRoots;  // has no control: what another tool has stored is written back
};

class CPrpSCPUser final : public PrincipalPage<CPrpSCPUser, ScpRecord> {
 public:
  using PrincipalPage::PrincipalPage;
  static const PageTable kTable;

 protected:
  void LoadFrom(const CTesselRegObject& key, ScpRecord& record, KeyOf which) override;
};

using R = ScpRecord;
using C = CPrpSCPUser::Controls;
using V = CPrpSCPUser::StoredValues;

constexpr std::string_view kModes[] = {"vroot", "mroot", "admin"};
constexpr int kRestricted = 1;
constexpr int kFree = 2;

constexpr Row kControls[] = {
    C::Group("Home directory functionality"),
    C::Radio<&R::rootMode>("Restrict user to home directory and subdirectories", kRestricted),
    C::Radio<&R::rootMode>("Allow user to traverse above home directory", kFree),
    C::Edit<&R::homeDir>("Home Directory"),
    C::BrowseFolder<&R::homeDir>("Home Directory"),
    C::EndGroup(),
};

// Both flags are written at every save and never read, unlike those of SFTP principals, which have none: the
// service takes a principal without them for one that was never set up.
// The roots go through a block of this size, and a longer table stays as it is stored.
constexpr size_t kRootsBlock = 16384;
constexpr Value kValues[] = {
    V::Text<&R::homeDir>("SCPHomeDir").NoCase(),
    V::Flag<&R::allowed>("AllowSCP", ReadRule::TrueOnlyIfYes).NeverRead(),
    V::Flag<&R::useDefaults>("UseDefaultSettings", ReadRule::TrueOnlyIfYes).NeverRead(),
    V::Word<&R::rootMode>("SCPClientRootMode", kModes, kFree).Absent("mroot").FailedIsAbsent(),
    V::MultiString<&R::vRoots>("vRoots").AnyOrder().Always().Block(kRootsBlock),
};

// It hears no message of its siblings: what waits for a new principal is written when the whole sheet is.
constexpr PageTable CPrpSCPUser::kTable = {
    .caption = "SCP Users",
    .helpTopic = kScpHelp,
    .helpKey = kHelpKey,
    .routing = Routing::ScpPrincipal,
    .hears = Hears::Nothing,
    .controls = kControls,
    .values = kValues,
};

// The service offers no virtual roots: a principal stored with them has always been shown, and saved, as one
// without restriction.
void CPrpSCPUser::LoadFrom(const CTesselRegObject& key, R& record, KeyOf which) {
  PrincipalPage::LoadFrom(key, record, which);
  if (record.rootMode != kRestricted) record.rootMode = kFree;
}

}  // namespace

std::unique_ptr<CTesselPropertyPage> MakeScpUserPage(const PageArguments& arguments) {
  return std::make_unique<CPrpSCPUser>(arguments);
}
