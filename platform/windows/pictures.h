#pragma once

// Pictures of keys. Windows does not tell what was written since an event began, but a key with all below it
// can be kept as it was, and compared with what is there.

#include <functional>
#include <string>
#include <vector>

#include "platform/machine.h"

namespace pictures {

void Keep(const std::string& computer, const std::string& path);
void ForEachChange(const std::function<void(const machine::Change& change)>& visit);
// Makes the keys again what their pictures show, values with their order and access lists among it. Returns
// the paths of those that could not be put back.
std::vector<std::string> PutBack();
void DropAll();

}  // namespace pictures
