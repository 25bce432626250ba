#include <cstdlib>
#include <memory>

#include "platform/sockets.h"
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
  const Addresses found = AddressesOf(wanted);
  if (found == nullptr)
    return "\"" + std::string(wanted) + "\" is not an address and a port of this machine.";
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
