#include "console/web/server.h"

#include "console/web/connection.h"
#include "platform/text.h"

namespace web {

bool Crowd::Enter() {
  std::shared_ptr<Visitor> leaving;
  {
    const std::lock_guard lock(m_mutex);
    // One that is just about to end counts no more.
    while (m_inside >= m_most && !leaving) {
      if (m_idle.empty()) return false;
      leaving = m_idle.begin()->second.lock();
      if (leaving) leaving->idleSince = 0;
      m_idle.erase(m_idle.begin());
    }
    ++m_inside;
  }
  if (leaving) leaving->End();
  return true;
}

void Crowd::Leave(Visitor& visitor) {
  IsBusy(visitor);
  const std::lock_guard lock(m_mutex);
  --m_inside;
}

void Crowd::Idles(Visitor& visitor, std::weak_ptr<Visitor> held) {
  const std::lock_guard lock(m_mutex);
  if (visitor.idleSince != 0) m_idle.erase(visitor.idleSince);
  visitor.idleSince = ++m_last;
  m_idle.emplace(visitor.idleSince, std::move(held));
}

void Crowd::IsBusy(Visitor& visitor) {
  const std::lock_guard lock(m_mutex);
  if (visitor.idleSince != 0) m_idle.erase(visitor.idleSince);
  visitor.idleSince = 0;
}

Core::Core(Site served, const Limits& given)
    : site(std::move(served)),
      limits(given),
      crowd(given.connections),
      workers(given.workers),
      m_work(asio::make_work_guard(io)) {
  for (int i = 0; i < 2; ++i) m_threads.emplace_back([this] { io.run(); });
}

Core::~Core() {
  io.stop();
  for (std::thread& thread : m_threads) thread.join();
  workers.join();
}

asio::ip::tcp::socket Core::Adopt(std::intptr_t socket, bool six) {
  asio::ip::tcp::socket adopted(asio::make_strand(io));
  boost::system::error_code ignored;
  adopted.assign(six ? asio::ip::tcp::v6() : asio::ip::tcp::v4(),
                 static_cast<asio::ip::tcp::socket::native_handle_type>(socket), ignored);
  adopted.set_option(asio::ip::tcp::no_delay(true), ignored);
  return adopted;
}

std::optional<Response> WhyNoSocket(const Request& request) {
  constexpr size_t kKeySize = 24;  // 16 bytes in base64 (RFC 6455, 4.1)
  if (!text::EqualNoCase(request.Header("Upgrade"), "websocket") ||
      request.Header("Sec-WebSocket-Key").size() != kKeySize) {
    return Sentence(400, "This address is for web sockets.");
  }
  if (request.HeaderCount("Origin") == 0) return Sentence(403, "Only this console's own pages may ask.");
  if (request.Header("Sec-WebSocket-Version") == "13") return std::nullopt;
  Response other = Sentence(426, "This is another version of web sockets.");
  other.headers.emplace_back("Sec-WebSocket-Version", "13");
  return other;
}

namespace {

class Plain final : public Transport {
 public:
  void Serve(Core& core, std::intptr_t socket, bool six) override {
    asio::ip::tcp::socket adopted = core.Adopt(socket, six);
    if (!core.crowd.Enter()) return;
    std::make_shared<Connection<beast::tcp_stream>>(core, std::move(adopted))->Start();
  }
};

}  // namespace

std::unique_ptr<Transport> PlainTransport() { return std::make_unique<Plain>(); }

Server::Server(Site site, std::unique_ptr<Transport> transport, const Limits& limits)
    : m_core(std::make_unique<Core>(std::move(site), limits)), m_transport(std::move(transport)) {}

Server::~Server() = default;

void Server::Take(std::intptr_t socket, bool six) { m_transport->Serve(*m_core, socket, six); }

}  // namespace web
