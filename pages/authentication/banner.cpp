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
  static const PageTable kTable;
};

using R = BannerRecord;
using C = CPrpBanner::Controls;
using V = CPrpBanner::StoredValues;

constexpr Row kControls[] = {
    C::Group("Splash Banner"),
    C::CheckBox<&R::displaySplash>("Display Splash Banner"),
    C::Edit<&R::splashText>("").MultiLine(),
    C::EndGroup(),
    C::Group("Consent Banner"),
    C::CheckBox<&R::displayConsent>("Display Consent Banner"),
    C::Edit<&R::consentText>("").MultiLine(),
    C::Edit<&R::consentPrompt>("Prompt"),
    C::Edit<&R::consentAccept>("Accept"),
    C::CheckBox<&R::caseSensitive>("Case Sensitive Match"),
    C::CheckBox<&R::exactLength>("Use Exact Length for Match"),
    C::EndGroup(),
};

constexpr Value kValues[] = {
    V::Flag<&R::caseSensitive>("ConsentAgreeCaseSensitive", ReadRule::TrueUnlessNo),
    V::Flag<&R::exactLength>("ConsentAgreeExactLen", ReadRule::TrueUnlessNo),
    V::Flag<&R::displayConsent>("DisplayConsentBanner", ReadRule::TrueUnlessNo),
    V::Flag<&R::displaySplash>("DisplaySplashBanner", ReadRule::TrueUnlessNo),
    V::Text<&R::splashText>("SplashBanner").Buffer(kTextBufferSize),
    V::Text<&R::consentText>("ConsentBanner").Buffer(kTextBufferSize),
    V::Text<&R::consentPrompt>("ConsentPrompt").Buffer(kTextBufferSize),
    V::Text<&R::consentAccept>("ConsentAccept").Buffer(kTextBufferSize),
};

constexpr PageTable CPrpBanner::kTable = {
    .caption = "Banner",
    .helpTopic = "::IDH_Banner.htm",
    .controls = kControls,
    .values = kValues,
};

}  // namespace

std::unique_ptr<CTesselPropertyPage> MakeBannerPage(const PageArguments& arguments) {
  return std::make_unique<CPrpBanner>(arguments);
}
