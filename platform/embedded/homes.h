#pragma once

// Homes as files: which one is meant, and what can be done about a damaged one.

#include <string>

namespace embedded {

// Where the home lies that nobody has named.
std::string DefaultHome();

// One sentence: which command brings a damaged home back, or that there is no backup of it.
std::string HowToRestore(const std::string& home);

}  // namespace embedded
