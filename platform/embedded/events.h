#pragma once

#include <functional>
#include <string_view>

namespace embedded {

// Where OutputDebugStringA goes; an empty sink restores the default. For tests and for the host.
using DebugSink = std::function<void(std::string_view text)>;
void SetDebugSink(DebugSink sink);

}  // namespace embedded
