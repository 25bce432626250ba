#pragma once

// Who is let in. The address that is printed carries a token, which counts for some minutes; the first
// request with it gets a cookie and uses the token up. Every other request shows the cookie, and names this
// console as its host and origin. Cookies know no port: any other server of this machine that the browser
// visits is sent ours. So what acts or reads shows, beside it, a key that came with the cookie and that only
// our page holds.

#include <atomic>
#include <ctime>
#include <string>
#include <vector>

#include "console/web/connection.h"

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
    std::string address;  // as the socket is bound, without brackets
    int port = 0;
    bool loopback = true;
    bool any = false;  // bound to all addresses of the machine
    bool tls = false;
    std::vector<std::string> names;  // other names by which browsers reach it
  };
  Gate(Place place, Secrets& secrets) : m_place(std::move(place)), m_secrets(secrets) {}

  // The address to open, with the token that counts now.
  std::string Address() const;

  // Whether the request may go on; else the response says why not. A request with the right token is answered
  // here too, by the cookie and the address without the token.
  bool Admit(const httplib::Request& request, httplib::Response& response);

  // Headers of every response: what the browser must not do with it.
  static httplib::Headers Protection();

 private:
  std::string Authority() const;
  bool IsOurHost(const std::string& host) const;
  bool HasCookie(const httplib::Request& request) const;
  bool HasKey(const httplib::Request& request) const;
  bool TakeToken(const httplib::Request& request, httplib::Response& response);

  Place m_place;
  Secrets& m_secrets;
};

}  // namespace web
