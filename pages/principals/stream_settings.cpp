#include "framework/principal_page.h"
#include "pages/pages.h"
#include "pages/principals/program_files.h"

namespace {

struct UserStreamRecord {
  CString startupProgram;
  CString shell;
  bool processLines = false;
  bool localEcho = false;
  bool closeShell = false;
  bool convertLineEnds = false;
  bool sendInitString = false;
};

class CPrpUserStream final : public PrincipalPage<CPrpUserStream, UserStreamRecord> {
 public:
  using PrincipalPage::PrincipalPage;
  static const PageTable kTable;
};

using R = UserStreamRecord;
using C = CPrpUserStream::Controls;
using V = CPrpUserStream::StoredValues;

bool CanCloseShell(const R& record) { return HoldsCmd(record.shell); }

constexpr Row kControls[] = {
    C::Edit<&R::shell>("Shell/Custom Program").OnLeave<&CPrpUserStream::TakeScreen>(),
    C::Browse<&R::shell>(kShellPicker),
    C::Edit<&R::startupProgram>("Startup Program"),
    C::Browse<&R::startupProgram>(kStartupPicker),
    C::CheckBox<&R::closeShell>("Close cmd.exe shell after running startup program")
        .EnabledWhen<CanCloseShell, &R::shell>(),
    C::CheckBox<&R::localEcho>("Echo Input Characters"),
    C::CheckBox<&R::processLines>("Process Input Lines"),
    C::CheckBox<&R::convertLineEnds>("Convert single linefeed or carriage return input to CR/LF"),
    C::CheckBox<&R::sendInitString>("Send terminal initialization string"),
};

constexpr ReadRule kYes = ReadRule::TrueOnlyIfYes;

constexpr Value kValues[] = {
    V::Text<&R::shell>("UserShell_SMode"),
    V::Text<&R::startupProgram>("UserShellInitializerStream"),
    V::Flag<&R::localEcho>("LocalEcho_SMode", kYes),
    V::Flag<&R::processLines>("ProcessLine_SMode", kYes),
    V::Flag<&R::closeShell>("CloseStreamShell", kYes),
    // The value says that input passes as it comes, the box that it is converted. Only "no" converts.
    V::Flag<&R::convertLineEnds>("StreamPassThru", kYes).Inverted(),
    V::Flag<&R::sendInitString>("StreamInitTerm", kYes).Absent(true),
};

constexpr PageTable CPrpUserStream::kTable = {
    .caption = "Stream Settings",
    .helpTopic = "::IDH_UserStreamSettings.htm",
    .routing = Routing::Principal,
    .hears = Hears::ListChangesToo,
    .controls = kControls,
    .values = kValues,
};

}  // namespace

std::unique_ptr<CTesselPropertyPage> MakeUserStreamPage(const PageArguments& arguments) {
  return std::make_unique<CPrpUserStream>(arguments);
}
