#pragma once

#include <string>
#include <string_view>
#include <vector>

// The certificates in what a file holds, DER each: PEM, DER, PKCS #7, or PKCS #12 under the password, whose
// private keys are left out. None for anything else, and for a wrong password.
std::vector<std::string> CertificatesIn(std::string_view bytes, const std::string& password = {});
