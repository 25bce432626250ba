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
  static const Table kTable;
};

using R = AuthMethodsRecord;
using C = CPrpAuthMain::Controls;
using V = CPrpAuthMain::StoredValues;

// A record without a limit leaves the edit enabled until the box is clicked.
constexpr C::R kControls[] = {
    C::CheckBox("Limit authentication attempts", &R::limitAttempts),
    C::Edit("Number of authentication attempts", &R::attemptLimit)
        .DigitsOnly()
        .EnabledBy(&R::limitAttempts, Enabling::Clicked),
    C::Group("Methods allowed"),
    C::CheckBox("Password", &R::allowPassword),
    C::CheckBox("Public Key/Certificate Authentication", &R::allowPublicKey),
    C::CheckBox("GSSAPI Authentication", &R::allowGssapi),
    C::EndGroup(),
};

constexpr Value<R> kValues[] = {
    V::Text("AuthAttemptLimit", &R::attemptLimit, ReadRule::TextIfNotEmpty),
    V::Flag("AllowAuthLimit", &R::limitAttempts, ReadRule::TrueUnlessNo),
    V::Flag("AllowPasswordAuth", &R::allowPassword, ReadRule::TrueUnlessNo),
    V::Flag("AllowPubKeyAuth", &R::allowPublicKey, ReadRule::TrueUnlessNo),
    V::Flag("AllowGSSAuth", &R::allowGssapi, ReadRule::TrueUnlessNo),
};

constexpr CPrpAuthMain::Table CPrpAuthMain::kTable = {
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
