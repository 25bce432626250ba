#include "platform/embedded/keytree.h"

#include <time.h>

#include <algorithm>
#include <bit>
#include <cstring>

#include "platform/embedded/changes.h"
#include "platform/embedded/keysecurity.h"
#include "platform/embedded/names.h"
#include "platform/text.h"

namespace embedded {
namespace {

// The key of one subkey in the table: the parent in big-endian, so that a parent's subkeys stand together,
// and the folded name.
class ChildKey {
 public:
  ChildKey(KeyId parent, std::string_view folded) : m_size(sizeof parent + folded.size()) {
    const KeyId ordered = __builtin_bswap32(parent);
    std::memcpy(m_bytes, &ordered, sizeof ordered);
    std::memcpy(m_bytes + sizeof ordered, folded.data(), folded.size());
  }
  std::string_view Text() const { return {m_bytes, m_size}; }

 private:
  static_assert(std::endian::native == std::endian::little);
  char m_bytes[511];
  size_t m_size;
};

// The first place in `table` that could belong to the key.
std::string FirstEntry(Table table, KeyId key) {
  if (table == kKeys) return std::string(ChildKey(key, "").Text());
  const uint64_t number = uint64_t{key} << 32;
  return {reinterpret_cast<const char*>(&number), sizeof number};
}

// The identifier in an entry of kKeys.
LONG ReadId(const MDB_val& entry, KeyId* id) {
  if (entry.mv_size != sizeof *id) return ERROR_REGISTRY_CORRUPT;
  std::memcpy(id, entry.mv_data, sizeof *id);
  return ERROR_SUCCESS;
}

LONG SeekFirst(Transaction& txn, Table table, KeyId key, MDB_val* entry, MDB_val* data) {
  if (txn.StandsAtFirstOf(table, key)) return StepIn(txn, table, key, MDB_GET_CURRENT, entry, data);
  const std::string first = FirstEntry(table, key);
  *entry = AsValue(first);
  return StepIn(txn, table, key, MDB_SET_RANGE, entry, data);
}

LONG SeekLast(Transaction& txn, Table table, KeyId key, MDB_val* entry, MDB_val* data) {
  const std::string beyond = FirstEntry(table, key + 1);
  *entry = AsValue(beyond);
  const int result = txn.Move(table, MDB_SET_RANGE, entry, data);
  if (result != 0 && result != MDB_NOTFOUND) return Status(result);
  return StepIn(txn, table, key, result == 0 ? MDB_PREV : MDB_LAST, entry, data);
}

// Any index, from the nearest place that is known: the first entry, the last, or where `at` stands.
LONG SeekIndex(Transaction& txn, Table table, KeyId key, DWORD index, Position& at, MDB_val* entry,
               MDB_val* data) {
  KeyInfo info;
  LONG status = LoadKey(txn, key, info);
  if (status != 0) return status;
  const DWORD count = table == kKeys ? info.record.subkeys : info.record.values;
  if (index >= count) return ERROR_NO_MORE_ITEMS;
  const bool known = at.stamp != 0 && at.generation == info.record.generation;
  const DWORD from_known = at.index > index ? at.index - index : index - at.index;
  DWORD place = 0;
  if (known && from_known <= index && from_known <= count - 1 - index) {
    place = at.index;
    *entry = table == kKeys ? AsValue(at.name) : MDB_val{sizeof at.value, &at.value};
    status = StepIn(txn, table, key, MDB_SET_RANGE, entry, data);
  } else if (index > count / 2) {
    place = count - 1;
    status = SeekLast(txn, table, key, entry, data);
  } else {
    status = SeekFirst(txn, table, key, entry, data);
  }
  for (; status == 0 && place < index; ++place) status = StepIn(txn, table, key, MDB_NEXT, entry, data);
  for (; status == 0 && place > index; --place) status = StepIn(txn, table, key, MDB_PREV, entry, data);
  at.generation = info.record.generation;
  return status;
}

// Where the 32-bit view of a redirecting key continues: in its WOW6432Node, but for the children that both
// views share.
constexpr std::string_view kOtherView = "WOW6432Node";
constexpr std::string_view kShared[] = {kOtherView, "Classes", "Clients", "Policies",
                                        "RegisteredApplications"};

LONG EnterView(Transaction& txn, std::string_view next, KeyId* key) {
  KeyInfo info;
  const LONG status = LoadKey(txn, *key, info);
  if (status != 0 || info.record.redirects == 0) return status;
  for (const std::string_view shared : kShared) {
    if (text::EqualNoCase(next, shared)) return ERROR_SUCCESS;
  }
  return FindChild(txn, *key, kOtherView, key);
}

}  // namespace

LONG SeekEntry(Transaction& txn, Table table, KeyId key, DWORD index, Position& at, MDB_val* data) {
  MDB_val entry{};
  LONG status;
  if (index == 0 && at.stamp != Transaction::Stamp()) {
    at.generation = ~0u;  // It is read when it is needed.
    status = SeekFirst(txn, table, key, &entry, data);
    KeyInfo info;
    if (status == ERROR_NO_MORE_ITEMS && LoadKey(txn, key, info) != 0) status = ERROR_KEY_DELETED;
  } else {
    status = SeekIndex(txn, table, key, index, at, &entry, data);
  }
  if (status == 0) at.Remember(txn, table, entry, index);
  return status;
}

LONG SubkeyAt(Transaction& txn, KeyId key, DWORD index, Position& at, KeyId* child) {
  MDB_val data{};
  const LONG status = EntryAt(txn, kKeys, key, index, at, &data);
  return status != 0 ? status : ReadId(data, child);
}

LONG LoadKey(Transaction& txn, KeyId key, KeyInfo& info) {
  const int result = key == 0 ? MDB_NOTFOUND : txn.Load(key, info);
  return result == MDB_NOTFOUND ? ERROR_KEY_DELETED : Status(result);
}

LONG EditKey(Transaction& txn, KeyId key, KeyRecord*& record) {
  int result = 0;
  record = key == 0 ? nullptr : txn.Edit(key, &result);
  if (record != nullptr) return ERROR_SUCCESS;
  return key == 0 || result == MDB_NOTFOUND ? ERROR_KEY_DELETED : Status(result);
}

void Touch(KeyRecord& record, bool structure) {
  timespec now;
  clock_gettime(CLOCK_REALTIME_COARSE, &now);
  // FILETIME counts from 1601 in units of 100 ns. The clock is coarse and may be set back, but two changes
  // must not leave the same record.
  const uint64_t time = (static_cast<uint64_t>(now.tv_sec) + 11644473600u) * 10000000u +
                        static_cast<uint64_t>(now.tv_nsec) / 100u;
  record.last_write = std::max(time, record.last_write + 1);
  if (!structure) return;
  ++record.generation;
  Transaction::Changed();
}

LONG FindChild(Transaction& txn, KeyId parent, std::string_view name, KeyId* child) {
  const FoldedName folded(name);
  const ChildKey place(parent, folded.Text());
  MDB_val data{};
  const int result = txn.Get(kKeys, AsValue(place.Text()), &data);
  if (result != 0) return Status(result);
  KeyId found = 0;
  LONG status = ReadId(data, &found);
  if (status != 0) return status;
  if (folded.Cut()) {
    KeyInfo info;
    status = LoadKey(txn, found, info);
    if (status != 0) return status;
    if (!SameName(info.name, name)) return ERROR_FILE_NOT_FOUND;
  }
  *child = found;
  return ERROR_SUCCESS;
}

LONG AddChild(Transaction& txn, KeyId parent, std::string_view name, std::string_view class_name,
              uint64_t security, KeyId* child) {
  const FoldedName folded(name);
  const ChildKey place(parent, folded.Text());
  KeyRecord* above = nullptr;
  LONG status = EditKey(txn, parent, above);
  if (status != 0) return status;
  ++above->subkeys;
  Touch(*above, true);
  KeyInfo info;
  info.record.parent = parent;
  info.record.security = security;
  info.record.last_write = above->last_write;
  info.name = name;
  info.class_name = class_name;
  int result = txn.NewId(child);
  MDB_val data = {sizeof *child, child};
  if (result == 0) result = txn.Put(kKeys, AsValue(place.Text()), &data, MDB_NOOVERWRITE);
  if (result == 0) result = txn.Add(*child, info);
  return Status(result);
}

LONG RemoveKey(Transaction& txn, KeyId key) {
  KeyInfo info;
  LONG status = LoadKey(txn, key, info);
  if (status != 0) return status;
  if (info.record.subkeys > 0) return ERROR_ACCESS_DENIED;
  const KeyRecord record = info.record;
  const FoldedName folded(info.name);
  for (const Table table : {kValues, kNames}) {
    if (record.values == 0) break;
    MDB_val entry{};
    MDB_val data{};
    while ((status = SeekFirst(txn, table, key, &entry, &data)) == 0) {
      const int result = txn.DeleteHere(table);
      if (result != 0) return Status(result);
    }
    if (status != ERROR_NO_MORE_ITEMS) return status;
  }
  NoteRemoved(key);
  int result = txn.Remove(key);
  if (result == 0) result = txn.Delete(kKeys, AsValue(ChildKey(record.parent, folded.Text()).Text()));
  if (result != 0) return Status(result);
  status = ReleaseDescriptor(txn, record.security);
  KeyRecord* above = nullptr;
  if (status == 0) status = EditKey(txn, record.parent, above);
  if (status != 0) return status;
  --above->subkeys;
  Touch(*above, true);
  return ERROR_SUCCESS;
}

LONG RemoveTree(Transaction& txn, KeyId key, bool itself) {
  KeyId current = key;
  for (;;) {
    MDB_val entry{};
    MDB_val data{};
    LONG status = SeekFirst(txn, kKeys, current, &entry, &data);
    if (status == 0) status = ReadId(data, &current);
    if (status == 0) continue;  // Down to a key without subkeys,
    if (status != ERROR_NO_MORE_ITEMS) return status;
    if (current == key) return itself ? RemoveKey(txn, key) : ERROR_SUCCESS;
    KeyInfo info;  // and up again.
    status = LoadKey(txn, current, info);
    const KeyId above = info.record.parent;
    if (status == 0) status = RemoveKey(txn, current);
    if (status != 0) return status;
    current = above;
  }
}

std::string_view TakeComponent(std::string_view& path) {
  const size_t end = std::min(path.find('\\'), path.size());
  const std::string_view component = path.substr(0, end);
  path.remove_prefix(std::min(path.find_first_not_of('\\', end), path.size()));
  return component;
}

LONG FollowPath(Transaction& txn, KeyId from, std::string_view path, REGSAM view, KeyId* key,
                std::string_view* rest) {
  *key = from;
  for (;;) {
    std::string_view after = path;
    const std::string_view component = TakeComponent(after);
    if ((view & KEY_WOW64_32KEY) != 0) {
      const LONG status = EnterView(txn, component, key);
      if (status != 0) return status;
    }
    *rest = path;
    if (component.empty()) return ERROR_SUCCESS;
    const LONG status = FindChild(txn, *key, component, key);
    if (status == ERROR_FILE_NOT_FOUND) return ERROR_SUCCESS;
    if (status != 0) return status;
    path = after;
  }
}

}  // namespace embedded
