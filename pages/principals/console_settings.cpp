// Longer than most pages: it has twenty-two values, each with a control of its own.

#include "framework/principal_page.h"
#include "pages/pages.h"
#include "pages/principals/program_files.h"

namespace {

struct UserConsoleRecord {
  bool monochrome = false;
  CString background;
  CString foreground;
  CString columns;
  CString rows;
  CString waitIncrement;
  CString waitInitial;
  CString waitMaximum;
  bool optimizedRead = false;
  bool slowConnection = false;
  CString packetSize;
  CString charMap;
  CString startupProgram;
  CString shell;
  bool autoWrap = false;
  bool closeShell = false;
  bool usePacketSize = false;
  bool reverseVideo = false;
  CString decCustom;
  int decIndex = 0;
  bool clearEolOutside = false;
  bool compareByLine = false;
};

class CPrpUserFullCon final : public PrincipalPage<CPrpUserFullCon, UserConsoleRecord> {
 public:
  using PrincipalPage::PrincipalPage;
  static const PageTable kTable;

  bool Differs(const Record& a, const Record& b) const override;
};

using R = UserConsoleRecord;
using C = CPrpUserFullCon::Controls;
using V = CPrpUserFullCon::StoredValues;

constexpr std::string_view kColors[] = {
    "Black",         "Red",
    "Green",         "Yellow",
    "Blue",          "Magenta",
    "Cyan",          "White",
    "Intense Black", "Intense Red",
    "Intense Green", "Intense Yellow",
    "Intense Blue",  "Intense Magenta",
    "Intense Cyan",  "Intense White",
};
// The stored number is the row's place.
constexpr std::string_view kDecSets[] = {
    "Ascii", "Supplemental", "Special", "Technical", "User Preferred", "ISO Latin", "Insert ACS", "Custom",
};

std::string_view DecName(const R& record) {
  const auto row = static_cast<size_t>(record.decIndex);
  return row < std::size(kDecSets) ? kDecSets[row] : "";
}

bool HasCustomSet(const R& record) { return DecName(record) == "Custom"; }
bool CanCloseShell(const R& record) { return HoldsCmd(record.shell); }
// As texts: "00" is a size too.
bool HasPacketSize(const R& record) { return record.packetSize > "0"; }

constexpr Row kControls[] = {
    C::Group("Shell"),
    C::Edit<&R::shell>("Shell/Custom Program").OnLeave<&CPrpUserFullCon::TakeScreen>(),
    C::Browse<&R::shell>(kShellPicker),
    C::Edit<&R::startupProgram>("Startup Program"),
    C::Browse<&R::startupProgram>(kStartupPicker),
    C::EndGroup(),
    C::CheckBox<&R::closeShell>("Close cmd.exe shell after running startup program")
        .EnabledWhen<CanCloseShell, &R::shell>(),
    C::Group("Screen Size"),
    C::Edit<&R::rows>("Rows").DigitsOnly(),
    C::Edit<&R::columns>("Columns").DigitsOnly(),
    C::EndGroup(),
    C::Group("Default Colors"),
    C::DropDown<&R::foreground>("Foreground", kColors),
    C::DropDown<&R::background>("Background", kColors),
    C::EndGroup(),
    C::CheckBox<&R::monochrome>("Use Monochrome"),
    C::CheckBox<&R::reverseVideo>("Reverse Video").EnabledBy<&R::monochrome>(),
    C::Edit<&R::charMap>("Default Character Mapping"),
    C::Group("Update Timers"),
    C::Edit<&R::waitInitial>("Initial").DigitsOnly(),
    C::Edit<&R::waitIncrement>("Increment").DigitsOnly(),
    C::Edit<&R::waitMaximum>("Maximum").DigitsOnly(),
    C::EndGroup(),
    C::Group("Screen Draw Options"),
    C::CheckBox<&R::optimizedRead>("Use optimized screen read"),
    C::EndGroup(),
    C::CheckBox<&R::compareByLine>("Line by line screen comparison"),
    C::CheckBox<&R::clearEolOutside>("Clear to eoln outside of drawing rectangle"),
    C::CheckBox<&R::autoWrap>("Enable Application Wrap"),
    C::CheckBox<&R::slowConnection>("Slow Network Connection"),
    C::CheckBox<&R::usePacketSize>("Largest Packet Size"),
    C::Edit<&R::packetSize>("Largest Packet Size").EnabledBy<&R::usePacketSize>(),
    C::DropDown<&R::decIndex>("DEC Graphic Character Set", kDecSets),
    C::Edit<&R::decCustom>("Custom Sequence").EnabledWhen<HasCustomSet, &R::decIndex>(),
};

constexpr ReadRule kYes = ReadRule::TrueOnlyIfYes;

constexpr Value kValues[] = {
    V::Flag<&R::monochrome>("Monochrome", kYes),
    V::Flag<&R::optimizedRead>("AdvancedScreenScraper", kYes),
    V::Flag<&R::autoWrap>("AutoWrapApps", kYes),
    V::Flag<&R::slowConnection>("SlowConnection", kYes),
    V::Text<&R::packetSize>("PacketSize"),
    V::Flag<&R::usePacketSize>("UsePacketSize", kYes).AbsentWhen<HasPacketSize>(),
    V::Flag<&R::reverseVideo>("ReverseVideo", kYes),
    V::Text<&R::charMap>("CharMap"),
    V::Text<&R::background>("ScreenBackGround").Absent("Black"),
    V::Text<&R::foreground>("ScreenForeGround").Absent("White"),
    // Five texts are taken when the foreground can be read, and the character set when the flag of the shell
    // can, whatever becomes of their own reading: one that can't be read is then its default.
    V::Text<&R::waitIncrement>("OA_WaitIncr").TakenWith("ScreenForeGround").Absent("200"),
    V::Text<&R::waitInitial>("OA_WaitInit").TakenWith("ScreenForeGround").Absent("100"),
    V::Text<&R::waitMaximum>("OA_WaitMax").TakenWith("ScreenForeGround").Absent("3000"),
    V::Text<&R::shell>("UserShell"),
    V::Text<&R::startupProgram>("UserShellInitializer"),
    V::Text<&R::columns>("DefaultColumns").TakenWith("ScreenForeGround").Absent("80"),
    V::Text<&R::rows>("DefaultRows").TakenWith("ScreenForeGround").Absent("24"),
    V::Flag<&R::closeShell>("CloseShell", kYes),
    V::Number<&R::decIndex>("DECCharSet").TakenWith("CloseShell").Absent("1").NotCompared(),
    V::Text<&R::decCustom>("DECCustom"),
    V::Flag<&R::compareByLine>("CompareByLine", kYes),
    V::Flag<&R::clearEolOutside>("ClearEOLNonRectDraw", kYes),
};

constexpr PageTable CPrpUserFullCon::kTable = {
    .caption = "Full Console Settings",
    .helpTopic = "::IDH_UserConsoleSettings.htm",
    .routing = Routing::Principal,
    .hears = Hears::ListChangesToo,
    .controls = kControls,
    .values = kValues,
};

// Character sets differ by name: a number that is no row shows none, and looking at it is no edit.
bool CPrpUserFullCon::Differs(const Record& a, const Record& b) const {
  return PrincipalPage::Differs(a, b) || DecName(a) != DecName(b);
}

}  // namespace

std::unique_ptr<CTesselPropertyPage> MakeUserFullConPage(const PageArguments& arguments) {
  return std::make_unique<CPrpUserFullCon>(arguments);
}
