#include "platform/listener.h"

#include <cstdlib>
#include <memory>

#include "platform/windows/sockets.h"
#include "platform/worker.h"

namespace platform {
namespace {

void StartSockets() {
  static const int started = [] {
    WSADATA data{};
    return WSAStartup(MAKEWORD(2, 2), &data);
  }();
  static_cast<void>(started);
}

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
  int size = sizeof bound;
  auto& address = reinterpret_cast<sockaddr&>(bound);
  if (getsockname(static_cast<SOCKET>(listener.socket), &address, &size) != 0) return false;
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

std::string Hex(const WSAPROTOCOL_INFOA& info) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  const auto* const bytes = reinterpret_cast<const unsigned char*>(&info);
  for (size_t i = 0; i < sizeof info; ++i) {
    text += kDigits[bytes[i] >> 4];
    text += kDigits[bytes[i] & 15];
  }
  return text;
}

}  // namespace

std::string Listen(std::string_view wanted, Listener& listener) {
  StartSockets();
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
  const SOCKET made = socket(found->ai_family, SOCK_STREAM, 0);
  // Without it another program could take the port over while this one listens.
  const BOOL yes = TRUE;
  setsockopt(made, SOL_SOCKET, SO_EXCLUSIVEADDRUSE, reinterpret_cast<const char*>(&yes), sizeof yes);
  constexpr int kBacklog = 128;
  if (bind(made, found->ai_addr, static_cast<int>(found->ai_addrlen)) != 0 || listen(made, kBacklog) != 0) {
    const int error = WSAGetLastError();
    if (made != INVALID_SOCKET) closesocket(made);
    return "The console can't listen on " + std::string(wanted) + ": " +
           (error == WSAEADDRINUSE ? "another program uses that port."
                                   : "error " + std::to_string(error) + ".");
  }
  listener.socket = static_cast<std::intptr_t>(made);
  Describe(listener);
  return {};
}

std::string HandOver(const Listener& listener, DWORD process) {
  WSAPROTOCOL_INFOA info{};
  if (WSADuplicateSocketA(static_cast<SOCKET>(listener.socket), process, &info) != 0) return {};
  return Hex(info);
}

bool TakeOver(const std::string& handedOver, Listener& listener) {
  StartSockets();
  WSAPROTOCOL_INFOA info{};
  if (handedOver.size() != 2 * sizeof info) return false;
  auto* const bytes = reinterpret_cast<unsigned char*>(&info);
  for (size_t i = 0; i < sizeof info; ++i) {
    bytes[i] = static_cast<unsigned char>(std::strtoul(handedOver.substr(2 * i, 2).c_str(), nullptr, 16));
  }
  const SOCKET taken =
      WSASocketA(FROM_PROTOCOL_INFO, FROM_PROTOCOL_INFO, FROM_PROTOCOL_INFO, &info, 0, WSA_FLAG_OVERLAPPED);
  if (taken == INVALID_SOCKET) return false;
  listener.socket = static_cast<std::intptr_t>(taken);
  return Describe(listener);
}

std::intptr_t Accept(const Listener& listener) {
  const SOCKET accepted = accept(static_cast<SOCKET>(listener.socket), nullptr, nullptr);
  return accepted == INVALID_SOCKET ? kNoSocket : static_cast<std::intptr_t>(accepted);
}

}  // namespace platform
