#pragma once

// Pictures of keys. Windows does not tell what was written since an event began; but each key that the event
// is about to write is kept as it is (registry_calls.h), and compared later with what is there.

#include <functional>
#include <string>
#include <vector>

#include "platform/machine.h"

namespace pictures {

// Names in the order of the registry, which knows no case.
struct NameOrder {
  bool operator()(const std::string& a, const std::string& b) const;
};

// A key under HKEY_LOCAL_MACHINE.
struct Place {
  std::string computer;  // empty for the local one
  std::string path;      // spelled as the key was opened
  // Computers first, and a key before those below it.
  bool operator<(const Place& other) const;
};
// `machine` may begin with backslashes, or be null for the local one.
Place PlaceOn(const char* machine, const std::string& path);

// HKEY_LOCAL_MACHINE of the computer, which is open until Stop; null where it can't be reached.
HKEY RootOf(const std::string& computer);

// As they are listed.
void ForEachValue(HKEY key,
                  const std::function<void(const std::string& name, machine::StoredValue value)>& visit);
void ForEachSubkey(HKEY key, const std::function<void(const std::string& name)>& visit);

// From Start to Stop, keys are kept; what was kept before is dropped. What is kept already stays as it is.
void Start();
void Stop();
// Before its values change, or it goes.
void KeepKey(const Place& place);
// Before its access list changes; one that only others have changed stays as they have left it.
void KeepAccess(const Place& place);
// Before it is made, if it is missing, with those above it that are.
void KeepCreation(const Place& place);
// Before all below it becomes something else.
void KeepTree(const Place& place);

void ForEachChange(const std::function<void(const machine::Change& change)>& visit);
// Makes the keys again what their pictures show, values with their order and access lists among it. Returns
// the paths of those that could not be put back. Nothing is kept afterwards.
std::vector<std::string> PutBack();

}  // namespace pictures
