#include "platform/embedded/win32/certificates.h"

#include <openssl/asn1.h>
#include <openssl/evp.h>
#include <openssl/objects.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <array>
#include <atomic>
#include <cstring>
#include <ctime>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/embedded/codepage.h"
#include "platform/embedded/fail.h"
#include "platform/embedded/win32/system.h"
#include "platform/text.h"

namespace {

using X509Pointer = std::unique_ptr<X509, decltype(&X509_free)>;

constexpr const char* kSystemStores = R"(SOFTWARE\Microsoft\SystemCertificates\)";
constexpr const char* kCertificates = "Certificates";
constexpr const char* kBlob = "Blob";
// Among the properties of a stored certificate, the certificate itself.
constexpr DWORD kEncoded = 32;
// Bytes of a stored certificate with its properties.
constexpr DWORD kLargestBlob = 1 << 20;

struct Store {
  HKEY key = nullptr;
  size_t references = 1;  // by the opener and by contexts
};

struct Info : CERT_INFO {
  X509Pointer parsed{nullptr, X509_free};
};

struct Context : CERT_CONTEXT {
  Info info{};
  std::string encoded;
  std::map<DWORD, std::string> properties;
  size_t references = 1;
};

Context* Of(PCCERT_CONTEXT certificate) {
  return static_cast<Context*>(const_cast<CERT_CONTEXT*>(certificate));
}
Store* Of(HCERTSTORE store) { return static_cast<Store*>(store); }

void Release(Store* store) {
  if (store == nullptr || --store->references > 0) return;
  RegCloseKey(store->key);
  delete store;
}

std::string Sha1(std::string_view bytes) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned size = 0;
  EVP_Digest(bytes.data(), bytes.size(), digest.data(), &size, EVP_sha1(), nullptr);
  return {reinterpret_cast<const char*>(digest.data()), size};
}

std::string Hex(std::string_view bytes) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  for (const char c : bytes) {
    text += kDigits[static_cast<unsigned char>(c) >> 4];
    text += kDigits[static_cast<unsigned char>(c) & 15];
  }
  return text;
}

