#pragma once

// Security identifiers, access lists, descriptors, their texts, privileges and accounts (winnt.h, sddl.h,
// aclapi.h, securitybaseapi.h).

#include "platform/embedded/win32/types.h"

using PSID = PVOID;
using PSECURITY_DESCRIPTOR = PVOID;
using SECURITY_INFORMATION = DWORD;
using SECURITY_DESCRIPTOR_CONTROL = WORD;
using PSECURITY_DESCRIPTOR_CONTROL = WORD*;

struct SID_IDENTIFIER_AUTHORITY {
  BYTE Value[6];
};
using PSID_IDENTIFIER_AUTHORITY = SID_IDENTIFIER_AUTHORITY*;

struct SID {
  BYTE Revision;
  BYTE SubAuthorityCount;
  SID_IDENTIFIER_AUTHORITY IdentifierAuthority;
  DWORD SubAuthority[ANYSIZE_ARRAY];
};

#define SID_REVISION 1
#define SID_MAX_SUB_AUTHORITIES 15
#define SECURITY_MAX_SID_SIZE 68
#define SECURITY_NULL_SID_AUTHORITY \
  { 0, 0, 0, 0, 0, 0 }
#define SECURITY_WORLD_SID_AUTHORITY \
  { 0, 0, 0, 0, 0, 1 }
#define SECURITY_LOCAL_SID_AUTHORITY \
  { 0, 0, 0, 0, 0, 2 }
#define SECURITY_CREATOR_SID_AUTHORITY \
  { 0, 0, 0, 0, 0, 3 }
#define SECURITY_NT_AUTHORITY \
  { 0, 0, 0, 0, 0, 5 }
#define SECURITY_WORLD_RID 0x00000000
#define SECURITY_NETWORK_RID 0x00000002
#define SECURITY_INTERACTIVE_RID 0x00000004
#define SECURITY_ANONYMOUS_LOGON_RID 0x00000007
#define SECURITY_AUTHENTICATED_USER_RID 0x0000000B
#define SECURITY_LOCAL_SYSTEM_RID 0x00000012
#define SECURITY_NT_NON_UNIQUE 0x00000015
#define SECURITY_BUILTIN_DOMAIN_RID 0x00000020
#define DOMAIN_ALIAS_RID_ADMINS 0x00000220
#define DOMAIN_ALIAS_RID_USERS 0x00000221
#define DOMAIN_ALIAS_RID_GUESTS 0x00000222

enum WELL_KNOWN_SID_TYPE {
  WinNullSid = 0,
  WinWorldSid = 1,
  WinLocalSid = 2,
  WinCreatorOwnerSid = 3,
  WinCreatorGroupSid = 4,
  WinDialupSid = 8,
  WinNetworkSid = 9,
  WinBatchSid = 10,
  WinInteractiveSid = 11,
  WinServiceSid = 12,
  WinAnonymousSid = 13,
  WinEnterpriseControllersSid = 15,
  WinSelfSid = 16,
  WinAuthenticatedUserSid = 17,
  WinRestrictedCodeSid = 18,
  WinTerminalServerSid = 19,
  WinLocalSystemSid = 22,
  WinLocalServiceSid = 23,
  WinNetworkServiceSid = 24,
  WinBuiltinDomainSid = 25,
  WinBuiltinAdministratorsSid = 26,
  WinBuiltinUsersSid = 27,
  WinBuiltinGuestsSid = 28,
  WinBuiltinPowerUsersSid = 29,
  WinBuiltinAccountOperatorsSid = 30,
  WinBuiltinSystemOperatorsSid = 31,
  WinBuiltinPrintOperatorsSid = 32,
  WinBuiltinBackupOperatorsSid = 33,
  WinBuiltinReplicatorSid = 34,
  WinBuiltinPreWindows2000CompatibleAccessSid = 35,
  WinBuiltinRemoteDesktopUsersSid = 36,
  WinBuiltinNetworkConfigurationOperatorsSid = 37,
};

struct ACL {
  BYTE AclRevision;
  BYTE Sbz1;
  WORD AclSize;
  WORD AceCount;
  WORD Sbz2;
};
using PACL = ACL*;

