// Longer than most pages: three keys and a certificate, each with dialogs of its own.

#include <array>

#include "framework/record_page.h"
#include "pages/pages.h"
#include "pages/transport/key_generation.h"
#include "platform/keymill.h"
#include "store/certificates.h"
#include "store/diagnostic_log.h"

namespace {

struct HostKeyRecord {
  CString dsaFingerprint;
  CString dsaFile;
  CString ssh1Fingerprint;
  CString ssh1File;
  CString rsaFingerprint;
  CString rsaFile;
  CString x509Thumbprint;
  CString x509Name;
  bool useLegacyStandard = true;
  bool use2006Draft = true;
  bool use2009Draft = true;
  bool useDsa = true;
  bool useRsa = true;
  bool useX509 = true;
  bool useSsh1 = true;
  CString x509Hash;  // bytes
};

using R = HostKeyRecord;

class CPrpHostKey final : public RecordPage<CPrpHostKey, HostKeyRecord> {
 public:
  using RecordPage::RecordPage;
  static const PageTable kTable;

  bool Differs(const R& a, const R& b) const override;

  // Of the key whose file this member names.
  template <CString R::*File>
  void Browse();
  template <CString R::*File>
  void Generate();
  template <CString R::*File>
  void FollowFile();
  void BrowseCertificate();

 protected:
  void LoadFrom(const CTesselRegObject& key, R& record, KeyOf which) override;

