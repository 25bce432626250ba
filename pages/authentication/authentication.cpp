#include "framework/record_page.h"
#include "pages/pages.h"

namespace {

struct AuthMethodsRecord {
  bool limitAttempts = false;
  bool allowPassword = false;
  bool allowPublicKey = false;
  bool allowGssapi = false;
  CString attemptLimit;
};

class CPrpAuthMain final : public RecordPage<CPrpAuthMain, AuthMethodsRecord> {
 public:
  using RecordPage::RecordPage;
  static const PageTable kTable;
};

using R = AuthMethodsRecord;
using C = CPrpAuthMain::Controls;
using V = CPrpAuthMain::StoredValues;

// A record without a limit leaves the edit enabled until the box is clicked.
constexpr Row kControls[] = {
    C::CheckBox<&R::limitAttempts>("Limit authentication attempts"),
    C::Edit<&R::attemptLimit>("Number of authentication attempts")
        .DigitsOnly()
        .EnabledBy<&R::limitAttempts>(Enabling::Changed),
    C::Group("Methods allowed"),
    C::CheckBox<&R::allowPassword>("Password"),
    C::CheckBox<&R::allowPublicKey>("Public Key/Certificate Authentication"),
    C::CheckBox<&R::allowGssapi>("GSSAPI Authentication"),
    C::EndGroup(),
};

constexpr Value kValues[] = {
    V::Text<&R::attemptLimit>("AuthAttemptLimit", ReadRule::TextIfNotEmpty),
    V::Flag<&R::limitAttempts>("AllowAuthLimit", ReadRule::TrueUnlessNo),
    V::Flag<&R::allowPassword>("AllowPasswordAuth", ReadRule::TrueUnlessNo),
    V::Flag<&R::allowPublicKey>("AllowPubKeyAuth", ReadRule::TrueUnlessNo),
    V::Flag<&R::allowGssapi>("AllowGSSAuth", ReadRule::TrueUnlessNo),
};

constexpr PageTable CPrpAuthMain::kTable = {
    .caption = "Authentication",
    .helpTopic = "::IDH_Authentication.htm",
    // An export does not write what is pending here, and an import does not reach it.
    .hears = Hears::Nothing,
    .controls = kControls,
    .values = kValues,
};

}  // namespace

std::unique_ptr<CTesselPropertyPage> MakeAuthMainPage(const PageArguments& arguments) {
  return std::make_unique<CPrpAuthMain>(arguments);
}
