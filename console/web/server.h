#pragma once

// The HTTP server on connections of its own, some of which become web sockets.

#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include "console/web/connection.h"
#include "console/web/web_socket.h"

namespace web {

using TlsContext = std::unique_ptr<SSL_CTX, FreeTls>;

// A server's context for TLS 1.2 or later; null, with one sentence in `why`, for files that can't be used.
TlsContext LoadTls(const std::string& certificate, const std::string& key, std::string& why);

class Server final : public httplib::Server {
 public:
  // Accepts on a socket that already listens. `tls` is borrowed; null for plain connections.
  Server(int listening, SSL_CTX* tls);

  // Accepts connections until the process ends.
  void Serve();

  // A request for `path` that asks for a web socket becomes one, which `serve` has to itself on a thread of
  // its own until it returns. Requests without an Origin are refused, as are those above the number of web
  // sockets that there may be. Once per server.
  void OnSocket(const std::string& path, std::function<void(WebSocket& socket)> serve);

 private:
  bool process_and_close_socket(socket_t socket) override;
  void ServeRequests(std::unique_ptr<Connection> connection);
  void BecomeSocket(std::unique_ptr<Connection> connection);

  SSL_CTX* m_tls;
  Limits m_limits;
  std::atomic<size_t> m_open = 0;
  std::atomic<size_t> m_sockets = 0;
  std::function<void(WebSocket& socket)> m_serveSocket;
};

}  // namespace web
