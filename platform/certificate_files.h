#pragma once

#include <string>
#include <string_view>
#include <vector>

struct FileOfCertificates {
  std::vector<std::string> certificates;  // DER each
  bool privateKey = false;                // one stands in the file, too
};

// What a file holds: PEM, DER, PKCS #7, or PKCS #12 under the password. Private keys are left out. Without
// certificates for anything else, and for a wrong password.
FileOfCertificates CertificatesIn(std::string_view bytes, const std::string& password = {});

// Whether the text holds a private key in PEM.
inline bool HoldsPrivateKey(std::string_view text) {
  return text.find("PRIVATE KEY-----") != std::string_view::npos;
}
