// Certificates and their stores, the same for Windows and for an embedded computer.

#include "tests/support/certificates.h"

#include <gtest/gtest.h>

#include "platform/certificate_files.h"
#include "store/registry_object.h"
#include "tests/support/scratch_home.h"

namespace {

constexpr const char* kStoreKey = R"(Software\MarrowenCertificates)";

UniqueCertificateStore OpenScratch() {
  CTesselRegObject key(HKEY_LOCAL_MACHINE);
  if (key.CreateKey(kStoreKey) == 0) return nullptr;
  return UniqueCertificateStore(CertOpenStore(CERT_STORE_PROV_REG, 0, 0, 0, key.GetKey()));
}

class Certificates : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_NE(certificate, nullptr); }
  void TearDown() override { DeleteRegistryKeyA(HKEY_LOCAL_MACHINE, kStoreKey, KEY_ALL_ACCESS); }
  UniqueCertificate certificate = CertificateOfHex(kCertificateOfAnna);
};

}  // namespace

TEST_F(Certificates, TellWhoseTheyAreAndForWhat) {
  const CertificateView view = Describe(*certificate);
  EXPECT_EQ(view.subject, "anna.example");
  EXPECT_EQ(view.issuer, "anna.example");
  EXPECT_EQ(view.thumbprint, kThumbprintOfAnna);
  EXPECT_EQ(view.friendlyName, "");
  EXPECT_EQ(view.notBefore, "2026-11-25");
  EXPECT_EQ(view.notAfter, "2126-11-01");
  EXPECT_EQ(view.usages, (std::vector<std::string>{"1.3.6.1.5.5.7.3.2", "1.3.6.1.5.5.7.3.4"}));
  EXPECT_FALSE(view.expired);
}

TEST_F(Certificates, LieInARegistryStoreUntilTheyAreDeleted) {
  UniqueCertificateStore store = OpenScratch();
  ASSERT_NE(store, nullptr);
  EXPECT_TRUE(CertificatesOf(store.get()).empty());
  for (int twice = 0; twice < 2; ++twice) {
    PCCERT_CONTEXT added = nullptr;
    ASSERT_TRUE(CertAddCertificateContextToStore(store.get(), certificate.get(),
                                                 CERT_STORE_ADD_REPLACE_EXISTING, &added));
    const UniqueCertificate held(added);
    WCHAR name[] = {'F', 'r', 'i', 'e', 'n', 'd', 0};
    const DATA_BLOB blob{sizeof name, reinterpret_cast<BYTE*>(name)};
    EXPECT_TRUE(CertSetCertificateContextProperty(added, CERT_FRIENDLY_NAME_PROP_ID, 0, &blob));
  }
  store.reset();
  // As Windows lays it down: a key of its thumbprint, with a blob of the certificate and its properties.
  CString thumbprint = kThumbprintOfAnna;
  std::erase(thumbprint, ':');
  for (char& c : thumbprint) c = static_cast<char>(std::toupper(c));
  UniqueKey key;
  ASSERT_EQ(OpenUniqueKey(HKEY_LOCAL_MACHINE, (CString(kStoreKey) + "\\Certificates\\" + thumbprint).c_str(),
                          KEY_READ, key),
            0u);
  const CString blob = CTesselRegObject(HKEY_LOCAL_MACHINE, key.release()).GetBinaryValue("Blob");
  EXPECT_NE(blob.find(BytesOfHex(kCertificateOfAnna)), CString::npos);

  store = OpenScratch();
  std::vector<UniqueCertificate> all = CertificatesOf(store.get());
  ASSERT_EQ(all.size(), 1u);
  EXPECT_EQ(Describe(*all[0]).friendlyName, "Friend");
  EXPECT_NE(FindCertificate(store.get(), HashOf(*certificate)), nullptr);
  EXPECT_EQ(FindCertificate(store.get(), CString(20, '\1')), nullptr);
  EXPECT_TRUE(CertDeleteCertificateFromStore(all[0].release()));
  all.clear();
  EXPECT_TRUE(CertificatesOf(store.get()).empty());
}

TEST_F(Certificates, AreNothingElse) {
  const CString bytes = BytesOfHex(kCertificateOfAnna);
  for (const CString& bad : {CString(), CString("x"), bytes.substr(0, bytes.size() - 1), bytes.substr(1)}) {
    EXPECT_EQ(
        UniqueCertificate(CertCreateCertificateContext(
            X509_ASN_ENCODING, reinterpret_cast<const BYTE*>(bad.data()), static_cast<DWORD>(bad.size()))),
        nullptr)
        << bad.size();
  }
  // What others have left in the store is passed over.
  const UniqueCertificateStore store = OpenScratch();
  CTesselRegObject key(HKEY_LOCAL_MACHINE);
  ASSERT_TRUE(key.CreateKey((CString(kStoreKey) + "\\Certificates\\" + CString(40, 'A')).c_str()));
  key.SetBinaryValue("Blob", CString("\x20\0\0\0\1\0\0\0\xFF\xFF\xFF\x7F", 12), REG_BINARY);
  EXPECT_TRUE(CertificatesOf(OpenScratch().get()).empty());
}

TEST_F(Certificates, ComeOutOfFilesWithoutAQuestion) {
  const CString bytes = BytesOfHex(kCertificateOfAnna);
  EXPECT_EQ(CertificatesIn(bytes), std::vector<std::string>{bytes});
  for (const char* bad : {"", "x",
                          "-----BEGIN CERTIFICATE-----\nProc-Type: 4,ENCRYPTED\nDEK-Info: AES-128-CBC,"
                          "00112233445566778899AABBCCDDEEFF\n\nAAAA\n-----END CERTIFICATE-----\n"}) {
    EXPECT_TRUE(CertificatesIn(bad).empty()) << bad;
  }
}
