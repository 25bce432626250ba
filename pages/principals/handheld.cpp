#include "framework/principal_page.h"
#include "pages/pages.h"

namespace {

struct UserHandheldRecord {
  CString reconnect;
  CString windowHours;
  CString windowMinutes;
  CString windowSeconds;
  bool useHeartbeat = false;
  CString beatHours;
  CString beatMinutes;
  CString beatSeconds;
};

class CPrpUserHandheld final : public PrincipalPage<CPrpUserHandheld, UserHandheldRecord> {
 public:
  using PrincipalPage::PrincipalPage;
  static const PageTable kTable;

  void ShowRecord(const Record& record) override;

  CComboBox* m_reconnect = nullptr;

 protected:
  void LoadFrom(const CTesselRegObject& key, Record& record, KeyOf which) override;
  SaveResult SaveTo(CTesselRegObject& key, const Record& record, KeyOf which) override;
};

using R = UserHandheldRecord;
using C = CPrpUserHandheld::Controls;
using V = CPrpUserHandheld::StoredValues;

constexpr std::string_view kChoices[] = {"No", "Yes", "Ask"};
constexpr char kHeartbeat[] = "ServerHeartbeat";

bool Reconnects(const R& record) { return !text::EqualNoCase(record.reconnect, "no"); }

constexpr Row kControls[] = {
    C::ReadOnlyText("This page contains setting that may be of particular interest to users of handheld "
                    "clients.  Howerer, there is no restriction on using these settings with desktop clients "
                    "\n\nThe Server to Client Heartbeat options will send a small packet to the server using "
                    "the specified time interval.  This feature aids the server in detecting connection "
                    "losses.  To disable this feature, set the time interval to zero."),
    C::CheckBox<&R::useHeartbeat>("Server to client heartbeat"),
    C::Edit<&R::beatHours>("hours").DigitsOnly().Range(0, 9999).EnabledBy<&R::useHeartbeat>(),
    C::Edit<&R::beatMinutes>("minutes").DigitsOnly().Range(0, 59).EnabledBy<&R::useHeartbeat>(),
    C::Edit<&R::beatSeconds>("seconds").DigitsOnly().Range(0, 59).EnabledBy<&R::useHeartbeat>(),
    C::ReadOnlyText("The session reconnection feature allows a session to persist through a connection drop. "
                    " Possible choices are 'Yes', 'No', and 'Ask'.  'Yes' will automatically reconnect if a "
                    "connection is dropped, 'Ask' will prompt the user before reconnection, and 'No' will "
                    "not reconnect sessions.  The time window determines how log the session will persist "
                    "past a connection drop."),
    C::DropDown<&R::reconnect>("Reconnect Sessions", kChoices)
        .ByBeginning(Otherwise::NoRow)
        .As<&CPrpUserHandheld::m_reconnect>(),
    C::Group("Reconnect Window"),
    C::Edit<&R::windowHours>("hours").DigitsOnly().Range(0, 9999).EnabledWhen<Reconnects, &R::reconnect>(),
    C::Edit<&R::windowMinutes>("minutes").DigitsOnly().Range(0, 59).EnabledWhen<Reconnects, &R::reconnect>(),
    C::Edit<&R::windowSeconds>("seconds").DigitsOnly().Range(0, 59).EnabledWhen<Reconnects, &R::reconnect>(),
    C::EndGroup(),
};

constexpr Value kValues[] = {
    // A time does not switch the heartbeat on by itself: without this word the box is empty beside the time.
    V::Flag<&R::useHeartbeat>("UseHeartbeat", ReadRule::TrueOnlyIfYes),
    V::Time<&R::beatHours, &R::beatMinutes, &R::beatSeconds>(kHeartbeat).NoCase().FailedIsAbsent(),
    V::Text<&R::reconnect>("ReconnectSessions").NoCase().Absent("No").FailedIsAbsent(),
    V::Time<&R::windowHours, &R::windowMinutes, &R::windowSeconds>("ReconnectWindow").NoCase(),
};

constexpr PageTable CPrpUserHandheld::kTable = {
    .caption = "Dialog",
    .helpTopic = "::IDH_UserHandheld.htm",
    .routing = Routing::Principal,
    .hears = Hears::ListChangesToo,
    .controls = kControls,
    .values = kValues,
};

// What the list makes of the choice counts from the start: one that is no row is an edit when it is shown.
void CPrpUserHandheld::ShowRecord(const Record& record) {
  PrincipalPage::ShowRecord(record);
  TakeChange();
  m_form.EnableShown(m_current);
}

// Where the word of the heartbeat can't be read, its time says whether it is in force.
void CPrpUserHandheld::LoadFrom(const CTesselRegObject& key, Record& record, KeyOf which) {
  CString time;
  if (ReadText(key, kHeartbeat, ReadRule::TextAsIs, time) == ERROR_SUCCESS) {
    record.useHeartbeat = !time.empty() && time != "0";
  }
  PrincipalPage::LoadFrom(key, record, which);
}

// The choice is the one on the screen for every principal that waits, whatever was chosen for each.
SaveResult CPrpUserHandheld::SaveTo(CTesselRegObject& key, const Record& record, KeyOf which) {
  Record written = record;
  written.reconnect = m_reconnect->GetText();
  return PrincipalPage::SaveTo(key, written, which);
}

}  // namespace

std::unique_ptr<CTesselPropertyPage> MakeUserHandheldPage(const PageArguments& arguments) {
  return std::make_unique<CPrpUserHandheld>(arguments);
}
