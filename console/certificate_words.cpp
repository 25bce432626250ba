#include "console/certificate_words.h"

#include <string_view>
#include <utility>

#include "platform/text.h"

namespace {

// The uses that administrators look for (RFC 5280); others stand as their numbers.
constexpr std::pair<std::string_view, std::string_view> kUses[] = {
    {"1.3.6.1.5.5.7.3.1", "server authentication"}, {"1.3.6.1.5.5.7.3.2", "client authentication"},
    {"1.3.6.1.5.5.7.3.3", "code signing"},          {"1.3.6.1.5.5.7.3.4", "e-mail protection"},
    {"1.3.6.1.5.5.7.3.8", "time stamping"},         {"1.3.6.1.5.5.7.3.9", "OCSP signing"},
    {"1.3.6.1.4.1.311.20.2.2", "smart card logon"},
};

std::string Named(const std::vector<std::string>& all) {
  return all.empty() ? "any" : text::Joined(all, ", ");
}

}  // namespace

std::string ValidityOf(const CertificateView& certificate) {
  return certificate.notBefore + " to " + certificate.notAfter +
         (certificate.expired ? " (not valid now)" : "");
}

std::string UsesOf(const CertificateView& certificate) {
  std::vector<std::string> names = certificate.usages;
  for (std::string& name : names) {
    for (const auto& [number, words] : kUses) {
      if (name == number) name = words;
    }
  }
  return Named(names);
}

std::string KeyUsesOf(const CertificateView& certificate) { return Named(certificate.keyUsages); }
