#pragma once

// The tree of keys in the store's tables. Everything returns 0 or a Windows error code, and does not look at
// access lists.

#include <string>
#include <string_view>

#include "platform/embedded/store.h"

namespace embedded {

// Where an enumeration by index stands, so that the next index is one step away.
struct Position {
  std::string entry;  // The entry's key in its table; empty before the first.
  uint64_t stamp = 0;
  uint64_t use = 0;
  uint32_t generation = 0;
  DWORD index = 0;
};

// The entry of `table` with that index among those of the key; ERROR_NO_MORE_ITEMS beyond the last, and
// ERROR_KEY_DELETED when there is no key. `table` is kKeys (subkeys by name) or kValues (values by age).
LONG EntryAt(Transaction& txn, Table table, KeyId key, DWORD index, Position& at, MDB_val* data);
LONG SubkeyAt(Transaction& txn, KeyId key, DWORD index, Position& at, KeyInfo& info);

// The key's record; ERROR_KEY_DELETED when there is none.
LONG LoadKey(Transaction& txn, KeyId key, KeyInfo& info);
LONG EditKey(Transaction& txn, KeyId key, KeyRecord*& record);
// Notes the time of a change; with `structure`, also that an entry came or went.
void Touch(Transaction& txn, KeyRecord& record, bool structure);

// ERROR_FILE_NOT_FOUND when there is no such child.
LONG FindChild(Transaction& txn, KeyId parent, std::string_view name, KeyId* child);
// The descriptor must have been counted for the new key.
LONG AddChild(Transaction& txn, KeyId parent, std::string_view name, std::string_view class_name,
              uint64_t security, KeyId* child);
// Takes out the key with its values. ERROR_ACCESS_DENIED when it has subkeys.
LONG RemoveKey(Transaction& txn, KeyId key);
// Takes out everything below the key, and with `itself` also the key.
LONG RemoveTree(Transaction& txn, KeyId key, bool itself);

// Follows `path` as far as it leads: *key is the last key that is there, *rest what remains of the path,
// without a leading backslash. `view` may hold KEY_WOW64_32KEY.
LONG FollowPath(Transaction& txn, KeyId from, std::string_view path, REGSAM view, KeyId* key,
                std::string_view* rest);
// Takes the first component off a path.
std::string_view TakeComponent(std::string_view& path);

}  // namespace embedded
