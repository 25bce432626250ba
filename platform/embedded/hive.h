#pragma once

// Hive files (regf) of keys.

#include "platform/embedded/store.h"

namespace embedded {

// The file's path is of the computer that the key belongs to. ERROR_ALREADY_EXISTS when the file is there.
LONG SaveHive(Transaction& txn, KeyId key, const char* path);

// What the file holds takes the place of the key's values, subkeys and descriptors. ERROR_NOT_REGISTRY_FILE
// for a file of another kind, ERROR_BADDB for a damaged one; then nothing is changed.
LONG RestoreHive(Transaction& txn, KeyId key, const char* path);

}  // namespace embedded
