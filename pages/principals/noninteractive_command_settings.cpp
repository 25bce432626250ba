#include "framework/principal_page.h"
#include "pages/pages.h"
#include "pages/principals/program_files.h"

namespace {

struct UserNonInteractiveRecord {
  CString mode;
  CString shell;
  bool suppressInput = false;
};

class CPrpUserNonInteractive final : public PrincipalPage<CPrpUserNonInteractive, UserNonInteractiveRecord> {
 public:
  using PrincipalPage::PrincipalPage;
  static const PageTable kTable;
};

using R = UserNonInteractiveRecord;
using C = CPrpUserNonInteractive::Controls;
using V = CPrpUserNonInteractive::StoredValues;

constexpr std::string_view kModes[] = {"Advanced Console", "Full Stream"};

bool IsFullStream(const R& record) { return text::EqualNoCase(record.mode, "Full Stream"); }

constexpr Row kControls[] = {
    // A mode that is missing shows the first row, and what is shown counts: a mere visit leaves an edit that
    // stores it.
    C::DropDown<&R::mode>("Execution Mode", kModes).ByBeginning(Otherwise::FirstRow),
    C::Edit<&R::shell>("Shell Spec"),
    C::Browse<&R::shell>(kShellPicker),
    C::CheckBox<&R::suppressInput>("Suppress Input Pipe  (Only valid in Full Stream Mode)")
        .EnabledWhen<IsFullStream, &R::mode>(),
};

constexpr Value kValues[] = {
    V::Text<&R::shell>("NonInteractiveShell"),
    V::Text<&R::mode>("NonInteractiveMode"),
    V::Flag<&R::suppressInput>("NonInteractiveInputSuppression", ReadRule::TrueOnlyIfYes),
};

constexpr PageTable CPrpUserNonInteractive::kTable = {
    .caption = "NonInteractive Command Settings",
    .helpTopic = "::IDH_UserNonInteractiveCommand.htm",
    .routing = Routing::Principal,
    .hears = Hears::ListChangesToo,
    .controls = kControls,
    .values = kValues,
};

}  // namespace

std::unique_ptr<CTesselPropertyPage> MakeUserNonInteractivePage(const PageArguments& arguments) {
  return std::make_unique<CPrpUserNonInteractive>(arguments);
}
