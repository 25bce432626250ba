#pragma once

// Certificates and their stores (wincrypt.h): the system store "MY" of a computer, and stores that are a
// registry key. Both keep a certificate under `Certificates\<thumbprint>`, in the value `Blob`, as Windows
// does.

#include "platform/embedded/win32/crypto.h"
#include "platform/embedded/win32/registry.h"
#include "platform/embedded/win32/types.h"

using HCERTSTORE = void*;
using CRYPT_HASH_BLOB = DATA_BLOB;
using CRYPT_INTEGER_BLOB = DATA_BLOB;

#define X509_ASN_ENCODING 0x1u
#define PKCS_7_ASN_ENCODING 0x10000u
#define CERT_STORE_PROV_REG (reinterpret_cast<LPCSTR>(4))        // NOLINT: as Windows has it
#define CERT_STORE_PROV_SYSTEM_W (reinterpret_cast<LPCSTR>(10))  // NOLINT: as Windows has it
#define CERT_SYSTEM_STORE_LOCAL_MACHINE 0x20000u
#define CERT_FIND_SHA1_HASH 0x10000u
#define CERT_STORE_ADD_REPLACE_EXISTING 3u
#define CERT_NAME_SIMPLE_DISPLAY_TYPE 4u
#define CERT_NAME_ISSUER_FLAG 0x1u
#define CERT_SHA1_HASH_PROP_ID 3u
#define CERT_FRIENDLY_NAME_PROP_ID 11u
#define CERT_CHAIN_REVOCATION_CHECK_END_CERT 0x10000000u
#define CERT_CHAIN_REVOCATION_CHECK_CHAIN 0x20000000u
#define CERT_CHAIN_REVOCATION_CHECK_CHAIN_EXCLUDE_ROOT 0x40000000u
#define CRYPT_E_NOT_FOUND static_cast<LONG>(0x80092004)
#define CRYPT_E_BAD_ENCODE static_cast<LONG>(0x80092002)

struct CRYPT_BIT_BLOB {
  DWORD cbData;
  BYTE* pbData;
  DWORD cUnusedBits;
};
struct CRYPT_ALGORITHM_IDENTIFIER {
  LPSTR pszObjId;
  DATA_BLOB Parameters;
};
struct CERT_PUBLIC_KEY_INFO {
  CRYPT_ALGORITHM_IDENTIFIER Algorithm;
  CRYPT_BIT_BLOB PublicKey;
};
struct CERT_EXTENSION {
  LPSTR pszObjId;
  BOOL fCritical;
  DATA_BLOB Value;
};

// The version and the two times are filled in; nothing here asks for the others.
struct CERT_INFO {
  DWORD dwVersion;
  CRYPT_INTEGER_BLOB SerialNumber;
  CRYPT_ALGORITHM_IDENTIFIER SignatureAlgorithm;
  DATA_BLOB Issuer;
  FILETIME NotBefore;
  FILETIME NotAfter;
  DATA_BLOB Subject;
  CERT_PUBLIC_KEY_INFO SubjectPublicKeyInfo;
  CRYPT_BIT_BLOB IssuerUniqueId;
  CRYPT_BIT_BLOB SubjectUniqueId;
  DWORD cExtension;
  CERT_EXTENSION* rgExtension;
};
using PCERT_INFO = CERT_INFO*;

struct CERT_CONTEXT {
  DWORD dwCertEncodingType;
  BYTE* pbCertEncoded;
  DWORD cbCertEncoded;
  PCERT_INFO pCertInfo;
  HCERTSTORE hCertStore;
};
using PCCERT_CONTEXT = const CERT_CONTEXT*;

struct CERT_ENHKEY_USAGE {
  DWORD cUsageIdentifier;
  LPSTR* rgpszUsageIdentifier;
};
using PCERT_ENHKEY_USAGE = CERT_ENHKEY_USAGE*;

// `provider` is one of the two above; `parameter` the name of the store as wide text, "MY" or "COMPUTER\MY",
// or the open key. Null, with the last error, for a store that can't be opened.
HCERTSTORE WINAPI CertOpenStore(LPCSTR provider, DWORD encoding, ULONG_PTR cryptProvider, DWORD flags,
                                const void* parameter);
BOOL WINAPI CertCloseStore(HCERTSTORE store, DWORD flags);
// In no order that counts; frees `previous`.
PCCERT_CONTEXT WINAPI CertEnumCertificatesInStore(HCERTSTORE store, PCCERT_CONTEXT previous);
// Finds by CERT_FIND_SHA1_HASH alone.
PCCERT_CONTEXT WINAPI CertFindCertificateInStore(HCERTSTORE store, DWORD encoding, DWORD flags, DWORD kind,
                                                 const void* parameter, PCCERT_CONTEXT previous);
PCCERT_CONTEXT WINAPI CertDuplicateCertificateContext(PCCERT_CONTEXT certificate);
BOOL WINAPI CertFreeCertificateContext(PCCERT_CONTEXT certificate);
PCCERT_CONTEXT WINAPI CertCreateCertificateContext(DWORD encoding, const BYTE* bytes, DWORD size);
BOOL WINAPI CertAddCertificateContextToStore(HCERTSTORE store, PCCERT_CONTEXT certificate, DWORD disposition,
                                             PCCERT_CONTEXT* added);
// Frees the context.
BOOL WINAPI CertDeleteCertificateFromStore(PCCERT_CONTEXT certificate);
DWORD WINAPI CertGetNameStringA(PCCERT_CONTEXT certificate, DWORD type, DWORD flags, void* parameter,
                                LPSTR name, DWORD size);
BOOL WINAPI CertGetCertificateContextProperty(PCCERT_CONTEXT certificate, DWORD property, void* data,
                                              DWORD* size);
BOOL WINAPI CertSetCertificateContextProperty(PCCERT_CONTEXT certificate, DWORD property, DWORD flags,
                                              const void* data);
// The bits of the certificate's key usage, its first byte first. FALSE where it names none, with the last
// error 0. `info` is the one of a context.
BOOL WINAPI CertGetIntendedKeyUsage(DWORD encoding, PCERT_INFO info, BYTE* usage, DWORD size);
BOOL WINAPI CertGetEnhancedKeyUsage(PCCERT_CONTEXT certificate, DWORD flags, PCERT_ENHKEY_USAGE usage,
                                    DWORD* size);
