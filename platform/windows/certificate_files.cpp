#include "platform/certificate_files.h"

#include "platform/win32.h"

namespace {

std::wstring Wide(const std::string& text) {
  const int size = MultiByteToWideChar(CP_ACP, 0, text.c_str(), -1, nullptr, 0);
  std::wstring wide(static_cast<size_t>(size > 0 ? size - 1 : 0), L'\0');
  if (size > 0) MultiByteToWideChar(CP_ACP, 0, text.c_str(), -1, wide.data(), size);
  return wide;
}

void TakeAll(HCERTSTORE store, std::vector<std::string>& all) {
  PCCERT_CONTEXT certificate = nullptr;
  while ((certificate = CertEnumCertificatesInStore(store, certificate)) != nullptr)
    all.emplace_back(reinterpret_cast<const char*>(certificate->pbCertEncoded), certificate->cbCertEncoded);
  CertCloseStore(store, 0);
}

}  // namespace

std::vector<std::string> CertificatesIn(std::string_view bytes, const std::string& password) {
  std::vector<std::string> all;
  std::string copy(bytes);
  CRYPT_DATA_BLOB blob{static_cast<DWORD>(copy.size()), reinterpret_cast<BYTE*>(copy.data())};
  constexpr DWORD kContents = CERT_QUERY_CONTENT_FLAG_CERT | CERT_QUERY_CONTENT_FLAG_PKCS7_SIGNED;
  HCERTSTORE store = nullptr;
  if (CryptQueryObject(CERT_QUERY_OBJECT_BLOB, &blob, kContents, CERT_QUERY_FORMAT_FLAG_ALL, 0, nullptr,
                       nullptr, nullptr, &store, nullptr, nullptr)) {
    TakeAll(store, all);
  } else if (HCERTSTORE container = PFXImportCertStore(&blob, Wide(password).c_str(), 0)) {
    TakeAll(container, all);
  }
  return all;
}
