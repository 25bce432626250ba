#pragma once

// The registry as winreg.h and winnt.h declare it. Every function returns its status: ERROR_SUCCESS or the
// error code; the thread's last error is left alone. Sizes, terminators and null arguments are as Windows
// documents them; names are bytes in the computer's code page.

#include "platform/embedded/win32/security.h"
#include "platform/embedded/win32/types.h"

#define HKEY_CLASSES_ROOT ((HKEY)(ULONG_PTR)((LONG)0x80000000))
#define HKEY_CURRENT_USER ((HKEY)(ULONG_PTR)((LONG)0x80000001))
#define HKEY_LOCAL_MACHINE ((HKEY)(ULONG_PTR)((LONG)0x80000002))
#define HKEY_USERS ((HKEY)(ULONG_PTR)((LONG)0x80000003))
#define HKEY_CURRENT_CONFIG ((HKEY)(ULONG_PTR)((LONG)0x80000005))

#define KEY_QUERY_VALUE 0x0001
#define KEY_SET_VALUE 0x0002
#define KEY_CREATE_SUB_KEY 0x0004
#define KEY_ENUMERATE_SUB_KEYS 0x0008
#define KEY_NOTIFY 0x0010
#define KEY_CREATE_LINK 0x0020
#define KEY_WOW64_64KEY 0x0100
#define KEY_WOW64_32KEY 0x0200
#define KEY_WOW64_RES 0x0300
#define KEY_READ 0x20019
#define KEY_WRITE 0x20006
#define KEY_EXECUTE 0x20019
#define KEY_ALL_ACCESS 0xF003F

#define REG_OPTION_NON_VOLATILE 0x00000000L
#define REG_OPTION_VOLATILE 0x00000001L
#define REG_OPTION_CREATE_LINK 0x00000002L
#define REG_OPTION_BACKUP_RESTORE 0x00000004L
#define REG_OPTION_OPEN_LINK 0x00000008L

#define REG_CREATED_NEW_KEY 0x00000001L
#define REG_OPENED_EXISTING_KEY 0x00000002L

#define REG_WHOLE_HIVE_VOLATILE 0x00000001L
#define REG_REFRESH_HIVE 0x00000002L
#define REG_NO_LAZY_FLUSH 0x00000004L
#define REG_FORCE_RESTORE 0x00000008L

#define REG_NONE 0
#define REG_SZ 1
#define REG_EXPAND_SZ 2
#define REG_BINARY 3
#define REG_DWORD 4
#define REG_DWORD_LITTLE_ENDIAN 4
#define REG_DWORD_BIG_ENDIAN 5
#define REG_LINK 6
#define REG_MULTI_SZ 7
#define REG_RESOURCE_LIST 8
#define REG_FULL_RESOURCE_DESCRIPTOR 9
#define REG_RESOURCE_REQUIREMENTS_LIST 10
#define REG_QWORD 11
#define REG_QWORD_LITTLE_ENDIAN 11

LONG WINAPI RegConnectRegistryA(LPCSTR computer, HKEY root, PHKEY result);
LONG WINAPI RegOpenKeyExA(HKEY key, LPCSTR path, DWORD options, REGSAM access, PHKEY result);
LONG WINAPI RegOpenKeyA(HKEY key, LPCSTR path, PHKEY result);
LONG WINAPI RegCreateKeyExA(HKEY key, LPCSTR path, DWORD reserved, LPSTR class_name, DWORD options,
                            REGSAM access, LPSECURITY_ATTRIBUTES security, PHKEY result, LPDWORD disposition);
LONG WINAPI RegCreateKeyA(HKEY key, LPCSTR path, PHKEY result);
LONG WINAPI RegCloseKey(HKEY key);
LONG WINAPI RegFlushKey(HKEY key);
LONG WINAPI RegDeleteKeyExA(HKEY key, LPCSTR path, REGSAM view, DWORD reserved);
LONG WINAPI RegDeleteKeyA(HKEY key, LPCSTR path);
LONG WINAPI RegEnumKeyExA(HKEY key, DWORD index, LPSTR name, LPDWORD name_size, LPDWORD reserved,
                          LPSTR class_name, LPDWORD class_size, PFILETIME last_write);
LONG WINAPI RegQueryInfoKeyA(HKEY key, LPSTR class_name, LPDWORD class_size, LPDWORD reserved,
                             LPDWORD subkeys, LPDWORD longest_subkey, LPDWORD longest_class, LPDWORD values,
                             LPDWORD longest_value_name, LPDWORD longest_data, LPDWORD descriptor_size,
                             PFILETIME last_write);
LONG WINAPI RegQueryValueExA(HKEY key, LPCSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data,
                             LPDWORD size);
LONG WINAPI RegSetValueExA(HKEY key, LPCSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size);
LONG WINAPI RegEnumValueA(HKEY key, DWORD index, LPSTR name, LPDWORD name_size, LPDWORD reserved,
                          LPDWORD type, LPBYTE data, LPDWORD size);
LONG WINAPI RegDeleteValueA(HKEY key, LPCSTR name);
LONG WINAPI RegSaveKeyA(HKEY key, LPCSTR file, LPSECURITY_ATTRIBUTES security);
LONG WINAPI RegRestoreKeyA(HKEY key, LPCSTR file, DWORD flags);
LONG WINAPI RegGetKeySecurity(HKEY key, SECURITY_INFORMATION what, PSECURITY_DESCRIPTOR descriptor,
                              LPDWORD size);
LONG WINAPI RegSetKeySecurity(HKEY key, SECURITY_INFORMATION what, PSECURITY_DESCRIPTOR descriptor);
