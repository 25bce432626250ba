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
#define FILE_ATTRIBUTE_DEVICE 0x00000040u
#define FILE_ATTRIBUTE_NORMAL 0x00000080u
#define FILE_ATTRIBUTE_TEMPORARY 0x00000100u
#define INVALID_FILE_ATTRIBUTES 0xFFFFFFFFu
#define FILE_FLAG_BACKUP_SEMANTICS 0x02000000u
#define FILE_BEGIN 0
#define FILE_CURRENT 1
#define FILE_END 2

struct OVERLAPPED;
using LPOVERLAPPED = OVERLAPPED*;

// Share modes are taken and not enforced: nothing here depends on being alone with a file.
// A file that is made takes its mode from the descriptor: one whose DACL grants nothing to World,
// Authenticated Users, Users or Guests gives 0600 (a folder 0700) whatever the umask; none, or any other,
// the process's default. A new file (CREATE_NEW) with FILE_ATTRIBUTE_TEMPORARY has no name until
// SetFileInformationByHandle gives it one, so that nobody finds it and nothing is left of it, however the
// process ends; but that one which is killed while it takes the place of another file may leave it beside,
// until the next is made there. Where the file system knows no such files it has its name, which goes with
// its handle, and with the process where RemoveTemporaryFiles is called at its end.
// `/dev/stdin`, `/dev/stdout`, `/dev/stderr` and `/dev/fd/N` are the process's own open files as they stand.
HANDLE WINAPI CreateFileA(LPCSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES attributes,
                          DWORD disposition, DWORD flags, HANDLE pattern);
BOOL WINAPI ReadFile(HANDLE file, LPVOID buffer, DWORD size, LPDWORD read, LPOVERLAPPED overlapped);
BOOL WINAPI WriteFile(HANDLE file, LPCVOID buffer, DWORD size, LPDWORD written, LPOVERLAPPED overlapped);
BOOL WINAPI FlushFileBuffers(HANDLE file);
BOOL WINAPI GetFileSizeEx(HANDLE file, PLARGE_INTEGER size);
// FILE_ATTRIBUTE_DIRECTORY, FILE_ATTRIBUTE_NORMAL, or FILE_ATTRIBUTE_DEVICE for what is neither file nor
// folder and for the process's own open files.
DWORD WINAPI GetFileAttributesA(LPCSTR path);

enum FILE_INFO_BY_HANDLE_CLASS { FileRenameInfo = 3, FileDispositionInfo = 4 };
struct FILE_DISPOSITION_INFO {
  BOOLEAN DeleteFile;
};
struct FILE_RENAME_INFO {
  BOOLEAN ReplaceIfExists;
  HANDLE RootDirectory;
  DWORD FileNameLength;  // in bytes
  WCHAR FileName[1];
};
// Both are for files that CreateFileA made as temporary ones. Another name, of a machine's own path or one of
// the computer's, replaces what has it, a link itself; what is to go has no name anyway.
BOOL WINAPI SetFileInformationByHandle(HANDLE file, FILE_INFO_BY_HANDLE_CLASS kind, LPVOID info, DWORD size);

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
