#pragma once

// Listening for connections over TCP.

#include <cstdint>
#include <string>
#include <string_view>

namespace platform {

constexpr std::intptr_t kNoSocket = -1;

// A socket that listens, and how it was bound. Whoever has it closes it with the process.
struct Listener {
  std::intptr_t socket = kNoSocket;
  std::string address;  // in digits, without brackets
  int port = 0;
  bool six = false;       // IPv6
  bool loopback = false;  // only this machine reaches it
  bool any = false;       // bound to all addresses of the machine
  std::string machine;    // the machine's own name
};

// Listens on "ADDRESS:PORT", without the latter on port 8722; an IPv6 address stands in brackets, and port 0
// takes a free one. Returns one sentence where it can't.
std::string Listen(std::string_view wanted, Listener& listener);

// Waits for the next connection: a socket that the caller owns. kNoSocket where one could not be taken, which
// may be otherwise a little later.
std::intptr_t Accept(const Listener& listener);

}  // namespace platform
