#pragma once

// Files (fileapi.h) and file versions (winver.h). A path `C:\x` lies under the computer's own drives and is
// found without case; a path that begins with "/" is the machine's own; any other is relative to the
// process's folder.

#include "platform/embedded/win32/types.h"

#define FILE_SHARE_READ 0x00000001u
#define FILE_SHARE_WRITE 0x00000002u
#define FILE_SHARE_DELETE 0x00000004u
#define CREATE_NEW 1
#define CREATE_ALWAYS 2
#define OPEN_EXISTING 3
#define OPEN_ALWAYS 4
#define TRUNCATE_EXISTING 5
#define FILE_ATTRIBUTE_READONLY 0x00000001u
#define FILE_ATTRIBUTE_HIDDEN 0x00000002u
#define FILE_ATTRIBUTE_DIRECTORY 0x00000010u
#define FILE_ATTRIBUTE_ARCHIVE 0x00000020u
#define FILE_ATTRIBUTE_NORMAL 0x00000080u
#define FILE_FLAG_BACKUP_SEMANTICS 0x02000000u
#define FILE_BEGIN 0
#define FILE_CURRENT 1
#define FILE_END 2

struct OVERLAPPED;
using LPOVERLAPPED = OVERLAPPED*;

// Share modes are taken and not enforced: nothing here depends on being alone with a file.
// A file that is made takes its mode from the descriptor: one whose DACL grants nothing to World,
// Authenticated Users, Users or Guests gives 0600 (a folder 0700) whatever the umask; none, or any other,
// the process's default.
HANDLE WINAPI CreateFileA(LPCSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES attributes,
                          DWORD disposition, DWORD flags, HANDLE pattern);
BOOL WINAPI ReadFile(HANDLE file, LPVOID buffer, DWORD size, LPDWORD read, LPOVERLAPPED overlapped);
BOOL WINAPI WriteFile(HANDLE file, LPCVOID buffer, DWORD size, LPDWORD written, LPOVERLAPPED overlapped);
BOOL WINAPI GetFileSizeEx(HANDLE file, PLARGE_INTEGER size);
BOOL WINAPI DeleteFileA(LPCSTR path);
BOOL WINAPI CreateDirectoryA(LPCSTR path, LPSECURITY_ATTRIBUTES attributes);
BOOL WINAPI RemoveDirectoryA(LPCSTR path);
DWORD WINAPI GetTempPathA(DWORD size, LPSTR buffer);

struct VS_FIXEDFILEINFO {
  DWORD dwSignature;
  DWORD dwStrucVersion;
  DWORD dwFileVersionMS;
  DWORD dwFileVersionLS;
  DWORD dwProductVersionMS;
  DWORD dwProductVersionLS;
  DWORD dwFileFlagsMask;
  DWORD dwFileFlags;
  DWORD dwFileOS;
  DWORD dwFileType;
  DWORD dwFileSubtype;
  DWORD dwFileDateMS;
  DWORD dwFileDateLS;
};
// The version resource of a PE file; VerQueryValueA gives the fixed information ("\") alone, and any other
// block is not found (ERROR_RESOURCE_TYPE_NOT_FOUND).
DWORD WINAPI GetFileVersionInfoSizeA(LPCSTR path, LPDWORD handle);
BOOL WINAPI GetFileVersionInfoA(LPCSTR path, DWORD handle, DWORD size, LPVOID data);
BOOL WINAPI VerQueryValueA(LPCVOID block, LPCSTR name, LPVOID* buffer, PUINT size);
