#include "console/web/web_socket.h"

#include <openssl/evp.h>
#include <wslay/wslay.h>

namespace web {

std::string AcceptWebSocket(const std::string& key) {
  // 16 bytes in base64, and the text that every server puts behind them (RFC 6455, 4.2.2).
  constexpr size_t kKeySize = 24;
  constexpr std::string_view kGuid = "258EAFA5-E914-47DA-95CA-C5AB0DC85B11";
  if (key.size() != kKeySize) return {};
  const std::string both = key + std::string(kGuid);
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned size = 0;
  if (EVP_Digest(both.data(), both.size(), digest, &size, EVP_sha1(), nullptr) != 1) return {};
  unsigned char text[2 * EVP_MAX_MD_SIZE];
  const int length = EVP_EncodeBlock(text, digest, static_cast<int>(size));
  return {reinterpret_cast<const char*>(text), static_cast<size_t>(length)};
}

// What the library calls, with the socket as its last argument.
struct WebSocket::Library {
  static WebSocket& SocketOf(void* socket) { return *static_cast<WebSocket*>(socket); }

  static ssize_t Receive(wslay_event_context* context, std::uint8_t* buffer, size_t size, int, void* socket) {
    Connection& connection = SocketOf(socket).m_connection;
    if (!connection.AwaitBytes(std::chrono::milliseconds(0))) {
      wslay_event_set_error(context, WSLAY_ERR_WOULDBLOCK);
      return -1;
    }
    const ssize_t count = connection.read(reinterpret_cast<char*>(buffer), size);
    if (count <= 0) wslay_event_set_error(context, WSLAY_ERR_CALLBACK_FAILURE);
    return count > 0 ? count : -1;
  }

  static ssize_t Send(wslay_event_context* context, const std::uint8_t* data, size_t size, int,
                      void* socket) {
    const ssize_t count = SocketOf(socket).m_connection.write(reinterpret_cast<const char*>(data), size);
    if (count < 0) wslay_event_set_error(context, WSLAY_ERR_CALLBACK_FAILURE);
    return count;
  }

  static void TakeMessage(wslay_event_context*, const wslay_event_on_msg_recv_arg* message, void* socket) {
    if (message->opcode != WSLAY_TEXT_FRAME) return;
    SocketOf(socket).m_texts.emplace_back(reinterpret_cast<const char*>(message->msg), message->msg_length);
  }
};

void WebSocket::FreeContext::operator()(wslay_event_context* context) const {
  wslay_event_context_free(context);
}

WebSocket::WebSocket(Connection& connection, size_t mostBytes, std::chrono::seconds patience)
    : m_connection(connection), m_patience(patience) {
  wslay_event_callbacks callbacks{};
  callbacks.recv_callback = Library::Receive;
  callbacks.send_callback = Library::Send;
  callbacks.on_msg_recv_callback = Library::TakeMessage;
  wslay_event_context* context = nullptr;
  if (wslay_event_context_server_init(&context, &callbacks, this) != 0) return;
  m_context.reset(context);
  wslay_event_config_set_max_recv_msg_length(context, mostBytes);
}

WebSocket::~WebSocket() = default;

bool WebSocket::Wait(int signal) {
  while (m_context) {
    const auto until = std::chrono::steady_clock::now() + m_patience;
    if (m_connection.AwaitBytes(m_patience, signal)) return Receive();
    if (std::chrono::steady_clock::now() < until) return true;
    if (m_pinged) break;
    m_pinged = true;
    const wslay_event_msg ping{WSLAY_PING, nullptr, 0};
    if (wslay_event_queue_msg(m_context.get(), &ping) != 0 || !Flush()) break;
  }
  return false;
}

bool WebSocket::Receive() {
  m_pinged = false;
  m_connection.ExpectMessage();
  return wslay_event_recv(m_context.get()) == 0 && Flush();
}

// Sends what waits, answers to pings and to a farewell included.
bool WebSocket::Flush() {
  if (wslay_event_send(m_context.get()) != 0) return false;
  return wslay_event_get_close_sent(m_context.get()) == 0;
}

std::optional<std::string> WebSocket::TakeText() {
  if (m_texts.empty()) return std::nullopt;
  std::string text = std::move(m_texts.front());
  m_texts.pop_front();
  return text;
}

bool WebSocket::Send(std::string_view text) {
  const wslay_event_msg message{WSLAY_TEXT_FRAME, reinterpret_cast<const std::uint8_t*>(text.data()),
                                text.size()};
  return m_context && wslay_event_queue_msg(m_context.get(), &message) == 0 && Flush();
}

}  // namespace web
