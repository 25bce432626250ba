#pragma once

// The values of keys in the store's tables. Everything returns 0 or a Windows error code, and does not look
// at access lists.

#include <string_view>

#include "platform/embedded/keytree.h"

namespace embedded {

struct Value {
  DWORD type = REG_NONE;
  std::string_view name;  // As it was first given.
  std::string_view data;
};

// ERROR_FILE_NOT_FOUND when the key has no such value.
LONG FindValue(Transaction& txn, KeyId key, std::string_view name, Value& value);
LONG PutValue(Transaction& txn, KeyId key, std::string_view name, DWORD type, std::string_view data);
LONG RemoveValue(Transaction& txn, KeyId key, std::string_view name);
LONG ValueAt(Transaction& txn, KeyId key, DWORD index, Position& at, Value& value);

}  // namespace embedded
