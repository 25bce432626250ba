#include <algorithm>

#include "framework/page_directory.h"
#include "framework/record_page.h"
#include "pages/pages.h"
#include "pages/transport/transport_links.h"
#include "store/diagnostic_log.h"

namespace {

constexpr char kConnectionCeiling[] = "10000";

struct GeneralRecord {
  CString sessionLimit;
  CString connectionCeiling;  // empty until the store was reached
  bool networkCleanup = false;
  bool monitorSessions = false;
  bool allowSsh1 = false;
  CString serverKeyBits;
  bool fipsMode = false;
};

class CPrpGeneral final : public RecordPage<CPrpGeneral, GeneralRecord>, public FipsSwitch {
 public:
  using RecordPage::RecordPage;
  static const PageTable kTable;

  void ShowRecord(const Record& record) override;
  bool Differs(const Record& current, const Record& saved) const override;
  long OnQuerySiblings(unsigned code, unsigned parameter) override;
  bool IsFipsModeTicked() const override { return m_fipsMode != nullptr && m_fipsMode->GetCheck(); }

  void OnMaximumConnections();
  void OnAllowSsh1();

  CEdit* m_maximumConnections = nullptr;
  CButton* m_fipsMode = nullptr;

 protected:
  void LoadFrom(const CTesselRegObject& key, Record& record, KeyOf which) override;
  SaveResult SaveTo(CTesselRegObject& key, const Record& record, KeyOf which) override;
};

using R = GeneralRecord;
using C = CPrpGeneral::Controls;
using V = CPrpGeneral::StoredValues;

constexpr std::string_view kProtocols[] = {"Both", "ssh1 only", "ssh2 only"};

constexpr Row kControls[] = {
    C::Edit<&R::sessionLimit>("Maximum Connections")
        .DigitsOnly()
        .As<&CPrpGeneral::m_maximumConnections>()
        .On<&CPrpGeneral::OnMaximumConnections>(),
    C::CheckBox<&R::networkCleanup>("Perform Network Drive Cleanup"),
    C::CheckBox<&R::monitorSessions>(
        R"(Monitor Sessions (Turn on "Interact with Desktop" for the InetD Service))"),
    C::CheckBox<&R::allowSsh1>("Allow SSH1 protocol")
        .DisabledBy<&R::fipsMode>()
        .On<&CPrpGeneral::OnAllowSsh1>(),
    C::Edit<&R::serverKeyBits>("Server Key Bits").DigitsOnly(),
    C::CheckBox<&R::fipsMode>("FIPS Mode").As<&CPrpGeneral::m_fipsMode>(),
    C::DropDown("SSH Protocols Allowed: ", kProtocols).Hidden(),
};

bool AllowsSsh1(const R& record) { return record.allowSsh1 && !record.fipsMode; }

// The session's flags are not alike: two count any text but "no" as true, two any text but "yes" as false.
// What becomes of the last write does not keep the lists from being narrowed.
constexpr Value kValues[] = {
    V::Text<&R::sessionLimit>("SessionLimit"),
    V::Flag<&R::networkCleanup>("NetworkCleanup", ReadRule::TrueUnlessNo),
    V::Text<&R::serverKeyBits>("ServerKeyBits"),
    V::Flag<&R::allowSsh1>("AllowSSH1Protocol", ReadRule::TrueUnlessNo)
        .NotCompared()
        .WrittenWhen<AllowsSsh1>(),
    V::Flag<&R::monitorSessions>("MonitorSessions", ReadRule::TrueOnlyIfYes),
    V::Flag<&R::fipsMode>("FIPSMode", ReadRule::TrueOnlyIfYes).ResultIgnored(),
};

constexpr PageTable CPrpGeneral::kTable = {
    .caption = "General Settings",
    .helpTopic = "::IDH_GeneralSettings.htm",
    .controls = kControls,
    .values = kValues,
};

// What FIPS mode leaves in the stored lists. The cipher page offers the cbc names under it all the same.
constexpr std::string_view kFipsCiphers[] = {"aes128-ctr", "aes192-ctr", "aes256-ctr"};
constexpr std::string_view kFipsMacs[] = {"hmac-sha1", "hmac-sha2-512", "hmac-sha2-256"};

// A list that is too long to be read stays as it is; any other is written back, an empty or missing one too.
void Narrow(CTesselRegObject& key, const char* name, std::span<const std::string_view> allowed) {
  CString stored;
  if (ReadText(key, name, ReadRule::TextAsIs, stored) != ERROR_SUCCESS) return;
  CStringList names = text::Split(stored, ',');
  std::erase_if(names, [allowed](const CString& listed) {
    return std::none_of(allowed.begin(), allowed.end(),
                        [&listed](std::string_view fips) { return text::EqualNoCase(listed, fips); });
  });
  WriteText(key, name, text::Joined(names, ","));
}

// FIPS mode hides what is stored of SSH1.
void CPrpGeneral::ShowRecord(const Record& record) {
  Record shown = record;
  shown.allowSsh1 = AllowsSsh1(record);
  RecordPage::ShowRecord(shown);
}

void CPrpGeneral::LoadFrom(const CTesselRegObject& key, Record& record, KeyOf which) {
  RecordPage::LoadFrom(key, record, which);
  record.connectionCeiling = kConnectionCeiling;
  if (text::ToInt(record.sessionLimit) > text::ToInt(record.connectionCeiling)) {
    record.sessionLimit = record.connectionCeiling;
  }
}

// The lists are narrowed at every save under FIPS mode.
SaveResult CPrpGeneral::SaveTo(CTesselRegObject& key, const Record& record, KeyOf which) {
  LogPrint(0, "Save Changes called for PrpSession\n");
  SaveResult result = RecordPage::SaveTo(key, record, which);
  if (result && record.fipsMode) {
    Narrow(key, "CiphersUsed", kFipsCiphers);
    Narrow(key, "MacsUsed", kFipsMacs);  // a name compares without case: the MAC page's own MACsUsed
  }
  return result;
}

// A store that allows SSH1 under FIPS mode is what the screen shows of it, so it is no edit.
bool CPrpGeneral::Differs(const Record& current, const Record& saved) const {
  return RecordPage::Differs(current, saved) || current.allowSsh1 != AllowsSsh1(saved);
}

long CPrpGeneral::OnQuerySiblings(unsigned code, unsigned parameter) {
  if (code == static_cast<unsigned>(SiblingCode::Retitle)) {
    CString title;
    m_context->pfnMakeTitle(m_computer.c_str(), "Marrowen", "General Settings", &title);
    SetTitle(title);
  }
  return RecordPage::OnQuerySiblings(code, parameter);
}

// A number above the ceiling becomes the ceiling in silence: Apply stays as the last digit before left it.
void CPrpGeneral::OnMaximumConnections() {
  if (text::ToInt(m_maximumConnections->GetText()) <= text::ToInt(m_saved.connectionCeiling)) {
    return TakeChange();
  }
  const FillScope silent(*this);
  m_maximumConnections->SetText(m_saved.connectionCeiling);
}

// SSH1 needs ciphers and MACs that a narrowed list lacks. Switching it off gives nothing back.
void CPrpGeneral::OnAllowSsh1() {
  TakeChange();
  if (!m_current.allowSsh1) return;
  for (const PageIndex index : {PageIndex::Cipher, PageIndex::Mac}) {
    if (auto* list = PageAt<AlgorithmList>(index); list != nullptr) list->ResetToDefaults();
  }
}

}  // namespace

std::unique_ptr<CTesselPropertyPage> MakeGeneralPage(const PageArguments& arguments) {
  return std::make_unique<CPrpGeneral>(arguments);
}
