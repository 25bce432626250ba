#include "framework/record_page.h"
#include "pages/pages.h"

namespace {

struct GssOptionsRecord {
  bool allowNtlm = false;
  bool allowKerberos = false;
  bool delegate = false;
  bool allowWithoutMic = false;
  bool allowWithMic = false;
};

class CPrpAuthGSSApi final : public RecordPage<CPrpAuthGSSApi, GssOptionsRecord> {
 public:
  using RecordPage::RecordPage;
  static const Table kTable;
};

using R = GssOptionsRecord;
using C = CPrpAuthGSSApi::Controls;
using V = CPrpAuthGSSApi::StoredValues;

constexpr Choice kWithoutMic[] = {
    // allowWithMic, allowWithoutMic
    {"Allow", true, true},
    {"Deny", true, false},
    {"Force", false, true},
};

constexpr C::R kControls[] = {
    C::Group("Generic Security Service (GSSAPI)"),
    C::Note("Generic Security Service (GSS) authentication uses series of challange-response exchanges to "
            "remotely transfer a users security context. "),
    C::ReadOnlyText("The two supported protocols for GSS are Kerberos and NTLM (Kerberos is recommended).  "
                    "Kerberos also allows a security context to be delegated for one network hop.  This "
                    "means that the user would be able to access network shares on the server.  Delegation "
                    "also requires that the user's account be configured by the System Administrator to "
                    "support Delegation."),
    C::CheckBox("GSSAPI NTLM", &R::allowNtlm),
    C::CheckBox("Kerberos", &R::allowKerberos),
    C::CheckBox("Token Delegation for Kerberos", &R::delegate).EnabledBy(&R::allowKerberos),
    C::ChoiceList("Authenticate without Message Integrity Check (mic):", &R::allowWithMic,
                  &R::allowWithoutMic, kWithoutMic),
    C::EndGroup(),
};

constexpr Value<R> kValues[] = {
    V::Flag("AllowGSSNTLM", &R::allowNtlm, ReadRule::TrueUnlessNo),
    V::Flag("AllowGSSKerberos", &R::allowKerberos, ReadRule::TrueUnlessNo),
    V::Flag("GSSDelegate", &R::delegate, ReadRule::TrueUnlessNo),
    V::Flag("AllowGSSWithMIC", &R::allowWithMic, ReadRule::TrueUnlessNo),
    V::Flag("AllowGSSWithoutMIC", &R::allowWithoutMic, ReadRule::TrueUnlessNo),
};

constexpr CPrpAuthGSSApi::Table CPrpAuthGSSApi::kTable = {
    .caption = "Authentication::GSSAPI Options",
    .helpTopic = "::IDH_GSSAPIOptions.htm",
    .controls = kControls,
    .values = kValues,
};

}  // namespace

std::unique_ptr<CTesselPropertyPage> MakeAuthGssApiPage(const PageArguments& arguments) {
  return std::make_unique<CPrpAuthGSSApi>(arguments);
}