struct ACE_HEADER {
  BYTE AceType;
  BYTE AceFlags;
  WORD AceSize;
};
struct ACCESS_ALLOWED_ACE {
  ACE_HEADER Header;
  ACCESS_MASK Mask;
  DWORD SidStart;
};
using PACCESS_ALLOWED_ACE = ACCESS_ALLOWED_ACE*;
struct ACCESS_DENIED_ACE {
  ACE_HEADER Header;
  ACCESS_MASK Mask;
  DWORD SidStart;
};

#define ACL_REVISION 2
#define ACL_REVISION_DS 4
#define MIN_ACL_REVISION 2
#define MAX_ACL_REVISION 4
#define ACCESS_ALLOWED_ACE_TYPE 0x00
#define ACCESS_DENIED_ACE_TYPE 0x01
#define OBJECT_INHERIT_ACE 0x01
#define CONTAINER_INHERIT_ACE 0x02
#define NO_PROPAGATE_INHERIT_ACE 0x04
#define INHERIT_ONLY_ACE 0x08
#define INHERITED_ACE 0x10
#define VALID_INHERIT_FLAGS 0x1F
#define MAXDWORD 0xFFFFFFFFu

enum ACL_INFORMATION_CLASS { AclRevisionInformation = 1, AclSizeInformation = 2 };
struct ACL_REVISION_INFORMATION {
  DWORD AclRevision;
};
struct ACL_SIZE_INFORMATION {
  DWORD AceCount;
  DWORD AclBytesInUse;
  DWORD AclBytesFree;
};

struct SECURITY_DESCRIPTOR {
  BYTE Revision;
  BYTE Sbz1;
  SECURITY_DESCRIPTOR_CONTROL Control;
  PSID Owner;
  PSID Group;
  PACL Sacl;
  PACL Dacl;
};
struct SECURITY_DESCRIPTOR_RELATIVE {
  BYTE Revision;
  BYTE Sbz1;
  SECURITY_DESCRIPTOR_CONTROL Control;
  DWORD Owner;
  DWORD Group;
  DWORD Sacl;
  DWORD Dacl;
};

#define SECURITY_DESCRIPTOR_REVISION 1
#define SDDL_REVISION_1 1
#define SE_OWNER_DEFAULTED 0x0001
#define SE_GROUP_DEFAULTED 0x0002
#define SE_DACL_PRESENT 0x0004
#define SE_DACL_DEFAULTED 0x0008
#define SE_SACL_PRESENT 0x0010
#define SE_DACL_AUTO_INHERIT_REQ 0x0100
#define SE_DACL_AUTO_INHERITED 0x0400
#define SE_DACL_PROTECTED 0x1000
#define SE_SELF_RELATIVE 0x8000
#define OWNER_SECURITY_INFORMATION 0x00000001u
#define GROUP_SECURITY_INFORMATION 0x00000002u
#define DACL_SECURITY_INFORMATION 0x00000004u
#define SACL_SECURITY_INFORMATION 0x00000008u
#define PROTECTED_DACL_SECURITY_INFORMATION 0x80000000u
#define UNPROTECTED_DACL_SECURITY_INFORMATION 0x20000000u

struct GENERIC_MAPPING {
  ACCESS_MASK GenericRead;
  ACCESS_MASK GenericWrite;
  ACCESS_MASK GenericExecute;
  ACCESS_MASK GenericAll;
};
using PGENERIC_MAPPING = GENERIC_MAPPING*;

BOOL WINAPI AllocateAndInitializeSid(PSID_IDENTIFIER_AUTHORITY authority, BYTE count, DWORD sub0, DWORD sub1,
                                     DWORD sub2, DWORD sub3, DWORD sub4, DWORD sub5, DWORD sub6, DWORD sub7,
                                     PSID* sid);
