#pragma once

// The system's sockets, whose header has to stand before that of the other operations.

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <winsock2.h>
// What follows needs winsock2.h before it.
#include <ws2tcpip.h>

#include <string>

#include "platform/listener.h"

namespace platform {

// How the process takes the listener over; empty where it can't.
std::string HandOver(const Listener& listener, DWORD process);

}  // namespace platform
