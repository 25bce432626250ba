#include "console/web/connection.h"

#include <poll.h>

#include <algorithm>
#include <chrono>

namespace web {
namespace {

using Clock = std::chrono::steady_clock;

// Whether this thread's last request was refused: its body may not have been read, and what lies in the
// connection is then not the next request.
thread_local bool refused = false;

// One connection as the library reads and writes it. A read that comes too late, or that makes the head of
// the request too large, fails and ends the connection.
class Connection final : public httplib::Stream {
 public:
  Connection(int socket, SSL* tls, const Limits& limits) : m_socket(socket), m_tls(tls), m_limits(limits) {}

  void BeginRequest() {
    m_until = Clock::now() + std::chrono::seconds(m_limits.requestSeconds);
    m_inHead = true;
    m_headBytes = 0;
    m_headLines = 0;
  }
  void EndHead() { m_inHead = false; }
  bool InHead() const { return m_inHead; }

  // Whether the next request's first byte has come; at most so long.
  bool AwaitBytes(std::chrono::milliseconds atMost) const {
    return m_at < m_end || (m_tls != nullptr && SSL_pending(m_tls) > 0) || Ready(POLLIN, atMost);
  }

  // The handshake; false when it fails or takes too long.
  bool Handshake() {
    BeginRequest();
    for (;;) {
      const int result = SSL_accept(m_tls);
      if (result == 1) return true;
      if (!Retry(result)) return false;
    }
  }

  bool is_readable() const override { return AwaitBytes(Left()); }
  bool is_writable() const override { return Ready(POLLOUT, std::chrono::seconds(m_limits.requestSeconds)); }

  ssize_t read(char* data, size_t size) override {
    if (m_at == m_end && !Fill()) return -1;
    const size_t count = std::min(size, m_end - m_at);
    std::copy_n(m_buffer + m_at, count, data);
    m_at += count;
    if (m_inHead) {
      m_headBytes += count;
      m_headLines += static_cast<size_t>(std::count(data, data + count, '\n'));
      if (m_headBytes > m_limits.headBytes || m_headLines > m_limits.headLines) return -1;
    }
    return static_cast<ssize_t>(count);
  }

  ssize_t write(const char* data, size_t size) override {
    m_until = Clock::now() + std::chrono::seconds(m_limits.requestSeconds);
    size_t sent = 0;
    while (sent < size) {
      if (m_tls != nullptr) {
        const int result =
            SSL_write(m_tls, data + sent, static_cast<int>(std::min<size_t>(size - sent, 1 << 20)));
        if (result > 0) {
          sent += static_cast<size_t>(result);
        } else if (!Retry(result)) {
          return -1;
        }
        continue;
      }
      const ssize_t result = send(m_socket, data + sent, size - sent, MSG_NOSIGNAL);
      if (result > 0) {
        sent += static_cast<size_t>(result);
      } else if (errno != EINTR && (errno != EAGAIN || !Ready(POLLOUT, Left()))) {
        return -1;
      }
    }
    return static_cast<ssize_t>(size);
  }

  void get_remote_ip_and_port(std::string&, int&) const override {}
  void get_local_ip_and_port(std::string&, int&) const override {}
  socket_t socket() const override { return m_socket; }

 private:
  std::chrono::milliseconds Left() const {
    return std::max(std::chrono::duration_cast<std::chrono::milliseconds>(m_until - Clock::now()),
                    std::chrono::milliseconds(0));
  }

  bool Ready(short events, std::chrono::milliseconds atMost) const {
    pollfd waiting{m_socket, events, 0};
    return poll(&waiting, 1, static_cast<int>(atMost.count())) > 0;
  }

  // Waits for what TLS wants before it goes on.
  bool Retry(int result) const {
    switch (SSL_get_error(m_tls, result)) {
      case SSL_ERROR_WANT_READ:
        return Ready(POLLIN, Left());
      case SSL_ERROR_WANT_WRITE:
        return Ready(POLLOUT, Left());
      default:
        return false;
    }
  }

  bool Fill() {
    for (;;) {
      if (m_tls != nullptr) {
        const int result = SSL_read(m_tls, m_buffer, sizeof m_buffer);
        if (result > 0) return Take(result);
        if (!Retry(result)) return false;
        continue;
      }
      const ssize_t result = recv(m_socket, m_buffer, sizeof m_buffer, 0);
      if (result > 0) return Take(result);
      if (result == 0 || (errno != EINTR && (errno != EAGAIN || !Ready(POLLIN, Left())))) return false;
    }
  }

  bool Take(ssize_t count) {
    m_at = 0;
    m_end = static_cast<size_t>(count);
    // A client that sends a byte now and then is late all the same.
    return Clock::now() < m_until;
  }

  int m_socket;
  SSL* m_tls;
  const Limits& m_limits;
  Clock::time_point m_until;
  bool m_inHead = false;
  size_t m_headBytes = 0;
  size_t m_headLines = 0;
  char m_buffer[4096];
  size_t m_at = 0;
  size_t m_end = 0;
};

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
      [](const httplib::Request&, const httplib::Response& response) { refused = response.status >= 400; });
}

void Server::Serve() { listen_after_bind(); }

bool Server::process_and_close_socket(socket_t socket) {
  ++m_open;
  const int one = 1;
  setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
  fcntl(socket, F_SETFL, fcntl(socket, F_GETFL) | O_NONBLOCK);
  SSL* const tls = m_tls == nullptr ? nullptr : SSL_new(m_tls);
  if (tls != nullptr) SSL_set_fd(tls, socket);
  Connection connection(socket, tls, m_limits);
  bool goOn = (tls != nullptr) == (m_tls != nullptr) && (tls == nullptr || connection.Handshake());
  while (goOn) {
    const auto idleSince = Clock::now();
    const auto idle = [&] {
      const int most = m_open > m_limits.crowd ? m_limits.crowdedIdleSeconds : m_limits.idleSeconds;
      return Clock::now() - idleSince >= std::chrono::seconds(most);
    };
    constexpr std::chrono::milliseconds kLook(250);
    bool arrived = false;
    while (!(arrived = connection.AwaitBytes(kLook)) && !idle()) {
    }
    if (!arrived) break;
    connection.BeginRequest();
    bool closed = false;
    refused = false;
    goOn = process_request(connection, false, closed, [&connection](httplib::Request& request) {
      connection.EndHead();
      // What is sent small goes as it is and the rest lies compressed: nothing is compressed here.
      request.headers.erase("Accept-Encoding");
    });
    goOn = goOn && !closed && !refused && !connection.InHead();
  }
  if (tls != nullptr) {
    SSL_shutdown(tls);
    SSL_free(tls);
  }
  shutdown(socket, SHUT_RDWR);
  close(socket);
  --m_open;
  return true;
}

}  // namespace web
