#pragma once

// Windows does not tell a program what it has written to the registry. So the calls that write, and those
// that give and take back the keys they write by, come through here: what an event is about to change is kept
// before (pictures.h). win32.h includes this behind the headers of Windows. Who means the system's own calls
// defines REGISTRY_CALLS_AS_THEY_ARE first.

namespace registry_calls {

// Parameters and results are those of winreg.h.
LSTATUS RegConnectRegistryA(LPCSTR machine, HKEY hive, PHKEY connected);
LSTATUS RegOpenKeyA(HKEY parent, LPCSTR path, PHKEY opened);
LSTATUS RegOpenKeyExA(HKEY parent, LPCSTR path, DWORD options, REGSAM access, PHKEY opened);
LSTATUS RegCreateKeyA(HKEY parent, LPCSTR path, PHKEY made);
LSTATUS RegCreateKeyExA(HKEY parent, LPCSTR path, DWORD reserved, LPSTR type, DWORD options, REGSAM access,
                        LPSECURITY_ATTRIBUTES security, PHKEY made, LPDWORD disposition);
LSTATUS RegCloseKey(HKEY key);
LSTATUS RegSetValueExA(HKEY key, LPCSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size);
LSTATUS RegDeleteValueA(HKEY key, LPCSTR name);
LSTATUS RegDeleteKeyA(HKEY parent, LPCSTR name);
LSTATUS RegDeleteKeyExA(HKEY parent, LPCSTR name, REGSAM view, DWORD reserved);
LSTATUS RegRestoreKeyA(HKEY key, LPCSTR file, DWORD flags);
LSTATUS RegSetKeySecurity(HKEY key, SECURITY_INFORMATION what, PSECURITY_DESCRIPTOR descriptor);
// The system's function, but for those that stand above.
FARPROC GetProcAddress(HMODULE library, LPCSTR name);

}  // namespace registry_calls

#ifndef REGISTRY_CALLS_AS_THEY_ARE
#define RegConnectRegistryA registry_calls::RegConnectRegistryA
#define RegOpenKeyA registry_calls::RegOpenKeyA
#define RegOpenKeyExA registry_calls::RegOpenKeyExA
#define RegCreateKeyA registry_calls::RegCreateKeyA
#define RegCreateKeyExA registry_calls::RegCreateKeyExA
#define RegCloseKey registry_calls::RegCloseKey
#define RegSetValueExA registry_calls::RegSetValueExA
#define RegDeleteValueA registry_calls::RegDeleteValueA
#define RegDeleteKeyA registry_calls::RegDeleteKeyA
#define RegDeleteKeyExA registry_calls::RegDeleteKeyExA
#define RegRestoreKeyA registry_calls::RegRestoreKeyA
#define RegSetKeySecurity registry_calls::RegSetKeySecurity
#define GetProcAddress registry_calls::GetProcAddress
// Other calls that write would go unseen.
#pragma GCC poison RegSetValueA RegSetKeyValueA RegDeleteKeyValueA RegDeleteTreeA RegCopyTreeA RegReplaceKeyA
#pragma GCC poison RegLoadKeyA RegUnLoadKeyA
#endif
