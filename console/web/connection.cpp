#include "console/web/connection.h"

#include <fcntl.h>
#include <poll.h>

#include <algorithm>

namespace web {
namespace {

using Clock = std::chrono::steady_clock;

}  // namespace

Connection::Connection(int socket, SSL_CTX* tls, const Limits& limits)
    : m_socket(socket),
      m_tls(tls == nullptr ? nullptr : SSL_new(tls)),
      m_wantsTls(tls != nullptr),
      m_limits(limits) {
  const int one = 1;
  setsockopt(m_socket, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
  fcntl(m_socket, F_SETFL, fcntl(m_socket, F_GETFL) | O_NONBLOCK);
  if (m_tls) SSL_set_fd(m_tls.get(), m_socket);
}

Connection::~Connection() {
  if (m_tls) SSL_shutdown(m_tls.get());
  shutdown(m_socket, SHUT_RDWR);
  close(m_socket);
}

bool Connection::Handshake() {
  if (!m_wantsTls) return true;
  if (!m_tls) return false;
  ExpectMessage();
  for (;;) {
    const int result = SSL_accept(m_tls.get());
    if (result == 1) return true;
    if (!Retry(result)) return false;
  }
}

void Connection::ExpectMessage() { m_until = Clock::now() + std::chrono::seconds(m_limits.requestSeconds); }

void Connection::BeginRequest() {
  ExpectMessage();
  m_inHead = true;
  m_headBytes = 0;
  m_headLines = 0;
}

bool Connection::AwaitBytes(std::chrono::milliseconds atMost, int signal) const {
  return m_at < m_end || (m_tls && SSL_pending(m_tls.get()) > 0) || Ready(POLLIN, atMost, signal);
}

bool Connection::is_writable() const { return Ready(POLLOUT, std::chrono::seconds(m_limits.requestSeconds)); }

ssize_t Connection::read(char* data, size_t size) {
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

ssize_t Connection::write(const char* data, size_t size) {
  ExpectMessage();
  size_t sent = 0;
  while (sent < size) {
    if (m_tls) {
      const int result =
          SSL_write(m_tls.get(), data + sent, static_cast<int>(std::min<size_t>(size - sent, 1 << 20)));
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

std::chrono::milliseconds Connection::Left() const {
  return std::max(std::chrono::duration_cast<std::chrono::milliseconds>(m_until - Clock::now()),
                  std::chrono::milliseconds(0));
}

// Whether the socket is ready; false when the time is up or the signal came first.
bool Connection::Ready(short events, std::chrono::milliseconds atMost, int signal) const {
  pollfd waiting[] = {{m_socket, events, 0}, {signal, POLLIN, 0}};
  return poll(waiting, 2, static_cast<int>(atMost.count())) > 0 && waiting[0].revents != 0;
}

// Waits for what TLS wants before it goes on.
bool Connection::Retry(int result) const {
  switch (SSL_get_error(m_tls.get(), result)) {
    case SSL_ERROR_WANT_READ:
      return Ready(POLLIN, Left());
    case SSL_ERROR_WANT_WRITE:
      return Ready(POLLOUT, Left());
    default:
      return false;
  }
}

bool Connection::Fill() {
  for (;;) {
    if (m_tls) {
      const int result = SSL_read(m_tls.get(), m_buffer, sizeof m_buffer);
      if (result > 0) return Take(result);
      if (!Retry(result)) return false;
      continue;
    }
    const ssize_t result = recv(m_socket, m_buffer, sizeof m_buffer, 0);
    if (result > 0) return Take(result);
    if (result == 0 || (errno != EINTR && (errno != EAGAIN || !Ready(POLLIN, Left())))) return false;
  }
}

bool Connection::Take(ssize_t count) {
  m_at = 0;
  m_end = static_cast<size_t>(count);
  // A client that sends a byte now and then is late all the same.
  return Clock::now() < m_until;
}

}  // namespace web
