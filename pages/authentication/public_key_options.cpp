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
  static const Table kTable;
};

using R = PubKeyOptionsRecord;
using C = CPrpAuthPubKey::Controls;
using V = CPrpAuthPubKey::StoredValues;

constexpr C::R kControls[] = {
    C::Note("In order to successfully authenticate a user using a public key or x509v3 certificate, the key "
            "or certificate needs to be mapped to a valid user account for the server.  The following "
            "options indicate how this is to be accomplished."),
    C::Group("Registry"),
    C::ReadOnlyText("Registry mapping uses the registry based Tessel Marrowen PKI to associate keys and "
                    "certificates with users.  An option is provided to cache the public key after the user "
                    "has been verified."),
    C::CheckBox("Allow authentication from registry", &R::allowRegistry),
    C::CheckBox("Automatically store keys in registry", &R::storeInRegistry).EnabledBy(&R::allowRegistry),
    C::EndGroup(),
    C::Group("Authorized keys file"),
    C::Note("Note: Authentication by file requires a reboot after installation."),
    C::CheckBox("Allow authentication from file", &R::allowFile),
    C::CheckBox("Store keys in authorized file.", &R::storeInFile).EnabledBy(&R::allowFile),
    C::Edit("Authorized keys file", &R::keysFilePath).EnabledBy(&R::allowFile),
    C::Note("The above path should be unique for each user. Best defined by an environment variable uniqe to "
            "the user such as %USERNAME% or %USERPROFILE%. The same file name will be used for each user."),
    C::EndGroup(),
};

// The path took the place of a folder in which the file had a fixed name: a store that knows only the folder
// is still understood. The folder's value is left as it is.
void LoadKeysFilePath(const CTesselRegObject& key, R& record) {
  CString stored;
  if (ReadText(key, "AuthCredentialsPath", ReadRule::TextAsIs, stored) != ERROR_SUCCESS) return;
  if (stored.empty()) {
    CString folder;
    if (ReadText(key, "AuthCredentialsDirectory", ReadRule::TextAsIs, folder) != ERROR_SUCCESS) return;
    stored = folder.empty() ? R"(%APPDATA%\TesselSSH\authorized_keys2)" : folder + R"(\authorized_keys2)";
  }
  record.keysFilePath = stored;
}

constexpr Value<R> kValues[] = {
    V::Flag("AutoStoreKeys", &R::storeInRegistry, ReadRule::TrueUnlessNo),
    V::Flag("AllowFileAuth", &R::allowFile, ReadRule::TrueUnlessNo),
    V::Text("AuthCredentialsPath", &R::keysFilePath).NoCase().LoadedBy(LoadKeysFilePath),
    V::Flag("AllowPADAuth", &R::allowRegistry, ReadRule::TrueUnlessNo),
    V::Flag("AutoStoreKeysInFile", &R::storeInFile, ReadRule::TrueUnlessNo),
};

constexpr CPrpAuthPubKey::Table CPrpAuthPubKey::kTable = {
    .caption = "Authentication::Public Key Options",
    .helpTopic = "::IDH_PublicKeyOptions.htm",
    .controls = kControls,
    .values = kValues,
};

}  // namespace

std::unique_ptr<CTesselPropertyPage> MakeAuthPubKeyPage(const PageArguments& arguments) {
  return std::make_unique<CPrpAuthPubKey>(arguments);
}
