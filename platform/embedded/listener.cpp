#include <fcntl.h>

#include <cerrno>
#include <cstring>

#include "platform/sockets.h"
#include "platform/worker.h"

namespace platform {

std::string Listen(std::string_view wanted, Listener& listener) {
  const Addresses found = AddressesOf(wanted);
  if (found == nullptr)
    return "\"" + std::string(wanted) + "\" is not an address and a port of this machine.";
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
