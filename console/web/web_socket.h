#pragma once

// A web socket (RFC 6455) on a connection that was upgraded: whole texts in both directions.

#include <chrono>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "console/web/connection.h"

struct wslay_event_context;

namespace web {

// The Sec-WebSocket-Accept for a request's Sec-WebSocket-Key; empty for a key that is none.
std::string AcceptWebSocket(const std::string& key);

class WebSocket {
 public:
  // The connection is borrowed. A message of more bytes ends the socket, as does a peer that answers no ping
  // for so long.
  WebSocket(Connection& connection, size_t mostBytes, std::chrono::seconds patience);
  ~WebSocket();
  WebSocket(const WebSocket&) = delete;
  WebSocket& operator=(const WebSocket&) = delete;

  // Waits until texts have come or `signal`, a file descriptor, can be read. False when the socket has ended.
  bool Wait(int signal);
  // The next text that has come, as the peer sent it (sound UTF-8); nothing if there is none yet.
  std::optional<std::string> TakeText();
  // Sends a text, which is UTF-8. False when the socket has ended.
  bool Send(std::string_view text);

 private:
  struct Library;
  struct FreeContext {
    void operator()(wslay_event_context* context) const;
  };
  bool Flush();
  bool Receive();

  Connection& m_connection;
  std::chrono::seconds m_patience;
  std::unique_ptr<wslay_event_context, FreeContext> m_context;
  std::deque<std::string> m_texts;
  bool m_pinged = false;
};

}  // namespace web
