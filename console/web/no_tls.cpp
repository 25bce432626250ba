// In the place of TLS, where there is no library for it.

#include "console/web/server.h"

namespace web {

bool HasTls() { return false; }

std::unique_ptr<Transport> TlsTransport(const std::string&, const std::string&, std::string& why) {
  why = "This console has no TLS: it serves the machine that it runs on.";
  return nullptr;
}

}  // namespace web
