// TLS, where OpenSSL is.

#include <boost/asio/ssl.hpp>
#include <boost/beast/ssl.hpp>
#include <boost/beast/websocket/ssl.hpp>

#include "console/web/connection.h"

namespace web {
namespace {

namespace ssl = asio::ssl;
using TlsStream = beast::ssl_stream<beast::tcp_stream>;

class Tls final : public Transport {
 public:
  ssl::context context{ssl::context::tls_server};

  void Serve(Core& core, std::intptr_t socket, bool six) override {
    asio::ip::tcp::socket adopted = core.Adopt(socket, six);
    if (!core.crowd.Enter()) return;
    std::make_shared<Connection<TlsStream>>(core, std::move(adopted), context)->Start();
  }
};

}  // namespace

bool HasTls() { return true; }

std::unique_ptr<Transport> TlsTransport(const std::string& certificate, const std::string& key,
                                        std::string& why) {
  auto tls = std::make_unique<Tls>();
  boost::system::error_code error;
  SSL_CTX_set_min_proto_version(tls->context.native_handle(), TLS1_2_VERSION);
  tls->context.use_certificate_chain_file(certificate, error);
  if (error) {
    why = "The certificate " + certificate + " can't be used.";
    return nullptr;
  }
  tls->context.use_private_key_file(key, ssl::context::pem, error);
  if (error) {
    why = "The key " + key + " can't be used with this certificate.";
    return nullptr;
  }
  return tls;
}

}  // namespace web