// Counted in tenths of a microsecond since 1601.
FILETIME FileTimeOf(const ASN1_TIME* time) {
  constexpr std::int64_t kSecondsTo1970 = 11644473600;
  std::tm parts{};
  if (time == nullptr || ASN1_TIME_to_tm(time, &parts) != 1) return {};
  const auto ticks = static_cast<std::uint64_t>(timegm(&parts) + kSecondsTo1970) * 10000000;
  return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

// Null for what is no certificate, or has something behind it.
std::unique_ptr<Context> Parse(std::string encoded) {
  std::unique_ptr<Context> context(new Context{});
  context->encoded = std::move(encoded);
  const auto* at = reinterpret_cast<const unsigned char*>(context->encoded.data());
  const unsigned char* const end = at + context->encoded.size();
  context->info.parsed.reset(d2i_X509(nullptr, &at, static_cast<long>(context->encoded.size())));
  if (!context->info.parsed || at != end) return nullptr;
  context->info.dwVersion = static_cast<DWORD>(X509_get_version(context->info.parsed.get()));
  context->info.NotBefore = FileTimeOf(X509_get0_notBefore(context->info.parsed.get()));
  context->info.NotAfter = FileTimeOf(X509_get0_notAfter(context->info.parsed.get()));
  context->properties[CERT_SHA1_HASH_PROP_ID] = Sha1(context->encoded);
  static_cast<CERT_CONTEXT&>(*context) = {X509_ASN_ENCODING, reinterpret_cast<BYTE*>(context->encoded.data()),
                                          static_cast<DWORD>(context->encoded.size()), &context->info,
                                          nullptr};
  return context;
}

DWORD NumberAt(std::string_view bytes, size_t at) {
  DWORD number = 0;
  std::memcpy(&number, bytes.data() + at, sizeof number);
  return number;
}

void AppendNumber(std::string& bytes, DWORD number) {
  bytes.append(reinterpret_cast<const char*>(&number), sizeof number);
}

// A blob is elements of an identifier, the encoding's number, a length and so many bytes.
std::unique_ptr<Context> FromBlob(std::string_view blob) {
  constexpr size_t kHead = 3 * sizeof(DWORD);
  std::map<DWORD, std::string> properties;
  std::string encoded;
  while (blob.size() >= kHead) {
    const DWORD id = NumberAt(blob, 0);
    const DWORD size = NumberAt(blob, 2 * sizeof(DWORD));
    if (size > blob.size() - kHead) return nullptr;
    (id == kEncoded ? encoded : properties[id]) = blob.substr(kHead, size);
    blob.remove_prefix(kHead + size);
  }
  std::unique_ptr<Context> context = Parse(std::move(encoded));
  if (!context) return nullptr;
  properties.erase(CERT_SHA1_HASH_PROP_ID);  // computed, whatever was stored
  context->properties.merge(properties);
  return context;
}

std::string ToBlob(const Context& context) {
  std::string blob;
  const auto append = [&blob](DWORD id, std::string_view bytes) {
    AppendNumber(blob, id);
    AppendNumber(blob, 1);
    AppendNumber(blob, static_cast<DWORD>(bytes.size()));
    blob += bytes;
  };
  for (const auto& [id, bytes] : context.properties) append(id, bytes);
  append(kEncoded, context.encoded);
  return blob;
}

std::string ThumbprintOf(const Context& context) {
  return Hex(context.properties.at(CERT_SHA1_HASH_PROP_ID));
}

LONG OpenOf(const Store& store, const std::string& thumbprint, HKEY* key) {
  return RegOpenKeyExA(store.key, (std::string(kCertificates) + "\\" + thumbprint).c_str(), 0, KEY_READ, key);
}

// The certificate under this name; null for a broken one, and for one that stands under another's name.
std::unique_ptr<Context> Read(Store& store, const std::string& thumbprint) {
  HKEY key = nullptr;
  if (OpenOf(store, thumbprint, &key) != ERROR_SUCCESS) return nullptr;
  DWORD size = 0;
  std::string blob;
  if (RegQueryValueExA(key, kBlob, nullptr, nullptr, nullptr, &size) == ERROR_SUCCESS &&
      size <= kLargestBlob) {
    blob.resize(size);
    if (RegQueryValueExA(key, kBlob, nullptr, nullptr, reinterpret_cast<BYTE*>(blob.data()), &size) !=
        ERROR_SUCCESS)
      blob.clear();
  }
  RegCloseKey(key);
  std::unique_ptr<Context> context = FromBlob(blob);
  if (!context || !text::EqualNoCase(ThumbprintOf(*context), thumbprint)) return nullptr;
  context->hCertStore = &store;
  ++store.references;
  return context;
}

std::vector<std::string> Thumbprints(const Store& store) {
  std::vector<std::string> names;
  HKEY key = nullptr;
  if (RegOpenKeyExA(store.key, kCertificates, 0, KEY_READ, &key) != ERROR_SUCCESS) return names;
  char name[256];
  DWORD size = sizeof name;
  for (DWORD i = 0; RegEnumKeyExA(key, i, name, &size, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
       ++i) {
    names.emplace_back(name, size);
    size = sizeof name;
  }
  RegCloseKey(key);
  return names;
}

LONG Write(const Store& store, const Context& context) {
  HKEY key = nullptr;
  const std::string path = std::string(kCertificates) + "\\" + ThumbprintOf(context);
  LONG status = RegCreateKeyExA(store.key, path.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr);
  if (status != ERROR_SUCCESS) return status;
  const std::string blob = ToBlob(context);
  status = RegSetValueExA(key, kBlob, 0, REG_BINARY, reinterpret_cast<const BYTE*>(blob.data()),
                          static_cast<DWORD>(blob.size()));
  RegCloseKey(key);
  return status;
}

HCERTSTORE Opened(LONG status, HKEY key) {
  if (status == ERROR_SUCCESS) return new Store{key};
  SetLastError(static_cast<DWORD>(status));
  return nullptr;
}

HCERTSTORE OpenSystemStore(std::string name) {
  const size_t cut = name.rfind('\\');
  std::string computer = cut == std::string::npos ? "" : name.substr(0, cut);
  computer.erase(0, computer.find_first_not_of('\\'));
  if (cut != std::string::npos) name.erase(0, cut + 1);
  HKEY hive = nullptr;
  LONG status = RegConnectRegistryA(computer.empty() ? nullptr : computer.c_str(), HKEY_LOCAL_MACHINE, &hive);
  HKEY key = nullptr;
  if (status == ERROR_SUCCESS) {
    const std::string path = kSystemStores + name;
    status = RegCreateKeyExA(hive, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr);
    if (status == ERROR_ACCESS_DENIED) status = RegOpenKeyExA(hive, path.c_str(), 0, KEY_READ, &key);
    if (hive != HKEY_LOCAL_MACHINE) RegCloseKey(hive);
  }
  return Opened(status, key);
}

// The name that people know a certificate by: the common name, else the next best.
std::string DisplayName(const X509_NAME* name) {
  constexpr int kByWorth[] = {NID_commonName, NID_organizationalUnitName, NID_organizationName,
                              NID_pkcs9_emailAddress};
  int at = -1;
  for (size_t i = 0; at < 0 && i < std::size(kByWorth); ++i)
    at = X509_NAME_get_index_by_NID(name, kByWorth[i], -1);
  if (at < 0 && X509_NAME_entry_count(name) > 0) at = 0;
  if (at < 0) return {};
  unsigned char* text = nullptr;
  const int size = ASN1_STRING_to_UTF8(&text, X509_NAME_ENTRY_get_data(X509_NAME_get_entry(name, at)));
  if (size < 0) return {};
  std::string utf8(reinterpret_cast<const char*>(text), static_cast<size_t>(size));
  OPENSSL_free(text);
  return embedded::Utf8ToAcp(text::UpToZero(utf8));
}

std::vector<std::string> Usages(const X509* certificate) {
  std::vector<std::string> texts;
  auto* const usages =
      static_cast<EXTENDED_KEY_USAGE*>(X509_get_ext_d2i(certificate, NID_ext_key_usage, nullptr, nullptr));
  for (int i = 0; usages != nullptr && i < sk_ASN1_OBJECT_num(usages); ++i) {
    char text[128];
    const int size = OBJ_obj2txt(text, sizeof text, sk_ASN1_OBJECT_value(usages, i), 1);
    if (size > 0 && size < static_cast<int>(sizeof text)) texts.emplace_back(text);
  }
  EXTENDED_KEY_USAGE_free(usages);
  return texts;
}

}  // namespace

HCERTSTORE WINAPI CertOpenStore(LPCSTR provider, DWORD, ULONG_PTR, DWORD, const void* parameter) {
  if (provider == CERT_STORE_PROV_SYSTEM_W)
    return OpenSystemStore(embedded::Utf8ToAcp(embedded::Utf16ToUtf8(static_cast<LPCWSTR>(parameter))));
  if (provider != CERT_STORE_PROV_REG) return Opened(ERROR_FILE_NOT_FOUND, nullptr);
  // The caller closes his own handle when he likes.
  HKEY key = nullptr;
  const auto given = static_cast<HKEY>(const_cast<void*>(parameter));
  LONG status = RegOpenKeyExA(given, "", 0, KEY_ALL_ACCESS, &key);
  if (status == ERROR_ACCESS_DENIED) status = RegOpenKeyExA(given, "", 0, KEY_READ, &key);
  return Opened(status, key);
}

BOOL WINAPI CertCloseStore(HCERTSTORE store, DWORD) {
  Release(Of(store));
  return TRUE;
}

PCCERT_CONTEXT WINAPI CertEnumCertificatesInStore(HCERTSTORE store, PCCERT_CONTEXT previous) {
  const std::string last = previous == nullptr ? "" : ThumbprintOf(*Of(previous));
  CertFreeCertificateContext(previous);
  bool behind = last.empty();
  for (const std::string& name : Thumbprints(*Of(store))) {
    if (behind) {
      if (auto context = Read(*Of(store), name)) return context.release();
    } else {
      behind = text::EqualNoCase(name, last);
    }
  }
  SetLastError(static_cast<DWORD>(CRYPT_E_NOT_FOUND));
  return nullptr;
}

PCCERT_CONTEXT WINAPI CertFindCertificateInStore(HCERTSTORE store, DWORD, DWORD, DWORD kind,
                                                 const void* parameter, PCCERT_CONTEXT previous) {
  const auto* hash = static_cast<const CRYPT_HASH_BLOB*>(parameter);
  CertFreeCertificateContext(previous);
  if (kind == CERT_FIND_SHA1_HASH && previous == nullptr) {
    const std::string name = Hex({reinterpret_cast<const char*>(hash->pbData), hash->cbData});
    if (auto context = Read(*Of(store), name)) return context.release();
  }
  SetLastError(static_cast<DWORD>(CRYPT_E_NOT_FOUND));
  return nullptr;
}

PCCERT_CONTEXT WINAPI CertDuplicateCertificateContext(PCCERT_CONTEXT certificate) {
  if (certificate != nullptr) ++Of(certificate)->references;
  return certificate;
}

BOOL WINAPI CertFreeCertificateContext(PCCERT_CONTEXT certificate) {
  if (certificate == nullptr || --Of(certificate)->references > 0) return TRUE;
  Release(Of(certificate->hCertStore));
  delete Of(certificate);
  return TRUE;
}

PCCERT_CONTEXT WINAPI CertCreateCertificateContext(DWORD, const BYTE* bytes, DWORD size) {
  auto context = Parse({reinterpret_cast<const char*>(bytes), size});
  if (context) return context.release();
  SetLastError(static_cast<DWORD>(CRYPT_E_BAD_ENCODE));
  return nullptr;
}

BOOL WINAPI CertAddCertificateContextToStore(HCERTSTORE store, PCCERT_CONTEXT certificate, DWORD,
                                             PCCERT_CONTEXT* added) {
  const LONG status = Write(*Of(store), *Of(certificate));
  if (status != ERROR_SUCCESS) return embedded::Fail(static_cast<DWORD>(status));
  if (added != nullptr) {
    auto context = Read(*Of(store), ThumbprintOf(*Of(certificate)));
    *added = context.release();
  }
  return TRUE;
}

BOOL WINAPI CertDeleteCertificateFromStore(PCCERT_CONTEXT certificate) {
  LONG status = ERROR_FILE_NOT_FOUND;
  if (const Store* store = Of(certificate->hCertStore)) {
    const std::string path = std::string(kCertificates) + "\\" + ThumbprintOf(*Of(certificate));
    status = RegDeleteKeyA(store->key, path.c_str());
  }
  CertFreeCertificateContext(certificate);
  return status == ERROR_SUCCESS || embedded::Fail(static_cast<DWORD>(status));
}

DWORD WINAPI CertGetNameStringA(PCCERT_CONTEXT certificate, DWORD, DWORD flags, void*, LPSTR name,
                                DWORD size) {
  const X509* const parsed = Of(certificate)->info.parsed.get();
  const bool issuer = (flags & CERT_NAME_ISSUER_FLAG) != 0;
  const std::string text = DisplayName(issuer ? X509_get_issuer_name(parsed) : X509_get_subject_name(parsed));
  if (name == nullptr || size == 0) return static_cast<DWORD>(text.size() + 1);
  const size_t taken = std::min<size_t>(text.size(), size - 1);
  std::memcpy(name, text.data(), taken);
  name[taken] = '\0';
  return static_cast<DWORD>(taken + 1);
}

BOOL WINAPI CertGetCertificateContextProperty(PCCERT_CONTEXT certificate, DWORD property, void* data,
                                              DWORD* size) {
  const auto found = Of(certificate)->properties.find(property);
  if (found == Of(certificate)->properties.end())
    return embedded::Fail(static_cast<DWORD>(CRYPT_E_NOT_FOUND));
  const DWORD room = *size;
  *size = static_cast<DWORD>(found->second.size());
  if (data == nullptr) return TRUE;
  if (room < found->second.size()) return embedded::Fail(ERROR_MORE_DATA);
  std::memcpy(data, found->second.data(), found->second.size());
  return TRUE;
}

BOOL WINAPI CertSetCertificateContextProperty(PCCERT_CONTEXT certificate, DWORD property, DWORD,
                                              const void* data) {
  Context& context = *Of(certificate);
  if (data == nullptr) {
    context.properties.erase(property);
  } else {
    const auto* blob = static_cast<const DATA_BLOB*>(data);
    context.properties[property] = {reinterpret_cast<const char*>(blob->pbData), blob->cbData};
  }
  if (certificate->hCertStore == nullptr) return TRUE;
  const LONG status = Write(*Of(certificate->hCertStore), context);
  return status == ERROR_SUCCESS || embedded::Fail(static_cast<DWORD>(status));
}

BOOL WINAPI CertGetIntendedKeyUsage(DWORD, PCERT_INFO info, BYTE* usage, DWORD size) {
  const std::uint32_t bits = X509_get_key_usage(static_cast<Info*>(info)->parsed.get());
  SetLastError(ERROR_SUCCESS);
  if (bits == UINT32_MAX) return FALSE;
  for (DWORD i = 0; i < size; ++i) usage[i] = static_cast<BYTE>(i < sizeof bits ? bits >> 8 * i : 0);
  return TRUE;
}

BOOL WINAPI CertGetEnhancedKeyUsage(PCCERT_CONTEXT certificate, DWORD, PCERT_ENHKEY_USAGE usage,
                                    DWORD* size) {
  const std::vector<std::string> texts = Usages(Of(certificate)->info.parsed.get());
  if (texts.empty()) return embedded::Fail(static_cast<DWORD>(CRYPT_E_NOT_FOUND));
  size_t needed = sizeof(CERT_ENHKEY_USAGE) + texts.size() * sizeof(LPSTR);
  for (const std::string& text : texts) needed += text.size() + 1;
  const DWORD room = *size;
  *size = static_cast<DWORD>(needed);
  if (usage == nullptr) return TRUE;
  if (room < needed) return embedded::Fail(ERROR_MORE_DATA);
  auto* const places = reinterpret_cast<LPSTR*>(usage + 1);
  auto* at = reinterpret_cast<char*>(places + texts.size());
  *usage = {static_cast<DWORD>(texts.size()), places};
  for (size_t i = 0; i < texts.size(); ++i) {
    places[i] = at;
    std::memcpy(at, texts[i].c_str(), texts[i].size() + 1);
    at += texts[i].size() + 1;
  }
  return TRUE;
}
