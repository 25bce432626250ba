#include "platform/embedded/access.h"

#include <algorithm>
#include <cstring>

namespace embedded {
namespace {

template <typename Value>
bool Read(std::span<const BYTE> bytes, size_t offset, Value& value) {
  if (offset > bytes.size() || bytes.size() - offset < sizeof value) return false;
  std::memcpy(&value, bytes.data() + offset, sizeof value);
  return true;
}

bool CallerIs(std::span<const SidBytes> caller, std::span<const BYTE> sid) {
  const size_t length = SidLengthIn(sid);
  return length != 0 && std::ranges::any_of(caller, [&](const SidBytes& own) {
           return std::ranges::equal(own, sid.first(length));
         });
}

struct Rights {
  ACCESS_MASK allowed = 0;  // Granted by an entry before any that denies it.
  ACCESS_MASK denied = 0;
};

// Nothing when the list's sizes do not add up.
bool ReadEntries(std::span<const BYTE> acl, std::span<const SidBytes> caller, GENERIC_MAPPING mapping,
                 Rights& rights) {
  ACL header;
  if (!Read(acl, 0, header) || header.AclSize < sizeof header || header.AclSize > acl.size()) return false;
  acl = acl.first(header.AclSize).subspan(sizeof header);
  for (WORD i = 0; i < header.AceCount; ++i) {
    ACE_HEADER ace;
    if (!Read(acl, 0, ace) || ace.AceSize < sizeof ace || ace.AceSize > acl.size()) return false;
    const auto entry = acl.first(ace.AceSize);
    acl = acl.subspan(ace.AceSize);
    if (ace.AceType > ACCESS_DENIED_ACE_TYPE || (ace.AceFlags & INHERIT_ONLY_ACE) != 0) continue;
    ACCESS_MASK mask = 0;
    if (!Read(entry, offsetof(ACCESS_ALLOWED_ACE, Mask), mask)) return false;
    if (!CallerIs(caller, entry.subspan(offsetof(ACCESS_ALLOWED_ACE, SidStart)))) continue;
    MapGenericMask(&mask, &mapping);
    if (ace.AceType == ACCESS_ALLOWED_ACE_TYPE) {
      rights.allowed |= mask & ~rights.denied;
    } else {
      rights.denied |= mask & ~rights.allowed;
    }
  }
  return true;
}

}  // namespace

DWORD CheckAccess(std::span<const BYTE> descriptor, std::span<const SidBytes> caller, ACCESS_MASK wanted,
                  const GENERIC_MAPPING& mapping, ACCESS_MASK* granted) {
  GENERIC_MAPPING map = mapping;
  MapGenericMask(&wanted, &map);
  const bool maximum = (wanted & MAXIMUM_ALLOWED) != 0;
  wanted &= ~MAXIMUM_ALLOWED;
  *granted = 0;
  SECURITY_DESCRIPTOR_RELATIVE header;
  if (!Read(descriptor, 0, header) || (header.Control & SE_SELF_RELATIVE) == 0 ||
      header.Owner > descriptor.size() || header.Dacl > descriptor.size()) {
    return ERROR_INVALID_SECURITY_DESCR;
  }
  Rights rights;
  if ((header.Control & SE_DACL_PRESENT) == 0 || header.Dacl == 0) {
    rights.allowed = mapping.GenericAll | STANDARD_RIGHTS_ALL;
  } else if (!ReadEntries(descriptor.subspan(header.Dacl), caller, mapping, rights)) {
    return ERROR_INVALID_SECURITY_DESCR;
  }
  if (header.Owner != 0 && CallerIs(caller, descriptor.subspan(header.Owner))) {
    rights.allowed |= READ_CONTROL | WRITE_DAC;
  }
  if (PrivilegeEnabled(SE_TAKE_OWNERSHIP_NAME)) rights.allowed |= WRITE_OWNER;
  if ((wanted & ACCESS_SYSTEM_SECURITY) != 0) {
    if (!PrivilegeEnabled(SE_SECURITY_NAME)) return ERROR_PRIVILEGE_NOT_HELD;
    rights.allowed |= ACCESS_SYSTEM_SECURITY;
  }
  if ((wanted & ~rights.allowed) != 0) return ERROR_ACCESS_DENIED;
  if (maximum && rights.allowed == 0) return ERROR_ACCESS_DENIED;
  *granted = maximum ? rights.allowed : wanted;
  return ERROR_SUCCESS;
}

}  // namespace embedded
