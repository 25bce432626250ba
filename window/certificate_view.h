#pragma once

#include <string>
#include <vector>

// A certificate as a person sees it.
struct CertificateView {
  std::string subject;
  std::string issuer;
  std::string thumbprint;  // "01:ab:..." of SHA-1
  std::string friendlyName;
  std::string notBefore;  // "2026-01-31"
  std::string notAfter;
  std::vector<std::string> usages;     // object identifiers, for example 1.3.6.1.5.5.7.3.2; none for any use
  std::vector<std::string> keyUsages;  // "digital signature" and the like; none for any use
  bool expired = false;                // or not valid yet
};
