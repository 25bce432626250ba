#include <cstring>

#include "platform/embedded/access.h"
#include "platform/embedded/changes.h"
#include "platform/embedded/controls.h"
#include "platform/embedded/hive.h"
#include "platform/embedded/keysecurity.h"
#include "platform/embedded/keytree.h"
#include "platform/embedded/names.h"
#include "platform/embedded/registry_key.h"

namespace embedded {
namespace {

void GiveTime(uint64_t time, PFILETIME out) {
  if (out != nullptr) *out = {static_cast<DWORD>(time), static_cast<DWORD>(time >> 32)};
}

// The roots of a computer, and the computers above them, are not made or deleted as keys.
LONG IsFixed(Transaction& txn, const KeyRecord& record, bool* fixed) {
  KeyInfo above;
  *fixed = record.parent <= kHomeKey;
  if (*fixed) return ERROR_SUCCESS;
  const LONG status = LoadKey(txn, record.parent, above);
  *fixed = above.record.parent == kHomeKey;
  return status;
}

bool MayUse(const char* privilege) {
  return machine::GetCaller().AllPowerful() || PrivilegeEnabled(privilege);
}

bool HasPossibleNames(std::string_view path) {
  while (!path.empty()) {
    const std::string_view name = TakeComponent(path);
    if (name.size() > kLongestKeyName && NameUnits(name) > kLongestKeyName) return false;
  }
  return true;
}

// Whether a handle is open to a key below this one.
bool IsOpenBelow(Transaction& txn, KeyId key) {
  bool found = false;
  ForEachOpenKey([&](Key& open) {
    KeyInfo info;
    KeyId above = open.StoreKey();
    if (above == key) return;
    while (LoadKey(txn, above, info) == 0 && info.record.parent != key) above = info.record.parent;
    found = found || (above != 0 && info.record.parent == key);
  });
  return found;
}

// A key of an embedded computer.
class EmbeddedKey final : public Key {
 public:
  EmbeddedKey(KeyId id, REGSAM granted) : id_(id), granted_(granted) {}

  LONG Open(std::string_view path, REGSAM access, std::unique_ptr<Key>& result) override {
    Reading read;
    if (read.status != 0) return read.status;
    KeyId key = 0;
    std::string_view rest;
    LONG status = FollowPath(*read.txn, id_, path, access, &key, &rest);
    if (status != 0) return status;
    NoteRead(key);
    KeyInfo info;
    // Whoever may do everything needs no list, and a child that was found is there.
    if (!rest.empty() || key == id_ || !machine::GetCaller().AllPowerful()) {
      status = LoadKey(*read.txn, rest.empty() ? key : id_, info);
    }
    if (status == 0 && !rest.empty()) status = ERROR_FILE_NOT_FOUND;
    REGSAM granted;
    if (status == 0) status = CheckKeyAccess(*read.txn, info.record.security, access, &granted);
    if (status == 0) result = std::make_unique<EmbeddedKey>(key, granted);
    return status;
  }

  LONG Create(const NewKey& wanted, std::unique_ptr<Key>& result, DWORD* disposition) override {
    *disposition = REG_OPENED_EXISTING_KEY;
    LONG status = Open(wanted.path, wanted.access, result);
    if (status != ERROR_FILE_NOT_FOUND) return status;
    if (!HasPossibleNames(wanted.path)) return ERROR_INVALID_PARAMETER;
    *disposition = REG_CREATED_NEW_KEY;
    Writing write;
    if (write.status != 0) return write.status;
    KeyId key = 0;
    std::string_view rest;
    status = FollowPath(*write.txn, id_, wanted.path, wanted.access, &key, &rest);
    if (status == 0 && rest.empty()) {  // Another process was first.
      *disposition = REG_OPENED_EXISTING_KEY;
      return write.Finish(Open(wanted.path, wanted.access, result));
    }
    while (status == 0 && !rest.empty()) status = CreateOne(*write.txn, wanted, rest, &key);
    status = write.Finish(status);
    if (status == 0) result = std::make_unique<EmbeddedKey>(key, RightsOfCreator(wanted.access));
    return status;
  }