 private:
  void TakeFile(CString R::*file, const CString& path);
  void ShowTaken();
  void LoadCertificate(R& record) const;
};

using C = CPrpHostKey::Controls;
using V = CPrpHostKey::StoredValues;

struct HostKey {
  CString R::*file;
  CString R::*fingerprint;
  const char* type;  // for the key library
  const char* defaultName;
};

// In the order in which they are read.
constexpr HostKey kKeys[] = {
    {&R::dsaFile, &R::dsaFingerprint, "dsa", "tessel_ssh_hostkey"},
    {&R::rsaFile, &R::rsaFingerprint, "rsa", "tessel_ssh_rsa_hostkey"},
    {&R::ssh1File, &R::ssh1Fingerprint, "rsa1", "tessel_ssh1_hostkey"},
};

const HostKey& KeyOfFile(CString R::*file) {
  return *std::find_if(std::begin(kKeys), std::end(kKeys),
                       [file](const HostKey& key) { return key.file == file; });
}

constexpr const char* kFilter = "Key Files (*.pub)|*.pub|All Files (*.*)|*.*||";
constexpr Enabling kAtClicks = Enabling::Changed;

// Boxes govern their groups from a click on: a page that is shown leaves all open.
template <CString R::*File, CString R::*Fingerprint, bool R::*Use>
constexpr std::array<Row, 7> KeyRows(std::string_view group, std::string_view box, std::string_view file) {
  return {
      C::Group(group),
      C::CheckBox<Use>(box),
      C::Edit<File>(file)
          .template EnabledBy<Use>(kAtClicks)
          .template On<&CPrpHostKey::FollowFile<File>>()
          .template OnLeave<&CPrpHostKey::FollowFile<File>>(),
      C::Button("Browse").EnabledBy<Use>(kAtClicks).template On<&CPrpHostKey::Browse<File>>(),
      C::Button("Generate").EnabledBy<Use>(kAtClicks).template On<&CPrpHostKey::Generate<File>>(),
      C::Edit<Fingerprint>("Fingerprint:").ReadOnly().template EnabledBy<Use>(kAtClicks),
      C::EndGroup(),
  };
}

constexpr std::array<Row, 10> kCertificateRows = {
    C::Group("X.509"),
    C::CheckBox<&R::useX509>("Use X.509 host key"),
    C::Edit<&R::x509Name>("X.509 certificate:").ReadOnly().EnabledBy<&R::useX509>(kAtClicks),
    C::Button("Browse").EnabledBy<&R::useX509>(kAtClicks).On<&CPrpHostKey::BrowseCertificate>(),
    C::Button("Generate").Hidden().EnabledBy<&R::useX509>(kAtClicks),
    C::Edit<&R::x509Thumbprint>("Thumbprint:").ReadOnly().EnabledBy<&R::useX509>(kAtClicks),
    // Nothing stores these: they only tell records apart.
    C::CheckBox<&R::useLegacyStandard>("Use legacy standard").Hidden().EnabledBy<&R::useX509>(kAtClicks),
    C::CheckBox<&R::use2006Draft>("Use 2006 draft standard").Hidden().EnabledBy<&R::useX509>(kAtClicks),
    C::CheckBox<&R::use2009Draft>("Use 2009 draft standard").Hidden().EnabledBy<&R::useX509>(kAtClicks),
    C::EndGroup(),
};

constexpr auto kControls = Joined(
    Joined(KeyRows<&R::dsaFile, &R::dsaFingerprint, &R::useDsa>("DSA", "Use DSA host key", "DSA File:"),
           KeyRows<&R::rsaFile, &R::rsaFingerprint, &R::useRsa>("RSA", "Use RSA host key", "RSA File:")),
    Joined(KeyRows<&R::ssh1File, &R::ssh1Fingerprint, &R::useSsh1>("SSH1", "Use SSH1 host key", "File: "),
           kCertificateRows));

constexpr Value kValues[] = {
    V::Text<&R::dsaFile>("SSH2HostFile").FailedIsAbsent(),
    V::Text<&R::ssh1File>("SSH1HostFile").FailedIsAbsent(),
    V::Text<&R::rsaFile>("SSH2RSAHostFile").FailedIsAbsent(),
    V::Bytes<&R::x509Hash>("X509HostCert"),
    V::Flag<&R::useDsa>("UseSSH2DSAKey", ReadRule::TrueUnlessNo),
    V::Flag<&R::useRsa>("UseSSH2RSAKey", ReadRule::TrueUnlessNo),
    V::Flag<&R::useSsh1>("UseSSH1Key", ReadRule::TrueUnlessNo),
    V::Flag<&R::useX509>("UseX509Key", ReadRule::TrueUnlessNo),
};

constexpr PageTable CPrpHostKey::kTable = {
    .caption = "General Settings::Host Key::SSH2",
    .helpTopic = "::IDH_HostKeys.htm",
    .controls = kControls,
    .values = kValues,
};

// Where the server looks for its keys by itself, on the computer that this program runs on, whichever one the
// page edits.
CString DefaultFolder() {
  std::array<char, MAX_PATH> root{};
  GetEnvironmentVariableA("SystemRoot", root.data(), static_cast<DWORD>(root.size()));
  return CString(root.data()) + R"(\system32\drivers\etc\)";
}

// The last byte is widened with its sign here and not where a certificate is chosen, so the same hash has two
// texts; administrators compare them with what they wrote down.
CString StoredThumbprintOf(const CString& hash) {
  CString text = ThumbprintOf(hash);
  if (!hash.empty() && (static_cast<unsigned char>(hash.back()) & 0x80) != 0)
    text.insert(text.size() - 2, "ffffff");
  return text;
}

bool CPrpHostKey::Differs(const R& a, const R& b) const {
  constexpr CString R::*kTexts[] = {&R::dsaFingerprint, &R::dsaFile, &R::ssh1Fingerprint, &R::ssh1File,
                                    &R::rsaFingerprint, &R::rsaFile, &R::x509Thumbprint,  &R::x509Name};
  constexpr bool R::*kFlags[] = {
      &R::useLegacyStandard, &R::use2006Draft, &R::use2009Draft, &R::useDsa, &R::useRsa,
      &R::useX509,           &R::useSsh1};
  return a.x509Hash != b.x509Hash ||
         std::any_of(std::begin(kTexts), std::end(kTexts),
                     [&](CString R::*text) { return !text::EqualNoCase(a.*text, b.*text); }) ||
         std::any_of(std::begin(kFlags), std::end(kFlags), [&](bool R::*flag) { return a.*flag != b.*flag; });
}

// A key without a fingerprint leaves the one that stands there.
void CPrpHostKey::LoadFrom(const CTesselRegObject& key, R& record, KeyOf which) {
  RecordPage::LoadFrom(key, record, which);
  const CString folder = DefaultFolder();
  for (const HostKey& host : kKeys) {
    CString& file = record.*host.file;
    if (file.empty()) file = folder + host.defaultName;
    if (&host == kKeys) LogPrint(0, "GetFingerprint on %s\r\n", file.c_str());
    if (auto found = keymill::KGGetFingerprintString(file.c_str()))
      record.*host.fingerprint = std::move(*found);
  }
  if (!record.x509Hash.empty()) LoadCertificate(record);
}

// A certificate that the store does not hold leaves the name that stands there.
void CPrpHostKey::LoadCertificate(R& record) const {
  record.x509Thumbprint = StoredThumbprintOf(record.x509Hash);
  const UniqueCertificateStore store = OpenMachineStore(m_computer);
  const UniqueCertificate certificate = store ? FindCertificate(store.get(), record.x509Hash) : nullptr;
  const CString name = certificate ? CertificateName(*certificate) : "";
  if (!name.empty()) record.x509Name = name;
}

// The screen follows the record.
void CPrpHostKey::ShowTaken() {
  {
    const FillScope filling(*this);
    m_form.Show(m_current);
  }
  TakeChange();
}

void CPrpHostKey::TakeFile(CString R::*file, const CString& path) {
  m_current.*file = path;
  m_current.*KeyOfFile(file).fingerprint = keymill::KGGetFingerprintString(path.c_str()).value_or("");
  ShowTaken();
}

template <CString R::*File>
void CPrpHostKey::Browse() {
  TakeScreen();
  const auto chosen = CurrentFrontEnd().PickFile({.fileName = m_current.*File, .filter = kFilter});
  if (!chosen) return;
  // The path is cut at its last ".", wherever in it ".pub" stands.
  CString path = *chosen;
  if (path.find(".pub") != CString::npos) path.erase(path.rfind('.'));
  if (!text::EqualNoCase(path, m_current.*File)) TakeFile(File, path);
}

template <CString R::*File>
void CPrpHostKey::Generate() {
  TakeScreen();
  CDlgKeyGen dialog(m_current.*File, KeyOfFile(File).type);
  if (dialog.DoModal() == Reply::Ok) TakeFile(File, dialog.GetFile());
}

// At each keystroke, so that the fingerprint is that of what the edit names.
template <CString R::*File>
void CPrpHostKey::FollowFile() {
  const CString before = m_current.*File;
  TakeScreen();
  if (m_current.*File != before) TakeFile(File, CString(m_current.*File));
}

void CPrpHostKey::BrowseCertificate() {
  const UniqueCertificateStore store = OpenMachineStore(m_computer);
  if (!store) return;
  const std::vector<UniqueCertificate> all = CertificatesOf(store.get());
  std::vector<CertificateView> views;
  views.reserve(all.size());
  for (const UniqueCertificate& certificate : all) views.push_back(Describe(*certificate));
  const auto picked = CurrentFrontEnd().PickCertificate(views);
  if (!picked) return;
  TakeScreen();
  m_current.x509Name = CertificateName(*all[*picked]);
  m_current.x509Hash = HashOf(*all[*picked]);
  m_current.x509Thumbprint = ThumbprintOf(m_current.x509Hash);
  ShowTaken();
}

}  // namespace

std::unique_ptr<CTesselPropertyPage> MakeHostKeyPage(const PageArguments& arguments) {
  return std::make_unique<CPrpHostKey>(arguments);
}
