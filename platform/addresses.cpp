#include <cstdlib>

#include "platform/sockets.h"

namespace platform {
namespace {

using Handle = decltype(socket(0, 0, 0));

bool IsLoopback(const sockaddr& address) {
  if (address.sa_family == AF_INET) {
    return (ntohl(reinterpret_cast<const sockaddr_in&>(address).sin_addr.s_addr) >> 24) == 127;
  }
  return IN6_IS_ADDR_LOOPBACK(&reinterpret_cast<const sockaddr_in6&>(address).sin6_addr);
}

bool IsAny(const sockaddr& address) {
  if (address.sa_family == AF_INET) {
    return reinterpret_cast<const sockaddr_in&>(address).sin_addr.s_addr == INADDR_ANY;
  }
  return IN6_IS_ADDR_UNSPECIFIED(&reinterpret_cast<const sockaddr_in6&>(address).sin6_addr);
}

}  // namespace

Addresses AddressesOf(std::string_view wanted) {
  const size_t colon = wanted.rfind(':');
  std::string host(wanted.substr(0, colon));
  const std::string port(colon == std::string_view::npos ? "8722" : wanted.substr(colon + 1));
  if (host.starts_with('[') && host.ends_with(']')) host = host.substr(1, host.size() - 2);
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
  addrinfo* found = nullptr;
  if (getaddrinfo(host.empty() ? "127.0.0.1" : host.c_str(), port.c_str(), &hints, &found) != 0)
    found = nullptr;
  return {found, freeaddrinfo};
}

bool Describe(Listener& listener) {
  sockaddr_storage bound{};
  socklen_t size = sizeof bound;
  auto& address = reinterpret_cast<sockaddr&>(bound);
  if (getsockname(static_cast<Handle>(listener.socket), &address, &size) != 0) return false;
  char name[NI_MAXHOST] = "";
  char service[NI_MAXSERV] = "";
  getnameinfo(&address, size, name, sizeof name, service, sizeof service, NI_NUMERICHOST | NI_NUMERICSERV);
  listener.address = name;
  listener.port = std::atoi(service);
  listener.six = address.sa_family == AF_INET6;
  listener.loopback = IsLoopback(address);
  listener.any = IsAny(address);
  char machine[256] = "localhost";
  gethostname(machine, sizeof machine - 1);
  listener.machine = machine;
  return true;
}

}  // namespace platform
