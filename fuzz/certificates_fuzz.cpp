// Files of certificates, and what a store may hold of one: each gives certificates that can be described, or
// none.

#include <cstddef>
#include <cstdint>

#include "platform/certificate_files.h"
#include "store/certificates.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  for (const std::string& encoded : CertificatesIn(bytes, "password").certificates) {
    const UniqueCertificate certificate(
        CertCreateCertificateContext(X509_ASN_ENCODING, reinterpret_cast<const BYTE*>(encoded.data()),
                                     static_cast<DWORD>(encoded.size())));
    // What was read once reads again, as the same.
    if (!certificate || certificate->cbCertEncoded != encoded.size()) __builtin_trap();
    if (Describe(*certificate).thumbprint.size() != 59) __builtin_trap();
  }
  return 0;
}
