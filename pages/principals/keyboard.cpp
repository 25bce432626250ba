#include "framework/principal_page.h"
#include "pages/pages.h"

namespace {

struct UserKeyboardRecord {
  bool allowControlC = false;
  bool allowControlG = false;
  CString altKey;
};

class CPrpUserKeyboard final : public PrincipalPage<CPrpUserKeyboard, UserKeyboardRecord> {
 public:
  using PrincipalPage::PrincipalPage;
  static const PageTable kTable;
};

using R = UserKeyboardRecord;
using C = CPrpUserKeyboard::Controls;
using V = CPrpUserKeyboard::StoredValues;

constexpr Row kControls[] = {
    C::Edit<&R::altKey>("Re-Map ALT Key").DigitsOnly(),
    C::Group("Special Keyboard Characters"),
    C::CheckBox<&R::allowControlC>("Allow Control-C"),
    C::CheckBox<&R::allowControlG>("Allow Control-G"),
    C::EndGroup(),
};

constexpr Value kValues[] = {
    // The word for no key is not read back as an empty text: it stands in the edit, which takes digits alone,
    // and an empty value would mean key 1.
    V::Text<&R::altKey>("AltKey").Absent("1").EmptyAs("NONE"),
    V::Flag<&R::allowControlC>("ControlCKey", ReadRule::TrueOnlyIfYes).Words("PASSIT", "BLOCKIT"),
    V::Flag<&R::allowControlG>("ControlGKey", ReadRule::TrueOnlyIfYes).Words("PASSIT", "BLOCKIT"),
};

constexpr PageTable CPrpUserKeyboard::kTable = {
    .caption = "Keyboard",
    .helpTopic = "::IDH_UserKeyboard.htm",
    .routing = Routing::Principal,
    .hears = Hears::ListChangesToo,
    .controls = kControls,
    .values = kValues,
};

}  // namespace

std::unique_ptr<CTesselPropertyPage> MakeUserKeyboardPage(const PageArguments& arguments) {
  return std::make_unique<CPrpUserKeyboard>(arguments);
}
