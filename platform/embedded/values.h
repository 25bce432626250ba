#pragma once

// The values of keys in the store's tables. Everything returns 0 or a Windows error code, and does not look
// at access lists.

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "platform/embedded/keytree.h"

namespace embedded {

// In the store a value is its type and the size of its name (32 bits each), the name, and the data.
struct ValueHeader {
  DWORD type;
  uint32_t name_size;
};

struct Value {
  DWORD type = REG_NONE;
  std::string_view name;  // As it was first given.
  std::string_view data;
};

// ERROR_FILE_NOT_FOUND when the key has no such value.
LONG FindValue(Transaction& txn, KeyId key, std::string_view name, Value& value);
LONG PutValue(Transaction& txn, KeyId key, std::string_view name, DWORD type, std::string_view data);
// Adds the names of the values that share an entry of kNames.
void NamesAt(Transaction& txn, uint64_t place, std::vector<std::string>& names);
LONG RemoveValue(Transaction& txn, KeyId key, std::string_view name);
// The value in an entry of kValues.
inline LONG ReadValue(const MDB_val& entry, Value& value) {
  ValueHeader header;
  if (entry.mv_size < sizeof header) return ERROR_REGISTRY_CORRUPT;
  std::memcpy(&header, entry.mv_data, sizeof header);
  const size_t texts = entry.mv_size - sizeof header;
  if (header.name_size > texts) return ERROR_REGISTRY_CORRUPT;
  const char* name = static_cast<const char*>(entry.mv_data) + sizeof header;
  value.type = header.type;
  value.name = {name, header.name_size};
  value.data = {name + header.name_size, texts - header.name_size};
  return ERROR_SUCCESS;
}

// ERROR_NO_MORE_ITEMS beyond the last value.
inline LONG ValueAt(Transaction& txn, KeyId key, DWORD index, Position& at, Value& value) {
  MDB_val data{};
  const LONG status = EntryAt(txn, kValues, key, index, at, &data);
  return status != 0 ? status : ReadValue(data, value);
}

}  // namespace embedded
