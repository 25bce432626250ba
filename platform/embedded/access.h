#pragma once

// What an access list and the token let a caller do.

#include <span>
#include <string_view>
#include <vector>

#include "platform/embedded/sid.h"
#include "platform/embedded/win32/security.h"

namespace embedded {

// Whether the process's token holds the privilege and has it enabled. An all-powerful caller, and one that
// belongs to the administrators, holds those of an administrator; any other those of a user.
bool PrivilegeEnabled(std::string_view name);

// The check of a self-relative descriptor for a caller of these SIDs: entries in order, a denial before a
// grant ends it; an inherit-only entry does not count; the owner always has READ_CONTROL and WRITE_DAC,
// SeTakeOwnershipPrivilege gives WRITE_OWNER; a descriptor without a DACL grants everything. `wanted` may
// hold generic rights and MAXIMUM_ALLOWED. Gives 0 with the specific rights in *granted, ERROR_ACCESS_DENIED,
// ERROR_PRIVILEGE_NOT_HELD for ACCESS_SYSTEM_SECURITY without SeSecurityPrivilege, or
// ERROR_INVALID_SECURITY_DESCR for bytes that are no descriptor (their alignment does not matter).
DWORD CheckAccess(std::span<const BYTE> descriptor, std::span<const SidBytes> caller, ACCESS_MASK wanted,
                  const GENERIC_MAPPING& mapping, ACCESS_MASK* granted);

}  // namespace embedded
