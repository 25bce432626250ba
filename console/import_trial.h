#pragma once

// What an import of a settings file would do. Where the machine takes events back the import itself is done,
// looked at and abandoned, so that what is told is what comes; elsewhere the file is compared with the store.

#include <functional>
#include <string>
#include <vector>

#include "configuration/settings_compare.h"

struct ImportTrial {
  // Why the import would not be done in full; empty if it would.
  std::string why;
  bool stopped = false;  // by `progress`
  size_t same = 0;       // values of the file that the store has already
};

// In an event that has written nothing, in which nothing is written afterwards either. `visit` gets what
// would be added and changed, in the order of keys.
ImportTrial TryImport(const std::string& file, const SourceOpener& open,
                      const std::function<bool(int keys)>& progress, const ChangeVisitor& visit);
