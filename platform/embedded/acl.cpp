#include <cstring>
#include <utility>

#include "platform/embedded/fail.h"
#include "platform/embedded/win32/security.h"
#include "platform/embedded/win32/system.h"

// Access lists, laid out byte for byte as Windows does. The order of the checks decides the error code.

using embedded::Fail;

namespace {

constexpr DWORD kSidOffset = offsetof(ACCESS_ALLOWED_ACE, SidStart);

ACE_HEADER* AceAt(PACL acl, DWORD offset) {
  return reinterpret_cast<ACE_HEADER*>(reinterpret_cast<BYTE*>(acl) + offset);
}

// Where the next entry goes, or nothing when the entries overrun the list.
bool FirstFree(PACL acl, DWORD& offset) {
  offset = sizeof(ACL);
  for (WORD i = 0; i < acl->AceCount; ++i) {
    if (offset + sizeof(ACE_HEADER) > acl->AclSize) return false;
    offset += AceAt(acl, offset)->AceSize;
  }
  return offset <= acl->AclSize;
}

// The offset of entry `index`, which exists.
DWORD OffsetOf(PACL acl, DWORD index) {
  DWORD offset = sizeof(ACL);
  for (DWORD i = 0; i < index; ++i) offset += AceAt(acl, offset)->AceSize;
  return offset;
}

bool ValidAce(const ACE_HEADER* ace, DWORD room) {
  if (ace->AceSize < sizeof(ACE_HEADER) || ace->AceSize % 4 != 0 || ace->AceSize > room) return false;
  if (ace->AceType > ACCESS_DENIED_ACE_TYPE) return true;
  if (ace->AceSize < kSidOffset + sizeof(SID) - sizeof(DWORD)) return false;
  auto* sid = const_cast<BYTE*>(reinterpret_cast<const BYTE*>(ace)) + kSidOffset;
  return IsValidSid(sid) && kSidOffset + GetLengthSid(sid) <= ace->AceSize;
}

BOOL AddKnownAce(PACL acl, DWORD revision, DWORD flags, DWORD mask, PSID sid, BYTE type) {
  if (!IsValidSid(sid)) return Fail(ERROR_INVALID_SID);
  if (acl->AclRevision > MAX_ACL_REVISION || revision > MAX_ACL_REVISION)
    return Fail(ERROR_REVISION_MISMATCH);
  if ((flags & ~DWORD{VALID_INHERIT_FLAGS}) != 0) return Fail(ERROR_INVALID_PARAMETER);
  DWORD offset = 0;
  if (!IsValidAcl(acl) || !FirstFree(acl, offset)) return Fail(ERROR_INVALID_ACL);
  const DWORD size = kSidOffset + GetLengthSid(sid);
  if (offset + size > acl->AclSize) return Fail(ERROR_ALLOTTED_SPACE_EXCEEDED);
  auto* ace = reinterpret_cast<ACCESS_ALLOWED_ACE*>(AceAt(acl, offset));
  ace->Header = {.AceType = type, .AceFlags = static_cast<BYTE>(flags), .AceSize = static_cast<WORD>(size)};
  ace->Mask = mask;
  std::memcpy(&ace->SidStart, sid, GetLengthSid(sid));
  acl->AceCount++;
  if (revision > acl->AclRevision) acl->AclRevision = static_cast<BYTE>(revision);
  return TRUE;
}

}  // namespace

BOOL WINAPI InitializeAcl(PACL acl, DWORD size, DWORD revision) {
  if (size < sizeof(ACL)) return Fail(ERROR_INSUFFICIENT_BUFFER);
  if (revision < MIN_ACL_REVISION || revision > MAX_ACL_REVISION || size > 0xFFFF) {
    return Fail(ERROR_INVALID_PARAMETER);
  }
  *acl = {.AclRevision = static_cast<BYTE>(revision),
          .Sbz1 = 0,
          .AclSize = static_cast<WORD>(size & ~3u),
          .AceCount = 0,
          .Sbz2 = 0};
  return TRUE;
}

BOOL WINAPI IsValidAcl(PACL acl) {
  if (acl == nullptr || acl->AclRevision < MIN_ACL_REVISION || acl->AclRevision > MAX_ACL_REVISION ||
      acl->AclSize < sizeof(ACL) || acl->AclSize % 4 != 0) {
    return FALSE;
  }
  DWORD offset = sizeof(ACL);
  for (WORD i = 0; i < acl->AceCount; ++i) {
    if (offset + sizeof(ACE_HEADER) > acl->AclSize) return FALSE;
    const ACE_HEADER* ace = AceAt(acl, offset);
    if (!ValidAce(ace, acl->AclSize - offset)) return FALSE;
    offset += ace->AceSize;
  }
  return TRUE;
}

BOOL WINAPI AddAccessAllowedAce(PACL acl, DWORD revision, DWORD mask, PSID sid) {
  return AddKnownAce(acl, revision, 0, mask, sid, ACCESS_ALLOWED_ACE_TYPE);
}

BOOL WINAPI AddAccessAllowedAceEx(PACL acl, DWORD revision, DWORD flags, DWORD mask, PSID sid) {
  return AddKnownAce(acl, revision, flags, mask, sid, ACCESS_ALLOWED_ACE_TYPE);
}

BOOL WINAPI AddAccessDeniedAce(PACL acl, DWORD revision, DWORD mask, PSID sid) {
  return AddKnownAce(acl, revision, 0, mask, sid, ACCESS_DENIED_ACE_TYPE);
}

BOOL WINAPI GetAce(PACL acl, DWORD index, LPVOID* ace) {
  DWORD end = 0;
  if (index >= acl->AceCount || !FirstFree(acl, end)) return Fail(ERROR_INVALID_PARAMETER);
  *ace = AceAt(acl, OffsetOf(acl, index));
  return TRUE;
}

BOOL WINAPI DeleteAce(PACL acl, DWORD index) {
  DWORD end = 0;
  if (!IsValidAcl(acl) || index >= acl->AceCount || !FirstFree(acl, end))
    return Fail(ERROR_INVALID_PARAMETER);
  const DWORD offset = OffsetOf(acl, index);
  const WORD size = AceAt(acl, offset)->AceSize;
  BYTE* place = reinterpret_cast<BYTE*>(acl) + offset;
  std::memmove(place, place + size, end - offset - size);
  std::memset(reinterpret_cast<BYTE*>(acl) + end - size, 0, size);
  acl->AceCount--;
  return TRUE;
}

BOOL WINAPI GetAclInformation(PACL acl, LPVOID information, DWORD size, ACL_INFORMATION_CLASS kind) {
  if (kind == AclRevisionInformation) {
    if (size < sizeof(ACL_REVISION_INFORMATION)) return Fail(ERROR_INSUFFICIENT_BUFFER);
    static_cast<ACL_REVISION_INFORMATION*>(information)->AclRevision = acl->AclRevision;
    return TRUE;
  }
  if (kind != AclSizeInformation) return Fail(ERROR_INVALID_PARAMETER);
  if (size < sizeof(ACL_SIZE_INFORMATION)) return Fail(ERROR_INSUFFICIENT_BUFFER);
  DWORD end = 0;
  if (!FirstFree(acl, end)) return Fail(ERROR_INVALID_PARAMETER);
  *static_cast<ACL_SIZE_INFORMATION*>(information) = {
      .AceCount = acl->AceCount, .AclBytesInUse = end, .AclBytesFree = acl->AclSize - end};
  return TRUE;
}
