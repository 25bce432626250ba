#include "store/certificates.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <string>
#include <utility>

#include "store/registry_object.h"

namespace {

constexpr const char* kTrustedKey = R"(Software\TesselWorks\SSHD\Certs)";
constexpr int kNameSize = 260;

// Counted in tenths of a microsecond since 1601.
std::uint64_t TicksOf(const FILETIME& time) {
  return static_cast<std::uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
}

CString DayOf(const FILETIME& time) {
  SYSTEMTIME day{};
  if (!FileTimeToSystemTime(&time, &day)) return {};
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%04u-%02u-%02u", unsigned{day.wYear}, unsigned{day.wMonth},
                unsigned{day.wDay});
  return text.data();
}

CString Property(const CERT_CONTEXT& certificate, DWORD property) {
  DWORD size = 0;
  if (!CertGetCertificateContextProperty(&certificate, property, nullptr, &size)) return {};
  CString data(size, '\0');
  if (!CertGetCertificateContextProperty(&certificate, property, data.data(), &size)) return {};
  data.resize(size);
  return data;
}

CString FriendlyName(const CERT_CONTEXT& certificate) {
  const CString wide = Property(certificate, CERT_FRIENDLY_NAME_PROP_ID);
  if (wide.size() < sizeof(WCHAR)) return {};
  const auto* const text = reinterpret_cast<LPCWSTR>(wide.data());
  char name[1024] = {};
  WideCharToMultiByte(CP_ACP, 0, text, static_cast<int>(wide.size() / sizeof(WCHAR)), name, sizeof name - 1,
                      nullptr, nullptr);
  return name;
}

std::vector<std::string> Usages(const CERT_CONTEXT& certificate) {
  DWORD size = 0;
  if (!CertGetEnhancedKeyUsage(&certificate, 0, nullptr, &size)) return {};
  std::vector<BYTE> room(size);
  auto* const usage = reinterpret_cast<CERT_ENHKEY_USAGE*>(room.data());
  if (!CertGetEnhancedKeyUsage(&certificate, 0, usage, &size)) return {};
  return {usage->rgpszUsageIdentifier, usage->rgpszUsageIdentifier + usage->cUsageIdentifier};
}

// What the key itself may be used for (RFC 5280, 4.2.1.3), by bit.
std::vector<std::string> KeyUsages(const CERT_CONTEXT& certificate) {
  constexpr std::pair<unsigned, const char*> kWords[] = {
      {0x80, "digital signature"}, {0x40, "non-repudiation"}, {0x20, "key encipherment"},
      {0x10, "data encipherment"}, {0x08, "key agreement"},   {0x04, "certificate signing"},
      {0x02, "CRL signing"},       {0x01, "encipher only"},   {0x8000, "decipher only"},
  };
  std::array<BYTE, 2> bytes{};
  if (!CertGetIntendedKeyUsage(X509_ASN_ENCODING, certificate.pCertInfo, bytes.data(), bytes.size()))
    return {};
  const unsigned bits = bytes[0] | unsigned{bytes[1]} << 8;
  std::vector<std::string> all;
  for (const auto& [bit, words] : kWords) {
    if ((bits & bit) != 0) all.emplace_back(words);
  }
  return all;
}

bool IsOutOfDate(const CERT_CONTEXT& certificate) {
  SYSTEMTIME system{};
  FILETIME now{};
  GetSystemTime(&system);
  SystemTimeToFileTime(&system, &now);
  const CERT_INFO& info = *certificate.pCertInfo;
  return TicksOf(now) > TicksOf(info.NotAfter) || TicksOf(now) < TicksOf(info.NotBefore);
}

}  // namespace

UniqueCertificateStore OpenMachineStore(const CString& computer) {
  WCHAR name[kNameSize] = {};
  const CString narrow = computer.empty() ? "MY" : computer + "\\MY";
  if (MultiByteToWideChar(CP_ACP, 0, narrow.c_str(), -1, name, kNameSize) == 0) return nullptr;
  return UniqueCertificateStore(
      CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, CERT_SYSTEM_STORE_LOCAL_MACHINE, name));
}

UniqueCertificateStore OpenTrustedStore(bool& keyMade) {
  CTesselRegObject key(HKEY_LOCAL_MACHINE);
  keyMade = key.CreateKey(kTrustedKey) != 0;
  if (!keyMade) return nullptr;
  return UniqueCertificateStore(CertOpenStore(CERT_STORE_PROV_REG, 0, 0, 0, key.GetKey()));
}

std::vector<UniqueCertificate> CertificatesOf(HCERTSTORE store) {
  std::vector<UniqueCertificate> all;
  PCCERT_CONTEXT certificate = nullptr;
  while ((certificate = CertEnumCertificatesInStore(store, certificate)) != nullptr)
    all.emplace_back(CertDuplicateCertificateContext(certificate));
  return all;
}

UniqueCertificate FindCertificate(HCERTSTORE store, std::string_view hash) {
  CString bytes(hash);
  const CRYPT_HASH_BLOB blob{static_cast<DWORD>(bytes.size()), reinterpret_cast<BYTE*>(bytes.data())};
  return UniqueCertificate(
      CertFindCertificateInStore(store, X509_ASN_ENCODING, 0, CERT_FIND_SHA1_HASH, &blob, nullptr));
}

CString CertificateName(const CERT_CONTEXT& certificate, DWORD flags) {
  char name[1024] = {};
  CertGetNameStringA(&certificate, CERT_NAME_SIMPLE_DISPLAY_TYPE, flags, nullptr, name, sizeof name);
  return name;
}

CString HashOf(const CERT_CONTEXT& certificate) { return Property(certificate, CERT_SHA1_HASH_PROP_ID); }

CString ThumbprintOf(std::string_view hash) {
  constexpr char kDigits[] = "0123456789abcdef";
  CString text;
  for (const char c : hash) {
    const auto byte = static_cast<unsigned char>(c);
    if (!text.empty()) text += ':';
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

CertificateView Describe(const CERT_CONTEXT& certificate) {
  return {.subject = CertificateName(certificate),
          .issuer = CertificateName(certificate, CERT_NAME_ISSUER_FLAG),
          .thumbprint = ThumbprintOf(HashOf(certificate)),
          .friendlyName = FriendlyName(certificate),
          .notBefore = DayOf(certificate.pCertInfo->NotBefore),
          .notAfter = DayOf(certificate.pCertInfo->NotAfter),
          .usages = Usages(certificate),
          .keyUsages = KeyUsages(certificate),
          .expired = IsOutOfDate(certificate)};
}
