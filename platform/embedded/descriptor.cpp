#include <cstring>

#include "platform/embedded/fail.h"
#include "platform/embedded/win32/security.h"
#include "platform/embedded/win32/system.h"

// Security descriptors, absolute and self-relative.

using embedded::Fail;

namespace {

struct Parts {
  PSID owner;
  PSID group;
  PACL dacl;
};

SECURITY_DESCRIPTOR* Absolute(PSECURITY_DESCRIPTOR descriptor) {
  return static_cast<SECURITY_DESCRIPTOR*>(descriptor);
}

bool SelfRelative(PSECURITY_DESCRIPTOR descriptor) {
  return (Absolute(descriptor)->Control & SE_SELF_RELATIVE) != 0;
}

Parts PartsOf(PSECURITY_DESCRIPTOR descriptor) {
  Parts parts{};
  const auto* relative = static_cast<const SECURITY_DESCRIPTOR_RELATIVE*>(descriptor);
  auto* base = static_cast<BYTE*>(descriptor);
  const auto at = [base](DWORD offset) -> void* { return offset == 0 ? nullptr : base + offset; };
  if (SelfRelative(descriptor)) {
    parts = {.owner = at(relative->Owner),
             .group = at(relative->Group),
             .dacl = static_cast<PACL>(at(relative->Dacl))};
  } else {
    const SECURITY_DESCRIPTOR* absolute = Absolute(descriptor);
    parts = {.owner = absolute->Owner, .group = absolute->Group, .dacl = absolute->Dacl};
  }
  if ((relative->Control & SE_DACL_PRESENT) == 0) parts.dacl = nullptr;
  return parts;
}

bool KnownRevision(PSECURITY_DESCRIPTOR descriptor) {
  return Absolute(descriptor)->Revision == SECURITY_DESCRIPTOR_REVISION;
}

// What the functions that change a descriptor demand of it.
bool Changeable(PSECURITY_DESCRIPTOR descriptor) {
  if (!KnownRevision(descriptor)) return Fail(ERROR_UNKNOWN_REVISION);
  if (SelfRelative(descriptor)) return Fail(ERROR_INVALID_SECURITY_DESCR);
  return true;
}

void SetFlag(PSECURITY_DESCRIPTOR descriptor, WORD flag, bool on) {
  WORD& control = Absolute(descriptor)->Control;
  control = static_cast<WORD>(on ? control | flag : control & ~flag);
}

bool HasFlag(PSECURITY_DESCRIPTOR descriptor, WORD flag) {
  return (Absolute(descriptor)->Control & flag) != 0;
}

DWORD PaddedSidLength(PSID sid) { return sid == nullptr ? 0 : GetLengthSid(sid); }
DWORD PaddedAclLength(PACL acl) { return acl == nullptr ? 0 : (acl->AclSize + 3u) & ~3u; }

}  // namespace

BOOL WINAPI InitializeSecurityDescriptor(PSECURITY_DESCRIPTOR descriptor, DWORD revision) {
  if (revision != SECURITY_DESCRIPTOR_REVISION) return Fail(ERROR_UNKNOWN_REVISION);
  *Absolute(descriptor) = {};
  Absolute(descriptor)->Revision = SECURITY_DESCRIPTOR_REVISION;
  return TRUE;
}

BOOL WINAPI IsValidSecurityDescriptor(PSECURITY_DESCRIPTOR descriptor) {
  if (descriptor == nullptr || !KnownRevision(descriptor)) return FALSE;
  const Parts parts = PartsOf(descriptor);
  return (parts.owner == nullptr || IsValidSid(parts.owner)) &&
         (parts.group == nullptr || IsValidSid(parts.group)) &&
         (parts.dacl == nullptr || IsValidAcl(parts.dacl));
}

DWORD WINAPI GetSecurityDescriptorLength(PSECURITY_DESCRIPTOR descriptor) {
  const Parts parts = PartsOf(descriptor);
  const size_t header =
      SelfRelative(descriptor) ? sizeof(SECURITY_DESCRIPTOR_RELATIVE) : sizeof(SECURITY_DESCRIPTOR);
  return static_cast<DWORD>(header) + PaddedSidLength(parts.owner) + PaddedSidLength(parts.group) +
         PaddedAclLength(parts.dacl);
}

BOOL WINAPI GetSecurityDescriptorControl(PSECURITY_DESCRIPTOR descriptor,
                                         PSECURITY_DESCRIPTOR_CONTROL control, LPDWORD revision) {
  *revision = Absolute(descriptor)->Revision;
  if (!KnownRevision(descriptor)) return Fail(ERROR_UNKNOWN_REVISION);
  *control = Absolute(descriptor)->Control;
  return TRUE;
}

