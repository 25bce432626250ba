#pragma once

// The system's own sockets, and what of listening is the same on every system.

#include <memory>
#include <string>
#include <string_view>

#ifdef _WIN32
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
// It has to stand before the header of the other operations.
#include <winsock2.h>
// What follows needs winsock2.h before it.
#include <ws2tcpip.h>
#else
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>
#endif

#include "platform/listener.h"

namespace platform {

using Addresses = std::unique_ptr<addrinfo, decltype(&freeaddrinfo)>;

// Where "ADDRESS:PORT" is, as Listen takes it; null where there is no such place on this machine.
Addresses AddressesOf(std::string_view wanted);

// Fills in all but the socket, which is bound.
bool Describe(Listener& listener);

#ifdef _WIN32
// How the process takes the listener over; empty where it can't.
std::string HandOver(const Listener& listener, DWORD process);
#endif

}  // namespace platform
