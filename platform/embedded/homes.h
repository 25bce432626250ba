#pragma once

// Homes as files: which one is meant, and what can be done about a damaged one.

#include <string>

#include "platform/machine.h"

namespace embedded {

// Where the home lies that nobody has named; empty, which is NoHome, where neither the environment nor the
// account has a folder.
std::string DefaultHome();
machine::Outcome NoHome();

// One sentence: which command brings a damaged home back, or that there is no backup of it.
std::string HowToRestore(const std::string& home);

}  // namespace embedded
