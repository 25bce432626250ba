#include "framework/record_page.h"
#include "pages/pages.h"

namespace {

struct PasswordOptionsRecord {
  bool cacheCredentials = false;
  bool onlyForCertificates = false;
};

class CPrpAuthPassword final : public RecordPage<CPrpAuthPassword, PasswordOptionsRecord> {
 public:
  using RecordPage::RecordPage;
  static const PageTable kTable;
};

using R = PasswordOptionsRecord;
using C = CPrpAuthPassword::Controls;
using V = CPrpAuthPassword::StoredValues;

constexpr Choice kStorePasswords[] = {
    // cacheCredentials, onlyForCertificates
    {"Never", false, false},
    {"Only when autoloading keys", true, true},
    {"Always", true, false},
};

constexpr Row kControls[] = {
    C::ReadOnlyText("Tessel Marrowen can optionally cache the users password.  This option is useful if the "
                    "users account requires access to shared drive.  If a password is cached, then a full "
                    "interactive logon will be performed using the cached password, allowing access to "
                    "network resources."),
    C::ChoiceList<&R::cacheCredentials, &R::onlyForCertificates>("Store Passwords:", kStorePasswords),
    C::Note("Note: If passwords are not stored a reboot is requred after installation before certificate "
            "authentication will suceed."),
};

constexpr Value kValues[] = {
    V::Flag<&R::cacheCredentials>("CacheWindowsCredentials", ReadRule::TrueUnlessNo),
    V::Flag<&R::onlyForCertificates>("OnlyCacheCredForCert", ReadRule::TrueUnlessNo),
};

constexpr PageTable CPrpAuthPassword::kTable = {
    .caption = "Authentication::Password Options",
    .helpTopic = "::IDH_PasswordOptions.htm",
    .controls = kControls,
    .values = kValues,
};

}  // namespace

std::unique_ptr<CTesselPropertyPage> MakeAuthPasswordPage(const PageArguments& arguments) {
  return std::make_unique<CPrpAuthPassword>(arguments);
}
