#pragma once

// Who is let in. The address that is printed carries a token, which counts for some minutes; the first
// request with it gets a cookie and uses the token up. Every other request shows the cookie, and names this
// console as its host and origin. Cookies know no port: any other server of this machine that the browser
// visits is sent ours. So what acts or reads shows, beside it, a key that came with the cookie and that only
// our page holds.

#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "console/web/http.h"
#include "platform/listener.h"

namespace web {

// What all processes of one console share; it lies in memory that a fork shares.
struct Secrets {
  char session[65];
  char page[65];
  char token[65];
  std::time_t tokenUntil;
};

// 64 random hexadecimal digits.
void MakeSecret(char (&secret)[65]);
// A token that counts from now on.
void MakeToken(Secrets& secrets);

class Gate {
 public:
  struct Place {
    platform::Listener listener;
    bool tls = false;
    std::vector<std::string> names;  // other names by which browsers reach it
  };
  Gate(Place place, Secrets& secrets) : m_place(std::move(place)), m_secrets(secrets) {}

  // The address to open, with the token that counts now.
  std::string Address() const;

  // Why the request does not go on; nothing if it may. A request with the right token is answered here too,
  // by the cookie and the address without the token.
  std::optional<Response> Refuse(const Request& request);

  // Headers of every response: what the browser must not do with it.
  static Fields Protection();

 private:
  std::string Authority() const;
  bool IsOurHost(const std::string& host) const;
  bool ComesFromElsewhere(const Request& request) const;
  bool HasCookie(const Request& request) const;
  bool HasKey(const Request& request) const;
  std::optional<Response> TakeToken(const Request& request);

  Place m_place;
  Secrets& m_secrets;
};

}  // namespace web
