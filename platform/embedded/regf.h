#pragma once

// Hive files in the registry file format ("regf", version 1.3) as trees in memory. hivex reads keys
// and values, and the descriptors, which it leaves alone, are read beside it. Files are written without it:
// it adds a key in time that grows with the keys that are there.

#include <cstdint>
#include <string>
#include <vector>

#include "platform/embedded/win32/types.h"

namespace embedded {

struct HiveValue {
  std::string name;  // UTF-8; empty is the default value.
  DWORD type = 0;
  std::string data;  // As in the file: texts are 16-bit units.
};

struct HiveKey {
  std::string name;        // UTF-8
  std::string descriptor;  // Self-relative; empty where the file has none that is sound.
  uint64_t last_write = 0;
  std::vector<HiveValue> values;
  std::vector<HiveKey> subkeys;
};

// Reads the file at a path of the machine. ERROR_FILE_NOT_FOUND and its kin, ERROR_NOT_REGISTRY_FILE when it
// is not a hive, ERROR_BADDB when it is a damaged one.
LONG ReadHive(const std::string& path, HiveKey& root);

// Writes a new file, for its owner alone; ERROR_ALREADY_EXISTS when there is one. It appears whole or not at
// all.
LONG WriteHive(const std::string& path, const HiveKey& root);

}  // namespace embedded
