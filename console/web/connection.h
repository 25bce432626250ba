#pragma once

// One connection of the HTTP server, plain or TLS, as the library reads and writes it, with limits on what
// one who is not let in can hold: the time for a whole request, the size and number of its headers, and idle
// connections.

#include <chrono>
#include <cstddef>
#include <memory>

// As the distribution's library was built; the size of a request depends on it.
#define CPPHTTPLIB_OPENSSL_SUPPORT
#include <httplib.h>
// A name server's header leaves this behind, where others mean an access right.
#undef DELETE

namespace web {

struct Limits {
  size_t connections = 64;     // at once; further ones wait to be accepted
  size_t crowd = 48;           // from so many connections on, idle ones are closed soon
  size_t sockets = 128;        // web sockets beside them
  int requestSeconds = 10;     // for the whole request to arrive
  int idleSeconds = 60;        // between two requests
  int crowdedIdleSeconds = 1;  // the same in a crowd
  size_t headBytes = 16384;
  size_t headLines = 64;
  size_t bodyBytes = 1 << 20;
};

struct FreeTls {
  void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
  void operator()(SSL* connection) const { SSL_free(connection); }
};

// A read that comes too late, or that makes the head of the request too large, fails and ends the connection.
class Connection final : public httplib::Stream {
 public:
  // Takes the socket over and closes it at the end. `tls` and `limits` are borrowed; a null `tls` is a plain
  // connection.
  Connection(int socket, SSL_CTX* tls, const Limits& limits);
  ~Connection() override;
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  // The handshake of TLS, where there is one; false when it fails or takes too long.
  bool Handshake();
  // A request, or another message, shall now arrive within the time that it has.
  void ExpectMessage();
  // The same for a request's head, which counts until EndHead.
  void BeginRequest();
  void EndHead() { m_inHead = false; }
  bool InHead() const { return m_inHead; }

  // Whether the next byte has come; waits at most so long, and no longer than until `signal`, a file
  // descriptor, can be read.
  bool AwaitBytes(std::chrono::milliseconds atMost, int signal = -1) const;

  bool is_readable() const override { return AwaitBytes(Left()); }
  bool is_writable() const override;
  ssize_t read(char* data, size_t size) override;
  ssize_t write(const char* data, size_t size) override;
  void get_remote_ip_and_port(std::string&, int&) const override {}
  void get_local_ip_and_port(std::string&, int&) const override {}
  socket_t socket() const override { return m_socket; }

 private:
  std::chrono::milliseconds Left() const;
  bool Ready(short events, std::chrono::milliseconds atMost, int signal = -1) const;
  bool Retry(int result) const;
  bool Fill();
  bool Take(ssize_t count);

  int m_socket;
  std::unique_ptr<SSL, FreeTls> m_tls;
  bool m_wantsTls;
  const Limits& m_limits;
  std::chrono::steady_clock::time_point m_until;
  bool m_inHead = false;
  size_t m_headBytes = 0;
  size_t m_headLines = 0;
  char m_buffer[4096];
  size_t m_at = 0;
  size_t m_end = 0;
};

}  // namespace web