BOOL WINAPI SetSecurityDescriptorDacl(PSECURITY_DESCRIPTOR descriptor, BOOL present, PACL dacl,
                                      BOOL defaulted) {
  if (!Changeable(descriptor)) return FALSE;
  SetFlag(descriptor, SE_DACL_PRESENT, present != FALSE);
  SetFlag(descriptor, SE_DACL_DEFAULTED, present != FALSE && defaulted != FALSE);
  if (present != FALSE) Absolute(descriptor)->Dacl = dacl;
  return TRUE;
}

BOOL WINAPI GetSecurityDescriptorDacl(PSECURITY_DESCRIPTOR descriptor, LPBOOL present, PACL* dacl,
                                      LPBOOL defaulted) {
  if (!KnownRevision(descriptor)) return Fail(ERROR_UNKNOWN_REVISION);
  *present = HasFlag(descriptor, SE_DACL_PRESENT) ? TRUE : FALSE;
  if (*present != FALSE) {
    *dacl = PartsOf(descriptor).dacl;
    *defaulted = HasFlag(descriptor, SE_DACL_DEFAULTED) ? TRUE : FALSE;
  }
  return TRUE;
}

BOOL WINAPI SetSecurityDescriptorOwner(PSECURITY_DESCRIPTOR descriptor, PSID owner, BOOL defaulted) {
  if (!Changeable(descriptor)) return FALSE;
  if (owner != nullptr && !IsValidSid(owner)) return Fail(ERROR_INVALID_SID);
  Absolute(descriptor)->Owner = owner;
  SetFlag(descriptor, SE_OWNER_DEFAULTED, defaulted != FALSE);
  return TRUE;
}

BOOL WINAPI GetSecurityDescriptorOwner(PSECURITY_DESCRIPTOR descriptor, PSID* owner, LPBOOL defaulted) {
  if (!KnownRevision(descriptor)) return Fail(ERROR_UNKNOWN_REVISION);
  *owner = PartsOf(descriptor).owner;
  *defaulted = HasFlag(descriptor, SE_OWNER_DEFAULTED) ? TRUE : FALSE;
  return TRUE;
}

BOOL WINAPI GetSecurityDescriptorGroup(PSECURITY_DESCRIPTOR descriptor, PSID* group, LPBOOL defaulted) {
  if (!KnownRevision(descriptor)) return Fail(ERROR_UNKNOWN_REVISION);
  *group = PartsOf(descriptor).group;
  *defaulted = HasFlag(descriptor, SE_GROUP_DEFAULTED) ? TRUE : FALSE;
  return TRUE;
}

BOOL WINAPI MakeSelfRelativeSD(PSECURITY_DESCRIPTOR absolute, PSECURITY_DESCRIPTOR relative, LPDWORD size) {
  if (SelfRelative(absolute)) return Fail(ERROR_BAD_DESCRIPTOR_FORMAT);
  const Parts parts = PartsOf(absolute);
  const DWORD owner_size = PaddedSidLength(parts.owner);
  const DWORD group_size = PaddedSidLength(parts.group);
  const DWORD dacl_size = PaddedAclLength(parts.dacl);
  const DWORD needed = sizeof(SECURITY_DESCRIPTOR_RELATIVE) + owner_size + group_size + dacl_size;
  if (*size < needed) {
    *size = needed;
    return Fail(ERROR_INSUFFICIENT_BUFFER);
  }
  *size = needed;
  std::memset(relative, 0, needed);
  auto* header = static_cast<SECURITY_DESCRIPTOR_RELATIVE*>(relative);
  header->Revision = Absolute(absolute)->Revision;
  header->Sbz1 = Absolute(absolute)->Sbz1;
  header->Control =
      static_cast<WORD>((Absolute(absolute)->Control & ~(SE_SACL_PRESENT | 0x0020)) | SE_SELF_RELATIVE);
  // Windows lays the DACL before the owner and the group.
  DWORD offset = sizeof(SECURITY_DESCRIPTOR_RELATIVE);
  const auto place = [&](const void* part, DWORD length, DWORD copied) -> DWORD {
    if (length == 0) return 0;
    std::memcpy(static_cast<BYTE*>(relative) + offset, part, copied);
    offset += length;
    return offset - length;
  };
  header->Dacl = place(parts.dacl, dacl_size, parts.dacl == nullptr ? 0 : parts.dacl->AclSize);
  header->Owner = place(parts.owner, owner_size, owner_size);
  header->Group = place(parts.group, group_size, group_size);
  return TRUE;
}

void WINAPI MapGenericMask(PDWORD mask, PGENERIC_MAPPING mapping) {
  if ((*mask & GENERIC_READ) != 0) *mask |= mapping->GenericRead;
  if ((*mask & GENERIC_WRITE) != 0) *mask |= mapping->GenericWrite;
  if ((*mask & GENERIC_EXECUTE) != 0) *mask |= mapping->GenericExecute;
  if ((*mask & GENERIC_ALL) != 0) *mask |= mapping->GenericAll;
  *mask &= ~(GENERIC_READ | GENERIC_WRITE | GENERIC_EXECUTE | GENERIC_ALL);
}