PVOID WINAPI FreeSid(PSID sid);
BOOL WINAPI CreateWellKnownSid(WELL_KNOWN_SID_TYPE type, PSID domain, PSID sid, DWORD* size);
BOOL WINAPI InitializeSid(PSID sid, PSID_IDENTIFIER_AUTHORITY authority, BYTE count);
DWORD WINAPI GetSidLengthRequired(UCHAR count);
DWORD WINAPI GetLengthSid(PSID sid);
BOOL WINAPI CopySid(DWORD size, PSID destination, PSID source);
BOOL WINAPI EqualSid(PSID a, PSID b);
BOOL WINAPI IsValidSid(PSID sid);
PDWORD WINAPI GetSidSubAuthority(PSID sid, DWORD index);
BYTE* WINAPI GetSidSubAuthorityCount(PSID sid);

BOOL WINAPI InitializeAcl(PACL acl, DWORD size, DWORD revision);
BOOL WINAPI IsValidAcl(PACL acl);
BOOL WINAPI AddAccessAllowedAce(PACL acl, DWORD revision, DWORD mask, PSID sid);
BOOL WINAPI AddAccessAllowedAceEx(PACL acl, DWORD revision, DWORD flags, DWORD mask, PSID sid);
BOOL WINAPI AddAccessDeniedAce(PACL acl, DWORD revision, DWORD mask, PSID sid);
BOOL WINAPI GetAce(PACL acl, DWORD index, LPVOID* ace);
BOOL WINAPI DeleteAce(PACL acl, DWORD index);
BOOL WINAPI GetAclInformation(PACL acl, LPVOID information, DWORD size, ACL_INFORMATION_CLASS kind);

BOOL WINAPI InitializeSecurityDescriptor(PSECURITY_DESCRIPTOR descriptor, DWORD revision);
BOOL WINAPI IsValidSecurityDescriptor(PSECURITY_DESCRIPTOR descriptor);
DWORD WINAPI GetSecurityDescriptorLength(PSECURITY_DESCRIPTOR descriptor);
BOOL WINAPI GetSecurityDescriptorControl(PSECURITY_DESCRIPTOR descriptor,
                                         PSECURITY_DESCRIPTOR_CONTROL control, LPDWORD revision);
BOOL WINAPI SetSecurityDescriptorDacl(PSECURITY_DESCRIPTOR descriptor, BOOL present, PACL dacl,
                                      BOOL defaulted);
BOOL WINAPI GetSecurityDescriptorDacl(PSECURITY_DESCRIPTOR descriptor, LPBOOL present, PACL* dacl,
                                      LPBOOL defaulted);
BOOL WINAPI SetSecurityDescriptorOwner(PSECURITY_DESCRIPTOR descriptor, PSID owner, BOOL defaulted);
BOOL WINAPI GetSecurityDescriptorOwner(PSECURITY_DESCRIPTOR descriptor, PSID* owner, LPBOOL defaulted);
BOOL WINAPI GetSecurityDescriptorGroup(PSECURITY_DESCRIPTOR descriptor, PSID* group, LPBOOL defaulted);
// System access lists are not carried: an absolute descriptor's Sacl is left out.
BOOL WINAPI MakeSelfRelativeSD(PSECURITY_DESCRIPTOR absolute, PSECURITY_DESCRIPTOR relative, LPDWORD size);
void WINAPI MapGenericMask(PDWORD mask, PGENERIC_MAPPING mapping);

BOOL WINAPI ConvertSidToStringSidA(PSID sid, LPSTR* text);
BOOL WINAPI ConvertStringSidToSidA(LPCSTR text, PSID* sid);
// Owner, group and DACL of allow and deny entries; a text with S: or an object entry fails with
// ERROR_NOT_SUPPORTED.
BOOL WINAPI ConvertStringSecurityDescriptorToSecurityDescriptorA(LPCSTR text, DWORD revision,
                                                                 PSECURITY_DESCRIPTOR* descriptor,
                                                                 PULONG size);
BOOL WINAPI ConvertSecurityDescriptorToStringSecurityDescriptorA(PSECURITY_DESCRIPTOR descriptor,
                                                                 DWORD revision,
                                                                 SECURITY_INFORMATION information,
                                                                 LPSTR* text, PULONG length);

