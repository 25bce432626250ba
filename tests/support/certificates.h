#pragma once

// A certificate for tests, and its life in the machine's store.

#include <string>
#include <string_view>

#include "store/certificates.h"

// Of anna.example at Example, by itself, for clients and mail, in hexadecimal. Made by: openssl req -x509.
inline constexpr std::string_view kCertificateOfAnna =
    "308201c83082016ea0030201020214248af7c4dc909820c541c1179618f56fa97dc1c7300a06082a8648ce3d04030230"
    "293110300e060355040a0c074578616d706c653115301306035504030c0c616e6e612e6578616d706c653020170d3236"
    "313132353039313134325a180f32313236313130313039313134325a30293110300e060355040a0c074578616d706c65"
    "3115301306035504030c0c616e6e612e6578616d706c653059301306072a8648ce3d020106082a8648ce3d0301070342"
    "0004495396f2c104a8fec09418c581d8d397c7072c54d23b2cbd95534c844d978c23dcb8402f3104dbd7cb2125e11875"
    "a709e2a1cbb437eddd0952738935a23f100ea3723070301d0603551d0e04160414d92b4bba8ced5b91c8e305bff650fd"
    "8170ba4cef301f0603551d23041830168014d92b4bba8ced5b91c8e305bff650fd8170ba4cef300f0603551d130101ff"
    "040530030101ff301d0603551d250416301406082b0601050507030206082b06010505070304300a06082a8648ce3d04"
    "03020348003045022069428c632aa28037f0340f4843e35c10d87fd96fd8dcbdab6d72351d76ce6774022100aab224b1"
    "5b3273ddc40913820961472db4a0db92198f24bc0858fec304eba7a9";
inline constexpr const char* kThumbprintOfAnna =
    "80:53:d5:bc:5f:5d:07:85:71:cd:7c:3f:5c:71:a8:43:62:f9:f7:90";

inline CString BytesOfHex(std::string_view digits) {
  CString bytes;
  for (size_t i = 0; i + 1 < digits.size(); i += 2)
    bytes += static_cast<char>(std::stoi(std::string(digits.substr(i, 2)), nullptr, 16));
  return bytes;
}

inline UniqueCertificate CertificateOfHex(std::string_view digits) {
  const CString bytes = BytesOfHex(digits);
  return UniqueCertificate(CertCreateCertificateContext(
      X509_ASN_ENCODING, reinterpret_cast<const BYTE*>(bytes.data()), static_cast<DWORD>(bytes.size())));
}

// In the machine's store for its life.
class MachineCertificate {
 public:
  explicit MachineCertificate(std::string_view digits) : m_certificate(CertificateOfHex(digits)) {
    const UniqueCertificateStore store = OpenMachineStore("");
    if (store && m_certificate) {
      CertAddCertificateContextToStore(store.get(), m_certificate.get(), CERT_STORE_ADD_REPLACE_EXISTING,
                                       nullptr);
    }
  }
  ~MachineCertificate() {
    const UniqueCertificateStore store = OpenMachineStore("");
    UniqueCertificate found = store ? FindCertificate(store.get(), HashOf(*m_certificate)) : nullptr;
    if (found) CertDeleteCertificateFromStore(found.release());
  }
  MachineCertificate(const MachineCertificate&) = delete;
  MachineCertificate& operator=(const MachineCertificate&) = delete;

 private:
  UniqueCertificate m_certificate;
};
