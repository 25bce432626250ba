#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace embedded {

// The embedded computer that a caller of Windows' functions names: "", its own name (GetComputerNameA) and
// "localhost" are the local one, whose name here is empty; others by their name; each with or without leading
// backslashes. Nothing for an unknown one.
std::optional<std::string> ComputerNamed(std::string_view name);

}  // namespace embedded
