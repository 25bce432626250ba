#pragma once

// Pictures of keys. Windows does not tell what was written since an event began, but a key with all below it
// can be kept as it was, and compared with what is there.

#include <functional>
#include <string>

#include "platform/machine.h"

namespace pictures {

void Keep(const std::string& computer, const std::string& path);
void ForEachChange(const std::function<void(const machine::Change& change)>& visit);
void DropAll();

}  // namespace pictures
