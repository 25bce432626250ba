#include "platform/embedded/hive.h"

#include <set>

#include "platform/embedded/codepage.h"
#include "platform/embedded/computer_keys.h"
#include "platform/embedded/keysecurity.h"
#include "platform/embedded/names.h"
#include "platform/embedded/paths.h"
#include "platform/embedded/regf.h"
#include "platform/embedded/values.h"
#include "platform/win32.h"

namespace embedded {
namespace {

bool IsText(DWORD type) { return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ; }

// Texts are 16-bit units in a file and bytes of the code page in the store; other data are the same in both.
std::string ToFile(const Value& value) {
  if (!IsText(value.type)) return std::string(value.data);
  const std::u16string wide = AcpToUtf16(value.data);
  return {reinterpret_cast<const char*>(wide.data()), wide.size() * sizeof(char16_t)};
}

std::string FromFile(const HiveValue& value) {
  if (!IsText(value.type)) return value.data;
  std::u16string wide(value.data.size() / sizeof(char16_t), u'\0');
  if (!wide.empty()) std::memcpy(wide.data(), value.data.data(), wide.size() * sizeof(char16_t));
  return Utf16ToAcp(wide);
}

// A name as the file can hold it: bytes that are not UTF-8 become the replacement character.
std::string FileName(std::string_view name) { return Utf16ToUtf8(Utf8ToUtf16(name)); }

LONG ReadTree(Transaction& txn, KeyId id, HiveKey& key) {
  KeyInfo info;
  std::string_view descriptor;
  LONG status = LoadKey(txn, id, info);
  if (status == 0) status = ReadDescriptor(txn, info.record.security, &descriptor);
  if (status != 0) return status;
  key.name = FileName(info.name);
  key.descriptor = descriptor;
  key.last_write = info.record.last_write;
  Position at;
  for (DWORD i = 0; i < info.record.values; ++i) {
    Value value;
    status = ValueAt(txn, id, i, at, value);
    if (status != 0) return status;
    key.values.push_back({FileName(value.name), value.type, ToFile(value)});
  }
  std::vector<KeyId> below;
  Position child;
  for (DWORD i = 0; i < info.record.subkeys; ++i) {
    status = SubkeyAt(txn, id, i, child, &below.emplace_back());
    if (status != 0) return status;
  }
  for (const KeyId subkey : below) {
    status = ReadTree(txn, subkey, key.subkeys.emplace_back());
    if (status != 0) return status;
  }
  return ERROR_SUCCESS;
}

LONG SetDescriptor(Transaction& txn, KeyId id, const std::string& descriptor) {
  KeyRecord* record = nullptr;
  uint64_t held;
  LONG status = HoldDescriptor(txn, descriptor, &held);
  if (status == 0) status = EditKey(txn, id, record);
  if (status != 0) return status;
  const uint64_t old = record->security;
  record->security = held;
  return ReleaseDescriptor(txn, old);
}

// Fills an empty key.
LONG WriteTree(Transaction& txn, KeyId id, const std::string& descriptor, const HiveKey& key) {
  LONG status = ERROR_SUCCESS;
  for (const HiveValue& value : key.values) {
    if (status == 0) status = PutValue(txn, id, value.name, value.type, FromFile(value));
  }
  for (const HiveKey& below : key.subkeys) {
    std::string own = below.descriptor;
    uint64_t security = 0;
    KeyId child = 0;
    if (status == 0 && own.empty()) status = DescriptorOfNewKey(descriptor, nullptr, own);
    if (status == 0) status = HoldDescriptor(txn, own, &security);
    if (status == 0) status = AddChild(txn, id, below.name, "", security, &child);
    if (status == 0) status = WriteTree(txn, child, own, below);
  }
  KeyRecord* record = nullptr;
  if (status == 0) status = EditKey(txn, id, record);
  if (status == 0) record->last_write = key.last_write;
  return status;
}

// Whether the store can hold the tree: names that can be told apart and followed.
bool IsSound(const HiveKey& key) {
  std::set<std::string, std::less<>> names;
  for (const HiveKey& below : key.subkeys) {
    const std::string_view name = below.name;
    if (name.find('\\') != std::string_view::npos || NameUnits(name) > kLongestKeyName) return false;
    if (!names.emplace(FoldedName(name).Text()).second || !IsSound(below)) return false;
  }
  return true;
}

LONG RemoveValues(Transaction& txn, KeyId id) {
  for (;;) {
    Position at;
    Value value;
    LONG status = ValueAt(txn, id, 0, at, value);
    if (status == ERROR_NO_MORE_ITEMS) return ERROR_SUCCESS;
    if (status == 0) status = RemoveValue(txn, id, std::string(value.name));
    if (status != 0) return status;
  }
}

// The machine's path of a path of the key's computer.
LONG FindFile(Transaction& txn, KeyId key, const char* path, std::string& file) {
  const std::optional<std::string> mapped = MapPath(ComputerOf(txn, key), path);
  if (mapped) file = *mapped;
  return mapped ? ERROR_SUCCESS : static_cast<LONG>(GetLastError());
}

}  // namespace

LONG SaveHive(Transaction& txn, KeyId key, const char* path) {
  HiveKey tree;
  std::string file;
  LONG status = ReadTree(txn, key, tree);
  if (status == 0) status = FindFile(txn, key, path, file);
  return status != 0 ? status : WriteHive(file, tree);
}

LONG RestoreHive(Transaction& txn, KeyId key, const char* path) {
  HiveKey tree;
  std::string file;
  KeyInfo info;
  LONG status = LoadKey(txn, key, info);
  if (status == 0) status = FindFile(txn, key, path, file);
  if (status == 0) status = ReadHive(file, tree);
  if (status == 0 && !IsSound(tree)) status = ERROR_BADDB;
  std::string_view current;
  if (status == 0) status = ReadDescriptor(txn, info.record.security, &current);
  if (status == 0 && tree.descriptor.empty()) tree.descriptor = current;
  if (status == 0) status = RemoveTree(txn, key, false);
  if (status == 0) status = RemoveValues(txn, key);
  if (status == 0) status = SetDescriptor(txn, key, tree.descriptor);
  return status != 0 ? status : WriteTree(txn, key, tree.descriptor, tree);
}

}  // namespace embedded
