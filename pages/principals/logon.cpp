#include "framework/principal_page.h"
#include "pages/pages.h"

namespace {

struct UserLogonRecord {
  bool askCharMap = false;
  bool askColor = false;
  bool askScreenMode = false;
  bool askTermType = false;
  bool runLogonScript = false;
  bool mapDrives = false;
  bool mapInBackground = false;
};

class CPrpUserLogon final : public PrincipalPage<CPrpUserLogon, UserLogonRecord> {
 public:
  using PrincipalPage::PrincipalPage;
  static const PageTable kTable;
};

using R = UserLogonRecord;
using C = CPrpUserLogon::Controls;
using V = CPrpUserLogon::StoredValues;

constexpr Row kControls[] = {
    C::CheckBox<&R::runLogonScript>("Run Windows Logon Script"),
    C::CheckBox<&R::mapDrives>("Map User Drives"),
    C::Note("Select if user's mapped network drives are to be made available in a session"),
    C::Note("Drives will only be accessible if a user is authenticated via Password,GSSAPI Kerberos or "
            "Certificate Stored in registry. Certificate authentication (with Store keys in authorized file) "
            "will not grant user ability to map drives."),
    // Showing a principal leaves the box as it stands, which after another one may be enabled in vain.
    C::CheckBox<&R::mapInBackground>("Map drives in background").EnabledBy<&R::mapDrives>(Enabling::Changed),
    C::Group("Prompts"),
    C::CheckBox<&R::askTermType>("Ask for Terminal Type"),
    C::CheckBox<&R::askScreenMode>("Ask for Screen Mode"),
    C::CheckBox<&R::askColor>("Ask for Color Mode"),
    C::CheckBox<&R::askCharMap>("Ask for CharacterMap"),
    C::EndGroup(),
};

constexpr ReadRule kYes = ReadRule::TrueOnlyIfYes;

constexpr Value kValues[] = {
    V::Flag<&R::askScreenMode>("AskForConsoleMode", kYes),
    V::Flag<&R::askColor>("AskForColor", kYes),
    V::Flag<&R::askTermType>("AskForTermType", kYes),
    V::Flag<&R::runLogonScript>("RunNTScript", kYes),
    V::Flag<&R::askCharMap>("AskForCharMap", kYes),
    V::Flag<&R::mapDrives>("MapUserDrives", kYes).Absent(true),
    V::Flag<&R::mapInBackground>("ThreadDriveMap", kYes),
};

constexpr PageTable CPrpUserLogon::kTable = {
    .caption = "Logon",
    .helpTopic = "::IDH_UserLogon.htm",
    .routing = Routing::Principal,
    .hears = Hears::ListChangesToo,
    .controls = kControls,
    .values = kValues,
};

}  // namespace

std::unique_ptr<CTesselPropertyPage> MakeUserLogonPage(const PageArguments& arguments) {
  return std::make_unique<CPrpUserLogon>(arguments);
}