  LONG Delete(std::string_view path, REGSAM view) override {
    Writing write;
    if (write.status != 0) return write.status;
    KeyId key = 0;
    std::string_view rest;
    KeyInfo info;
    LONG status = FollowPath(*write.txn, id_, path, view, &key, &rest);
    if (status == 0) status = LoadKey(*write.txn, rest.empty() ? key : id_, info);
    if (status == 0 && !rest.empty()) status = ERROR_FILE_NOT_FOUND;
    bool fixed = false;
    if (status == 0) status = IsFixed(*write.txn, info.record, &fixed);
    if (status == 0 && fixed) status = ERROR_ACCESS_DENIED;
    REGSAM granted;
    if (status == 0) status = CheckKeyAccess(*write.txn, info.record.security, DELETE, &granted);
    if (status == 0) status = RemoveKey(*write.txn, key);
    return write.Finish(status);
  }

  LONG QueryInfo(const KeyOut& out) override {
    if ((granted_ & KEY_QUERY_VALUE) == 0) return ERROR_ACCESS_DENIED;
    Reading read;
    if (read.status != 0) return read.status;
    NoteUse();
    KeyInfo info;
    LONG status = LoadKey(*read.txn, id_, info);
    if (status != 0) return status;
    if (out.class_name != nullptr || out.class_size != nullptr) {
      status = GiveText(info.class_name, out.class_name, out.class_size);
    }
    if (out.subkeys != nullptr) *out.subkeys = info.record.subkeys;
    if (out.values != nullptr) *out.values = info.record.values;
    GiveTime(info.record.last_write, out.last_write);
    if (out.descriptor_size != nullptr) {
      *out.descriptor_size = 0;
      std::string_view descriptor;
      if ((granted_ & READ_CONTROL) != 0 &&
          ReadDescriptor(*read.txn, info.record.security, &descriptor) == 0) {
        *out.descriptor_size = static_cast<DWORD>(descriptor.size());
      }
    }
    if (out.longest_subkey != nullptr || out.longest_class != nullptr) MeasureSubkeys(*read.txn, out);
    if (out.longest_value_name != nullptr || out.longest_data != nullptr) MeasureValues(*read.txn, out);
    return status;
  }

  LONG EnumKey(DWORD index, const SubkeyOut& out) override {
    if ((granted_ & KEY_ENUMERATE_SUB_KEYS) == 0) return ERROR_ACCESS_DENIED;
    Reading read;
    if (read.status != 0) return read.status;
    NoteUse();
    KeyInfo info;
    KeyId child = 0;
    LONG status = SubkeyAt(*read.txn, id_, index, subkeys_, &child);
    if (status == 0) status = LoadKey(*read.txn, child, info);
    if (status == 0) status = GiveText(info.name, out.name, out.name_size);
    if (status != 0) return status;
    GiveTime(info.record.last_write, out.last_write);
    return out.class_name == nullptr && out.class_size == nullptr
               ? ERROR_SUCCESS
               : GiveText(info.class_name, out.class_name, out.class_size);
  }

  LONG EnumValue(DWORD index, const ValueOut& out) override {
    if ((granted_ & KEY_QUERY_VALUE) == 0) return ERROR_ACCESS_DENIED;
    Reading read;
    if (read.status != 0) return read.status;
    NoteUse();
    Value value;
    const LONG status = ValueAt(*read.txn, id_, index, values_, value);
    return status != 0 ? status : GiveValue(value, out);
  }

