#pragma once

// Pictures of keys. Windows does not tell what was written since an event began, but a key with all below it
// can be kept as it was, and compared with what is there.

#include <functional>
#include <string>
#include <vector>

#include "platform/machine.h"

namespace pictures {

// Names in the order of the registry, which knows no case.
struct NameOrder {
  bool operator()(const std::string& a, const std::string& b) const;
};

// HKEY_LOCAL_MACHINE of the computer, which the caller closes; null where it can't be reached.
HKEY RootOf(const std::string& computer);
// As they are listed.
void ForEachValue(HKEY key,
                  const std::function<void(const std::string& name, machine::StoredValue value)>& visit);
void ForEachSubkey(HKEY key, const std::function<void(const std::string& name)>& visit);

void Keep(const std::string& computer, const std::string& path);
void ForEachChange(const std::function<void(const machine::Change& change)>& visit);
// Makes the keys again what their pictures show, values with their order and access lists among it. Returns
// the paths of those that could not be put back.
std::vector<std::string> PutBack();
void DropAll();

}  // namespace pictures
