#pragma once

#include <string_view>

#include "platform/embedded/win32/types.h"

namespace embedded {

enum class ServiceState { kRunning, kStopped, kDisabled };

// What a service of an embedded computer is: running until someone changes it. A disabled one is stopped and
// cannot be started. Names without case; a name that is no service is not running, and setting it gives
// ERROR_SERVICE_DOES_NOT_EXIST.
bool ServiceIsRunning(std::string_view computer, std::string_view service);
LONG SetServiceState(std::string_view computer, std::string_view service, ServiceState state);

}  // namespace embedded
