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
  static const PageTable kTable;
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

constexpr Row kControls[] = {
    C::Group("Generic Security Service (GSSAPI)"),
    C::Note("Generic Security Service (GSS) authentication uses series of challange-response exchanges to "
            "remotely transfer a users security context. "),
    C::ReadOnlyText("The two supported protocols for GSS are Kerberos and NTLM (Kerberos is recommended).  "
                    "Kerberos also allows a security context to be delegated for one network hop.  This "
                    "means that the user would be able to access network shares on the server.  Delegation "
                    "also requires that the user's account be configured by the System Administrator to "
                    "support Delegation."),
    C::CheckBox<&R::allowNtlm>("GSSAPI NTLM"),
    C::CheckBox<&R::allowKerberos>("Kerberos"),
    C::CheckBox<&R::delegate>("Token Delegation for Kerberos").EnabledBy<&R::allowKerberos>(),
    C::ChoiceList<&R::allowWithMic, &R::allowWithoutMic>(
        "Authenticate without Message Integrity Check (mic):", kWithoutMic),
    C::EndGroup(),
};

constexpr Value kValues[] = {
    V::Flag<&R::allowNtlm>("AllowGSSNTLM", ReadRule::TrueUnlessNo),
    V::Flag<&R::allowKerberos>("AllowGSSKerberos", ReadRule::TrueUnlessNo),
    V::Flag<&R::delegate>("GSSDelegate", ReadRule::TrueUnlessNo),
    V::Flag<&R::allowWithMic>("AllowGSSWithMIC", ReadRule::TrueUnlessNo),
    V::Flag<&R::allowWithoutMic>("AllowGSSWithoutMIC", ReadRule::TrueUnlessNo),
};

constexpr PageTable CPrpAuthGSSApi::kTable = {
    .caption = "Authentication::GSSAPI Options",
    .helpTopic = "::IDH_GSSAPIOptions.htm",
    .controls = kControls,
    .values = kValues,
};

}  // namespace

std::unique_ptr<CTesselPropertyPage> MakeAuthGssApiPage(const PageArguments& arguments) {
  return std::make_unique<CPrpAuthGSSApi>(arguments);
}
