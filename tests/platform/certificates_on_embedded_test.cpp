// A store of certificates that others have written into.

#include <gtest/gtest.h>

#include "store/registry_object.h"
#include "tests/support/certificates.h"
#include "tests/support/scratch_home.h"

TEST(CertificatesOnEmbedded, StandUnderTheirOwnNamesAlone) {
  CTesselRegObject key(HKEY_LOCAL_MACHINE);
  ASSERT_TRUE(key.CreateKey(R"(Software\MarrowenCertificates)"));
  const UniqueCertificateStore store(CertOpenStore(CERT_STORE_PROV_REG, 0, 0, 0, key.GetKey()));
  const UniqueCertificate anna = CertificateOfHex(kCertificateOfAnna);
  ASSERT_TRUE(
      CertAddCertificateContextToStore(store.get(), anna.get(), CERT_STORE_ADD_REPLACE_EXISTING, nullptr));
  CString thumbprint = text::Replaced(kThumbprintOfAnna, ":", "");
  CTesselRegObject own(HKEY_LOCAL_MACHINE);
  ASSERT_EQ(own.OpenKey(nullptr, HKEY_LOCAL_MACHINE,
                        (R"(Software\MarrowenCertificates\Certificates\)" + thumbprint).c_str()),
            0u);
  for (const char other : {'0', 'F'}) {
    CTesselRegObject copy(HKEY_LOCAL_MACHINE);
    ASSERT_TRUE(
        copy.CreateKey((R"(Software\MarrowenCertificates\Certificates\)" + CString(40, other)).c_str()));
    copy.SetBinaryValue("Blob", own.GetBinaryValue("Blob"), REG_BINARY);
  }
  EXPECT_EQ(CertificatesOf(store.get()).size(), 1u);
  EXPECT_EQ(FindCertificate(store.get(), CString(20, '\xFF')), nullptr);
  DeleteRegistryKeyA(HKEY_LOCAL_MACHINE, R"(Software\MarrowenCertificates)", KEY_ALL_ACCESS);
}
