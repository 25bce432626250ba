#include "platform/embedded/keysecurity.h"

#include <cstring>
#include <optional>

#include "platform/embedded/access.h"
#include "platform/embedded/controls.h"
#include "platform/win32.h"

namespace embedded {
namespace {

constexpr GENERIC_MAPPING kKeyMapping = {KEY_READ, KEY_WRITE, KEY_EXECUTE, KEY_ALL_ACCESS};
constexpr DWORD kGenericRights = GENERIC_READ | GENERIC_WRITE | GENERIC_EXECUTE | GENERIC_ALL;
constexpr WORD kDaclControl =
    SE_DACL_PRESENT | SE_DACL_DEFAULTED | SE_DACL_AUTO_INHERITED | SE_DACL_PROTECTED;

const SidBytes kSystem = MakeSid(5, {SECURITY_LOCAL_SYSTEM_RID});
const SidBytes kAdministrators = MakeSid(5, {SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_ADMINS});
const SidBytes kCreatorOwner = MakeSid(3, {0});
const SidBytes kCreatorGroup = MakeSid(3, {1});

std::string Bytes(const SidBytes& sid) { return {sid.begin(), sid.end()}; }

// A descriptor in pieces; an empty owner or group is none, and a present list may be null.
struct Parts {
  std::string owner;
  std::string group;
  WORD control = 0;
  std::optional<std::string> dacl;
};

std::string SidPart(PSID sid) {
  return sid == nullptr ? std::string() : std::string(static_cast<const char*>(sid), GetLengthSid(sid));
}

// Of a valid descriptor, absolute or self-relative.
Parts TakeApart(PSECURITY_DESCRIPTOR descriptor) {
  Parts parts;
  PSID owner = nullptr;
  PSID group = nullptr;
  PACL dacl = nullptr;
  BOOL defaulted = FALSE;
  BOOL present = FALSE;
  DWORD revision = 0;
  GetSecurityDescriptorControl(descriptor, &parts.control, &revision);
  GetSecurityDescriptorOwner(descriptor, &owner, &defaulted);
  GetSecurityDescriptorGroup(descriptor, &group, &defaulted);
  GetSecurityDescriptorDacl(descriptor, &present, &dacl, &defaulted);
  parts.owner = SidPart(owner);
  parts.group = SidPart(group);
  parts.control &= kDaclControl;
  if (present != FALSE && dacl != nullptr) {
    parts.dacl.emplace(reinterpret_cast<const char*>(dacl), dacl->AclSize);
  }
  return parts;
}

// The functions of Windows want aligned bytes, which the store does not promise.
Parts TakeApart(std::string_view descriptor) {
  std::string aligned(descriptor);
  return TakeApart(static_cast<PSECURITY_DESCRIPTOR>(aligned.data()));
}

std::string PutTogether(const Parts& parts) {
  SECURITY_DESCRIPTOR_RELATIVE header{};
  header.Revision = SECURITY_DESCRIPTOR_REVISION;
  header.Control = parts.control | SE_SELF_RELATIVE;
  std::string result(sizeof header, '\0');
  const auto append = [&](const std::string& part, DWORD& offset) {
    offset = part.empty() ? 0 : static_cast<DWORD>(result.size());
    result += part;
    result.resize((result.size() + 3) & ~size_t{3});
  };
  append(parts.owner, header.Owner);
  append(parts.group, header.Group);
  append(parts.dacl.value_or(""), header.Dacl);
  std::memcpy(result.data(), &header, sizeof header);
  return result;
}

struct Entry {
  BYTE type;
  BYTE flags;
  DWORD mask;
  std::string sid;
};

void AppendEntry(std::string& acl, const Entry& entry) {
  const ACE_HEADER header = {entry.type, entry.flags,
                             static_cast<WORD>(sizeof(ACE_HEADER) + sizeof entry.mask + entry.sid.size())};
  acl.append(reinterpret_cast<const char*>(&header), sizeof header);
  acl.append(reinterpret_cast<const char*>(&entry.mask), sizeof entry.mask);
  acl += entry.sid;
  ACL list;
  std::memcpy(&list, acl.data(), sizeof list);
  list.AclSize = static_cast<WORD>(acl.size());
  ++list.AceCount;
  std::memcpy(acl.data(), &list, sizeof list);
}

std::string EmptyAcl() {
  const ACL list = {ACL_REVISION, 0, sizeof list, 0, 0};
  return {reinterpret_cast<const char*>(&list), sizeof list};
}

// The allow and deny entries of a list that the store holds, so its sizes add up.
template <typename Use>
void ForEachEntry(std::string_view acl, Use use) {
  ACL list;
  std::memcpy(&list, acl.data(), sizeof list);
  size_t at = sizeof list;
  for (WORD i = 0; i < list.AceCount; ++i) {
    ACE_HEADER header;
    if (at + sizeof header > acl.size()) return;
    std::memcpy(&header, acl.data() + at, sizeof header);
    const std::string_view ace = acl.substr(at, header.AceSize);
    at += header.AceSize;
    constexpr size_t kSidAt = sizeof(ACE_HEADER) + sizeof(DWORD);
    if (header.AceType > ACCESS_DENIED_ACE_TYPE || ace.size() <= kSidAt) continue;
    Entry entry{header.AceType, header.AceFlags, 0, std::string(ace.substr(kSidAt))};
    std::memcpy(&entry.mask, ace.data() + sizeof header, sizeof entry.mask);
    use(entry);
  }
}

// What a key gets of one entry of its parent: an entry for itself, one for its own subkeys, or one for both.
void Inherit(std::string& acl, const Entry& entry, const Parts& child, BYTE mark) {
  const bool for_keys = (entry.flags & CONTAINER_INHERIT_ACE) != 0;
  const bool goes_on = (entry.flags & NO_PROPAGATE_INHERIT_ACE) == 0;
  const BYTE inheritable = entry.flags & (OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE);
  const auto handed_on = static_cast<BYTE>(inheritable | INHERIT_ONLY_ACE | mark);
  if (!for_keys) {
    if (inheritable != 0 && goes_on) AppendEntry(acl, {entry.type, handed_on, entry.mask, entry.sid});
    return;
  }
  Entry own = {entry.type, mark, entry.mask, entry.sid};
  GENERIC_MAPPING mapping = kKeyMapping;
  MapGenericMask(&own.mask, &mapping);
  if (entry.sid == Bytes(kCreatorOwner)) own.sid = child.owner;
  if (entry.sid == Bytes(kCreatorGroup)) own.sid = child.group;
  const bool split = (entry.mask & kGenericRights) != 0 || own.sid != entry.sid;
  if (goes_on && !split) own.flags |= inheritable;
  if (!own.sid.empty()) AppendEntry(acl, own);
  if (goes_on && split) AppendEntry(acl, {entry.type, handed_on, entry.mask, entry.sid});
}

// Mixes well enough for a table's key; equal numbers of different descriptors are told apart by their bytes.
uint64_t Digest(std::string_view bytes) {
  uint64_t digest = 14695981039346656037u;
  for (const char c : bytes) digest = (digest ^ static_cast<unsigned char>(c)) * 1099511628211u;
  return digest;
}

LONG PutReferences(Transaction& txn, uint64_t number, uint32_t references, std::string_view descriptor) {
  std::string bytes(reinterpret_cast<const char*>(&references), sizeof references);
  bytes += descriptor;
  MDB_val data = AsValue(bytes);
  return Status(txn.Put(kSecurity, NumberKey(number), &data));
}

// ERROR_FILE_NOT_FOUND when no descriptor has that number.
LONG ReadHeld(Transaction& txn, uint64_t number, uint32_t* references, std::string_view* descriptor) {
  MDB_val data{};
  const int result = txn.Get(kSecurity, NumberKey(number), &data);
  if (result != 0) return Status(result);
  if (data.mv_size < sizeof *references) return ERROR_REGISTRY_CORRUPT;
  std::memcpy(references, data.mv_data, sizeof *references);
  *descriptor = AsText(data).substr(sizeof *references);
  return ERROR_SUCCESS;
}

}  // namespace

bool IsDescriptor(std::string_view bytes) {
  SECURITY_DESCRIPTOR_RELATIVE header;
  if (bytes.size() < sizeof header) return false;
  std::memcpy(&header, bytes.data(), sizeof header);
  if (header.Revision != SECURITY_DESCRIPTOR_REVISION || (header.Control & SE_SELF_RELATIVE) == 0)
    return false;
  const auto is_sid = [&](std::string_view part) {
    return SidLengthIn({reinterpret_cast<const BYTE*>(part.data()), part.size()}) != 0;
  };
  for (const DWORD offset : {header.Owner, header.Group}) {
    if (offset > bytes.size() || (offset != 0 && !is_sid(bytes.substr(offset)))) return false;
  }
  if ((header.Control & SE_DACL_PRESENT) == 0 || header.Dacl == 0) return true;
  ACL list;
  if (header.Dacl > bytes.size() || bytes.size() - header.Dacl < sizeof list) return false;
  std::memcpy(&list, bytes.data() + header.Dacl, sizeof list);
  if (list.AclSize < sizeof list || list.AclSize > bytes.size() - header.Dacl) return false;
  std::string_view entries = bytes.substr(header.Dacl + sizeof list, list.AclSize - sizeof list);
  for (WORD i = 0; i < list.AceCount; ++i) {
    ACE_HEADER ace;
    if (entries.size() < sizeof ace) return false;
    std::memcpy(&ace, entries.data(), sizeof ace);
    if (ace.AceSize < sizeof ace || ace.AceSize > entries.size()) return false;
    const std::string_view entry = entries.substr(0, ace.AceSize);
    constexpr size_t kSidAt = sizeof ace + sizeof(DWORD);
    if (ace.AceType <= ACCESS_DENIED_ACE_TYPE && (entry.size() < kSidAt || !is_sid(entry.substr(kSidAt)))) {
      return false;
    }
    entries.remove_prefix(ace.AceSize);
  }
  return true;
}

LONG HoldDescriptor(Transaction& txn, std::string_view descriptor, uint64_t* number) {
  for (*number = Digest(descriptor);; ++*number) {
    uint32_t references = 0;
    std::string_view held;
    const LONG status = ReadHeld(txn, *number, &references, &held);
    if (status == ERROR_FILE_NOT_FOUND) return PutReferences(txn, *number, 1, descriptor);
    if (status != 0) return status;
    if (held == descriptor) return PutReferences(txn, *number, references + 1, descriptor);
  }
}

LONG ReleaseDescriptor(Transaction& txn, uint64_t number) {
  uint32_t references = 0;
  std::string_view held;
  const LONG status = ReadHeld(txn, number, &references, &held);
  if (status != 0) return status;
  if (references <= 1) return Status(txn.DeleteHere(kSecurity));
  return PutReferences(txn, number, references - 1, std::string(held));
}

LONG ReadDescriptor(Transaction& txn, uint64_t number, std::string_view* descriptor) {
  uint32_t references = 0;
  const LONG status = ReadHeld(txn, number, &references, descriptor);
  if (status != 0 && status != ERROR_FILE_NOT_FOUND) return status;
  return status == 0 && IsDescriptor(*descriptor) ? ERROR_SUCCESS : ERROR_REGISTRY_CORRUPT;
}

REGSAM RightsOfCreator(REGSAM wanted) {
  const bool maximum = (wanted & MAXIMUM_ALLOWED) != 0;
  wanted &= ~static_cast<REGSAM>(KEY_WOW64_RES | MAXIMUM_ALLOWED);
  GENERIC_MAPPING mapping = kKeyMapping;
  MapGenericMask(&wanted, &mapping);
  return maximum ? wanted | KEY_ALL_ACCESS : wanted;
}

LONG CheckKeyAccess(Transaction& txn, uint64_t number, REGSAM wanted, REGSAM* granted) {
  const machine::Caller& caller = machine::GetCaller();
  if (caller.AllPowerful()) {
    *granted = RightsOfCreator(wanted);
  } else {
    std::string_view descriptor;
    LONG status = ReadDescriptor(txn, number, &descriptor);
    if (status != 0) return status;
    const std::span bytes(reinterpret_cast<const BYTE*>(descriptor.data()), descriptor.size());
    const REGSAM rights = wanted & ~static_cast<REGSAM>(KEY_WOW64_RES);
    status = static_cast<LONG>(CheckAccess(bytes, caller.sids, rights, kKeyMapping, granted));
    if (status != 0) return status;
  }
  if ((wanted & MAXIMUM_ALLOWED) != 0) *granted &= caller.limit;
  return (*granted & ~caller.limit) == 0 ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
}

LONG DescriptorOfNewKey(std::string_view parent, PSECURITY_DESCRIPTOR creators, std::string& result) {
  if (creators != nullptr && IsValidSecurityDescriptor(creators) == FALSE)
    return ERROR_INVALID_SECURITY_DESCR;
  const machine::Caller& caller = machine::GetCaller();
  Parts child = creators == nullptr ? Parts() : TakeApart(creators);
  if (child.owner.empty()) child.owner = Bytes(caller.AllPowerful() ? kAdministrators : caller.sids.front());
  if (child.group.empty()) child.group = Bytes(kSystem);
  if ((child.control & SE_DACL_PRESENT) == 0) {
    const Parts above = TakeApart(parent);
    const WORD inherited = above.control & SE_DACL_AUTO_INHERITED;
    std::string acl = EmptyAcl();
    if (above.dacl) {
      ForEachEntry(*above.dacl, [&](const Entry& entry) {
        Inherit(acl, entry, child, inherited != 0 ? INHERITED_ACE : 0);
      });
    }
    if (acl.size() == sizeof(ACL)) {
      AppendEntry(acl, {ACCESS_ALLOWED_ACE_TYPE, 0, KEY_ALL_ACCESS, Bytes(kSystem)});
      AppendEntry(acl, {ACCESS_ALLOWED_ACE_TYPE, 0, KEY_ALL_ACCESS, Bytes(kAdministrators)});
    }
    if (acl.size() > 0xFFFF) return ERROR_BAD_INHERITANCE_ACL;
    child.control = static_cast<WORD>(SE_DACL_PRESENT | inherited);
    child.dacl = acl;
  }
  result = PutTogether(child);
  return ERROR_SUCCESS;
}

LONG MergedDescriptor(std::string_view current, SECURITY_INFORMATION what, PSECURITY_DESCRIPTOR given,
                      std::string& result) {
  if (*static_cast<const BYTE*>(given) != SECURITY_DESCRIPTOR_REVISION) return ERROR_UNKNOWN_REVISION;
  if (IsValidSecurityDescriptor(given) == FALSE) return ERROR_INVALID_SECURITY_DESCR;
  Parts parts = TakeApart(current);
  const Parts wanted = TakeApart(given);
  if ((what & OWNER_SECURITY_INFORMATION) != 0) {
    if (wanted.owner.empty()) return ERROR_INVALID_OWNER;
    parts.owner = wanted.owner;
  }
  if ((what & GROUP_SECURITY_INFORMATION) != 0) {
    if (wanted.group.empty()) return ERROR_INVALID_PRIMARY_GROUP;
    parts.group = wanted.group;
  }
  if ((what & DACL_SECURITY_INFORMATION) != 0) {
    parts.control = wanted.control;
    parts.dacl = wanted.dacl;
  }
  if ((what & PROTECTED_DACL_SECURITY_INFORMATION) != 0) parts.control |= SE_DACL_PROTECTED;
  if ((what & UNPROTECTED_DACL_SECURITY_INFORMATION) != 0)
    parts.control &= static_cast<WORD>(~SE_DACL_PROTECTED);
  result = PutTogether(parts);
  return ERROR_SUCCESS;
}

std::string PartsOfDescriptor(std::string_view current, SECURITY_INFORMATION what) {
  Parts parts = TakeApart(current);
  if ((what & OWNER_SECURITY_INFORMATION) == 0) parts.owner.clear();
  if ((what & GROUP_SECURITY_INFORMATION) == 0) parts.group.clear();
  if ((what & DACL_SECURITY_INFORMATION) == 0) {
    parts.control = 0;
    parts.dacl.reset();
  }
  return PutTogether(parts);
}

}  // namespace embedded
