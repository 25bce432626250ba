#include "platform/listener.h"

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "platform/worker.h"

namespace platform {
namespace {

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

bool Describe(Listener& listener) {
  sockaddr_storage bound{};
  socklen_t size = sizeof bound;
  auto& address = reinterpret_cast<sockaddr&>(bound);
  if (getsockname(static_cast<int>(listener.socket), &address, &size) != 0) return false;
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

}  // namespace

std::string Listen(std::string_view wanted, Listener& listener) {
  const size_t colon = wanted.rfind(':');
  std::string host(wanted.substr(0, colon));
  const std::string port(colon == std::string_view::npos ? "8722" : wanted.substr(colon + 1));
  if (host.starts_with('[') && host.ends_with(']')) host = host.substr(1, host.size() - 2);
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
  addrinfo* found = nullptr;
  if (getaddrinfo(host.empty() ? "127.0.0.1" : host.c_str(), port.c_str(), &hints, &found) != 0) {
    return "\"" + std::string(wanted) + "\" is not an address and a port of this machine.";
  }
  const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> freed(found, freeaddrinfo);
  const int made = socket(found->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const int one = 1;
  setsockopt(made, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
  constexpr int kBacklog = 128;
  if (bind(made, found->ai_addr, found->ai_addrlen) != 0 || listen(made, kBacklog) != 0) {
    const int error = errno;
    if (made >= 0) close(made);
    return "The console can't listen on " + std::string(wanted) + ": " + std::strerror(error) + ".";
  }
  listener.socket = made;
  Describe(listener);
  return {};
}

bool TakeOver(const std::string& handedOver, Listener& listener) {
  listener.socket = std::atoi(handedOver.c_str());
  fcntl(static_cast<int>(listener.socket), F_SETFD, FD_CLOEXEC);
  return Describe(listener);
}

std::intptr_t Accept(const Listener& listener) {
  return accept4(static_cast<int>(listener.socket), nullptr, nullptr, SOCK_CLOEXEC);
}

}  // namespace platform
