#pragma once

// Who is let in. The address that is printed carries a token, which counts for some minutes; the first
// request with it gets a cookie and uses the token up. Every other request shows the cookie, and names this
// console as its host and origin. Cookies know no port: any other server of this machine that the browser
// visits is sent ours. So what acts or reads shows, beside it, a key that came with the cookie and that only
// our page holds.

#include <ctime>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "console/web/http.h"
#include "platform/listener.h"

namespace web {

// What the processes of one console hand on.
struct Secrets {
  std::string session;
  std::string page;
  std::string token;
  std::time_t tokenUntil = 0;
};

// 64 random hexadecimal digits.
std::string MakeSecret();
// A token that counts from now on.
void MakeToken(Secrets& secrets);

class Gate {
 public:
  struct Place {
    platform::Listener listener;
    bool tls = false;
    std::vector<std::string> names;  // other names by which browsers reach it
  };
  // `say` tells the person a line.
  Gate(Place place, Secrets secrets, std::function<void(const std::string& line)> say)
      : m_place(std::move(place)), m_secrets(std::move(secrets)), m_say(std::move(say)) {}

  // The address to open, with the token that counts now.
  std::string Address() const;
  Secrets SecretsNow() const;

  // Why the request does not go on; nothing if it may. A request with the right token is answered here too,
  // by the cookie and the address without the token.
  std::optional<Response> Refuse(const Request& request);

  // Headers of every response: what the browser must not do with it.
  static Fields Protection();

 private:
  std::string Authority() const;
  std::string Way() const;
  bool IsOurHost(const std::string& host) const;
  bool ComesFromElsewhere(const Request& request) const;
  bool HasCookie(const Request& request) const;
  bool HasKey(const Request& request) const;
  std::optional<Response> TakeToken(const Request& request);

  Place m_place;
  mutable std::mutex m_mutex;
  Secrets m_secrets;
  std::function<void(const std::string& line)> m_say;
};

}  // namespace web
