#include "platform/certificate_files.h"

#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/pkcs12.h>
#include <openssl/pkcs7.h>
#include <openssl/provider.h>
#include <openssl/x509.h>

#include <memory>

namespace {

using Bio = std::unique_ptr<BIO, decltype(&BIO_free_all)>;
using Certificate = std::unique_ptr<X509, decltype(&X509_free)>;
using Pkcs7 = std::unique_ptr<PKCS7, decltype(&PKCS7_free)>;
using Pkcs12 = std::unique_ptr<PKCS12, decltype(&PKCS12_free)>;

// Bytes of a file of certificates; chains have some thousand each.
constexpr size_t kLargest = 1 << 22;

Bio Over(std::string_view bytes) {
  return {BIO_new_mem_buf(bytes.data(), static_cast<int>(bytes.size())), BIO_free_all};
}

void Add(X509* certificate, std::vector<std::string>& all) {
  unsigned char* bytes = nullptr;
  const int size = certificate == nullptr ? -1 : i2d_X509(certificate, &bytes);
  if (size <= 0) return;
  all.emplace_back(reinterpret_cast<const char*>(bytes), static_cast<size_t>(size));
  OPENSSL_free(bytes);
}

void AddAll(const STACK_OF(X509) * certificates, std::vector<std::string>& all) {
  for (int i = 0; certificates != nullptr && i < sk_X509_num(certificates); ++i)
    Add(sk_X509_value(certificates, i), all);
}

void AddOf(const Pkcs7& signedData, std::vector<std::string>& all) {
  if (signedData && PKCS7_type_is_signed(signedData.get()) && signedData->d.sign != nullptr)
    AddAll(signedData->d.sign->cert, all);
}

void AddOf(const Pkcs12& container, const std::string& password, FileOfCertificates& file) {
  EVP_PKEY* key = nullptr;
  X509* first = nullptr;
  STACK_OF(X509)* others = nullptr;
  if (!container || PKCS12_parse(container.get(), password.c_str(), &key, &first, &others) != 1) return;
  file.privateKey = key != nullptr;
  EVP_PKEY_free(key);
  Add(first, file.certificates);
  AddAll(others, file.certificates);
  X509_free(first);
  sk_X509_pop_free(others, X509_free);
}

// Nobody is asked for the password of an encrypted text.
int Refuse(char*, int, int, void*) { return -1; }

struct LibraryFreer {
  void operator()(OSSL_LIB_CTX* library) const { OSSL_LIB_CTX_free(library); }
};
struct ProviderUnloader {
  void operator()(OSSL_PROVIDER* provider) const { OSSL_PROVIDER_unload(provider); }
};
using Library = std::unique_ptr<OSSL_LIB_CTX, LibraryFreer>;
using Provider = std::unique_ptr<OSSL_PROVIDER, ProviderUnloader>;

// Containers of older programs are encrypted as OpenSSL does no more by itself. What is loaded for them goes
// again: the rest of the program has the ciphers of today.
void AddOfContainer(std::string_view bytes, const std::string& password, FileOfCertificates& file) {
  const Library library(OSSL_LIB_CTX_new());
  const Provider today(OSSL_PROVIDER_load(library.get(), "default"));
  const Provider old(OSSL_PROVIDER_load(library.get(), "legacy"));
  PKCS12* container = PKCS12_init_ex(NID_pkcs7_data, library.get(), nullptr);
  const bool read = d2i_PKCS12_bio(Over(bytes).get(), &container) != nullptr;
  const Pkcs12 held(container, PKCS12_free);  // null where a failure has freed it
  if (read) AddOf(held, password, file);
}

}  // namespace

FileOfCertificates CertificatesIn(std::string_view bytes, const std::string& password) {
  FileOfCertificates file;
  std::vector<std::string>& all = file.certificates;
  if (bytes.empty() || bytes.size() > kLargest) return file;
  file.privateKey = HoldsPrivateKey(bytes);
  const Bio text = Over(bytes);
  while (const Certificate certificate{PEM_read_bio_X509(text.get(), nullptr, Refuse, nullptr), X509_free})
    Add(certificate.get(), all);
  if (all.empty())
    AddOf(Pkcs7(PEM_read_bio_PKCS7(Over(bytes).get(), nullptr, Refuse, nullptr), PKCS7_free), all);
  if (all.empty()) Add(Certificate(d2i_X509_bio(Over(bytes).get(), nullptr), X509_free).get(), all);
  if (all.empty()) AddOf(Pkcs7(d2i_PKCS7_bio(Over(bytes).get(), nullptr), PKCS7_free), all);
  if (all.empty()) AddOfContainer(bytes, password, file);
  ERR_clear_error();
  return file;
}