  LONG QueryValue(std::string_view name, const ValueOut& out) override {
    if ((granted_ & KEY_QUERY_VALUE) == 0) return ERROR_ACCESS_DENIED;
    Reading read;
    if (read.status != 0) return read.status;
    NoteUse();
    Value value;
    const LONG status = FindValue(*read.txn, id_, name, value);
    if (status == 0) return GiveValue(value, out);
    KeyInfo info;
    return status == ERROR_FILE_NOT_FOUND && LoadKey(*read.txn, id_, info) != 0 ? ERROR_KEY_DELETED : status;
  }

  LONG SetValue(std::string_view name, DWORD type, std::string_view data) override {
    if ((granted_ & KEY_SET_VALUE) == 0) return ERROR_ACCESS_DENIED;
    if (name.size() > kLongestValueName && NameUnits(name) > kLongestValueName)
      return ERROR_INVALID_PARAMETER;
    const std::string& denied = machine::GetCaller().deniedValue;
    if (!denied.empty() && SameName(denied, name)) return ERROR_ACCESS_DENIED;
    Writing write;
    return write.status != 0 ? write.status : write.Finish(PutValue(*write.txn, id_, name, type, data));
  }

  LONG DeleteValue(std::string_view name) override {
    if ((granted_ & KEY_SET_VALUE) == 0) return ERROR_ACCESS_DENIED;
    Writing write;
    return write.status != 0 ? write.status : write.Finish(RemoveValue(*write.txn, id_, name));
  }

  // Every operation outside an event is on the disk when it returns, and an event is one operation.
  LONG Flush() override {
    Reading read;
    KeyInfo info;
    return read.status != 0 ? read.status : LoadKey(*read.txn, id_, info);
  }

  LONG Save(const char* file) override {
    if (!MayUse(SE_BACKUP_NAME)) return ERROR_PRIVILEGE_NOT_HELD;
    Reading read;
    NoteUse();
    return read.status != 0 ? read.status : SaveHive(*read.txn, id_, file);
  }

  LONG Restore(const char* file, DWORD flags) override {
    if (!MayUse(SE_RESTORE_NAME)) return ERROR_PRIVILEGE_NOT_HELD;
    if ((KEY_WRITE & ~machine::GetCaller().limit) != 0) return ERROR_ACCESS_DENIED;
    Writing write;
    if (write.status != 0) return write.status;
    if ((flags & REG_FORCE_RESTORE) == 0 && IsOpenBelow(*write.txn, id_)) {
      return write.Finish(ERROR_ACCESS_DENIED);
    }
    return write.Finish(RestoreHive(*write.txn, id_, file));
  }

  LONG GetSecurity(SECURITY_INFORMATION what, PSECURITY_DESCRIPTOR descriptor, LPDWORD size) override {
    if ((granted_ & READ_CONTROL) == 0) return ERROR_ACCESS_DENIED;
    Reading read;
    if (read.status != 0) return read.status;
    NoteUse();
    KeyInfo info;
    std::string_view current;
    LONG status = LoadKey(*read.txn, id_, info);
    if (status == 0) status = ReadDescriptor(*read.txn, info.record.security, &current);
    if (status != 0) return status;
    const std::string parts = PartsOfDescriptor(current, what);
    const bool fits = descriptor != nullptr && *size >= parts.size();
    *size = static_cast<DWORD>(parts.size());
    if (!fits) return ERROR_INSUFFICIENT_BUFFER;
    std::memcpy(descriptor, parts.data(), parts.size());
    return ERROR_SUCCESS;
  }

