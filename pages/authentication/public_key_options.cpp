#include "framework/record_page.h"
#include "pages/pages.h"

namespace {

struct PubKeyOptionsRecord {
  bool storeInFile = false;
  bool storeInRegistry = false;
  bool allowRegistry = false;
  bool allowFile = false;
  CString keysFilePath;  // environment references stay as they are: the server expands them
};

class CPrpAuthPubKey final : public RecordPage<CPrpAuthPubKey, PubKeyOptionsRecord> {
 public:
  using RecordPage::RecordPage;
  static const PageTable kTable;

 protected:
  void LoadFrom(const CTesselRegObject& key, Record& record, KeyOf which) override;
};

using R = PubKeyOptionsRecord;
using C = CPrpAuthPubKey::Controls;
using V = CPrpAuthPubKey::StoredValues;

constexpr Row kControls[] = {
    C::Note("In order to successfully authenticate a user using a public key or x509v3 certificate, the key "
            "or certificate needs to be mapped to a valid user account for the server.  The following "
            "options indicate how this is to be accomplished."),
    C::Group("Registry"),
    C::ReadOnlyText("Registry mapping uses the registry based Tessel Marrowen PKI to associate keys and "
                    "certificates with users.  An option is provided to cache the public key after the user "
                    "has been verified."),
    C::CheckBox<&R::allowRegistry>("Allow authentication from registry"),
    C::CheckBox<&R::storeInRegistry>("Automatically store keys in registry").EnabledBy<&R::allowRegistry>(),
    C::EndGroup(),
    C::Group("Authorized keys file"),
    C::Note("Note: Authentication by file requires a reboot after installation."),
    C::CheckBox<&R::allowFile>("Allow authentication from file"),
    C::CheckBox<&R::storeInFile>("Store keys in authorized file.").EnabledBy<&R::allowFile>(),
    C::Edit<&R::keysFilePath>("Authorized keys file").EnabledBy<&R::allowFile>(),
    C::Note("The above path should be unique for each user. Best defined by an environment variable uniqe to "
            "the user such as %USERNAME% or %USERPROFILE%. The same file name will be used for each user."),
    C::EndGroup(),
};

// The path is read by the page: see LoadFrom.
constexpr Value kValues[] = {
    V::Flag<&R::storeInRegistry>("AutoStoreKeys", ReadRule::TrueUnlessNo),
    V::Flag<&R::allowFile>("AllowFileAuth", ReadRule::TrueUnlessNo),
    V::Text<&R::keysFilePath>("AuthCredentialsPath").NoCase().NeverRead(),
    V::Flag<&R::allowRegistry>("AllowPADAuth", ReadRule::TrueUnlessNo),
    V::Flag<&R::storeInFile>("AutoStoreKeysInFile", ReadRule::TrueUnlessNo),
};

constexpr PageTable CPrpAuthPubKey::kTable = {
    .caption = "Authentication::Public Key Options",
    .helpTopic = "::IDH_PublicKeyOptions.htm",
    .controls = kControls,
    .values = kValues,
};

// The path took the place of a folder in which the file had a fixed name: a store that knows only the folder
// is still understood. The folder's value is left as it is.
void CPrpAuthPubKey::LoadFrom(const CTesselRegObject& key, Record& record, KeyOf which) {
  RecordPage::LoadFrom(key, record, which);
  CString stored;
  if (ReadText(key, "AuthCredentialsPath", ReadRule::TextAsIs, stored) != ERROR_SUCCESS) return;
  if (stored.empty()) {
    CString folder;
    if (ReadText(key, "AuthCredentialsDirectory", ReadRule::TextAsIs, folder) != ERROR_SUCCESS) return;
    stored = folder.empty() ? R"(%APPDATA%\TesselSSH\authorized_keys2)" : folder + R"(\authorized_keys2)";
  }
  record.keysFilePath = stored;
}

}  // namespace

std::unique_ptr<CTesselPropertyPage> MakeAuthPubKeyPage(const PageArguments& arguments) {
  return std::make_unique<CPrpAuthPubKey>(arguments);
}
