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

struct Environment;

// Before the first change of a day copies the home's registry, of which the newest three of these copies are
// kept; the caller has the turn to write. Not one that is damaged, nor a large one, whose copy would be felt.
// Fails in silence: the change is what was asked for.
void KeepDailyCopy(const Environment& environment);

}  // namespace embedded
