#include "console/web/server.h"

#include <chrono>
#include <thread>

#include "platform/text.h"

namespace web {
namespace {

constexpr int kSwitchingProtocols = 101;

// How this thread's last request was answered. The body of one that was refused may not have been read, and
// what lies in the connection is then not the next request.
thread_local int lastStatus = 0;

void Refuse(httplib::Response& response, int status, const char* sentence) {
  response.status = status;
  response.set_content(std::string(sentence) + "\n", "text/plain; charset=utf-8");
}

}  // namespace

TlsContext LoadTls(const std::string& certificate, const std::string& key, std::string& why) {
  TlsContext context(SSL_CTX_new(TLS_server_method()));
  if (context == nullptr) {
    why = "TLS is not available.";
    return nullptr;
  }
  SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION);
  if (SSL_CTX_use_certificate_chain_file(context.get(), certificate.c_str()) != 1) {
    why = "The certificate " + certificate + " can't be used.";
    return nullptr;
  }
  if (SSL_CTX_use_PrivateKey_file(context.get(), key.c_str(), SSL_FILETYPE_PEM) != 1) {
    why = "The key " + key + " can't be used with this certificate.";
    return nullptr;
  }
  return context;
}

Server::Server(int listening, SSL_CTX* tls) : m_tls(tls) {
  svr_sock_ = listening;
  new_task_queue = [this] { return new httplib::ThreadPool(m_limits.connections); };
  set_payload_max_length(m_limits.bodyBytes);
  set_logger(
      [](const httplib::Request&, const httplib::Response& response) { lastStatus = response.status; });
  set_post_routing_handler([](const httplib::Request&, httplib::Response& response) {
    // A response that only switches protocols has no body to speak of (RFC 9110, 8.6).
    if (response.status != kSwitchingProtocols) return;
    response.headers.erase("Content-Length");
    response.headers.erase("Keep-Alive");
  });
}

void Server::Serve() { listen_after_bind(); }

void Server::OnSocket(const std::string& path, std::function<void(WebSocket& socket)> serve) {
  m_serveSocket = std::move(serve);
  Get(path, [this](const httplib::Request& request, httplib::Response& response) {
    const std::string accept = AcceptWebSocket(request.get_header_value("Sec-WebSocket-Key"));
    if (!text::EqualNoCase(request.get_header_value("Upgrade"), "websocket") || accept.empty()) {
      return Refuse(response, 400, "This address is for web sockets.");
    }
    if (!request.has_header("Origin")) return Refuse(response, 403, "Only this console's own pages may ask.");
    if (request.get_header_value("Sec-WebSocket-Version") != "13") {
      response.set_header("Sec-WebSocket-Version", "13");
      return Refuse(response, 426, "This is another version of web sockets.");
    }
    if (m_sockets >= m_limits.sockets) return Refuse(response, 503, "The console is open in too many tabs.");
    response.status = kSwitchingProtocols;
    response.set_header("Upgrade", "websocket");
    response.set_header("Connection", "Upgrade");
    response.set_header("Sec-WebSocket-Accept", accept);
  });
}

bool Server::process_and_close_socket(socket_t socket) {
  ++m_open;
  ServeRequests(std::make_unique<Connection>(socket, m_tls, m_limits));
  --m_open;
  return true;
}

void Server::ServeRequests(std::unique_ptr<Connection> connection) {
  using Clock = std::chrono::steady_clock;
  if (!connection->Handshake()) return;
  for (;;) {
    const auto idleSince = Clock::now();
    const auto idle = [&] {
      const int most = m_open > m_limits.crowd ? m_limits.crowdedIdleSeconds : m_limits.idleSeconds;
      return Clock::now() - idleSince >= std::chrono::seconds(most);
    };
    constexpr std::chrono::milliseconds kLook(250);
    while (!connection->AwaitBytes(kLook)) {
      if (idle()) return;
    }
    connection->BeginRequest();
    bool closed = false;
    lastStatus = 0;
    const bool answered =
        process_request(*connection, false, closed, [&connection](httplib::Request& request) {
          connection->EndHead();
          // What is sent small goes as it is and the rest lies compressed: nothing is compressed here.
          request.headers.erase("Accept-Encoding");
        });
    if (!answered || closed || lastStatus >= 400 || connection->InHead()) return;
    if (lastStatus == kSwitchingProtocols) return BecomeSocket(std::move(connection));
  }
}

void Server::BecomeSocket(std::unique_ptr<Connection> connection) {
  ++m_sockets;
  // A tab stays as long as a person wishes, and keeps no request waiting meanwhile.
  std::thread([this, connection = std::move(connection)] {
    WebSocket socket(*connection, m_limits.bodyBytes, std::chrono::seconds(m_limits.idleSeconds));
    m_serveSocket(socket);
    --m_sockets;
  }).detach();
}

}  // namespace web
