#include "framework/record_page.h"
#include "pages/authentication/certificate_editors.h"
#include "pages/pages.h"

namespace {

struct X509OptionsRecord {
  bool useUpn = true;
  bool useAdCertMap = true;
  bool useAdKerbMap = true;
  int revocationMode = 0;
  bool rejectExpired = true;
  bool rejectInvalidEku = true;
  bool rejectUntrusted = true;
  bool rejectUnknownRevocation = true;
};

class CPrpAuthX509 final : public RecordPage<CPrpAuthX509, X509OptionsRecord> {
 public:
  using RecordPage::RecordPage;
  static const PageTable kTable;

  void EditUsages() { CDlgEditEKU().DoModal(); }
  void EditTrusted() { CDlgEditTrust().DoModal(); }
};

using R = X509OptionsRecord;
using C = CPrpAuthX509::Controls;
using V = CPrpAuthX509::StoredValues;

// By R::revocationMode, which is also the order in which the bits are looked at. The server knows no other
// bits.
constexpr DWORD kRevocation[] = {0, CERT_CHAIN_REVOCATION_CHECK_CHAIN, CERT_CHAIN_REVOCATION_CHECK_END_CERT,
                                 CERT_CHAIN_REVOCATION_CHECK_CHAIN_EXCLUDE_ROOT};

constexpr Row kControls[] = {
    C::Note(
        "Edit EKUs and Edit Trusted Certificates work at once, on the computer that this console runs on.")
        .ForOtherComputers(),
    C::CheckBox<&R::useUpn>("Authenticate using UPN (if available in certificate)"),
    C::CheckBox<&R::useAdCertMap>("Authenticate against Active Directory Certificate Mappings"),
    C::CheckBox<&R::useAdKerbMap>("Authenticate against Active Directory Kerberos Name Mappings"),
    C::Group("Revocation checking"),
    C::Radio<&R::revocationMode>("Disabled", 0),
    C::Radio<&R::revocationMode>("Check entire certificate chain", 1),
    C::Radio<&R::revocationMode>("Check only end certificate", 2),
    C::Radio<&R::revocationMode>("Check entire chain excluding the root certificate", 3),
    C::EndGroup(),
    C::CheckBox<&R::rejectExpired>("Reject Expired Certificates"),
    C::CheckBox<&R::rejectInvalidEku>("Reject Certificates not matching accepted EKUs"),
    C::Button("Edit EKUs").On<&CPrpAuthX509::EditUsages>(),
    C::CheckBox<&R::rejectUntrusted>("Reject Untrusted Certificates"),
    C::Button("Edit Trusted Certificates").On<&CPrpAuthX509::EditTrusted>(),
    C::CheckBox<&R::rejectUnknownRevocation>("Reject if unable to determine reovcation status"),
};

constexpr Value kValues[] = {
    V::Flag<&R::useUpn>("AuthenticateAgainstUPN", ReadRule::TrueUnlessNo),
    V::Flag<&R::useAdCertMap>("AuthenticateAgainstADCertMap", ReadRule::TrueUnlessNo),
    V::Flag<&R::useAdKerbMap>("AuthenticateAgainstADKerbMap", ReadRule::TrueUnlessNo),
    V::Bit<&R::revocationMode>("CertificateValidationFlags", kRevocation),
    V::Flag<&R::rejectExpired>("AuthRejectCertExpired", ReadRule::TrueUnlessNo),
    V::Flag<&R::rejectUntrusted>("AuthRejectCertUntrustedRoot", ReadRule::TrueUnlessNo),
    V::Flag<&R::rejectInvalidEku>("AuthRejectCertInvalidEKU", ReadRule::TrueUnlessNo),
    V::Flag<&R::rejectUnknownRevocation>("AuthRejectCertUnknownRevocation", ReadRule::TrueUnlessNo),
};

constexpr PageTable CPrpAuthX509::kTable = {
    .caption = "X.509 Certificate Options",
    .helpTopic = "::IDH_X509Options.htm",
    .controls = kControls,
    .values = kValues,
};

}  // namespace

std::unique_ptr<CTesselPropertyPage> MakeAuthX509Page(const PageArguments& arguments) {
  return std::make_unique<CPrpAuthX509>(arguments);
}
