#pragma once

// The tree of keys in the store's tables. Everything returns 0 or a Windows error code, and does not look at
// access lists.

#include <cstring>
#include <string>
#include <string_view>

#include "platform/embedded/store.h"

namespace embedded {

// Where an enumeration by index stands, so that the next index is one step away.
struct Position {
  uint64_t stamp = 0;
  uint64_t use = 0;
  DWORD index = 0;
  uint32_t generation = 0;
  uint64_t value = 0;  // The place in kValues,
  std::string name;    // or in kKeys.

  void Remember(const Transaction& txn, Table table, const MDB_val& entry, DWORD place) {
    if (table == kKeys) {
      name.assign(AsText(entry));
    } else {
      std::memcpy(&value, entry.mv_data, sizeof value);
    }
    index = place;
    stamp = Transaction::Stamp();
    use = txn.CursorUse(table);
  }
};

// The key to which an entry of kKeys, kNames or kValues belongs.
inline KeyId OwnerOf(Table table, const MDB_val& entry) {
  if (table == kKeys) {
    KeyId ordered;
    std::memcpy(&ordered, entry.mv_data, sizeof ordered);
    return __builtin_bswap32(ordered);
  }
  uint64_t number;
  std::memcpy(&number, entry.mv_data, sizeof number);
  return static_cast<KeyId>(number >> 32);
}

// Moves the cursor; ERROR_NO_MORE_ITEMS when that leads out of the key's entries.
inline LONG StepIn(Transaction& txn, Table table, KeyId key, MDB_cursor_op how, MDB_val* entry,
                   MDB_val* data) {
  const int result = txn.Move(table, how, entry, data);
  if (result == MDB_NOTFOUND) return ERROR_NO_MORE_ITEMS;
  if (result != 0) return ERROR_REGISTRY_IO_FAILED;
  const KeyId owner = OwnerOf(table, *entry);
  if (owner == key) return ERROR_SUCCESS;
  if (how == MDB_NEXT) txn.LeftFor(table, owner);
  return ERROR_NO_MORE_ITEMS;
}

// The entry of `table` with that index among those of the key; ERROR_NO_MORE_ITEMS beyond the last, and
// ERROR_KEY_DELETED when there is no key. `table` is kKeys (subkeys by name) or kValues (values by age).
LONG SeekEntry(Transaction& txn, Table table, KeyId key, DWORD index, Position& at, MDB_val* data);
inline LONG EntryAt(Transaction& txn, Table table, KeyId key, DWORD index, Position& at, MDB_val* data) {
  if (at.stamp != Transaction::Stamp() || at.use != txn.CursorUse(table) || at.index + 1 != index) {
    return SeekEntry(txn, table, key, index, at, data);
  }
  MDB_val entry{};
  const LONG status = StepIn(txn, table, key, MDB_NEXT, &entry, data);
  if (status == 0) at.Remember(txn, table, entry, index);
  return status;
}
LONG SubkeyAt(Transaction& txn, KeyId key, DWORD index, Position& at, KeyId* child);

// The key's record; ERROR_KEY_DELETED when there is none.
LONG LoadKey(Transaction& txn, KeyId key, KeyInfo& info);
LONG EditKey(Transaction& txn, KeyId key, KeyRecord*& record);
// Notes the time of a change; with `structure`, also that an entry came or went.
void Touch(KeyRecord& record, bool structure);

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