struct LUID {
  DWORD LowPart;
  LONG HighPart;
};
using PLUID = LUID*;
struct LUID_AND_ATTRIBUTES {
  LUID Luid;
  DWORD Attributes;
};
struct TOKEN_PRIVILEGES {
  DWORD PrivilegeCount;
  LUID_AND_ATTRIBUTES Privileges[ANYSIZE_ARRAY];
};
using PTOKEN_PRIVILEGES = TOKEN_PRIVILEGES*;
struct SID_AND_ATTRIBUTES {
  PSID Sid;
  DWORD Attributes;
};
struct TOKEN_USER {
  SID_AND_ATTRIBUTES User;
};
using PTOKEN_USER = TOKEN_USER*;
struct TOKEN_GROUPS {
  DWORD GroupCount;
  SID_AND_ATTRIBUTES Groups[ANYSIZE_ARRAY];
};
using PTOKEN_GROUPS = TOKEN_GROUPS*;
enum TOKEN_INFORMATION_CLASS { TokenUser = 1, TokenGroups = 2, TokenPrivileges = 3 };

#define SE_PRIVILEGE_ENABLED_BY_DEFAULT 0x00000001u
#define SE_PRIVILEGE_ENABLED 0x00000002u
#define SE_PRIVILEGE_REMOVED 0x00000004u
#define SE_GROUP_MANDATORY 0x00000001u
#define SE_GROUP_ENABLED_BY_DEFAULT 0x00000002u
#define SE_GROUP_ENABLED 0x00000004u
#define TOKEN_QUERY 0x0008u
#define TOKEN_ADJUST_PRIVILEGES 0x0020u
#define TOKEN_ALL_ACCESS 0x000F01FFu
#define SE_BACKUP_NAME "SeBackupPrivilege"
#define SE_RESTORE_NAME "SeRestorePrivilege"
#define SE_TAKE_OWNERSHIP_NAME "SeTakeOwnershipPrivilege"
#define SE_SECURITY_NAME "SeSecurityPrivilege"

BOOL WINAPI OpenProcessToken(HANDLE process, DWORD access, PHANDLE token);
BOOL WINAPI LookupPrivilegeValueA(LPCSTR system, LPCSTR name, PLUID luid);
BOOL WINAPI GetTokenInformation(HANDLE token, TOKEN_INFORMATION_CLASS kind, LPVOID information, DWORD size,
                                PDWORD needed);
BOOL WINAPI AdjustTokenPrivileges(HANDLE token, BOOL disable_all, PTOKEN_PRIVILEGES wanted, DWORD size,
                                  PTOKEN_PRIVILEGES previous, PDWORD needed);

enum SE_OBJECT_TYPE {
  SE_UNKNOWN_OBJECT_TYPE = 0,
  SE_FILE_OBJECT,
  SE_SERVICE,
  SE_PRINTER,
  SE_REGISTRY_KEY,
};
// Registry keys alone: other kinds fail with ERROR_NOT_SUPPORTED.
DWORD WINAPI GetNamedSecurityInfoA(LPCSTR name, SE_OBJECT_TYPE kind, SECURITY_INFORMATION information,
                                   PSID* owner, PSID* group, PACL* dacl, PACL* sacl,
                                   PSECURITY_DESCRIPTOR* descriptor);

enum SID_NAME_USE {
  SidTypeUser = 1,
  SidTypeGroup,
  SidTypeDomain,
  SidTypeAlias,
  SidTypeWellKnownGroup,
  SidTypeDeletedAccount,
  SidTypeInvalid,
  SidTypeUnknown,
  SidTypeComputer,
};
using PSID_NAME_USE = SID_NAME_USE*;

// The well-known accounts and this machine's users and groups.
BOOL WINAPI LookupAccountNameA(LPCSTR system, LPCSTR account, PSID sid, LPDWORD sid_size, LPSTR domain,
                               LPDWORD domain_size, PSID_NAME_USE use);
BOOL WINAPI LookupAccountNameW(LPCWSTR system, LPCWSTR account, PSID sid, LPDWORD sid_size, LPWSTR domain,
                               LPDWORD domain_size, PSID_NAME_USE use);
BOOL WINAPI LookupAccountSidA(LPCSTR system, PSID sid, LPSTR name, LPDWORD name_size, LPSTR domain,
                              LPDWORD domain_size, PSID_NAME_USE use);
