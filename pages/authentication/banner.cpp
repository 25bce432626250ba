#include "framework/record_page.h"
#include "pages/pages.h"

namespace {

constexpr DWORD kTextBufferSize = 4096;

struct BannerRecord {
  CString splashText;
  CString consentText;
  CString consentPrompt;
  CString consentAccept;
  bool displaySplash = false;
  bool displayConsent = false;
  bool caseSensitive = false;
  bool exactLength = false;
};

class CPrpBanner final : public RecordPage<CPrpBanner, BannerRecord> {
 public:
  using RecordPage::RecordPage;
  static const Table kTable;
};

using R = BannerRecord;
using C = CPrpBanner::Controls;
using V = CPrpBanner::StoredValues;

constexpr C::R kControls[] = {
    C::Group("Splash Banner"),
    C::CheckBox("Display Splash Banner", &R::displaySplash),
    C::Edit("", &R::splashText).MultiLine(),
    C::EndGroup(),
    C::Group("Consent Banner"),
    C::CheckBox("Display Consent Banner", &R::displayConsent),
    C::Edit("", &R::consentText).MultiLine(),
    C::Edit("Prompt", &R::consentPrompt),
    C::Edit("Accept", &R::consentAccept),
    C::CheckBox("Case Sensitive Match", &R::caseSensitive),
    C::CheckBox("Use Exact Length for Match", &R::exactLength),
    C::EndGroup(),
};

constexpr Value<R> kValues[] = {
    V::Flag("ConsentAgreeCaseSensitive", &R::caseSensitive, ReadRule::TrueUnlessNo),
    V::Flag("ConsentAgreeExactLen", &R::exactLength, ReadRule::TrueUnlessNo),
    V::Flag("DisplayConsentBanner", &R::displayConsent, ReadRule::TrueUnlessNo),
    V::Flag("DisplaySplashBanner", &R::displaySplash, ReadRule::TrueUnlessNo),
    V::Text("SplashBanner", &R::splashText).Buffer(kTextBufferSize),
    V::Text("ConsentBanner", &R::consentText).Buffer(kTextBufferSize),
    V::Text("ConsentPrompt", &R::consentPrompt).Buffer(kTextBufferSize),
    V::Text("ConsentAccept", &R::consentAccept).Buffer(kTextBufferSize),
};

constexpr CPrpBanner::Table CPrpBanner::kTable = {
    .caption = "Banner",
    .helpTopic = "::IDH_Banner.htm",
    .controls = kControls,
    .values = kValues,
};

}  // namespace

std::unique_ptr<CTesselPropertyPage> MakeBannerPage(const PageArguments& arguments) {
  return std::make_unique<CPrpBanner>(arguments);
}
