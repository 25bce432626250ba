#pragma once

// Ciphers and data protection (wincrypt.h, dpapi.h).

#include "platform/embedded/win32/types.h"

using ALG_ID = UINT;
using HCRYPTPROV = ULONG_PTR;
using HCRYPTHASH = ULONG_PTR;
using HCRYPTKEY = ULONG_PTR;

#define PROV_RSA_FULL 1
#define CRYPT_VERIFYCONTEXT 0xF0000000u
#define CRYPT_NEWKEYSET 0x00000008u
#define CRYPT_EXPORTABLE 0x00000001u
#define CRYPT_NO_SALT 0x00000010u
#define CALG_MD5 0x00008003u
#define CALG_SHA1 0x00008004u
#define CALG_RC4 0x00006801u

BOOL WINAPI CryptAcquireContextA(HCRYPTPROV* provider, LPCSTR container, LPCSTR name, DWORD type,
                                 DWORD flags);
BOOL WINAPI CryptReleaseContext(HCRYPTPROV provider, DWORD flags);
BOOL WINAPI CryptCreateHash(HCRYPTPROV provider, ALG_ID algorithm, HCRYPTKEY key, DWORD flags,
                            HCRYPTHASH* hash);
BOOL WINAPI CryptHashData(HCRYPTHASH hash, const BYTE* data, DWORD size, DWORD flags);
BOOL WINAPI CryptDestroyHash(HCRYPTHASH hash);
BOOL WINAPI CryptDeriveKey(HCRYPTPROV provider, ALG_ID algorithm, HCRYPTHASH hash, DWORD flags,
                           HCRYPTKEY* key);
BOOL WINAPI CryptDestroyKey(HCRYPTKEY key);
BOOL WINAPI CryptEncrypt(HCRYPTKEY key, HCRYPTHASH hash, BOOL final, DWORD flags, BYTE* data, DWORD* size,
                         DWORD buffer_size);
BOOL WINAPI CryptDecrypt(HCRYPTKEY key, HCRYPTHASH hash, BOOL final, DWORD flags, BYTE* data, DWORD* size);

struct DATA_BLOB {
  DWORD cbData;
  BYTE* pbData;
};
struct CRYPTPROTECT_PROMPTSTRUCT {
  DWORD cbSize;
  DWORD dwPromptFlags;
  HWND hwndApp;
  LPCWSTR szPrompt;
};
#define CRYPTPROTECT_UI_FORBIDDEN 0x1u
#define CRYPTPROTECT_LOCAL_MACHINE 0x4u

// The protection is AES-256-GCM under a key file of the local embedded computer, and its blobs are this
// computer's own. The prompt is ignored.
BOOL WINAPI CryptProtectData(DATA_BLOB* data, LPCWSTR description, DATA_BLOB* entropy, PVOID reserved,
                             CRYPTPROTECT_PROMPTSTRUCT* prompt, DWORD flags, DATA_BLOB* result);
BOOL WINAPI CryptUnprotectData(DATA_BLOB* data, LPWSTR* description, DATA_BLOB* entropy, PVOID reserved,
                               CRYPTPROTECT_PROMPTSTRUCT* prompt, DWORD flags, DATA_BLOB* result);
