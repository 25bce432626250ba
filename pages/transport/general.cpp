#include <algorithm>

#include "framework/page_directory.h"
#include "framework/record_page.h"
#include "pages/pages.h"
#include "pages/transport/transport_links.h"
#include "store/diagnostic_log.h"

namespace {

constexpr char kConnectionCeiling[] = "10000";
constexpr std::string_view kMaximumConnections = "Maximum Connections";
constexpr std::string_view kFipsMode = "FIPS Mode";

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
  static const Table kTable;

  void ShowRecord(const Record& record) override;
  void SaveRecord(const Record& record, const CString& target) override;
  bool Differs(const Record& current, const Record& saved) const override;
  long OnQuerySiblings(unsigned code, unsigned parameter) override;
  bool IsFipsModeTicked() const override { return IsCreated() && m_form.Get<CButton>(kFipsMode).GetCheck(); }

  void OnMaximumConnections();
  void OnAllowSsh1();
};

using R = GeneralRecord;
using C = CPrpGeneral::Controls;
using V = CPrpGeneral::StoredValues;

constexpr std::string_view kProtocols[] = {"Both", "ssh1 only", "ssh2 only"};

constexpr C::R kControls[] = {
    C::Edit(kMaximumConnections, &R::sessionLimit).DigitsOnly().On(&CPrpGeneral::OnMaximumConnections),
    C::CheckBox("Perform Network Drive Cleanup", &R::networkCleanup),
    C::CheckBox(R"(Monitor Sessions (Turn on "Interact with Desktop" for the InetD Service))",
                &R::monitorSessions),
    C::CheckBox("Allow SSH1 protocol", &R::allowSsh1).DisabledBy(&R::fipsMode).On(&CPrpGeneral::OnAllowSsh1),
    C::Edit("Server Key Bits", &R::serverKeyBits).DigitsOnly(),
    C::CheckBox(kFipsMode, &R::fipsMode),
    C::DropDown("SSH Protocols Allowed: ", kProtocols).Hidden(),
};

void LoadSessionLimit(const CTesselRegObject& key, R& record) {
  record.connectionCeiling = kConnectionCeiling;
  if (ReadText(key, "SessionLimit", ReadRule::TextAsIs, record.sessionLimit) != ERROR_SUCCESS) return;
  if (text::ToInt(record.sessionLimit) > text::ToInt(record.connectionCeiling)) {
    record.sessionLimit = record.connectionCeiling;
  }
}

DWORD SaveAllowSsh1(CTesselRegObject& key, const R& record) {
  return WriteYesNo(key, "AllowSSH1Protocol", record.allowSsh1 && !record.fipsMode);
}

// The session's flags are not alike: two count any text but "no" as true, two any text but "yes" as false.
constexpr Value<R> kValues[] = {
    V::Text("SessionLimit", &R::sessionLimit).LoadedBy(LoadSessionLimit),
    V::Flag("NetworkCleanup", &R::networkCleanup, ReadRule::TrueUnlessNo),
    V::Text("ServerKeyBits", &R::serverKeyBits),
    V::Flag("AllowSSH1Protocol", &R::allowSsh1, ReadRule::TrueUnlessNo).NotCompared().SavedBy(SaveAllowSsh1),
    V::Flag("MonitorSessions", &R::monitorSessions, ReadRule::TrueOnlyIfYes),
    V::Flag("FIPSMode", &R::fipsMode, ReadRule::TrueOnlyIfYes),
};

constexpr CPrpGeneral::Table CPrpGeneral::kTable = {
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
  shown.allowSsh1 = record.allowSsh1 && !record.fipsMode;
  RecordPage::ShowRecord(shown);
}

// The lists are narrowed at every save under FIPS mode. The last write, of the switch itself, does not count.
void CPrpGeneral::SaveRecord(const Record& record, const CString& target) {
  const auto key = OpenTargetKey(target);
  if (key == nullptr) return;
  LogPrint(0, "Save Changes called for PrpSession\n");
  const size_t written = SaveValues(*key, kTable.values, record);
  if (written + 1 < kTable.values.size() || !record.fipsMode) return;
  Narrow(*key, "CiphersUsed", kFipsCiphers);
  Narrow(*key, "MacsUsed", kFipsMacs);  // a name compares without case: the MAC page's own MACsUsed
}

// A store that allows SSH1 under FIPS mode is what the screen shows of it, so it is no edit.
bool CPrpGeneral::Differs(const Record& current, const Record& saved) const {
  return RecordPage::Differs(current, saved) || current.allowSsh1 != (saved.allowSsh1 && !saved.fipsMode);
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
  auto& edit = m_form.Get<CEdit>(kMaximumConnections);
  if (text::ToInt(edit.GetText()) <= text::ToInt(m_saved.connectionCeiling)) return TakeChange();
  const FillScope silent(*this);
  edit.SetText(m_saved.connectionCeiling);
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
