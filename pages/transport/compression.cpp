#include "framework/record_page.h"
#include "pages/pages.h"

namespace {

struct CompressionRecord {
  CString level;
  bool allow = false;
};

class CPrpCompression final : public RecordPage<CPrpCompression, CompressionRecord> {
 public:
  using RecordPage::RecordPage;
  static const PageTable kTable;
};

using R = CompressionRecord;
using C = CPrpCompression::Controls;
using V = CPrpCompression::StoredValues;

// A record with compression switched off disables the level; one with it on leaves the level as it stands
// until the box is clicked.
constexpr Row kControls[] = {
    C::CheckBox<&R::allow>("Enable Compression"),
    C::Group("Level"),
    C::NumberEdit<&R::level>("").Range(1, 9).EnabledBy<&R::allow>(Enabling::DisabledWhenShown),
    C::Slider("").Range(1, 9).EnabledBy<&R::allow>(Enabling::DisabledWhenShown),
    C::EndGroup(),
};

constexpr Value kValues[] = {
    V::Text<&R::level>("CompressionLevel", ReadRule::TextIfNotEmpty),
    V::Flag<&R::allow>("AllowCompression", ReadRule::TrueOnlyIfYes),
};

constexpr PageTable CPrpCompression::kTable = {
    .caption = "General Settings::Compression",
    .helpTopic = "::IDH_Compression.htm",
    .controls = kControls,
    .values = kValues,
};

}  // namespace

std::unique_ptr<CTesselPropertyPage> MakeCompressionPage(const PageArguments& arguments) {
  return std::make_unique<CPrpCompression>(arguments);
}
