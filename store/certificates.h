#pragma once

// Certificates of stores, as pages show them.

#include <memory>
#include <string_view>
#include <type_traits>
#include <vector>

#include "platform/text.h"
#include "platform/win32.h"
#include "window/certificate_view.h"

struct CertificateStoreCloser {
  void operator()(void* store) const { CertCloseStore(store, 0); }
};
using UniqueCertificateStore = std::unique_ptr<void, CertificateStoreCloser>;

struct CertificateFreer {
  void operator()(const CERT_CONTEXT* certificate) const { CertFreeCertificateContext(certificate); }
};
using UniqueCertificate = std::unique_ptr<const CERT_CONTEXT, CertificateFreer>;

// The store "MY" of a computer, empty for the local one; null where it can't be opened.
UniqueCertificateStore OpenMachineStore(const CString& computer);

// Of this computer, the store of the certificates that clients' certificates are checked with: a key of the
// server's, made if need be. Null where it can't be made; `keyMade` tells whether the key at least was.
UniqueCertificateStore OpenTrustedStore(bool& keyMade);

std::vector<UniqueCertificate> CertificatesOf(HCERTSTORE store);
// Null for none with that SHA-1 hash.
UniqueCertificate FindCertificate(HCERTSTORE store, std::string_view hash);

// The name that people know it by, its own or that of its issuer; empty for none.
CString CertificateName(const CERT_CONTEXT& certificate, DWORD flags = 0);
// The SHA-1 hash of the whole certificate; empty if it can't be had.
CString HashOf(const CERT_CONTEXT& certificate);

// "01:ab:..." of a hash.
CString ThumbprintOf(std::string_view hash);

CertificateView Describe(const CERT_CONTEXT& certificate);
