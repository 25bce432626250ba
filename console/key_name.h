#pragma once

#include <string_view>

// Whether both texts name one key of the registry, which folds letters outside ASCII too.
bool SameKeyName(std::string_view a, std::string_view b);
