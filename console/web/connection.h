#pragma once

// The HTTP server with connections of its own: plain or TLS, and with limits on what one who is not let in
// can hold: the time for a whole request, the size and number of its headers, and idle connections.

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

// As the distribution's library was built; the size of a request depends on it.
#define CPPHTTPLIB_OPENSSL_SUPPORT
#include <httplib.h>
// A name server's header leaves this behind, where others mean an access right.
#undef DELETE

namespace web {

struct Limits {
  size_t connections = 64;     // at once; further ones wait to be accepted
  size_t crowd = 48;           // from so many connections on, idle ones are closed soon
  int requestSeconds = 10;     // for the whole request to arrive
  int idleSeconds = 60;        // between two requests
  int crowdedIdleSeconds = 1;  // the same in a crowd
  size_t headBytes = 16384;
  size_t headLines = 64;
  size_t bodyBytes = 1 << 20;
};

struct FreeTls {
  void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
};
using TlsContext = std::unique_ptr<SSL_CTX, FreeTls>;

// A server's context for TLS 1.2 or later; null, with one sentence in `why`, for files that can't be used.
TlsContext LoadTls(const std::string& certificate, const std::string& key, std::string& why);

class Server final : public httplib::Server {
 public:
  // Accepts on a socket that already listens. `tls` is borrowed; null for plain connections.
  Server(int listening, SSL_CTX* tls);

  // Accepts connections until the process ends.
  void Serve();

 private:
  bool process_and_close_socket(socket_t socket) override;

  SSL_CTX* m_tls;
  Limits m_limits;
  std::atomic<size_t> m_open = 0;
};

}  // namespace web
