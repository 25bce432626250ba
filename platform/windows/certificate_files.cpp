#include "platform/certificate_files.h"

#include "platform/win32.h"

namespace {

std::wstring Wide(const std::string& text) {
  const int size = MultiByteToWideChar(CP_ACP, 0, text.c_str(), -1, nullptr, 0);
  std::wstring wide(static_cast<size_t>(size > 0 ? size - 1 : 0), L'\0');
  if (size > 0) MultiByteToWideChar(CP_ACP, 0, text.c_str(), -1, wide.data(), size);
  return wide;
}

// What a context says of the key that came with it.
bool HasKey(PCCERT_CONTEXT certificate) {
  DWORD size = 0;
  return CertGetCertificateContextProperty(certificate, CERT_KEY_CONTEXT_PROP_ID, nullptr, &size) ||
         CertGetCertificateContextProperty(certificate, CERT_KEY_PROV_INFO_PROP_ID, nullptr, &size);
}

void TakeAll(HCERTSTORE store, FileOfCertificates& file) {
  PCCERT_CONTEXT certificate = nullptr;
  while ((certificate = CertEnumCertificatesInStore(store, certificate)) != nullptr) {
    file.certificates.emplace_back(reinterpret_cast<const char*>(certificate->pbCertEncoded),
                                   certificate->cbCertEncoded);
    file.privateKey |= HasKey(certificate);
  }
  CertCloseStore(store, 0);
}

}  // namespace

FileOfCertificates CertificatesIn(std::string_view bytes, const std::string& password) {
  // Else the system would keep the key in the profile of the account.
  constexpr DWORD kForgetKeys = PKCS12_NO_PERSIST_KEY;
  FileOfCertificates file;
  file.privateKey = HoldsPrivateKey(bytes);
  std::string copy(bytes);
  CRYPT_DATA_BLOB blob{static_cast<DWORD>(copy.size()), reinterpret_cast<BYTE*>(copy.data())};
  constexpr DWORD kContents = CERT_QUERY_CONTENT_FLAG_CERT | CERT_QUERY_CONTENT_FLAG_PKCS7_SIGNED;
  HCERTSTORE store = nullptr;
  if (CryptQueryObject(CERT_QUERY_OBJECT_BLOB, &blob, kContents, CERT_QUERY_FORMAT_FLAG_ALL, 0, nullptr,
                       nullptr, nullptr, &store, nullptr, nullptr)) {
    TakeAll(store, file);
  } else if (HCERTSTORE container = PFXImportCertStore(&blob, Wide(password).c_str(), kForgetKeys)) {
    TakeAll(container, file);
  }
  return file;
}