  LONG SetSecurity(SECURITY_INFORMATION what, PSECURITY_DESCRIPTOR descriptor) override {
    constexpr SECURITY_INFORMATION kOwners = OWNER_SECURITY_INFORMATION | GROUP_SECURITY_INFORMATION;
    if ((what & kOwners) != 0 && (granted_ & WRITE_OWNER) == 0) return ERROR_ACCESS_DENIED;
    if ((what & ~kOwners) != 0 && (granted_ & WRITE_DAC) == 0) return ERROR_ACCESS_DENIED;
    Writing write;
    if (write.status != 0) return write.status;
    KeyRecord* record = nullptr;
    std::string_view current;
    std::string merged;
    LONG status = EditKey(*write.txn, id_, record);
    if (status == 0) status = ReadDescriptor(*write.txn, record->security, &current);
    if (status == 0) status = MergedDescriptor(current, what, descriptor, merged);
    const uint64_t old = status == 0 ? record->security : 0;
    if (status == 0) status = HoldDescriptor(*write.txn, merged, &record->security);
    if (status == 0) status = ReleaseDescriptor(*write.txn, old);
    if (status == 0) Touch(*record, false);
    return write.Finish(status);
  }

  KeyId StoreKey() const override { return id_; }
  void Lose() override { id_ = 0; }

 private:
  // The first use of a handle within an event reads the key, whenever it was opened.
  void NoteUse() {
    if (noted_ == reading_event) return;
    noted_ = reading_event;
    NoteRead(id_);
  }

  // Makes the first key of `path` under *key, which becomes that key. The last of the path gets the class and
  // descriptor; the right to make keys comes from the parent's list, whatever its handle was opened for.
  static LONG CreateOne(Transaction& txn, const NewKey& wanted, std::string_view& path, KeyId* key) {
    const std::string_view name = TakeComponent(path);
    const bool last = path.empty();
    KeyInfo above;
    REGSAM granted;
    bool fixed = false;
    std::string_view inherited;
    std::string descriptor;
    uint64_t security;
    LONG status = LoadKey(txn, *key, above);
    if (status == 0) status = IsFixed(txn, above.record, &fixed);
    if (status == 0 && fixed) status = ERROR_INVALID_PARAMETER;
    if (status == 0) status = CheckKeyAccess(txn, above.record.security, KEY_CREATE_SUB_KEY, &granted);
    if (status == 0) status = ReadDescriptor(txn, above.record.security, &inherited);
    if (status == 0) status = DescriptorOfNewKey(inherited, last ? wanted.descriptor : nullptr, descriptor);
    if (status == 0) status = HoldDescriptor(txn, descriptor, &security);
    if (status != 0) return status;
    return AddChild(txn, *key, name, last ? wanted.class_name : "", security, key);
  }

  void MeasureSubkeys(Transaction& txn, const KeyOut& out) const {
    size_t name = 0;
    size_t class_name = 0;
    Position at;
    KeyId child = 0;
    KeyInfo info;
    for (DWORD i = 0; SubkeyAt(txn, id_, i, at, &child) == 0 && LoadKey(txn, child, info) == 0; ++i) {
      name = std::max(name, info.name.size());
      class_name = std::max(class_name, info.class_name.size());
    }
    if (out.longest_subkey != nullptr) *out.longest_subkey = static_cast<DWORD>(name);
    if (out.longest_class != nullptr) *out.longest_class = static_cast<DWORD>(class_name);
  }

  void MeasureValues(Transaction& txn, const KeyOut& out) const {
    size_t name = 0;
    size_t data = 0;
    Position at;
    Value value;
    for (DWORD i = 0; ValueAt(txn, id_, i, at, value) == 0; ++i) {
      name = std::max(name, value.name.size());
      data = std::max(data, value.data.size());
    }
    if (out.longest_value_name != nullptr) *out.longest_value_name = static_cast<DWORD>(name);
    if (out.longest_data != nullptr) *out.longest_data = static_cast<DWORD>(data);
  }

  KeyId id_;
  REGSAM granted_;
  uint32_t noted_ = 0;  // The event in which its use was noted.
  Position values_;
  Position subkeys_;
};

}  // namespace

LONG OpenRoot(std::string_view path, std::unique_ptr<Key>& result) {
  return EmbeddedKey(kHomeKey, 0).Open(path, MAXIMUM_ALLOWED, result);
}

}  // namespace embedded
